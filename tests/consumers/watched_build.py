"""Says what a build has done.

A build is watched through the files that it writes. protoc, compiler and linker
write all their outputs on every run, so a file that is newer than before is a
run, whatever the build tool prints. Where protoc writes to a staging folder, the
files there stand for its runs.
"""

import os
import re

from support.commands import run

GENERATED = re.compile(r"(.+)\.(?:pb\.cc|pb\.h|rpc\.cpp|rpc\.h)$")
# CMake writes DIR/echo.pb.cc.o, make gen/echo.pb.o, and Meson puts the folder
# into the name: meson-generated_.._a_b_service_options.pb.cc.o.
# A unit of joined files has a name that starts with a hash of theirs.
OBJECT = re.compile(
    r"(?:meson-generated_\.\._)?(?:morvane_qarn_rpc_)?(?:[0-9a-f]{8}_)?"
    r"(.+?)(?:\.cc|\.cpp|\.hxx)?\.(?:o|gch)$"
)
STAGING = re.compile(r"/(?:qarn_rpc_staging\.dir|staging)/")


def _written_files(build):
    """The files that protoc, compiler and linker wrote, with their times."""
    times = {}
    for folder, folders, files in os.walk(build):
        folders[:] = [
            name
            for name in folders
            if not name.startswith(("CompilerId", "meson-", "qarn_rpc_probe"))
        ]
        for name in files:
            path = os.path.join(folder, name)
            is_program = os.access(path, os.X_OK) and "." not in name
            if is_program or GENERATED.match(name) or name.endswith((".o", ".a", ".so", ".gch")):
                times[path] = os.stat(path).st_mtime_ns
    return times


def _steps(before, after):
    """The steps that made `after` of `before`, such as "compile echo.pb"."""
    changed = {path for path, time in after.items() if before.get(path) != time}
    if any(STAGING.search(path) for path in after):
        changed = {
            path
            for path in changed
            if STAGING.search(path) or not GENERATED.match(os.path.basename(path))
        }
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
            assert group <= changed, f"files that are written with {name}"
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
        assert self.build()[0] == steps
        self.expect_nothing()

    def expect_nothing(self):
        """Builds again: no step."""
        assert self.build()[0] == set()

    def expect_after(self, touched, steps):
        """Touches a file and builds: exactly `steps`, and then none."""
        os.utime(touched)
        self.expect_steps(f"a touch of {touched.name}", steps)

    def expect_after_edit(self, path, old, new, steps):
        """Replaces `old`, which stands in the file once, by `new` and builds:
        exactly `steps`, and then none."""
        text = path.read_text()
        assert text.count(old) == 1
        path.write_text(text.replace(old, new))
        self.expect_steps(f"writing {new!r} for {old!r} in {path.name}", steps)

    def expect_steps(self, what, steps):
        """Builds after `what`: exactly `steps`, and then none."""
        taken, _ = self.build()
        assert taken == steps, f"steps after {what}"
        self.expect_nothing()
