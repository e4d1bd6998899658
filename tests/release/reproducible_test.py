"""All files of a release, made twice by reprotest from one tree, with nothing alike that
may differ between two machines: the place, the user, the time, the language, the time
zone, the umask, the home folder, the environment, the modes of the sources and the
order of the platforms. If the files differ, diffoscope shows where.
"""

import os
import re

import pytest

from release.checkout import copy_tree, project_of
from support.commands import run

# What differs the second time. reprotest gives both the processors that are there.
# Left out are the variations that need more than a root has: to mount a file system
# (fileordering), another kernel and another name of the machine.
VARIATIONS = [
    "+all,-fileordering,-domain_host,-kernel,-num_cpus",
    "time.faketimes+=+400days",
    "locales.locale+=tr_TR.UTF-8",
    "user_group.available+=nobody:nogroup",
    "environment.variables+=SOURCE_DATE_EPOCH=1",
    "environment.variables+=SECOND=1",
]
# Before each build, as root and at the true time, since dpkg-source cannot unpack under
# faketime: protobuf for Windows, in other surroundings the second time.
BEFORE = """
dpkg --purge protobuf-mingw-w64
case $PWD in
  *experiment*) export LC_ALL=tr_TR.UTF-8 LANGUAGE=tr TZ=Asia/Kathmandu TMPDIR=/var/tmp ;;
esac
scripts/release/windows_protobuf.sh
"""
# Says first what reprotest varies. What is made within the tree would become part of
# the source archive.
BUILD = """
echo "varied: $(date +%Y) $(id --user) $(umask) $LANG $TZ $HOME $PWD"
order='{}'
if [ -n "$SECOND" ]; then
  order='{}'
  chmod -R go= .
  umask 077
fi
folder=$(mktemp -d)
scripts/release/build.sh "$folder/files" $order
mv "$folder/files" .
rmdir "$folder"
"""


@pytest.mark.skipif(os.geteuid() != 0, reason="making a Debian root needs the user root")
@pytest.mark.needs("mmdebstrap")
def test_two_builds_are_equal(source):
    project = project_of(source)
    platforms = project.platforms()
    root = source / "build/platforms/release"
    run([source / "scripts/setup.sh", "release"])
    run([source / "scripts/platforms/make_root.sh", "release", root])
    in_root = [source / "scripts/platforms/in_root.sh", root]
    run([*in_root, "/opt/setup/scripts/setup.sh", "reproducible"])
    tree = root / "reproducible/tree"
    run(["rm", "-rf", tree.parent])
    copy_tree(source, tree)
    run(["chmod", "-R", "u=rwX,go=rX", tree.parent])

    order = list(platforms)
    build = BUILD.format(" ".join(order), " ".join(reversed(order)))
    output = run(
        [*in_root, "reprotest", "--min-cpus", os.cpu_count(), "--store-dir=/reproducible/made"]
        + [f"--vary={variation}" for variation in VARIATIONS]
        + ["--testbed-build-pre", BEFORE, "--build-command", build]
        + ["/reproducible/tree", "files/*"]
    )
    one, two = (line.split() for line in re.findall("^varied: (.*)", output, re.MULTILINE))
    assert [first for first, second in zip(one, two) if first == second] == []
    made = list((root / "reproducible/made/control").rglob("qarn-rpc-gen*"))
    debs = [platform for platform in platforms.values() if platform.has_deb]
    assert len(made) == 3 + 3 * len(platforms) + len(debs)
    # A path of the build would be one that differs elsewhere.
    (bill,) = (path for path in made if path.name.endswith(".cdx.json"))
    assert "/tmp" not in bill.read_text()
    run(["rm", "-rf", tree.parent])
