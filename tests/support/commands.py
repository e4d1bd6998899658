"""Commands that a test runs."""

import os
import shlex
import subprocess


def run(command, cwd=None, env=None, status=0, stdin=None, merge=True, text=True):
    """Runs the command, a list, and returns what it printed.

    env: is added to the environment; its values may be paths.
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
            env={**os.environ, **{name: str(value) for name, value in (env or {}).items()}},
            stdin=stdin_file,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT if merge else subprocess.PIPE,
            check=False,
        )
    if done.returncode != status if status is not None else done.returncode == 0:
        expected = "which must fail" if status is None else f"expected {status}"
        printed = (done.stdout + (done.stderr or b"")).decode(errors="replace")
        text = f"status {done.returncode}, {expected}: {shlex.join(command)}\n{printed}"
        raise AssertionError(text)
    return done.stdout.decode(errors="replace") if text else done.stdout


def words(text):
    """The text with each run of blanks and line breaks as one blank: CMake breaks
    the lines of its messages."""
    return " ".join(text.split())
