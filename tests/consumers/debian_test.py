"""The Debian package."""

import os
import re
import shutil

import pytest

from consumers.context import ECHO, OPTIONS, TEXT, Context
from support.commands import run

# What only the owner of the project can settle. Any other error or warning of
# lintian fails the test.
OWNERS_TAGS = {"copyright-without-copyright-notice"}


@pytest.fixture(name="deb")
def fixture_deb(built, tmp_path):
    """The path of the .deb, packed from the build."""
    folder = tmp_path / "packed"
    folder.mkdir()
    command = ["cpack", "-G", "DEB", "-B", folder, "--config", built.build / "CPackConfig.cmake"]
    run(command + (["-C", built.config] if built.config else []), cwd=folder)
    (path,) = folder.glob("*.deb")
    return path


@pytest.mark.needs("dpkg", "dpkg-deb", "dpkg-shlibdeps", "fakeroot")
def test_deb(context, built, deb):
    """The package's fields; installed it serves CMake and pkg-config; removed it
    leaves nothing."""
    fields = dict(
        line.split(": ", 1)
        for line in run(["dpkg-deb", "-f", deb]).splitlines()
        if re.match(r"[A-Z][\w-]*: ", line)
    )
    assert fields["Package"] == "qarn-rpc-gen"
    assert fields.get("Multi-Arch") == "foreign"
    needed = {re.sub(r" \(.*", "", name) for name in fields["Depends"].split(", ")}
    assert {"protobuf-compiler", "libprotobuf-dev"} <= needed
    needs_libraries = any(name.startswith("libprotoc") for name in needed)
    assert needs_libraries == (not built.static)

    # A root folder of its own with a copy of the system's list of packages:
    # dpkg checks the dependencies, and the machine stays as it is.
    root = context.work / "root"
    admin = root / "var/lib/dpkg"
    for name in ("updates", "info"):
        (admin / name).mkdir(parents=True)
    shutil.copy("/var/lib/dpkg/status", admin)
    dpkg = ["fakeroot", "dpkg", f"--root={root}", "--force-not-root"]
    env = {"PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"}
    run([*dpkg, "-i", deb], env=env)
    usr = root / "usr"
    installed = Context(context.source, usr, context.work)
    installed.expect_found_by_pkg_config()
    build = installed.cmake(installed.echo_project("cmake"))
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(build.folder / "echo")

    run([*dpkg, "--purge", "qarn-rpc-gen"], env=env)
    assert not usr.exists()


@pytest.mark.needs("lintian", "dpkg-shlibdeps")
def test_deb_lintian(deb):
    """No error or warning of lintian but those that the owner has to settle."""
    allow_root = ["--allow-root"] if os.geteuid() == 0 else []
    # Any status: it also tells of the tags that are ours to leave.
    command = ["sh", "-c", '"$@" || :', "lintian", "lintian", "--no-cfg", *allow_root]
    output = run([*command, deb])
    tags = re.findall(r"^[EW]: qarn-rpc-gen: (\S+)", output, re.MULTILINE)
    assert set(tags) == OWNERS_TAGS, output
