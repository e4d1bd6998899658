"""Makes the signed files of a release for linux-x86_64 from this tree, and tries the
gate, the page for users, the image and the npm packages with them.

  python3 -m release.files_test ROOT WORK
"""

import os
import pathlib
import re
import shutil
import sys

from release.checkout import make_checkout
from support.testkit import Failure, Skip, expect, expect_in, fresh_folder, need, run, status_of

ONLY = ["--only", "linux-x86_64"]


class Files:
    """The files of a release, their public key, and where there is room."""

    def __init__(self, root, work):
        self.root = root
        self.work = pathlib.Path(fresh_folder(work))
        self.not_tried = []
        self.checkout = make_checkout(root, self.work / "checkout")
        self.key = self.work / "minisign.key"
        self.public_key = self.work / "minisign.pub"
        self.folder = self.work / "files"
        self.version = run([self.checkout / "scripts/release/project.py"]).split()[0]
        run(["minisign", "-G", "-W", "-s", self.key, "-p", self.public_key])

    def make(self):
        """Runs scripts/release.sh."""
        output = run(
            [
                self.checkout / "scripts/release.sh",
                self.version,
                *ONLY,
                *("--out", self.folder),
                *("--key", self.key),
                *("--public-key", self.public_key),
            ]
        )
        print(output)
        expect_in("what the owner has to add", output, "packaging/minisign.pub: The public key")

    def gate(self, folder, status=0, public_key=True):
        """What the gate says of a folder. Its archives are of this machine, so it
        needs no emulator."""
        key = ["--public-key", self.public_key] if public_key else []
        return run([self.checkout / "scripts/release/gate.py", folder, *ONLY, *key], status=status)

    def copy(self):
        """A fresh copy of the files."""
        shutil.rmtree(self.work / "copy", ignore_errors=True)
        return pathlib.Path(shutil.copytree(self.folder, self.work / "copy"))

    def write_sums(self, folder):
        """Signs what is there now, as whoever has the key could."""
        names = sorted(path.name for path in folder.iterdir() if "SHA256SUMS" not in path.name)
        (folder / "SHA256SUMS").write_text(run(["sha256sum", "--", *names], cwd=folder))
        run(
            ["minisign", "-S", "-s", self.key, "-m", "SHA256SUMS"]
            + ["-t", f"qarn-rpc-gen {self.version}"]
            + ["-c", f"signature of qarn-rpc-gen {self.version}"],
            cwd=folder,
        )


def check_gate_passes(files):
    """The gate lets what was made pass, and wants the key of what is signed."""
    expect_in("the gate", files.gate(files.folder), f"9 files of {files.version} hold")
    text = files.gate(files.folder, status=2, public_key=False)
    expect_in("the gate without a key", text, "SHA256SUMS is signed: give the public key")
    text = run([files.checkout / "scripts/release/gate.py", files.folder], status=1)
    expect_in("the gate of all platforms", text, f"qarn-rpc-gen-{files.version}-linux-s390_64.zip")


def check_gate_sees_each_byte(files):
    """One byte of one file: the first, one in the middle, and the last."""
    for name in sorted(path.name for path in files.folder.iterdir()):
        size = (files.folder / name).stat().st_size
        for place in (0, size // 2, size - 1):
            folder = files.copy()
            data = bytearray((folder / name).read_bytes())
            data[place] ^= 1
            (folder / name).write_bytes(data)
            text = files.gate(folder, status=1)
            expect_in(f"the gate at byte {place} of {name}", text, "gate: REFUSED: ")


def check_gate_sees_more_than_sums(files):
    """What is wrong although the checksums fit and are signed."""
    name = f"qarn-rpc-gen-{files.version}-linux-x86_64"
    folder = files.copy()
    (folder / "more").write_text("")
    expect_in("one file more", files.gate(folder, status=1), "has ['more'] besides")

    for missing in (f"{name}.zip", "SHA256SUMS.minisig"):
        folder = files.copy()
        (folder / missing).unlink()
        files.gate(folder, status=1)

    def repack(change, expected, archives=(".tar.gz", ".zip")):
        folder = files.copy()
        tree = pathlib.Path(fresh_folder(files.work / "tree"))
        run(["tar", "-xf", folder / f"{name}.tar.gz", "-C", tree])
        change(tree / name)
        run(
            [
                files.checkout / "scripts/release/pack.py",
                tree / name,
                *(folder / f"{name}{kind}" for kind in archives),
            ],
            env={
                "SOURCE_DATE_EPOCH": run([files.checkout / "scripts/release/project.py"]).split()[2]
            },
        )
        files.write_sums(folder)
        expect_in("the gate", files.gate(folder, status=1), expected)

    def in_file(path, old, new):
        def change(tree):
            text = (tree / path).read_text(encoding="utf-8")
            if old not in text:
                raise Failure(f"{path} has no {old}")
            (tree / path).write_text(text.replace(old, new), encoding="utf-8")

        return change

    plugin = "bin/protoc-gen-qarn-rpc"
    repack(
        lambda tree: (tree / plugin).chmod(0o644),
        f"{plugin} is not as in the .tar.gz of the same platform",
        archives=[".zip"],
    )
    for path in (
        "share/cmake/qarn-rpc-gen/qarn-rpc-gen-config-version.cmake",
        "share/pkgconfig/qarn-rpc-gen.pc",
        "share/man/man1/protoc-gen-qarn-rpc-any.1",
        "share/doc/qarn-rpc-gen/CHANGELOG.md",
    ):
        repack(in_file(path, files.version, "0.0.9"), f"the version in {path} is '0.0.9'")

    def other_program(tree):
        (tree / plugin).write_text("#!/bin/sh\nexit 1\n")

    # With the Debian package as it was; without it, the program is run.
    repack(other_program, f"{plugin} is not as in the .tar.gz of the same platform")

    bill = folder / f"qarn-rpc-gen-{files.version}.spdx.json"
    for old, new, expected in (
        ("SPDX-2.3", "SPDX-2.2", "spdxVersion is 'SPDX-2.2'"),
        ('"STATIC_LINK"', '"CONTAINS"', "is not linked with libprotobuf-dev"),
        ('"DESCRIBES"', '"CONTAINS"', "what the bill of materials describes is {}"),
        ("SPDXRef-Program", "SPDXRef-Other", "the programs in the bill"),
    ):
        folder = files.copy()
        bill.write_text(bill.read_text().replace(old, new))
        files.write_sums(folder)
        expect_in("the gate", files.gate(folder, status=1), expected)


def check_page(files):
    """The commands under "Download, check, unpack" work as they are printed, and
    what is unpacked serves a CMake project."""
    page = (files.checkout / "docs/using.md").read_text(encoding="utf-8")
    section = page.split("\n## Download, check, unpack\n")[1].split("\n## ")[0]
    download, configure = re.findall(r"^```sh\n(.*?)^```$", section, re.MULTILINE | re.DOTALL)
    folder = files.copy()
    shutil.copy(files.public_key, folder / "minisign.pub")
    for path in (files.root / "examples/echo", files.root / "tests/consumers/quick_start"):
        shutil.copytree(path, folder, dirs_exist_ok=True)
    run(["sh", "-e", "-c", download.replace("VERSION", files.version)], cwd=folder)
    runtime = files.root / "examples/runtime"
    configure = configure.strip().replace("VERSION", files.version)
    run(["sh", "-e", "-c", f"{configure} -DRPC_RUNTIME_DIR='{runtime}'"], cwd=folder)
    run(["cmake", "--build", "build"], cwd=folder)
    expect(
        "what the example prints",
        run([folder / "build/echo"]),
        (files.root / "examples/echo/conversation.txt").read_text(encoding="utf-8"),
    )


def expect_golden(files, plugin):
    """Fails unless protoc writes the golden case with the plugin."""
    case = files.checkout / "tests/golden/all_four_kinds"
    protos = [path.relative_to(case / "proto") for path in (case / "proto").rglob("*.*")]
    output = fresh_folder(files.work / "output")
    run(
        ["protoc", f"-I{files.checkout}/proto", f"-I{case}/proto"]
        + [f"--plugin=protoc-gen-qarn-rpc={plugin}", f"--qarn-rpc_out={output}", *protos]
    )
    run(["diff", "-r", case / "plain", output])


def check_image(files):
    """The image, as a folder that holds what its COPY names and nothing else: the
    programs in it answer protoc."""
    lines = (files.checkout / "packaging/Containerfile").read_text().splitlines()
    expect("the first line of the Containerfile", lines[0], "FROM scratch")
    copy = re.fullmatch(r"COPY bin/ /(\S+)/", lines[1]) if len(lines) == 2 else None
    if not copy:
        raise Failure(f"the Containerfile has other lines than FROM and COPY: {lines}")
    image = pathlib.Path(fresh_folder(files.work / "image"))
    unpacked = pathlib.Path(fresh_folder(files.work / "unpacked"))
    run(["tar", "-xf", next(files.folder.glob("*-linux-x86_64.tar.gz")), "-C", unpacked])
    shutil.copytree(next(unpacked.iterdir()) / "bin", image / copy.group(1))
    expect(
        "the files of the image",
        sorted(path.name for path in image.rglob("*") if path.is_file()),
        ["protoc-gen-qarn-rpc", "protoc-gen-qarn-rpc-any"],
    )
    for program in ("protoc-gen-qarn-rpc", "protoc-gen-qarn-rpc-any"):
        plugin = files.work / "in-image"
        plugin.write_text(f'#!/bin/sh\nexec chroot "{image}" /{copy.group(1)}/{program}\n')
        plugin.chmod(0o755)
        expect_golden(files, plugin)


def check_buf(files, programs):
    """The buf project of the tests, with the programs of that folder."""
    # The tests of users' builds look for what is installed here.
    prefix = files.work / "consumers/moved/prefix"
    shutil.rmtree(prefix, ignore_errors=True)
    prefix.mkdir(parents=True)
    run(
        ["tar", "-xf", next(files.folder.glob("*-linux-x86_64.tar.gz")), "-C", prefix]
        + ["--strip-components=1"]
    )
    shutil.rmtree(prefix / "bin")
    (prefix / "bin").symlink_to(programs)
    tools = files.root / "build/tools/node_modules/.bin"
    path = f"{tools}:{os.environ['PATH']}"
    if not shutil.which("buf", path=path):
        files.not_tried.append("buf, for its project")
        return
    output = run(
        [sys.executable, "-B", "-m", "consumers.consumers", "buf", "--source", files.root]
        + ["--build", files.work, "--work", files.work / "consumers"],
        cwd=files.root / "tests",
        env={"PATH": path},
    )
    print(output)


def check_npm(files):
    """The npm packages, installed from the files without a network by the command
    that the page prints, serve protoc and the buf project of the tests."""
    if not shutil.which("npm"):
        files.not_tried.append("npm, for its packages")
        return
    page = (files.checkout / "docs/using.md").read_text(encoding="utf-8")
    section = page.split("\n## npm\n")[1].split("\n## ")[0]
    install = re.findall(r"^```sh\n(.*?)^```$", section, re.MULTILINE | re.DOTALL)[0]
    folder = files.copy()
    run(
        ["unshare", "--net", "sh", "-e", "-c", install.replace("VERSION", files.version)],
        cwd=folder,
        env={"HOME": str(folder), "npm_config_cache": str(folder / "cache")},
    )
    for program in ("protoc-gen-qarn-rpc", "protoc-gen-qarn-rpc-any"):
        expect_golden(files, folder / "node_modules/.bin" / program)
    schema = "morvane/qarn/rpc/service_options.proto"
    run(
        ["cmp", folder / "node_modules/qarn-rpc-gen/include" / schema]
        + [files.root / "proto" / schema]
    )

    check_buf(files, folder / "node_modules/.bin")

    # On Windows, Node looks for a file with the suffix of that system.
    windows = folder / "node_modules/qarn-rpc-gen-win32-x64/bin"
    windows.mkdir(parents=True)
    shutil.copy(
        folder / "node_modules/qarn-rpc-gen-linux-x64/bin/protoc-gen-qarn-rpc",
        windows / "protoc-gen-qarn-rpc.exe",
    )
    pretended = files.work / "pretended-windows"
    pretended.write_text(
        "#!/usr/bin/env node\n"
        'for (const [name, value] of [["platform", "win32"], ["arch", "x64"]]) {\n'
        "  Object.defineProperty(process, name, { value });\n"
        "}\n"
        f'require("{folder}/node_modules/qarn-rpc-gen/run.js")("protoc-gen-qarn-rpc");\n'
    )
    pretended.chmod(0o755)
    expect_golden(files, pretended)

    # Without the package of the platform, a text says what is missing.
    shutil.rmtree(folder / "node_modules/qarn-rpc-gen-linux-x64")
    text = run([folder / "node_modules/.bin/protoc-gen-qarn-rpc"], status=1)
    expect_in("without its program", text, "the package qarn-rpc-gen-linux-x64 is not installed")


def main(arguments):
    """Makes the files and tries them."""
    if os.geteuid() != 0:
        raise Skip("making a Debian root needs the user root")
    need("git", "minisign", "mmdebstrap")
    files = Files(pathlib.Path(arguments[0]), arguments[1])
    files.make()
    check_gate_passes(files)
    check_gate_sees_each_byte(files)
    check_gate_sees_more_than_sums(files)
    check_page(files)
    check_image(files)
    check_npm(files)
    if files.not_tried:
        raise Skip(f"all that can be tried passed; not installed: {', '.join(files.not_tried)}")


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
