"""Makes all files of a release twice, from one source archive, with nothing alike
that may differ between two machines: the place, the user, the time, the language,
the time zone, the umask, the home folder, the modes of the sources and the order
of the platforms. The files must be equal, byte for byte.

  python3 -m release.reproducible_test ROOT WORK [PLATFORM...]

If they are not, diffoscope says where they differ, if it is installed.
"""

import filecmp
import os
import pathlib
import re
import shutil
import subprocess
import sys

from release.checkout import copy_tree, project_of
from support.testkit import Failure, Skip, expect, fresh_folder, need, run, status_of

PLACES = ("/one", "/var/tmp/the_place_of_another_user")
USER = "4711"


class Root:
    """The Debian root of scripts/release.sh, with what varies a build besides."""

    def __init__(self, source):
        self.source = source
        self.folder = source / "build/platforms/release"
        run([source / "scripts/setup.sh", "release"])
        run([source / "scripts/platforms/make_root.sh", "release", self.folder])
        if not (self.folder / "usr/bin/faketime").exists():
            self.run("apt-get", "update", "-qq")
            self.run("apt-get", "install", "-y", "-qq", "faketime", "locales")
        self.run("localedef", "-i", "tr_TR", "-f", "UTF-8", "tr_TR.UTF-8")

    def run(self, *command):
        """What the command prints in the root."""
        return run([self.source / "scripts/platforms/in_root.sh", self.folder, *command])

    def path(self, place):
        """Where a path of the root is."""
        return self.folder / place.lstrip("/")


def build(root, place, archive, mask, command, platforms):
    """Unpacks the archive at the place and runs build.sh there, with `command` in
    front. Returns the folder of what it made."""
    shutil.rmtree(root.path(place), ignore_errors=True)
    tree = f"{place}/tree"
    root.path(tree).mkdir(parents=True)
    run(["tar", "-xf", archive, "-C", root.path(tree), "--strip-components=1"])
    run(["chmod", "-R", "u+rwX,go=" if mask == "077" else "u+rwX,go+rwX", root.path(place)])
    run(["chown", "-R", f"{USER}:{USER}" if "setpriv" in command else "0:0", root.path(place)])
    script = f'umask {mask}; cd /; exec "$@" {tree}/scripts/release/build.sh {place}/files '
    root.run("bash", "-c", script + " ".join(platforms), "bash", *command)
    return root.path(place) / "files"


def rebuild_windows_protobuf(root, place):
    """Makes protobuf for Windows, which the first build left in the root, once more,
    elsewhere and in another language. At another time only as it passes: dpkg-source
    cannot unpack under faketime."""
    root.run("dpkg", "--purge", "protobuf-mingw-w64")
    root.run(
        *("env", "TMPDIR=/var/tmp", "LC_ALL=tr_TR.UTF-8", "LANGUAGE=tr", "TZ=Asia/Kathmandu"),
        f"{place}/tree/scripts/release/windows_protobuf.sh",
    )


def differences(one, other):
    """The names of the files that the folders do not have alike."""
    names = {path.name for folder in (one, other) for path in folder.iterdir()}
    return sorted(
        name
        for name in names
        if not (one / name).exists()
        or not (other / name).exists()
        or not filecmp.cmp(one / name, other / name, shallow=False)
    )


def main(arguments):
    """Builds twice and compares."""
    if os.geteuid() != 0:
        raise Skip("making a Debian root needs the user root")
    need("mmdebstrap")
    source, work = pathlib.Path(arguments[0]), pathlib.Path(fresh_folder(arguments[1]))
    known = project_of(source).platforms()
    platforms = arguments[2:] or list(known)
    root = Root(source)
    version, _, epoch = run([source / "scripts/release/project.py"]).split()
    name = f"qarn-rpc-gen-{version}"
    archive = work / f"{name}.tar.gz"
    copy_tree(source, work / name)
    run(
        [source / "scripts/release/pack.py", work / name, archive],
        env={"SOURCE_DATE_EPOCH": epoch},
    )
    faked = root.run("faketime", "-f", "+400d", "date", "+%s").split()[-1]
    if int(faked) < int(root.run("date", "+%s").split()[-1]) + 300 * 86400:
        raise Failure("faketime does not change the time")

    one = build(root, PLACES[0], archive, "022", ["env"], platforms)
    if "win64" in platforms:
        rebuild_windows_protobuf(root, PLACES[0])
    two = build(
        root,
        PLACES[1],
        archive,
        "077",
        ["setpriv", "--reuid", USER, "--regid", USER, "--clear-groups"]
        + ["env", "HOME=/nonexistent", "LANG=tr_TR.UTF-8", "LC_ALL=tr_TR.UTF-8"]
        + ["LANGUAGE=tr", "TZ=Asia/Kathmandu", "USER=somebody", "SOURCE_DATE_EPOCH=1"]
        + ["faketime", "-f", "+400d"],
        platforms[::-1],
    )
    made = sorted(path.name for path in one.iterdir())
    debs = [platform for platform in platforms if known[platform].has_deb]
    expect("the number of files", len(made), 3 + 3 * len(platforms) + len(debs))
    different = differences(one, two)
    for name in different:
        print(name)
        if shutil.which("diffoscope"):
            subprocess.run(["diffoscope", one / name, two / name], check=False)
    expect("files that differ", different, [])
    for name in made:
        size = (one / name).stat().st_size
        print(f"{name}: {size} bytes, twice the same")
    # A path of the build would be one that differs elsewhere.
    for path in one.glob("*.spdx.json"):
        expect("paths in the bill", re.findall("/one|/tree", path.read_text("utf-8")), [])
    for place in PLACES:
        shutil.rmtree(root.path(place))


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
