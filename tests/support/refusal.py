"""Must fail, and does not when mended: the check that a tool refuses its input,
and for no other reason than the one that is meant.

An error counts only if something that differs from it by the cause alone is
accepted, and if the words of the error are those of the cause.
"""

import os
import re
import shlex
import subprocess


class Attempt:
    """One run of a tool.

    what: names it in messages, such as "the mended case with g++ at C++11".
    command: a list; folder: where it runs.
    """

    def __init__(self, what, command, folder=None):
        self.what, self.folder = what, folder
        self.command = [str(word) for word in command]

    def run(self):
        """Returns the status and all that was printed."""
        # The C locale gives the compilers' messages plain quotes.
        done = subprocess.run(
            self.command,
            cwd=self.folder,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            env={**os.environ, "LC_ALL": "C"},
            check=False,
            encoding="utf-8",
            errors="replace",
        )
        return done.returncode, done.stdout

    def about(self, what, output):
        """The text about a run that went wrong."""
        return f"{self.what} {what}\n  command: {shlex.join(self.command)}\n{output}"

    def expect_accepted(self):
        """Fails unless the tool accepts its input."""
        status, output = self.run()
        assert status == 0, self.about("is refused, and must not be", output)

    def expect_refused(self, patterns):
        """Fails unless the tool refuses its input and each of the patterns
        matches a line of its errors."""
        status, output = self.run()
        assert status != 0, self.about("is accepted, and must not be", output)
        self.check_cause(output)
        lines = self.error_lines(output)
        unmatched = [pattern for pattern in patterns if not has_match(lines, pattern)]
        assert not unmatched, self.about(f"is refused, but no error matches {unmatched}", output)

    def check_cause(self, output):
        """Fails if another tool than this one refused."""

    def error_lines(self, output):
        """protoc and the linker have no word that marks all their errors."""
        return output.splitlines()


class Compilation(Attempt):
    """A run of g++ or clang++."""

    def error_lines(self, output):
        """A line that only quotes source text does not count."""
        return [line for line in output.splitlines() if "error" in line]


class Link(Attempt):
    """A run of g++ or clang++ that compiles and then links."""

    def check_cause(self, output):
        """It must be the linker that refuses, not the compiler."""
        of_linker = ("error: linker command", "error: ld returned")
        of_compiler = [
            line
            for line in output.splitlines()
            if re.search(r": (fatal )?error: ", line)
            and not any(words in line for words in of_linker)
        ]
        assert not of_compiler, self.about("does not even compile", output)


def has_match(lines, pattern):
    """Whether the pattern matches one of the lines."""
    return any(re.search(pattern, line) for line in lines)


def expect_refused_for_its_cause(refused, accepted, patterns):
    """Fails unless each of the attempts `accepted` succeeds, which have not the
    cause, and each of `refused` fails with errors that match the patterns."""
    assert refused and patterns, "nothing is refused, or for no reason"
    for attempt in accepted:
        attempt.expect_accepted()
    for attempt in refused:
        attempt.expect_refused(patterns)
