"""The names that the linter knows are taken at global scope."""

import re
import subprocess

import pytest

from support.toolchain import system_includes

HEADERS = """\
#include <google/protobuf/any.pb.h>
#include <boost/intrusive_ptr.hpp>
#include <boost/preprocessor.hpp>
#include <boost/shared_ptr.hpp>
"""


def refused(built, compiler, declarations, folder):
    """The indices of the declarations, a line each, that are refused behind the
    headers."""
    unit = folder / "unit.cc"
    unit.write_text(f'{HEADERS}#line 1 "declarations"\n' + "\n".join(declarations) + "\n")
    command = [built.compilers[compiler]["path"], "-std=c++17", "-w", "-fsyntax-only"]
    if compiler == "clang++":
        command.append("-ferror-limit=0")
    command += [*system_includes(built.system_folders), unit]
    done = subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False
    )
    found = re.findall(r"^declarations:(\d+):\d+: error", done.stdout, re.MULTILINE)
    return {int(line) - 1 for line in found}


@pytest.fixture(name="listed")
def fixture_listed(source):
    """The lists of src/lint/global_names.cc."""
    text = (source / "src/lint/global_names.cc").read_text()
    lists = re.findall(r'(k\w+)\[\] = R"\((.*?)\)";', text, re.DOTALL)
    return {name: content.split() for name, content in lists}


def test_no_namespace_can_have_one_of_them(built, listed, tmp_path):
    names = listed["kTypes"] + listed["kOthers"]
    assert len(names) == len(set(names))
    found = refused(built, "g++", [f"namespace {name} {{}}" for name in names], tmp_path)
    assert [name for i, name in enumerate(names) if i not in found] == []


@pytest.mark.parametrize("compiler", ["g++", "clang++"])
def test_no_class_can_have_the_name_of_a_type(built, listed, tmp_path, compiler):
    names = listed["kTypes"] + listed["kOthers"]
    found = refused(built, compiler, [f"class {name} {{}};" for name in names], tmp_path)
    assert [name for i, name in enumerate(names) if i in found] == listed["kTypes"]
