"""The macros that the linter knows are macros."""

import re

import pytest

from support.commands import run
from support.toolchain import system_includes


def defined(compiler, standard, text, folder, *options):
    """The macros after that text: name to whether it takes arguments."""
    unit = folder / "unit.cc"
    unit.write_text(text)
    printed = run([compiler, f"-std=c++{standard}", "-dM", "-E", *options, unit])
    found = re.findall(r"^#define (\w+)(\(?)", printed, re.MULTILINE)
    return {name: bool(arguments) for name, arguments in found}


@pytest.fixture(name="listed")
def fixture_listed(source):
    """The lists of src/lint/macros.cc: the words, by the name of the list."""
    text = (source / "src/lint/macros.cc").read_text()
    lists = re.findall(r'(k\w+) = R"\((.*?)\)";', text, re.DOTALL)
    return {name: content.split() for name, content in lists}


@pytest.mark.parametrize("standard", ["11", "20"])
@pytest.mark.parametrize("compiler", ["g++", "clang++"])
def test_each_is_defined_in_a_generated_file(built, listed, tmp_path, compiler, standard):
    text = "#include <google/protobuf/any.pb.h>\n#include <boost/preprocessor.hpp>\n"
    text += "#include <boost/shared_ptr.hpp>\n#include <boost/intrusive_ptr.hpp>\n"
    options = system_includes(built.system_folders)
    path = built.compilers[compiler]["path"]
    found = defined(path, standard, text, tmp_path, *options)
    for name, takes_arguments in (("kObjectMacros", False), ("kFunctionMacros", True)):
        assert listed[name] == sorted(listed[name])
        assert [one for one in listed[name] if found.get(one) != takes_arguments] == []
    # And those of the system's other headers are not there by themselves.
    assert [one for one in listed["kSystemMacros"][::2] if one in found] == []


def test_each_system_macro_is_in_its_header(built, listed, tmp_path):
    path = next(iter(built.compilers.values()))["path"]
    names = listed["kSystemMacros"]
    for name, header in zip(names[::2], names[1::2]):
        assert name in defined(path, "17", f"#include {header}\n", tmp_path), header
