"""The plugin's output does not depend on where and how it is started.

Whatever the locale, the working directory and the environment: the response is
the same, byte for byte. File names of any length and script are kept. And the
plugin touches nothing but its standard streams.
"""

import os
import re
import shutil
import subprocess
import unittest

from robustness.reliability.plugin import (
    BUILD_FOLDER,
    PLUGIN,
    PluginTest,
    files_below,
    has_sanitizers,
    main,
    run,
    run_protoc,
)
from robustness.reliability.wire import (
    Response,
    echo_request,
    file,
    message,
    method,
    request,
    service,
)
from support import testkit

# "i" is upper-cased in the macros' names; in Turkish it would become another
# letter than "I".
ECHO = request(
    {
        "i/echo.proto": file(
            "i/echo.proto", "i.I", [message("M")], [service("Title_i", [method("i", ".i.I.M")])]
        )
    }
)


def turkish_locale():
    """A folder for LOCPATH with tr_TR.UTF-8 in it, or None.

    It is made in the build folder, so that nothing of the machine changes.
    """
    folder = os.path.join(BUILD_FOLDER, "locales")
    made = os.path.join(folder, "tr_TR.UTF-8")
    if not os.path.isdir(made):
        if not shutil.which("localedef") or not os.path.exists("/usr/share/i18n/locales/tr_TR"):
            return None
        os.makedirs(folder, exist_ok=True)
        testkit.run(["localedef", "-i", "tr_TR", "-f", "UTF-8", made])
    return folder


class EnvironmentTest(PluginTest):
    def setUp(self):
        self.expected = run(ECHO)
        self.assertEqual(self.expected.status, 0, self.expected)
        header = Response(self.expected.out).files["i/echo.rpc.h"]
        self.assertIn(b"#define TITLE_I Title_i\n", bytes(header))

    def assert_same(self, what, result):
        self.record(what, result)
        self.assertEqual((result.status, result.err, result.out), (0, b"", self.expected.out))

    def test_locales(self):
        for locale in ("C", "C.UTF-8", "no_SUCH"):
            self.assert_same("LC_ALL=" + locale, run(ECHO, env=dict(os.environ, LC_ALL=locale)))

    def test_turkish_locale(self):
        folder = turkish_locale()
        if folder is None:
            self.skipTest("cannot make tr_TR.UTF-8: Debian's package 'locales' is missing")
        environment = dict(os.environ, LC_ALL="tr_TR.UTF-8", LOCPATH=folder)
        # The locale is there: a program that asks for it gets it.
        self.assertEqual(testkit.run(["locale", "charmap"], env=environment), "UTF-8\n")
        self.assert_same("LC_ALL=tr_TR.UTF-8", run(ECHO, env=environment))

    def test_no_environment(self):
        self.assert_same("no environment", run(ECHO, env={}))

    def test_hostile_environment(self):
        for name in ("TMPDIR", "HOME", "TZ", "PWD", "MALLOC_PERTURB_"):
            self.assert_same(name + "=255", run(ECHO, env=dict(os.environ, **{name: "255"})))

    def test_another_working_directory(self):
        self.assert_same("another working directory", run(ECHO, cwd="/"))

    def test_read_only_working_directory(self):
        # Read-only also for root, which permissions would not stop.
        with self.assertRaises(OSError):
            open("/proc/qarn_rpc_test", "w", encoding="ascii").close()
        self.assert_same("read-only working directory", run(ECHO, cwd="/proc"))

    def test_working_directory_that_is_gone(self):
        folder = os.path.join(self.folder(), "gone")
        os.mkdir(folder)
        self.assert_same(
            "working directory removed", run(ECHO, shell='rmdir "$PWD"; exec "$0"', cwd=folder)
        )

    def test_closed_standard_error(self):
        self.assert_same("standard error closed", run(ECHO, shell='exec "$0" 2>&-'))
        # An error is the status alone; it must not land in the response.
        result = run(ECHO[:-1], shell='exec "$0" 2>&-')
        self.record("standard error closed, broken request", result)
        self.assertEqual((result.status, result.out), (1, b""))


class FileNameTest(PluginTest):
    NAMES = {
        "200 components": "d/" * 199 + "echo.proto",
        "4,000 bytes": ("d" * 199 + "/") * 19 + "e" * 194 + ".proto",
        "two-byte letters": "\u00e9t\u00e9/\u00e7a.proto",
        "three-byte letters": "\u65e5\u672c/\u8a9e.proto",
        "four-byte letters": "\U0001f600.proto",
        "blanks and quotes": 'a b/it\'s "c".proto',
    }

    def test_names_in_a_request(self):
        for what, name in self.NAMES.items():
            result = run(echo_request(name=name))
            self.record("file name of " + what, result)
            self.assertEqual(result.status, 0)
            base = name[: -len(".proto")]
            response = Response(result.out)
            self.assertEqual(list(response.files), [base + ".rpc.h", base + ".rpc.cpp"])
            header = bytes(response.files[base + ".rpc.h"]).decode()
            self.assertIn("// source: %s\n" % name, header)
            self.assertIn('#include "%s.pb.h"\n' % base, header)

    def test_names_through_protoc(self):
        for what, name in self.NAMES.items():
            folder = self.folder()
            echo = service("Echo", [method("Ping", ".M")])
            # protoc writes below its output folder, so the path gets longer.
            files = {name: file(name, "", [message("M")], [echo])}
            result = run_protoc(files, files, folder)
            self.record("the same through protoc: " + what, "status %d" % result.status)
            base = name[: -len(".proto")]
            self.assertEqual(result.status, 0, result)
            self.assertEqual(
                sorted(files_below(os.path.join(folder, "out"))),
                [base + ".rpc.cpp", base + ".rpc.h"],
            )


@unittest.skipIf(has_sanitizers(), "a sanitizer opens files of its own")
class PurityTest(PluginTest):
    def test_opens_no_file_and_no_connection(self):
        if not shutil.which("strace"):
            self.skipTest("strace is missing")
        folder = self.folder()
        trace = os.path.join(folder, "trace")
        with open(os.path.join(folder, "request"), "wb") as stream:
            stream.write(ECHO)
        done = subprocess.run(
            [
                "sh",
                "-c",
                'exec strace -f -o "$1" "$0" <"$2"',
                PLUGIN,
                trace,
                os.path.join(folder, "request"),
            ],
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            check=False,
            timeout=60,
        )
        if not os.path.exists(trace) or b"ptrace" in done.stderr:
            self.skipTest("strace may not trace here")
        self.assertEqual(done.returncode, 0, done.stderr)
        with open(trace, encoding="utf-8", errors="replace") as stream:
            calls = [line.split(None, 1)[1] for line in stream]
        opened = []
        for call in calls:
            self.assertIsNone(
                re.match(
                    r"(socket|connect|bind|clone|clone3|fork|vfork|unlink|rename|mkdir)\(", call
                ),
                call,
            )
            match = re.match(r'open(?:at)?\([^"]*"([^"]*)"', call)
            if match and not call.rstrip().endswith("(No such file or directory)"):
                opened.append((match.group(1), call))
        for path, call in opened:
            # What the loader maps before main.
            self.assertRegex(path, r"^/etc/ld\.so\.|\.so(\.[0-9.]+)?$", call)
            self.assertIn("O_RDONLY", call)
        # The last thing a run does with files is to write the response.
        self.assertTrue(any(call.startswith("write(1,") for call in calls))
        self.record(
            "system calls of a run",
            "%d; the loader opens %d files, the plugin none" % (len(calls), len(opened)),
        )


if __name__ == "__main__":
    main()
