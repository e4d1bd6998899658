"""qarn_rpc_generate with LINT, in a project that generates and compiles nothing."""

import os
import re
import shutil

import pytest

from consumers.context import write_program
from support.commands import run

ERROR = (
    "shop/orders.proto:9:3: error: the method 'delete' has the name of a C++ keyword, and cannot "
    "be declared; rename it, such as to 'Delete' [method-keyword]\n"
)
WARNING = (
    "shop/orders.proto:10:3: warning: the keyword 'stream' does not make the method 'Watch' a "
    "streaming one; set option (morvane.qarn.rpc.server_streaming) = true; [stream-keyword]\n"
)
TAKEN = (
    "services_namespace=Order: error: the services namespace 'Order' has the name of the message "
    "shop.Order; choose another name, such as 'api' [services-namespace-taken]\n"
)


def said(output):
    """The linter's lines in the output of a build."""
    return re.findall(r"^\S+: (?:error|warning): .*\n", output, re.MULTILINE)


def times_of_orders(folder):
    """The time of each file that is generated of orders.proto, below `folder`."""
    return {path: path.stat().st_mtime_ns for path in folder.rglob("orders.*") if path.is_file()}


class LintProject:
    """The project in the folder `lint`, and what its builds say."""

    def __init__(self, context, generator):
        self.context, self.generator = context, generator
        self.folder = context.project("lint")
        self.orders = self.folder / "shop/orders.proto"
        # Counts the runs.
        self.log = context.work / "runs"
        self.protoc = write_program(
            context.work / "protoc",
            f'echo "$@" >> "{self.log}"\nexec "{shutil.which("protoc")}" "$@"\n',
        )
        self.build = None

    def configure(self, words="", *arguments, **lint):
        """Configures with the words in the call, and QARN_RPC_LINT as the keyword
        `everywhere` says."""
        self.build = self.context.cmake(
            self.folder,
            f"-DWORDS={words}",
            f"-DQARN_RPC_LINT={'ON' if lint.get('everywhere') else 'OFF'}",
            f"-DQARN_RPC_PROTOC_EXECUTABLE={self.protoc}",
            *arguments,
            generator=self.generator,
        )

    def edit(self, old, new):
        text = self.orders.read_text()
        assert text.count(old) == 1
        self.orders.write_text(text.replace(old, new))

    def expect(self, lines):
        """Builds: orders.proto is generated, the linter says `lines`; then nothing is."""
        steps, output = self.build.build()
        assert "generate orders" in steps
        assert said(output) == lines
        steps, output = self.build.build()
        assert (steps, said(output)) == (set(), [])

    def expect_failure(self, line):
        """Builds: it fails with `line`, each time, and touches no file of orders.proto."""
        before = times_of_orders(self.build.folder)
        for _ in range(2):
            output = run(self.build.command, status=None)
            assert f"--qarn-rpc-lint_out: {line}" in output
            assert line in said(output)
        assert times_of_orders(self.build.folder) == before


@pytest.mark.parametrize("generator", ["Ninja", "Unix Makefiles"])
def test_cmake_lint(context, generator):
    """Without LINT nothing is said; an error stops the build with its place, a warning
    does not; both come from the run that generates."""
    project = LintProject(context, generator)
    project.configure()
    project.expect([])
    project.configure("LINT")
    project.expect_failure(ERROR)
    project.configure(everywhere=True)
    project.expect_failure(ERROR)
    project.edit("rpc delete", "rpc Delete")
    project.log.write_text("")
    project.expect([WARNING])
    started = [line for line in project.log.read_text().splitlines() if "orders" in line]
    assert len(started) == 1 and "--qarn-rpc_out=" in started[0]
    # A linter that is new reads again.
    os.utime(context.plugin_lint)
    project.expect([WARNING])
    project.configure("BATCH;LINT;LINT_OPTIONS;error=all")
    project.expect_failure(WARNING.replace("warning", "error"))
    project.edit("returns (stream Order)", "returns (Order)")
    project.expect([])


def test_cmake_lint_parameters(context):
    """The linter has the call's namespace and the target's standard, and what the call
    gives it; a change of these runs it again. One run for all files lints too."""
    project = LintProject(context, "Ninja")
    project.edit("rpc delete", "rpc Delete")
    project.configure("LINT;LINT_OPTIONS;error=stream-keyword")
    project.expect_failure(WARNING.replace("warning", "error"))
    project.configure("LINT;LINT_OPTIONS;error=all;off=stream-keyword")
    project.expect([])
    project.edit("rpc Delete", "rpc requires")
    project.configure("LINT", "-DCMAKE_CXX_STANDARD=17")
    project.expect([WARNING])
    error = ERROR.replace("delete", "requires").replace("Delete", "Requires")
    for standard, features in (("20", ""), ("23", ""), ("17", "cxx_std_20")):
        project.configure("LINT", f"-DCMAKE_CXX_STANDARD={standard}", f"-DFEATURES={features}")
        project.expect_failure(error)
    project.configure("LINT;LINT_OPTIONS;standard=17")
    project.expect([WARNING])
    project.configure("BATCH;UNITY;SERVICES_NAMESPACE;Order", "-DFEATURES=", everywhere=True)
    project.expect_failure(TAKEN)
    project.configure("BATCH;UNITY", everywhere=True)
    project.expect([WARNING])
    project.configure("BATCH;UNITY")
    assert said(project.build.build()[1]) == []
    project.configure("BATCH;UNITY;LINT")
    project.expect([WARNING])
    project.configure("BATCH;UNITY;LINT;LINT_OPTIONS;error=all")
    project.expect_failure(WARNING.replace("warning", "error"))
