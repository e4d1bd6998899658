"""Each row of docs/limits.md is true.

A case is a folder with an api.proto that shows the limit, other files that it needs
(.proto files; a use.cc when the limit is met by code that uses the generated code),
and a case.ini that says what is seen:

    [case]
    row = A method named             the words with which its rows of the page
                                     begin (rows_test.py looks at them)
    option = services_namespace=api  given with --qarn-rpc_opt (optional)
    out_option = ...                 given in front of the folder in
                                     --qarn-rpc_out (optional)
    protoc = 3\\.                     the case holds only for a protoc of this
                                     version (a regular expression, optional)
    line = api.rpc.h | Echo(         lines that the generated files hold
    series = rpc M#(A) returns (B); => 9
                                     a line that stands for nine, with 0 to 8 for #
                                     (optional)
    mend = rpc Echo( => rpc Ping(    replacements, made in all files of the
                                     folder, that take the limit away
    mended_option = ...              the option of the mended case (optional)
    mended_line = api.rpc.h | Ping(  lines of the mended files, and not of the
                                     others (optional)
    mended_without = other.proto     a file that the mended case has not
    same = yes                       the mended files are the same
    dialect = gnu                    the standards are those of -std=gnu++17 and its
                                     like, which the compilers take by themselves
    alone = yes                      headers ahead of the case's own would change
                                     what is seen (optional)
    link = use.cc other.pb.cc        the limit is met when use.cc is linked, with
                                     files of message code if it needs them

    [g++] and [clang++]              absent: nothing is compiled
    fails = 11 20                    standards at which the compilation fails
    works = 17                       standards at which it does not
    error = changes meaning          regular expressions, all of which some
                                     error line matches at each of `fails`

    [protoc]                         protoc refuses the case
    error = ...

    [plugin]                         the plugin is run by hand
    arguments = --version
    error = ...

    [lint]                           what the linter says (../../lint/cases_test.py)
    finding = api.proto:9:3: error [method-keyword] at 20

Keys that take lines, replacements or expressions take one a line; a line that
begins with # is a comment. The mended case, or a standard at which the case
works, is tried too: a failure counts only if the limit is its cause.

The compilation of protobuf's headers is what the time goes into. So each begins with
the headers that the matrix prebuilds; and a row that holds at every standard is tried
with g++ at the oldest and the newest, and with clang++ at one between; one that does
not hold everywhere is tried at all four.
"""

import configparser
import pathlib
import re

import pytest

from support.commands import run
from support.refusal import Attempt, Compilation, Link, expect_refused_for_its_cause
from support.toolchain import Toolchain

CASES = sorted(pathlib.Path(__file__).parent.glob("cases/*"))
KEYS = {
    "case": {"row", "option", "out_option", "protoc", "line", "same", "link", "dialect"}
    | {"alone", "series", "mend", "mended_option", "mended_line", "mended_without"},
    "g++": {"fails", "works", "error"},
    "clang++": {"fails", "works", "error"},
    "protoc": {"error"},
    "plugin": {"arguments", "error"},
    "lint": {"finding", "mended_finding"},
}
COMPILERS = ("g++", "clang++")


class Case:
    """What a case.ini says, checked."""

    def __init__(self, folder):
        self.folder = folder
        self.parser = configparser.ConfigParser(interpolation=None, delimiters=("=",))
        self.parser.read(folder / "case.ini")
        self.check_keys()
        self.mends = [self._pair(text, "=>") for text in self.many("mend")]
        self.series = [self._pair(text, "=>") for text in self.many("series")]
        self.has_mended = bool(self.mends) or any(
            self.one(key) is not None for key in ("mended_option", "mended_without")
        )
        self.compilers = [c for c in COMPILERS if self.parser.has_section(c)]
        self.check_that_it_can_fail()

    def check_keys(self):
        """Fails if the case says what nobody reads."""
        for section in self.parser.sections():
            assert section in KEYS
            assert set(self.parser[section]) <= KEYS[section]

    def check_that_it_can_fail(self):
        """Fails if the case expects nothing, or has nothing to compare with."""
        about_mended = bool(self.many("mended_line") or self.one("same"))
        sections = set(self.parser.sections()) - {"case", "lint"}
        assert sections or about_mended, "it expects nothing"
        assert self.has_mended or not about_mended, "it does not say how to mend the case"
        for section in sections:
            needs_error = section not in COMPILERS or bool(self.many("fails", section))
            # A compiler's error needs `fails`.
            assert bool(self.many("error", section)) == needs_error, section
            is_compared = self.has_mended or self.many("works", section)
            assert is_compared or not needs_error or section == "plugin", section

    def one(self, key, section="case"):
        return self.parser.get(section, key, fallback=None)

    def many(self, key, section="case"):
        text = self.one(key, section) or ""
        if key in ("fails", "works"):
            return text.split()
        return [line for line in text.splitlines() if line.strip()]

    def lines(self, key):
        return [self._pair(text, "|") for text in self.many(key)]

    def _pair(self, text, separator):
        left, found, right = text.partition(separator)
        assert found, f"no '{separator}' in '{text}'"
        return left.strip(), right.strip()


class Trial:
    """One copy of the case's files, as they stand or mended, and what the tools
    make of it."""

    def __init__(self, case, built, source, directory, mended):
        self.case, self.built, self.source, self.mended = case, built, source, mended
        self.name = "the mended case" if mended else "the case"
        self.directory = directory
        for part in ("in", "messages", "rpc"):
            (directory / part).mkdir(parents=True)
        unused = {old for old, _ in case.mends} if mended else set()
        left_out = ("case.ini", case.one("mended_without") if mended else None)
        for path in sorted(case.folder.iterdir()):
            if path.name in left_out:
                continue
            text = path.read_text()
            for line, count in case.series:
                lines = [line.replace("#", str(number)) for number in range(int(count))]
                text = text.replace(line, "\n".join(lines))
            for old, new in case.mends if mended else []:
                if old in text:
                    unused.discard(old)
                    text = text.replace(old, new)
            (directory / "in" / path.name).write_text(text)
        assert not unused, "no file of the case holds that"
        self.protos = sorted(path.name for path in (directory / "in").glob("*.proto*"))
        self.prefixes = built.build / "tests/compile/matrix/prefix"

    def generation(self):
        """The run of protoc with our plugin."""
        option = self.case.one("option")
        out = self.case.one("out_option")
        if self.mended and self.case.one("mended_option") is not None:
            option, out = self.case.one("mended_option"), None
        command = [
            self.built.protoc,
            "-Iin",
            f"-I{self.source}/proto",
            f"--plugin=protoc-gen-qarn-rpc={self.built.plugin}",
            f"--qarn-rpc_out={out + ':' if out else ''}rpc",
        ]
        if option:
            command.append(f"--qarn-rpc_opt={option}")
        return Attempt(f"{self.name}, given to protoc,", command + self.protos, self.directory)

    def has_line(self, name, text):
        path = self.directory / "rpc" / name
        return path.is_file() and any(
            line.strip() == text for line in path.read_text().splitlines()
        )

    def require_lines(self, key):
        for name, text in self.case.lines(key):
            assert self.has_line(name, text), f"{self.name}: no line '{text}' in {name}"

    def generated(self):
        """The generated files: name to text."""
        return {path.name: path.read_text() for path in (self.directory / "rpc").iterdir()}

    def generate_messages(self):
        protos = [*self.protos, "morvane/qarn/rpc/service_options.proto"]
        command = [self.built.protoc, "-Iin", f"-I{self.source}/proto", "--cpp_out=messages"]
        run(command + protos, cwd=self.directory)

    def compilation(self, compiler, standard):
        """The run of the compiler; with the linker, if the case is about that."""
        unit = "in/use.cc"
        if not (self.directory / unit).is_file():
            unit = "rpc/api.rpc.cpp"
        own_includes = any(self.case.one(key) for key in ("alone", "dialect", "link"))
        prefix = None if own_includes else self.prefixes / f"{compiler}-c++{standard}"
        toolchain = Toolchain(
            self.built.compilers[compiler]["path"],
            f"{self.case.one('dialect') or 'c'}++{standard}",
            self.built.system_folders,
            prefix,
        )
        command = toolchain.compilation(
            unit, ["rpc", self.source / "examples/runtime"], ["messages"]
        )
        if compiler == "clang++":
            command.append("-ferror-limit=0")  # a case may show many errors
        what = f"{self.name} with {compiler} at C++{standard}"
        if not self.case.one("link"):
            return Compilation(what, command, self.directory)
        units = [f"messages/{name}" for name in self.case.one("link").split()[1:]]
        command = [word for word in command if word != "-fsyntax-only"]
        command += [*units, *self.built.libraries, "-pthread", "-o", "program"]
        return Link(what, command, self.directory)


def check_plugin(case, built):
    """The plugin, called by hand, must refuse its arguments."""
    command = [built.plugin, *case.one("arguments", "plugin").split()]
    expect_refused_for_its_cause(
        refused=[Attempt("the plugin, called by hand,", command)],
        accepted=[],
        patterns=case.many("error", "plugin"),
    )


def check_compilers(case, built, trial, mended):
    present = [c for c in case.compilers if c in built.compilers]
    if not present:
        pytest.skip("none of the compilers of this case is here")
    trial.generate_messages()
    if mended:
        mended.generate_messages()
    for compiler in present:
        fails = case.many("fails", compiler)
        accepted = [
            trial.compilation(compiler, standard) for standard in case.many("works", compiler)
        ]
        if mended and fails:
            accepted.insert(0, mended.compilation(compiler, fails[0]))
        if fails:
            expect_refused_for_its_cause(
                refused=[trial.compilation(compiler, standard) for standard in fails],
                accepted=accepted,
                patterns=case.many("error", compiler),
            )
        else:
            for attempt in accepted:
                attempt.expect_accepted()
    for compiler in sorted(set(case.compilers) - set(present)):
        print(f"not tried: there is no {compiler} here")


@pytest.mark.parametrize("folder", CASES, ids=lambda folder: folder.name)
def test_limit(folder, built, source, tmp_path):
    case = Case(folder)
    version = case.one("protoc")
    if version:
        found = run([built.protoc, "--version"])
        if not re.search(r"libprotoc " + version, found):
            pytest.skip(f"the case is about another protoc: {found}")
    if case.parser.has_section("plugin"):
        check_plugin(case, built)
    mended = None
    if case.has_mended:
        mended = Trial(case, built, source, tmp_path / "mended", True)
        mended.generation().expect_accepted()
        mended.require_lines("mended_line")
    trial = Trial(case, built, source, tmp_path / "plain", False)
    if case.parser.has_section("protoc"):
        # The mended case was generated above.
        expect_refused_for_its_cause(
            refused=[trial.generation()], accepted=[], patterns=case.many("error", "protoc")
        )
        assert not trial.generated(), "protoc refuses the case, but files were written"
        return
    trial.generation().expect_accepted()
    trial.require_lines("line")
    for name, text in case.lines("mended_line"):
        assert not trial.has_line(name, text), f"the case holds '{text}' in {name}, too"
    if case.one("same"):
        assert trial.generated() == mended.generated()
    if case.compilers:
        check_compilers(case, built, trial, mended)
