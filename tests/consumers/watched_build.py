"""Says what a build has done.

A build is watched through the files that it writes. protoc, compiler and linker
write all their outputs on every run, so a file that is newer than before is a
run, whatever the build tool prints.
"""

import os
import re

from support.testkit import expect, run

GENERATED = re.compile(r"(.+)\.(?:pb\.cc|pb\.h|rpc\.cpp|rpc\.h)$")
# CMake writes DIR/echo.pb.cc.o, make gen/echo.pb.o, and Meson puts the folder
# into the name: meson-generated_.._a_b_service_options.pb.cc.o.
OBJECT = re.compile(r"(?:meson-generated_\.\._)?(?:morvane_qarn_rpc_)?(.+?)(?:\.cc|\.cpp)?\.o$")


def _written_files(build):
    """The files that protoc, compiler and linker wrote, with their times."""
    times = {}
    for folder, folders, files in os.walk(build):
        folders[:] = [name for name in folders if not name.startswith(("CompilerId", "meson-"))]
        for name in files:
            path = os.path.join(folder, name)
            is_program = os.access(path, os.X_OK) and "." not in name
            if is_program or GENERATED.match(name) or name.endswith((".o", ".a", ".so")):
                times[path] = os.stat(path).st_mtime_ns
    return times


def _steps(before, after):
    """The steps that made `after` of `before`, such as "compile echo.pb"."""
    changed = {path for path, time in after.items() if before.get(path) != time}
    steps = set()
    for path in changed:
        name = os.path.basename(path)
        generated, obj = GENERATED.match(name), OBJECT.match(name)
        if generated:
            base = os.path.join(os.path.dirname(path), generated.group(1))
            group = {
                other
                for other in after
                if GENERATED.match(other) and GENERATED.match(other).group(1) == base
            }
            expect(f"files written with {name}", group & changed, group)
            steps.add(f"generate {generated.group(1)}")
        elif obj:
            steps.add(f"compile {obj.group(1)}")
        else:
            steps.add(f"link {name}")
    return steps


class WatchedBuild:
    """A folder that `command` builds in, and the steps of each build."""

    def __init__(self, command, folder, cwd=None, env=None):
        self.command, self.folder, self.cwd, self.env = command, folder, cwd, env

    def build(self):
        """Builds, and returns the steps taken and the output."""
        before = _written_files(self.folder)
        output = run(self.command, cwd=self.cwd, env=self.env)
        return _steps(before, _written_files(self.folder)), output

    def expect_all(self, steps):
        """Builds for the first time: exactly `steps`."""
        expect("steps of the first build", self.build()[0], steps)
        self.expect_nothing()

    def expect_nothing(self):
        """Builds again: no step."""
        expect("steps of a build after no edit", self.build()[0], set())

    def expect_after(self, touched, steps):
        """Touches a file and builds: exactly `steps`, and then none."""
        os.utime(touched)
        expect(f"steps after an edit of {os.path.basename(touched)}", self.build()[0], steps)
        self.expect_nothing()
