"""All files of a release, made twice from one source archive, with nothing alike that
may differ between two machines: the place, the user, the time, the language, the time
zone, the umask, the home folder, the modes of the sources and the order of the
platforms. The files are equal, byte for byte.

If they are not, diffoscope says where they differ, if it is installed.
"""

import filecmp
import os
import re
import shutil
import subprocess

import pytest

from release.checkout import copy_tree, pack, project_of
from support.commands import run

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


@pytest.mark.skipif(os.geteuid() != 0, reason="making a Debian root needs the user root")
@pytest.mark.needs("mmdebstrap")
def test_two_builds_are_equal(source, tmp_path):
    project = project_of(source)
    platforms = project.platforms()
    root = Root(source)
    name = f"qarn-rpc-gen-{project.version_of(source)}"
    archive = tmp_path / f"{name}.tar.gz"
    pack(source, copy_tree(source, tmp_path / name), archive)
    faked = root.run("faketime", "-f", "+400d", "date", "+%s").split()[-1]
    now = root.run("date", "+%s").split()[-1]
    assert int(faked) >= int(now) + 300 * 86400, "faketime does not change the time"

    one = build(root, PLACES[0], archive, "022", ["env"], list(platforms))
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
        list(platforms)[::-1],
    )
    made = sorted(path.name for path in one.iterdir())
    debs = [platform for platform in platforms.values() if platform.has_deb]
    assert len(made) == 3 + 3 * len(platforms) + len(debs)
    different = differences(one, two)
    for name in different:
        if shutil.which("diffoscope"):
            subprocess.run(["diffoscope", one / name, two / name], check=False)
    assert different == []
    for name in made:
        print(f"{name}: {(one / name).stat().st_size} bytes, twice the same")
    # A path of the build would be one that differs elsewhere.
    for path in one.glob("*.spdx.json"):
        assert re.findall("/one|/tree", path.read_text()) == []
    for place in PLACES:
        shutil.rmtree(root.path(place))
