#!/usr/bin/env python3
"""Shows that one row of docs/limits.md is true.

    run_case.py --protoc P --plugin P --include DIR... --runtime DIR
                [--system-include DIR...] [--library FILE...]
                [--compiler g++=PATH] [--compiler clang++=PATH] CASE_FOLDER

A case is a folder with an api.proto that shows the limit, other files that it
needs (.proto files; a use.cc when the limit is met by code that uses the
generated code), and a case.ini that says what is seen:

    [case]
    option = services_namespace=api  given with --qarn-rpc_opt (optional)
    out_option = ...                 given in front of the folder in
                                     --qarn-rpc_out (optional)
    protoc = 3\\.                     the case holds only for a protoc of this
                                     version (a regular expression, optional)
    line = api.rpc.h | Echo(         lines that the generated files hold
    mend = rpc Echo( => rpc Ping(    replacements, made in all files of the
                                     folder, that take the limit away
    mended_option = ...              the option of the mended case (optional)
    mended_line = api.rpc.h | Ping(  lines of the mended files, and not of the
                                     others (optional)
    mended_without = other.proto     a file that the mended case has not
    same = yes                       the mended files are the same
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

Keys that take lines, replacements or expressions take one a line; a line that
begins with # is a comment. The mended case, or a standard at which the case
works, is tried too: a failure counts only if the limit is its cause.

The compilation of protobuf's headers is what the time goes into. So a row that
holds at every standard is tried with g++ at the oldest and the newest, and with
clang++ at one between; one that does not hold everywhere is tried at all four.

Exit status: 0 the row is true, 1 it is not, 2 the case or the call is wrong,
77 it cannot be tried here.
"""

import argparse
import configparser
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

FLAGS = ["-Wall", "-Wextra", "-Wpedantic", "-Wshadow", "-Wnon-virtual-dtor",
         "-Werror"]
KEYS = {
    "case": {"option", "out_option", "protoc", "line", "mend", "mended_option",
             "mended_line", "mended_without", "same", "link"},
    "g++": {"fails", "works", "error"},
    "clang++": {"fails", "works", "error"},
    "protoc": {"error"},
    "plugin": {"arguments", "error"},
}
COMPILERS = ("g++", "clang++")


class Untrue(Exception):
    """The case does not show what it says."""


class Broken(Exception):
    """The case or the call is wrong."""


class Skipped(Exception):
    """The case cannot be tried on this machine."""


def run(command, directory):
    """Runs a command; returns its status and all that it printed."""
    # The C locale gives the compilers' messages plain quotes.
    done = subprocess.run(command, cwd=directory, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          env={**os.environ, "LC_ALL": "C"}, check=False,
                          encoding="utf-8", errors="replace")
    return done.returncode, done.stdout


def report(what, command, output):
    return f"{what}\n  command: {' '.join(map(str, command))}\n{output}"


def require_errors(what, patterns, command, output):
    """Each pattern must match a line that is an error, not one that only
    quotes source text."""
    # protoc and the linker have no word that marks all their errors.
    marked = [line for line in output.splitlines() if "error" in line]
    lines = marked if " -std=" in " ".join(command) else output.splitlines()
    for pattern in patterns:
        if not any(re.search(pattern, line) for line in lines):
            raise Untrue(report(f"{what} fails, but no error matches "
                                f"'{pattern}'", command, output))


class Case:
    """What a case.ini says, checked."""

    def __init__(self, folder):
        self.folder = folder
        parser = configparser.ConfigParser(interpolation=None,
                                           delimiters=("=",))
        ini = folder / "case.ini"
        if not ini.is_file() or not (folder / "api.proto").is_file():
            raise Broken(f"{folder} needs a case.ini and an api.proto")
        parser.read(ini, encoding="utf-8")
        for section in parser.sections():
            unknown = set(parser[section]) - KEYS.get(section, set())
            if section not in KEYS or unknown:
                raise Broken(f"{ini}: unknown in [{section}]: "
                             f"{', '.join(sorted(unknown)) or 'the section'}")
        self.parser = parser
        self.mends = [self._pair(text, "=>") for text in self.many("mend")]
        self.has_mended = bool(self.mends) or any(
            self.one(key) is not None
            for key in ("mended_option", "mended_without"))
        self.compilers = [c for c in COMPILERS if parser.has_section(c)]
        if not (self.compilers or parser.has_section("protoc") or
                parser.has_section("plugin") or self.many("mended_line") or
                self.one("same")):
            raise Broken(f"{ini} expects nothing")
        if not self.has_mended and (self.many("mended_line") or
                                    self.one("same")):
            raise Broken(f"{ini} says nothing about how to mend the case")
        for section in parser.sections():
            if section == "case":
                continue
            needs_error = section not in COMPILERS or self.many("fails", section)
            if bool(self.many("error", section)) != bool(needs_error):
                raise Broken(f"{ini}: [{section}] needs an error, "
                             "and a compiler's error needs `fails`")
            if (needs_error and section != "plugin" and
                    not self.has_mended and not self.many("works", section)):
                raise Broken(f"{ini}: [{section}] has nothing to compare with")

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
        if not found:
            raise Broken(f"{self.folder}: no '{separator}' in '{text}'")
        return left.strip(), right.strip()


class Trial:
    """One copy of the case's files, as they stand or mended, and what the tools
    make of it."""

    def __init__(self, case, tools, directory, mended):
        self.case, self.tools, self.mended = case, tools, mended
        self.name = "the mended case" if mended else "the case"
        self.directory = directory
        for part in ("in", "messages", "rpc"):
            (directory / part).mkdir(parents=True)
        unused = {old for old, _ in case.mends} if mended else set()
        for source in sorted(case.folder.iterdir()):
            if (source.name == "case.ini" or
                    mended and source.name == case.one("mended_without")):
                continue
            text = source.read_text(encoding="utf-8")
            for old, new in case.mends if mended else []:
                if old in text:
                    unused.discard(old)
                    text = text.replace(old, new)
            (directory / "in" / source.name).write_text(text, encoding="utf-8")
        if unused:
            raise Broken(f"no file of the case holds '{unused.pop()}'")
        self.protos = sorted(
            path.name for path in (directory / "in").glob("*.proto*"))

    def generate(self):
        """Runs protoc with our plugin; returns the command, its status and
        what it printed."""
        option = self.case.one("option")
        out = self.case.one("out_option")
        if self.mended and self.case.one("mended_option") is not None:
            option, out = self.case.one("mended_option"), None
        command = [self.tools.protoc, "-Iin"]
        command += [f"-I{path}" for path in self.tools.include]
        command += [f"--plugin=protoc-gen-qarn-rpc={self.tools.plugin}",
                    f"--qarn-rpc_out={out + ':' if out else ''}rpc"]
        if option:
            command.append(f"--qarn-rpc_opt={option}")
        command += self.protos
        return (command, *run(command, self.directory))

    def require_generated(self):
        command, status, output = self.generate()
        if status != 0:
            raise Untrue(report(f"{self.name} is not generated", command,
                                output))

    def has_line(self, name, text):
        path = self.directory / "rpc" / name
        return path.is_file() and any(
            line.strip() == text
            for line in path.read_text(encoding="utf-8").splitlines())

    def require_lines(self, key):
        for name, text in self.case.lines(key):
            if not self.has_line(name, text):
                raise Untrue(f"{self.name}: no line '{text}' in {name}")

    def generated(self):
        """The generated files: name to text."""
        return {path.name: path.read_text(encoding="utf-8")
                for path in (self.directory / "rpc").iterdir()}

    def generate_messages(self):
        command = [self.tools.protoc, "-Iin"]
        command += [f"-I{path}" for path in self.tools.include]
        command += ["--cpp_out=messages", *self.protos,
                    "morvane/qarn/rpc/service_options.proto"]
        status, output = run(command, self.directory)
        if status != 0:
            raise Untrue(report(f"{self.name}: no message code", command,
                                output))

    def compile(self, compiler, standard):
        """Returns the command, its status and what it printed."""
        use = "in/use.cc"
        unit = (use if (self.directory / use).is_file() else "rpc/api.rpc.cpp")
        command = [self.tools.compiler[compiler], f"-std=c++{standard}", *FLAGS,
                   "-isystem", "messages", "-Irpc", f"-I{self.tools.runtime}"]
        if compiler == "clang++":
            command.append("-ferror-limit=0")  # a case may show many errors
        for path in self.tools.system_include:
            command += ["-isystem", path]
        if self.case.one("link"):
            units = [f"messages/{name}"
                     for name in self.case.one("link").split()[1:]]
            command += ["-O0", unit, *units, *self.tools.library, "-pthread",
                        "-o", "program"]
        else:
            command += ["-fsyntax-only", unit]
        return (command, *run(command, self.directory))

    def require_compiled(self, compiler, standard):
        command, status, output = self.compile(compiler, standard)
        if status != 0:
            raise Untrue(report(
                f"{self.name} does not compile with {compiler} "
                f"at C++{standard}", command, output))

    def require_not_compiled(self, compiler, standard):
        command, status, output = self.compile(compiler, standard)
        what = f"{self.name} with {compiler} at C++{standard}"
        if status == 0:
            raise Untrue(report(f"{what} compiles: the limit is gone, or the "
                                "case does not meet it", command, output))
        patterns = self.case.many("error", compiler)
        if self.case.one("link"):
            # It must be the linker that refuses, not the compiler.
            if re.search(r": (fatal )?error: ", output.replace(
                    "error: linker command", "").replace(
                    "error: ld returned", "")):
                raise Untrue(report(f"{what} does not even compile", command,
                                    output))
            command = [part for part in command
                       if not part.startswith("-std=")]
        require_errors(what, patterns, command, output)


def check_plugin(case, tools):
    """The plugin, called by hand, must refuse its arguments."""
    command = [tools.plugin, *case.one("arguments", "plugin").split()]
    status, output = run(command, ".")
    if status == 0:
        raise Untrue(report("the plugin accepts its arguments", command,
                            output))
    require_errors("the plugin", case.many("error", "plugin"), command, output)


def check_compilers(case, tools, trial, mended):
    present = [c for c in case.compilers if c in tools.compiler]
    if case.compilers and not present:
        raise Skipped("none of the compilers of this case is here")
    trial.generate_messages()
    if mended:
        mended.generate_messages()
    for compiler in present:
        fails = case.many("fails", compiler)
        if mended and fails:
            mended.require_compiled(compiler, fails[0])
        for standard in case.many("works", compiler):
            trial.require_compiled(compiler, standard)
        for standard in fails:
            trial.require_not_compiled(compiler, standard)
    for compiler in sorted(set(case.compilers) - set(present)):
        print(f"not tried: there is no {compiler} here")


def check(case, tools, directory):
    version = case.one("protoc")
    if version:
        found = run([tools.protoc, "--version"], directory)[1]
        if not re.search(r"libprotoc " + version, found):
            raise Skipped(f"the case is about another protoc: {found}")
    if case.parser.has_section("plugin"):
        check_plugin(case, tools)
    mended = None
    if case.has_mended:
        mended = Trial(case, tools, directory / "mended", True)
        mended.require_generated()
        mended.require_lines("mended_line")
    trial = Trial(case, tools, directory / "plain", False)
    if case.parser.has_section("protoc"):
        command, status, output = trial.generate()
        if status == 0:
            raise Untrue(report("protoc accepts the case", command, output))
        require_errors("the case", case.many("error", "protoc"), command,
                       output)
        if any((directory / "plain" / "rpc").iterdir()):
            raise Untrue("protoc refuses the case, but files were written")
        return
    trial.require_generated()
    trial.require_lines("line")
    for name, text in case.lines("mended_line"):
        if trial.has_line(name, text):
            raise Untrue(f"the case holds '{text}' in {name}, too")
    if case.one("same") and trial.generated() != mended.generated():
        raise Untrue("the generated files are not those of the mended case")
    if case.compilers:
        check_compilers(case, tools, trial, mended)


def parse_arguments():
    parser = argparse.ArgumentParser(description="Tries one known limit.")
    parser.add_argument("--protoc", required=True)
    parser.add_argument("--plugin", required=True)
    parser.add_argument("--include", action="append", default=[],
                        help="where the options schema is imported from")
    parser.add_argument("--runtime", required=True,
                        help="the folder that holds qarn/rpc.h")
    parser.add_argument("--system-include", action="append", default=[])
    parser.add_argument("--library", action="append", default=[])
    parser.add_argument("--compiler", action="append", default=[],
                        metavar="NAME=PATH")
    parser.add_argument("case", type=pathlib.Path)
    tools = parser.parse_args()
    pairs = [text.partition("=") for text in tools.compiler]
    for name, _, path in pairs:
        if name not in COMPILERS or not shutil.which(path):
            parser.error(f"--compiler {name}={path}: the name is one of "
                         f"{', '.join(COMPILERS)}, the path a program")
    tools.compiler = {name: path for name, _, path in pairs}
    # The default folder must keep its place: named again as a system folder, it
    # hides the C++ library's wrappers of C headers.
    tools.system_include = [path for path in tools.system_include
                            if path and path.rstrip("/") != "/usr/include"]
    return tools


def main():
    tools = parse_arguments()
    try:
        with tempfile.TemporaryDirectory() as directory:
            check(Case(tools.case), tools, pathlib.Path(directory))
    except Untrue as failure:
        print(f"FAILED {tools.case.name}: {failure}")
        return 1
    except (Broken, configparser.Error) as failure:
        print(f"BROKEN {tools.case.name}: {failure}")
        return 2
    except Skipped as reason:
        print(f"SKIPPED {tools.case.name}: {reason}")
        return 77
    return 0


if __name__ == "__main__":
    sys.exit(main())
