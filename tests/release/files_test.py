"""The signed files of a release for linux-x86_64, made from this tree: the gate, the
page for users, the image and the npm packages are tried with them."""

import json
import os
import re
import shutil
import subprocess
import sys

import pytest

from consumers.context import write_program
from release.checkout import code_blocks, make_checkout
from support.commands import run

pytestmark = [
    pytest.mark.skipif(os.geteuid() != 0, reason="making a Debian root needs the user root"),
    pytest.mark.needs("git", "minisign", "mmdebstrap"),
]

ONLY = ["--only", "linux-x86_64"]
PLUGIN = "bin/protoc-gen-qarn-rpc"
PLUGINS = ("protoc-gen-qarn-rpc", "protoc-gen-qarn-rpc-any")
LINTER = "protoc-gen-qarn-rpc-lint"

VALIDATE = """
const { Validation } = require("@cyclonedx/cyclonedx-library");
const bill = require("fs").readFileSync(0, "utf8");
new Validation.JsonStrictValidator("1.6").validate(bill).then((error) => {
  if (error !== null) throw new Error(JSON.stringify(error));
});
"""


class Files:
    """The files of a release, made in `work`, and their keys."""

    def __init__(self, source, work):
        self.work = work
        self.checkout = make_checkout(source, work / "checkout")
        self.key = work / "minisign.key"
        self.public_key = work / "minisign.pub"
        self.folder = work / "files"
        self.version, _, self.epoch = self.script("release/project.py").split()
        run(["minisign", "-G", "-W", "-s", self.key, "-p", self.public_key])
        output = self.script(
            *("release.sh", self.version, *ONLY, "--out", self.folder),
            *("--key", self.key, "--public-key", self.public_key),
        )
        # What the owner has to add.
        assert "packaging/minisign.pub: The public key" in output

    def script(self, name, *arguments, **options):
        """What a script of the checkout prints."""
        return run([self.checkout / "scripts" / name, *arguments], **options)

    def gate(self, folder, status=0, public_key=True):
        """What the gate says of a folder. Its archives are of this machine, so it
        needs no emulator."""
        key = ["--public-key", self.public_key] if public_key else []
        return self.script("release/gate.py", folder, *ONLY, *key, status=status)

    def unpack(self, folder):
        """Unpacks the archive in the folder, without its outer folder."""
        folder.mkdir(parents=True)
        (archive,) = self.folder.glob("*-linux-x86_64.tar.gz")
        run(["tar", "-xf", archive, "-C", folder, "--strip-components=1"])
        return folder

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


@pytest.fixture(name="files", scope="module")
def fixture_files(source, tmp_path_factory):
    return Files(source, tmp_path_factory.mktemp("release"))


@pytest.fixture(name="copy")
def fixture_copy(files, tmp_path):
    """A copy of the files."""
    return shutil.copytree(files.folder, tmp_path / "copy")


def test_gate_lets_what_was_made_pass(files):
    assert f"9 files of {files.version} hold" in files.gate(files.folder)


def test_gate_wants_the_key_of_what_is_signed(files):
    text = files.gate(files.folder, status=2, public_key=False)
    assert "SHA256SUMS is signed: give the public key" in text


def test_archives_are_in_order(files):
    """Their names are sorted, and no header of gzip has a time or a name."""
    for path in (*files.folder.glob("*.tar.gz"), *files.folder.glob("*.tgz")):
        names = run(["tar", "-tf", path]).splitlines()
        assert names == sorted(names, key=lambda name: name.rstrip("/").split("/"))
        assert path.read_bytes()[:8] == b"\x1f\x8b\x08" + bytes(5)
    (path,) = files.folder.glob("*.zip")
    names = [name.rstrip("/") for name in run(["bsdtar", "-tf", path]).splitlines()]
    assert names == sorted(names)


def test_gate_misses_the_other_platforms(files):
    text = files.script("release/gate.py", files.folder, status=1)
    assert f"qarn-rpc-gen-{files.version}-linux-s390_64.zip" in text


def test_gate_sees_each_byte(files, copy):
    """One byte of one file: the first, one in the middle, and the last."""
    for path in sorted(copy.iterdir()):
        data = path.read_bytes()
        for place in (0, len(data) // 2, len(data) - 1):
            path.write_bytes(data[:place] + bytes([data[place] ^ 1]) + data[place + 1 :])
            assert "gate: REFUSED: " in files.gate(copy, status=1), f"byte {place} of {path.name}"
        path.write_bytes(data)


def test_gate_sees_a_file_more(files, copy):
    (copy / "more").write_text("")
    assert "has ['more'] besides" in files.gate(copy, status=1)


@pytest.mark.parametrize("pattern", ["*-linux-x86_64.zip", "SHA256SUMS.minisig"])
def test_gate_misses_a_file(files, copy, pattern):
    (missing,) = copy.glob(pattern)
    missing.unlink()
    files.gate(copy, status=1)


def not_executable(path, _):
    path.chmod(0o644)


def other_program(path, _):
    path.write_text("#!/bin/sh\nexit 1\n")


def other_version(path, version):
    text = path.read_text()
    assert version in text
    path.write_text(text.replace(version, "0.0.9"))


@pytest.mark.parametrize(
    "path, change, kinds, expected",
    [
        (
            PLUGIN,
            not_executable,
            [".zip"],
            f"{PLUGIN} is not as in the .tar.gz of the same platform",
        ),
        # With the Debian package as it was; without it, the program is run.
        (
            PLUGIN,
            other_program,
            [".tar.gz", ".zip"],
            f"{PLUGIN} is not as in the .tar.gz of the same platform",
        ),
        *(
            (path, other_version, [".tar.gz", ".zip"], f"the version in {path} is '0.0.9'")
            for path in (
                "share/cmake/qarn-rpc-gen/qarn-rpc-gen-config-version.cmake",
                "share/pkgconfig/qarn-rpc-gen.pc",
                "share/man/man1/protoc-gen-qarn-rpc-any.1",
                "share/doc/qarn-rpc-gen/CHANGELOG.md",
            )
        ),
    ],
)
def test_gate_sees_another_archive(files, copy, tmp_path, path, change, kinds, expected):
    """Although the checksums fit and are signed."""
    name = f"qarn-rpc-gen-{files.version}-linux-x86_64"
    tree = files.unpack(tmp_path / name)
    change(tree / path, files.version)
    archives = [copy / f"{name}{kind}" for kind in kinds]
    epoch = {"SOURCE_DATE_EPOCH": files.epoch}
    files.script("release/pack.sh", tree, *archives, env=epoch)
    files.write_sums(copy)
    assert expected in files.gate(copy, status=1)


@pytest.mark.parametrize(
    "change, expected",
    [
        (
            lambda bill: bill.update(specVersion="1.5"),
            "the format of the bill is ('CycloneDX', '1.5')",
        ),
        (lambda bill: bill["components"].clear(), "the bill of materials says of each file is {}"),
        # The first component is a program.
        (
            lambda bill: bill["components"][0]["hashes"][0].update(content="0"),
            "the bill of materials says of each application is",
        ),
        (
            lambda bill: bill["components"].append(bill["components"][0]),
            "the bill of materials says the dependencies of is",
        ),
        (
            lambda bill: bill["dependencies"][0]["dependsOn"].append("x"),
            "the bill of materials depends on and lacks is ['x']",
        ),
        (
            lambda bill: bill["dependencies"][0]["dependsOn"].clear(),
            "is not linked with libprotobuf-dev",
        ),
    ],
)
def test_gate_sees_another_bill(files, copy, change, expected):
    """Although the checksums fit and are signed."""
    (path,) = copy.glob("*.cdx.json")
    bill = json.loads(path.read_text())
    change(bill)
    path.write_text(json.dumps(bill))
    files.write_sums(copy)
    assert expected in files.gate(copy, status=1)


@pytest.mark.needs("npm")
def test_bill_is_valid(files, source, tmp_path):
    """As CycloneDX's own library says, which also refuses what it does not know."""
    if subprocess.run([source / "scripts/setup.sh", "bill"], check=False).returncode != 0:
        pytest.skip("npm cannot install the validator")
    (bill,) = files.folder.glob("*.cdx.json")
    env = {"NODE_PATH": source / "build/tools/node_modules"}
    run(["node", "-e", VALIDATE], stdin=bill, env=env)
    other = tmp_path / "other"
    other.write_text(bill.read_text().replace('"purl"', '"puri"'))
    text = run(["node", "-e", VALIDATE], stdin=other, env=env, status=1)
    assert "must NOT have additional properties" in text


def test_commands_of_the_page(files, copy, source):
    """Those under "Download, check, unpack" work as they are printed, and what is
    unpacked serves a CMake project."""
    download, configure = code_blocks(source, "using.md", "sh", "Download, check, unpack")
    shutil.copy(files.public_key, copy / "minisign.pub")
    for path in (source / "examples/echo", source / "tests/consumers/cmake"):
        shutil.copytree(path, copy, dirs_exist_ok=True)
    run(["sh", "-e", "-c", download.replace("VERSION", files.version)], cwd=copy)
    configure = configure.strip().replace("VERSION", files.version)
    configure += f" -DRPC_RUNTIME_DIR='{source}/examples/runtime'"
    run(["sh", "-e", "-c", configure], cwd=copy)
    run(["cmake", "--build", "build"], cwd=copy)
    conversation = (source / "examples/echo/conversation.txt").read_text()
    assert run([copy / "build/echo"]) == conversation


def expect_golden(source, plugin, output):
    """Fails unless protoc writes the golden case with the plugin."""
    case = source / "tests/golden/all_four_kinds"
    protos = [path.relative_to(case / "proto") for path in (case / "proto").rglob("*.*")]
    output.mkdir()
    run(
        ["protoc", f"-I{source}/proto", f"-I{case}/proto"]
        + [f"--plugin=protoc-gen-qarn-rpc={plugin}", f"--qarn-rpc_out={output}", *protos]
    )
    run(["diff", "-r", case / "plain", output])


def expect_finding(source, linter, folder):
    """Fails unless protoc with the linter says what it must of a mistake."""
    folder.mkdir()
    shutil.copy(source / "tests/consumers/lint/shop/orders.proto", folder)
    command = ["protoc", f"--plugin={LINTER}={linter}", "--qarn-rpc-lint_out=.", "orders.proto"]
    assert "orders.proto:9:3: error: " in run(command, cwd=folder, status=1)


def test_image(files, source, tmp_path):
    """The image, as a folder that holds what its COPY names and nothing else: the
    programs in it answer protoc."""
    first, copy_line = (source / "packaging/Containerfile").read_text().splitlines()
    assert first == "FROM scratch"
    place = re.fullmatch(r"COPY bin/ /(\S+)/", copy_line)[1]
    image = tmp_path / "image"
    shutil.copytree(files.unpack(tmp_path / "unpacked") / "bin", image / place)
    held = sorted(path.name for path in image.rglob("*") if path.is_file())
    assert held == [*PLUGINS, LINTER]
    for program in held:
        plugin = write_program(tmp_path / "in-image", f'exec chroot "{image}" /{place}/{program}\n')
        expect = expect_finding if program == LINTER else expect_golden
        expect(source, plugin, tmp_path / f"output of {program}")


@pytest.fixture(name="npm")
def fixture_npm(source, files, copy):
    """The folder node_modules of the npm packages, installed from the files without a
    network by the command that the page prints."""
    (install,) = code_blocks(source, "using/npm.md", "sh")
    run(
        ["unshare", "--net", "sh", "-e", "-c", install.replace("VERSION", files.version)],
        cwd=copy,
        env={"HOME": str(copy), "npm_config_cache": str(copy / "cache")},
    )
    return copy / "node_modules"


@pytest.mark.needs("npm")
def test_npm_packages_serve_protoc(source, npm, tmp_path):
    for program in PLUGINS:
        expect_golden(source, npm / ".bin" / program, tmp_path / f"output of {program}")
    expect_finding(source, npm / ".bin" / LINTER, tmp_path / "linted")
    schema = "morvane/qarn/rpc/service_options.proto"
    run(["cmp", npm / "qarn-rpc-gen/include" / schema, source / "proto" / schema])


@pytest.mark.needs("npm")
def test_npm_packages_serve_buf(source, files, npm, tmp_path):
    path = f"{source}/build/tools/node_modules/.bin:{os.environ['PATH']}"
    if not shutil.which("buf", path=path):
        pytest.skip("buf is not installed (npm's @bufbuild/buf)")
    prefix = files.unpack(tmp_path / "prefix")
    shutil.rmtree(prefix / "bin")
    (prefix / "bin").symlink_to(npm / ".bin")
    test = source / "tests/consumers/other_build_test.py::test_buf"
    run(
        [sys.executable, "-B", "-m", "pytest", f"--basetemp={tmp_path}/buf", f"--prefix={prefix}"]
        + [test],
        env={"PATH": path},
    )


@pytest.mark.needs("npm")
def test_npm_package_looks_for_the_name_that_windows_has(source, npm, tmp_path):
    """There Node looks for a file with the suffix of that system."""
    windows = npm / "qarn-rpc-gen-win32-x64/bin"
    windows.mkdir(parents=True)
    program = npm / "qarn-rpc-gen-linux-x64/bin/protoc-gen-qarn-rpc"
    shutil.copy(program, windows / "protoc-gen-qarn-rpc.exe")
    pretended = tmp_path / "pretended-windows"
    pretended.write_text(
        "#!/usr/bin/env node\n"
        'for (const [name, value] of [["platform", "win32"], ["arch", "x64"]]) {\n'
        "  Object.defineProperty(process, name, { value });\n"
        "}\n"
        f'require("{npm}/qarn-rpc-gen/run.js")("protoc-gen-qarn-rpc");\n'
    )
    pretended.chmod(0o755)
    expect_golden(source, pretended, tmp_path / "output")


@pytest.mark.needs("npm")
def test_npm_package_says_that_its_program_is_missing(npm):
    shutil.rmtree(npm / "qarn-rpc-gen-linux-x64")
    text = run([npm / ".bin/protoc-gen-qarn-rpc"], status=1)
    assert "the package qarn-rpc-gen-linux-x64 is not installed" in text
