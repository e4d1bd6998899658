"""The plugin's output does not depend on where and how it is started.

Whatever the locale, the working directory and the environment: the response is
the same, byte for byte. File names of any length and script are kept. And the
plugin touches nothing but its standard streams.
"""

import os
import pathlib
import re
import subprocess
import tempfile

import pytest

from robustness.reliability.wire import (
    Response,
    echo_request,
    file,
    message,
    method,
    request,
    service,
)
from support.commands import run

# "i" is upper-cased in the macros' names; in Turkish it would become another
# letter than "I".
ECHO = request(
    {
        "i/echo.proto": file(
            "i/echo.proto", "i.I", [message("M")], [service("Title_i", [method("i", ".i.I.M")])]
        )
    }
)


@pytest.fixture(name="expect_same")
def fixture_expect_same(plugin):
    """Runs the plugin and fails unless it responds as it does without ado."""
    expected = plugin.run(ECHO)
    assert expected.status == 0
    header = Response(expected.out).files["i/echo.rpc.h"]
    assert b"#define TITLE_I Title_i\n" in bytes(header)

    def expect_same(**options):
        result = plugin.run(ECHO, **options)
        assert (result.status, result.err, result.out) == (0, b"", expected.out)

    return expect_same


@pytest.mark.parametrize("locale", ["C", "C.UTF-8", "no_SUCH"])
def test_locales(expect_same, locale):
    expect_same(env={**os.environ, "LC_ALL": locale})


@pytest.mark.needs("localedef", package="locales")
def test_turkish_locale(expect_same, tmp_path):
    if not os.path.exists("/usr/share/i18n/locales/tr_TR"):
        pytest.skip("cannot make tr_TR.UTF-8: Debian's package 'locales' is missing")
    run(["localedef", "-i", "tr_TR", "-f", "UTF-8", tmp_path / "tr_TR.UTF-8"])
    environment = {**os.environ, "LC_ALL": "tr_TR.UTF-8", "LOCPATH": str(tmp_path)}
    # The locale is there: a program that asks for it gets it.
    assert run(["locale", "charmap"], env=environment) == "UTF-8\n"
    expect_same(env=environment)


def test_no_environment(expect_same):
    expect_same(env={})


@pytest.mark.parametrize("name", ["TMPDIR", "HOME", "TZ", "PWD", "MALLOC_PERTURB_"])
def test_hostile_environment(expect_same, name):
    expect_same(env={**os.environ, name: "255"})


def test_another_working_directory(expect_same):
    expect_same(cwd="/")


def test_read_only_working_directory(expect_same):
    # Read-only also for root, which permissions would not stop.
    with pytest.raises(OSError):
        pathlib.Path("/proc/qarn_rpc_test").write_text("")
    expect_same(cwd="/proc")


def test_working_directory_that_is_gone(expect_same, tmp_path):
    folder = tmp_path / "gone"
    folder.mkdir()
    expect_same(shell='rmdir "$PWD"; exec "$0"', cwd=folder)


def test_closed_standard_error(expect_same, plugin):
    expect_same(shell='exec "$0" 2>&-')
    # An error is the status alone; it must not land in the response.
    result = plugin.run(ECHO[:-1], shell='exec "$0" 2>&-')
    assert (result.status, result.out) == (1, b"")


NAMES = {
    "200 components": "d/" * 199 + "echo.proto",
    "4,000 bytes": ("d" * 199 + "/") * 19 + "e" * 194 + ".proto",
    "two-byte letters": "\u00e9t\u00e9/\u00e7a.proto",
    "three-byte letters": "\u65e5\u672c/\u8a9e.proto",
    "four-byte letters": "\U0001f600.proto",
    "blanks and quotes": 'a b/it\'s "c".proto',
}


@pytest.mark.parametrize("what", NAMES)
def test_names_in_a_request(plugin, what):
    name = NAMES[what]
    result = plugin.run(echo_request(name=name))
    assert result.status == 0
    base = name[: -len(".proto")]
    response = Response(result.out)
    assert list(response.files) == [base + ".rpc.h", base + ".rpc.cpp"]
    header = bytes(response.files[base + ".rpc.h"]).decode()
    assert f"// source: {name}\n" in header
    assert f'#include "{base}.pb.h"\n' in header


@pytest.mark.parametrize("what", NAMES)
def test_names_through_protoc(plugin, what):
    # protoc writes below its output folder, so the path gets longer; the folder that
    # pytest has for a test is too long already.
    name = NAMES[what]
    echo = service("Echo", [method("Ping", ".M")])
    with tempfile.TemporaryDirectory(prefix="qarn_rpc_test_") as folder:
        folder = pathlib.Path(folder)
        result = plugin.run_protoc({name: file(name, "", [message("M")], [echo])}, folder)
        assert result.status == 0, result
        out = folder / "out"
        written = sorted(str(path.relative_to(out)) for path in out.rglob("*") if path.is_file())
    base = name[: -len(".proto")]
    assert written == [base + ".rpc.cpp", base + ".rpc.h"]


@pytest.mark.needs("strace")
def test_opens_no_file_and_no_connection(plugin, no_sanitizers, tmp_path):
    trace = tmp_path / "trace"
    (tmp_path / "request").write_bytes(ECHO)
    with open(tmp_path / "request", "rb") as stream:
        done = subprocess.run(
            ["strace", "-f", "-o", trace, plugin.path],
            stdin=stream,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            check=False,
            timeout=60,
        )
    if not trace.exists() or b"ptrace" in done.stderr:
        pytest.skip("strace may not trace here")
    assert done.returncode == 0, done.stderr
    calls = [line.split(None, 1)[1] for line in trace.read_text(errors="replace").splitlines()]
    forbidden = r"(socket|connect|bind|clone|clone3|fork|vfork|unlink|rename|mkdir)\("
    assert [call for call in calls if re.match(forbidden, call)] == []
    opened = [
        (match[1], call)
        for call in calls
        for match in [re.match(r'open(?:at)?\([^"]*"([^"]*)"', call)]
        if match and not call.rstrip().endswith("(No such file or directory)")
    ]
    for path, call in opened:
        # What the loader maps before main.
        assert re.search(r"^/etc/ld\.so\.|\.so(\.[0-9.]+)?$", path), call
        assert "O_RDONLY" in call
    # The last thing a run does with files is to write the response.
    assert any(call.startswith("write(1,") for call in calls)
