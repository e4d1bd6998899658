"""What every test script needs: run a command, fail, skip, end.

The scripts are modules below tests/, and ctest starts them there:
`python3 -B -m compile.matrix.matrix ARGUMENT...`. So they import each other by
their paths below tests/, as the C++ files include each other.
"""

import os
import pathlib
import shlex
import shutil
import subprocess
import sys

TESTS = pathlib.Path(__file__).resolve().parents[1]

# The exit statuses of a script. CMake knows SKIPPED by SKIP_RETURN_CODE.
PASSED, FAILED, MISUSED, SKIPPED = 0, 1, 2, 77


class Failure(Exception):
    """What a test found wrong; its text is all that the reader gets."""


class Skip(Exception):
    """What the test needs is not here; the text says what."""


class Misuse(Exception):
    """The call of the script, or a file that describes a case, is wrong."""


def status_of(test, *arguments):
    """Calls the test and returns the script's exit status. A text that the test
    raises is printed."""
    try:
        test(*arguments)
    except Skip as skip:
        print("skipped:", skip)
        return SKIPPED
    except Failure as failure:
        print("FAILED:", failure)
        return FAILED
    except Misuse as misuse:
        print(misuse, file=sys.stderr)
        return MISUSED
    return PASSED


def need(*tools, package=None):
    """Skips the test unless all `tools` are on the PATH. `package` is Debian's
    name for what they come in, if it is another."""
    for tool in tools:
        if not shutil.which(tool):
            raise Skip(f"{tool} is not installed (Debian's package {package or tool})")


def described(what, command, output):
    """The text about a command that went wrong."""
    return f"{what}\n  command: {shlex.join(map(str, command))}\n{output}"


def run(command, cwd=None, env=None, status=0, stdin=None, merge=True, text=True):
    """Runs the command, a list, and returns what it printed.

    env: is added to the environment.
    status: the test fails unless the command ends with it; None takes any but 0.
    stdin: the path of a file; without one the command reads nothing.
    merge: whether the standard error is returned with the output, or left out.
    text: whether the output is text, or bytes.
    """
    command = [str(word) for word in command]
    print("$", shlex.join(command), flush=True)
    with open(stdin or os.devnull, "rb") as stdin_file:
        done = subprocess.run(
            command,
            cwd=cwd,
            env={**os.environ, **(env or {})},
            stdin=stdin_file,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT if merge else subprocess.PIPE,
            check=False,
        )
    if done.returncode != status if status is not None else done.returncode == 0:
        expected = "which must fail" if status is None else f"expected {status}"
        printed = (done.stdout + (done.stderr or b"")).decode(errors="replace")
        raise Failure(described(f"status {done.returncode}, {expected}", command, printed))
    return done.stdout.decode(errors="replace") if text else done.stdout


def expect(what, actual, expected):
    """Fails unless `actual` equals `expected`; sets are shown by difference."""
    if actual == expected:
        return
    if isinstance(expected, set):
        raise Failure(
            f"{what}:\n  not expected: {sorted(actual - expected)}"
            f"\n  missing: {sorted(expected - actual)}"
        )
    raise Failure(f"{what}: expected\n{expected}\nbut got\n{actual}")


def expect_in(what, text, part):
    """Fails unless `part` occurs in `text`, whatever their line breaks are."""
    if " ".join(part.split()) not in " ".join(text.split()):
        raise Failure(f"{what}: expected this text\n{part}\nin\n{text}")


def fresh_folder(path):
    """Makes `path` an empty folder and returns it."""
    shutil.rmtree(path, ignore_errors=True)
    os.makedirs(path)
    return path


def write(path, text):
    """Writes a file and the folders above it; returns its path."""
    path = pathlib.Path(path)
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text, encoding="utf-8")
    return path
