"""The Debian package."""

import os
import re
import shutil

from consumers.context import ECHO, OPTIONS, TEXT
from support.testkit import expect, fresh_folder, need, run

# What only the owner of the project can settle. Any other error or warning of
# lintian fails the test.
OWNERS_TAGS = {"copyright-without-copyright-notice"}


def make_deb(context):
    """Packs the build and returns the path of the .deb."""
    folder = fresh_folder(os.path.join(context.work, "packed"))
    run(
        [
            "cpack",
            "-G",
            "DEB",
            "-B",
            folder,
            "--config",
            os.path.join(context.build, "CPackConfig.cmake"),
        ]
        + (["-C", context.config] if context.config else []),
        cwd=folder,
    )
    debs = [name for name in os.listdir(folder) if name.endswith(".deb")]
    expect("number of packages", len(debs), 1)
    return os.path.join(folder, debs[0])


def test_deb(context):
    """The package's fields; installed it serves CMake and pkg-config; removed it
    leaves nothing."""
    need("dpkg", "dpkg-deb", "dpkg-shlibdeps", "fakeroot")
    deb = make_deb(context)
    fields = dict(
        line.split(": ", 1)
        for line in run(["dpkg-deb", "-f", deb]).splitlines()
        if re.match(r"[A-Z][\w-]*: ", line)
    )
    expect("Package", fields["Package"], "qarn-rpc-gen")
    expect("Multi-Arch", fields.get("Multi-Arch"), "foreign")
    needed = {re.sub(r" \(.*", "", name) for name in fields["Depends"].split(", ")}
    expect("tools missing from Depends", {"protobuf-compiler", "libprotobuf-dev"} - needed, set())
    with open(os.path.join(context.build, "CMakeCache.txt"), encoding="utf-8") as file:
        is_static = (
            re.search(
                r"^QARN_RPC_STATIC:BOOL=(ON|TRUE|1|YES)$", file.read(), re.MULTILINE | re.IGNORECASE
            )
            is not None
        )
    expect(
        "libraries in Depends", any(name.startswith("libprotoc") for name in needed), not is_static
    )

    # A root folder of its own with a copy of the system's list of packages:
    # dpkg checks the dependencies, and the machine stays as it is.
    root = fresh_folder(os.path.join(context.work, "root"))
    admin = os.path.join(root, "var", "lib", "dpkg")
    os.makedirs(os.path.join(admin, "updates"))
    os.makedirs(os.path.join(admin, "info"))
    shutil.copy("/var/lib/dpkg/status", admin)
    dpkg = ["fakeroot", "dpkg", f"--root={root}", "--force-not-root"]
    env = {"PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"}
    run([*dpkg, "-i", deb], env=env)
    usr = os.path.join(root, "usr")
    for variable, name in (
        ("plugin", "protoc-gen-qarn-rpc"),
        ("plugin_any", "protoc-gen-qarn-rpc-any"),
    ):
        plugin = run(
            ["pkg-config", f"--variable={variable}", "qarn-rpc-gen"],
            env={"PKG_CONFIG_PATH": os.path.join(usr, "share", "pkgconfig")},
        )
        path = os.path.join(usr, "bin", name)
        expect(f"pkg-config's {variable}", os.path.normpath(plugin.strip()), path)
        expect(f"{path} is there", os.access(path, os.X_OK), True)
    project = context.echo_project("cmake")
    build = context.cmake(project, f"-DCMAKE_PREFIX_PATH={usr}")
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))

    run([*dpkg, "--purge", "qarn-rpc-gen"], env=env)
    expect("usr after the removal", os.path.exists(usr), False)


def test_deb_lintian(context):
    """No error or warning of lintian but those that the owner has to settle."""
    need("lintian", "dpkg-shlibdeps")
    allow_root = ["--allow-root"] if os.geteuid() == 0 else []
    # Any status: it also tells of the tags that are ours to leave.
    command = ["sh", "-c", '"$@" || :', "lintian", "lintian", "--no-cfg", *allow_root]
    output = run([*command, make_deb(context)])
    tags = {
        match.group(2)
        for match in re.finditer(r"^([EW]): qarn-rpc-gen: (\S+)", output, re.MULTILINE)
    }
    print(output)
    expect("errors and warnings of lintian", tags, OWNERS_TAGS)
