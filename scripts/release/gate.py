#!/usr/bin/env python3
"""Says whether the files of a release are whole, right and of one version.

  scripts/release/gate.py FOLDER [--only PLATFORM] [--public-key FILE]

FOLDER holds exactly the files of a release, or with --only those of one platform.
Everybody who has them can run this: it needs protoc, dpkg-deb, qemu-user for the
processors that are not this one, wine on x86_64 and objdump for the programs for
Windows, and minisign if the checksums are signed, all of which Debian has.

- SHA256SUMS is what is computed again, and its signature is of the public key.
- Every archive and package opens; its times, owners and modes are those of the
  release; what one platform's archives and its Debian package have in common is
  equal.
- Every program in each of them writes one golden case, to the byte. Those for
  Windows take nothing from libraries that Windows lacks.
- The version is the same in the names, in the source archive's CMakeLists.txt,
  CHANGELOG.md and MODULE.bazel, in the CMake package, the pkg-config file, the man
  pages, the Debian and the npm packages.
- The bill of materials is SPDX 2.3, and has each file and program with its
  checksum.

Exit status: 0 if all holds, 1 with the first thing that does not, 2 for wrong
usage or a tool that is missing.
"""

import argparse
import contextlib
import gzip
import hashlib
import io
import json
import os
import pathlib
import platform as machine
import re
import shlex
import shutil
import stat
import subprocess
import sys
import tarfile
import tempfile
import time
import zipfile

import project
from linked import BUILT_HERE

GOLDEN = "all_four_kinds"
RUN_FOREIGN = pathlib.Path(__file__).with_name("run_foreign.sh")
# Each Windows has them.
WINDOWS_LIBRARIES = {"ADVAPI32.dll", "KERNEL32.dll", "msvcrt.dll"}


class Refusal(Exception):
    """What does not hold; the text says it."""


class Misuse(Exception):
    """What the gate needs is missing."""


def expect(what, actual, expected):
    """Refuses unless the two are equal."""
    if actual != expected:
        raise Refusal(f"{what} is {actual!r}, and not {expected!r}")


def sha256(data):
    """The checksum, in hexadecimal."""
    return hashlib.sha256(data).hexdigest()


def tool(*names, package):
    """The path of the first of the tools that is installed."""
    for name in names:
        path = shutil.which(name)
        if path:
            return path
    raise Misuse(f"{names[0]} is not installed (Debian's package {package})")


def run(command, what):
    """What the command prints, or a Refusal."""
    done = subprocess.run(
        [str(word) for word in command], stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False
    )
    if done.returncode != 0:
        raise Refusal(f"{what}:\n{(done.stdout + done.stderr).decode(errors='replace')}")
    return done.stdout


# ------------------------------------------------------------------------------
# Archives. What one holds is a mapping of names to modes and bytes; folders have
# no bytes.


def checked_mode(what, name, mode):
    """The mode, if it is one that the release gives."""
    if stat.S_IMODE(mode) not in (0o755, 0o644):
        raise Refusal(f"{what}: {name} has the mode {mode:o}")
    return stat.S_IMODE(mode)


def checked_name(what, name):
    """The name without a folder's slash, if it stays where it is unpacked."""
    if name.startswith("/") or ".." in name.split("/"):
        raise Refusal(f"{what}: the name {name} leads out of the folder")
    return name.rstrip("/")


def tar_contents(what, file, epoch):
    """What the .tar in the file object holds. With None for the epoch any time will
    do."""
    contents = {}
    try:
        with tarfile.open(fileobj=file, mode="r:") as tar:
            for info in tar:
                if not info.isfile() and not info.isdir():
                    raise Refusal(f"{what}: {info.name} is neither a file nor a folder")
                if epoch is not None:
                    expect(f"{what}: the time of {info.name}", info.mtime, epoch)
                expect(f"{what}: the owner of {info.name}", (info.uid, info.gid), (0, 0))
                data = tar.extractfile(info).read() if info.isfile() else None
                name = checked_name(what, info.name)
                contents[name] = (checked_mode(what, name, info.mode), data)
    except (tarfile.TarError, OSError, EOFError) as error:
        raise Refusal(f"{what} does not open: {error}") from error
    return contents


def tar_gz_contents(path, epoch):
    """What a .tar.gz holds."""
    try:
        data = gzip.decompress(path.read_bytes())
    except (OSError, EOFError) as error:
        raise Refusal(f"{path.name} does not open: {error}") from error
    return tar_contents(path.name, io.BytesIO(data), epoch)


def zip_contents(path, epoch):
    """What a .zip holds."""
    contents = {}
    try:
        with zipfile.ZipFile(path) as packed:
            for info in packed.infolist():
                expect(
                    f"{path.name}: the time of {info.filename}",
                    info.date_time,
                    tuple(time.gmtime(epoch)[:6]),
                )
                mode = checked_mode(path.name, info.filename, info.external_attr >> 16)
                name = checked_name(path.name, info.filename)
                contents[name] = (mode, None if info.is_dir() else packed.read(info))
    except (zipfile.BadZipFile, OSError) as error:
        raise Refusal(f"{path.name} does not open: {error}") from error
    return contents


def unpack(contents, folder):
    """Writes what an archive holds below the folder."""
    for name, (mode, data) in sorted(contents.items()):
        path = folder / name
        if data is None:
            path.mkdir(parents=True, exist_ok=True)
        else:
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(data)
            path.chmod(mode)
    return folder


def under_one_name(path, contents, name):
    """The contents of an archive, all of which must stand below `name`."""
    inside = {}
    for entry, value in contents.items():
        first, _, rest = entry.partition("/")
        expect(f"{path.name}: the first name of {entry}", first, name)
        if rest:
            inside[rest] = value
    return inside


def expect_equal_contents(what, contents, others):
    """Refuses unless both hold the same names, modes and bytes."""
    for name in sorted(set(contents) | set(others)):
        if contents.get(name) != others.get(name):
            raise Refusal(f"{what}: {name} is not as in the .tar.gz of the same platform")


# ------------------------------------------------------------------------------
# What is checked.


def expected_files(version, platforms, signed):
    """The names of the files of a release."""
    name = f"qarn-rpc-gen-{version}"
    files = {"SHA256SUMS", f"{name}.tar.gz", f"{name}.tgz", f"{name}.spdx.json"}
    for platform in platforms:
        names = project.platforms()[platform]
        files |= {f"{name}-{platform}.tar.gz", f"{name}-{platform}.zip"}
        files.add(f"qarn-rpc-gen-{names.node}-{version}.tgz")
        if names.has_deb:
            files.add(f"qarn-rpc-gen_{version}_{names.debian}.deb")
    return files | ({"SHA256SUMS.minisig"} if signed else set())


def check_sums(folder, version, public_key):
    """SHA256SUMS, and its signature if there is one."""
    signature = folder / "SHA256SUMS.minisig"
    summed = sorted(path for path in folder.iterdir() if not path.name.startswith("SHA256SUMS"))
    expected = "".join(f"{sha256(path.read_bytes())}  {path.name}\n" for path in summed)
    actual = (folder / "SHA256SUMS").read_bytes()
    if actual != expected.encode():
        raise Refusal(f"SHA256SUMS does not fit the files, whose checksums are\n{expected}")
    if not signature.exists():
        if public_key:
            raise Refusal("SHA256SUMS is not signed")
        return "SHA256SUMS holds; it is not signed"
    if not public_key:
        raise Misuse("SHA256SUMS is signed: give the public key with --public-key")
    # A signature covers its second comment alone.
    expect(
        "the first line of SHA256SUMS.minisig",
        signature.read_bytes().split(b"\n")[0].decode(errors="replace"),
        f"untrusted comment: signature of qarn-rpc-gen {version}",
    )
    minisign = tool("minisign", package="minisign")
    command = [minisign, "-V", "-Q", "-p", public_key, "-m", folder / "SHA256SUMS"]
    comment = run(command, "the signature of SHA256SUMS does not hold").decode()
    expect("the comment of the signature", comment.strip(), f"qarn-rpc-gen {version}")
    return "SHA256SUMS holds, and so does its signature"


def open_source(path, version, folder):
    """Unpacks the source archive, whose files must name the version. Returns its
    folder and the time of the release, which stands in one of them."""
    name = f"qarn-rpc-gen-{version}"
    contents = tar_gz_contents(path, None)
    under_one_name(path, contents, name)
    tree = unpack(contents, folder) / name
    try:
        project.check_versions(tree)
        expect(f"{path.name}: the version in CMakeLists.txt", project.version_of(tree), version)
        epoch = project.epoch_of(project.date_of(tree))
    except OSError as error:
        raise Refusal(f"{path.name} is no source archive: {error}") from error
    tar_gz_contents(path, epoch)
    return tree, epoch


def check_tree_versions(what, contents, version):
    """The version in each file of an installed tree that has one."""
    number = rf"({project.NUMBER})"
    found = {
        "share/cmake/qarn-rpc-gen/qarn-rpc-gen-config-version.cmake": (
            rf'^set\(PACKAGE_VERSION "{number}"\)$'
        ),
        "share/pkgconfig/qarn-rpc-gen.pc": rf"^Version: {number}$",
        "share/doc/qarn-rpc-gen/CHANGELOG.md": rf"^## {number} - ",
    }
    for program in project.PROGRAMS:
        found[f"share/man/man1/{program}.1"] = rf'^\.TH .* "qarn-rpc-gen {number}"$'
    for name, pattern in found.items():
        text = contents[name][1].decode() if name in contents else ""
        match = re.search(pattern, text, re.MULTILINE)
        expect(f"{what}: the version in {name}", match and match.group(1), version)


def runnable(plugin, names, work):
    """What runs the plugin here: itself, or a script with an emulator."""
    if names.system == "Windows":
        if names.cpu != machine.machine():
            raise Misuse(f"wine runs the programs for Windows on {names.cpu} alone")
        for program in ("wine", "wineserver"):
            tool(program, package="wine")
    elif names.cpu == machine.machine():
        return plugin
    else:
        tool(f"qemu-{names.cpu}", f"qemu-{names.cpu}-static", package="qemu-user")
    script = work / f"run-{plugin.name}"
    command = shlex.join(map(str, [RUN_FOREIGN, names.system, names.cpu, plugin]))
    script.write_text(f"#!/bin/sh\nexec {command}\n", encoding="utf-8")
    script.chmod(0o755)
    return script


def check_libraries(what, plugin):
    """A program for Windows takes nothing from libraries that Windows lacks."""
    objdump = tool("x86_64-w64-mingw32-objdump", "objdump", package="binutils")
    text = run([objdump, "-p", plugin], f"{what}: objdump cannot read {plugin.name}").decode()
    libraries = set(re.findall(r"^\s*DLL Name: (\S+)$", text, re.MULTILINE))
    if not libraries or libraries - WINDOWS_LIBRARIES:
        raise Refusal(f"{what}: {plugin.name} needs the libraries {sorted(libraries)}")


def check_programs(what, prefix, names, source, work):
    """Each program below the prefix writes the golden case."""
    case = source / "tests" / "golden" / GOLDEN
    protos = case / "proto"
    files = sorted(path.relative_to(protos) for path in protos.rglob("*") if path.is_file())
    for program in names.programs:
        plugin = prefix / "bin" / program
        if names.system == "Windows":
            check_libraries(what, plugin)
        output = work / "output"
        shutil.rmtree(output, ignore_errors=True)
        output.mkdir()
        run(
            [
                tool("protoc", package="protobuf-compiler"),
                f"-I{source / 'proto'}",
                f"-I{protos}",
                f"--plugin=protoc-gen-qarn-rpc={runnable(plugin, names, work)}",
                f"--qarn-rpc_out={output}",
                *files,
            ],
            f"{what}: {program} fails",
        )
        for tree, other in ((case / "plain", output), (output, case / "plain")):
            for path in (path for path in tree.rglob("*") if path.is_file()):
                twin = other / path.relative_to(tree)
                if not twin.exists() or twin.read_bytes() != path.read_bytes():
                    raise Refusal(f"{what}: {program} writes another {path.relative_to(tree)}")


def check_deb(path, inside, version, debian, epoch):
    """A Debian package: its fields, and that it holds what the archives of its
    platform hold. Returns what it holds, named as in those."""
    dpkg_deb = tool("dpkg-deb", package="dpkg")
    tar = run([dpkg_deb, "--fsys-tarfile", path], f"{path.name} does not open")
    files = {
        name[len("./usr/") :]: value
        for name, value in tar_contents(path.name, io.BytesIO(tar), epoch).items()
        if name.startswith("./usr/")
    }

    def field(name):
        command = [dpkg_deb, "--field", path, name]
        return run(command, f"{path.name} does not open").decode().strip()

    expect(f"{path.name}: Package", field("Package"), "qarn-rpc-gen")
    expect(f"{path.name}: Version", field("Version"), version)
    expect(f"{path.name}: Architecture", field("Architecture"), debian)
    for source in ("glibc", "protobuf"):
        if not re.search(rf"\b{source} \(= [^)]+\)", field("Static-Built-Using")):
            raise Refusal(f"{path.name}: Static-Built-Using lacks {source}")

    doc = "share/doc/qarn-rpc-gen"
    shared = {}
    for name, (mode, data) in files.items():
        if data is not None and (name.startswith("share/man/") or name.endswith("changelog.gz")):
            shared[name[: -len(".gz")]] = (mode, gzip.decompress(data))
        else:
            shared[name] = (mode, data)
    expect(
        f"{path.name}: the beginning of its changelog",
        shared[f"{doc}/changelog"][1].decode().split(";")[0],
        f"qarn-rpc-gen ({version}) unstable",
    )
    only_here = ("lintian", "lintian/overrides", "lintian/overrides/qarn-rpc-gen")
    for name in (f"{doc}/changelog", f"{doc}/copyright", *(f"share/{name}" for name in only_here)):
        shared.pop(name, None)
    expect_equal_contents(path.name, shared, inside)
    return files


def check_npm(path, inside, version, node, epoch):
    """The npm package of a platform: whose it is, and that it has the programs of
    the archives and nothing else. Returns what it holds."""
    files = under_one_name(path, tar_gz_contents(path, epoch), "package")
    fields = json.loads(files["package.json"][1])
    expect(f"{path.name}: the name", fields["name"], f"qarn-rpc-gen-{node}")
    expect(f"{path.name}: the version", fields["version"], version)
    expect(f"{path.name}: os and cpu", fields["os"] + fields["cpu"], node.split("-"))
    programs = {name: inside[name] for name in inside if name.split("/")[0] == "bin"}
    found = {name: value for name, value in files.items() if name != "package.json"}
    expect_equal_contents(path.name, found, programs)
    return files


def check_main_npm(path, version, source, epoch):
    """The main npm package: it starts each program, takes those of this version,
    and has the options schema."""
    files = under_one_name(path, tar_gz_contents(path, epoch), "package")
    fields = json.loads(files["package.json"][1])
    expect(
        f"{path.name}: the version", (fields["name"], fields["version"]), ("qarn-rpc-gen", version)
    )
    nodes = [names.node for names in project.platforms().values()]
    expect(
        f"{path.name}: what it takes besides",
        fields["optionalDependencies"],
        {f"qarn-rpc-gen-{node}": version for node in nodes},
    )
    for program in project.PROGRAMS:
        script = files[fields["bin"][program]]
        expect(f"{path.name}: the mode of {fields['bin'][program]}", script[0], 0o755)
    schema = "morvane/qarn/rpc/service_options.proto"
    for name, original in (
        (f"include/{schema}", source / "proto" / schema),
        ("run.js", source / "packaging/npm/run.js"),
    ):
        if files[name][1] != original.read_bytes():
            raise Refusal(f"{path.name}: {name} is not that of the source archive")


def check_bill(bill, files, programs):
    """The bill of materials: that it is SPDX 2.3, and right."""
    for field, pattern in (
        ("spdxVersion", r"SPDX-2\.3"),
        ("dataLicense", r"CC0-1\.0"),
        ("SPDXID", r"SPDXRef-DOCUMENT"),
        ("name", r".+"),
        ("documentNamespace", r"[a-z][a-z0-9+.-]*:[^#\s]+"),
    ):
        if not re.fullmatch(pattern, str(bill.get(field, ""))):
            raise Refusal(f"the bill of materials: {field} is {bill.get(field)!r}")
    if not re.fullmatch(r"\d{4}(-\d\d){2}T\d\d(:\d\d){2}Z", bill["creationInfo"]["created"]):
        raise Refusal("the bill of materials: created is no time")
    for creator in bill["creationInfo"]["creators"] or [""]:
        if not re.match(r"(Tool|Person|Organization): \S", creator):
            raise Refusal(f"the bill of materials: '{creator}' creates nothing")
    packages = {package["SPDXID"]: package for package in bill["packages"]}
    expect("the number of identifiers in the bill", len(packages), len(bill["packages"]))
    for spdx_id, package in packages.items():
        if not re.fullmatch(r"SPDXRef-[A-Za-z0-9.-]+", spdx_id):
            raise Refusal(f"the bill of materials: {spdx_id} is no identifier")
        for field in ("name", "versionInfo", "downloadLocation"):
            if not package.get(field):
                raise Refusal(f"the bill of materials: {spdx_id} has no {field}")
        # Otherwise SPDX wants a list of files.
        expect(
            f"the bill of materials: filesAnalyzed of {spdx_id}", package["filesAnalyzed"], False
        )
    linked = {}
    for relationship in bill["relationships"]:
        one, other = relationship["spdxElementId"], relationship["relatedSpdxElement"]
        for spdx_id in {one, other} - {"SPDXRef-DOCUMENT"} - set(packages):
            raise Refusal(f"the bill of materials relates {spdx_id}, which it lacks")
        kind = relationship["relationshipType"]
        if kind == "STATIC_LINK":
            linked.setdefault(one, set()).add(packages[other]["name"])
        elif kind not in ("DESCRIBES", "CONTAINS", "GENERATED_FROM", "BUILD_DEPENDENCY_OF"):
            raise Refusal(f"the bill of materials: {kind} is no relationship that we use")

    def checksum(spdx_id):
        (value,) = packages[spdx_id]["checksums"]
        return value["algorithm"], value["checksumValue"]

    described = {
        packages[relationship["relatedSpdxElement"]]["packageFileName"]: checksum(
            relationship["relatedSpdxElement"]
        )
        for relationship in bill["relationships"]
        if relationship["relationshipType"] == "DESCRIBES"
    }
    expect(
        "what the bill of materials describes",
        described,
        {path.name: ("SHA256", sha256(path.read_bytes())) for path in files},
    )
    named = {spdx_id for spdx_id in packages if spdx_id.startswith("SPDXRef-Program-")}
    expect(
        "the programs in the bill", named, {f"SPDXRef-Program-{program}" for program in programs}
    )
    for program, data in programs.items():
        spdx_id = f"SPDXRef-Program-{program}"
        expect(f"the checksum of {spdx_id}", checksum(spdx_id), ("SHA256", sha256(data)))
        needed = [BUILT_HERE] if program.endswith(".exe") else ["libprotobuf-dev", "libprotoc-dev"]
        for name in needed:
            if name not in linked.get(spdx_id, ()):
                raise Refusal(f"the bill of materials: {spdx_id} is not linked with {name}")


def check_platform(folder, version, platform, source, epoch, work):
    """The archives and the Debian package of a platform. Returns its programs."""
    names = project.platforms()[platform]
    name = f"qarn-rpc-gen-{version}-{platform}"
    tar_gz, packed_zip = folder / f"{name}.tar.gz", folder / f"{name}.zip"
    contents = tar_gz_contents(tar_gz, epoch)
    inside = under_one_name(tar_gz, contents, name)
    expect_equal_contents(packed_zip.name, zip_contents(packed_zip, epoch), contents)
    check_tree_versions(tar_gz.name, inside, version)
    holders = {tar_gz.name: inside}
    if names.has_deb:
        deb = folder / f"qarn-rpc-gen_{version}_{names.debian}.deb"
        holders[deb.name] = check_deb(deb, inside, version, names.debian, epoch)
    npm = folder / f"qarn-rpc-gen-{names.node}-{version}.tgz"
    holders[npm.name] = check_npm(npm, inside, version, names.node, epoch)
    for what, files in holders.items():
        prefix = unpack(files, work / what)
        check_programs(what, prefix, names, source, work)
    # As the bill of materials names them; its identifiers take no "_".
    prefix = platform.replace("_", "-")
    return {f"{prefix}-{program}": inside[f"bin/{program}"][1] for program in names.programs}


def check(folder, only, public_key, work):
    """Checks all; prints what holds, step by step."""
    sources = [
        match.group(1)
        for path in folder.iterdir()
        if (match := re.fullmatch(rf"qarn-rpc-gen-({project.NUMBER})\.tar\.gz", path.name))
    ]
    if len(sources) != 1:
        raise Refusal(f"{folder} has {len(sources)} source archives, and not one")
    version = sources[0]
    names = {path.name for path in folder.iterdir()}
    platforms = [only] if only else list(project.platforms())
    expected = expected_files(version, platforms, "SHA256SUMS.minisig" in names)
    if names != expected:
        raise Refusal(
            f"{folder} lacks {sorted(expected - names)} and has {sorted(names - expected)} besides"
        )
    print(check_sums(folder, version, public_key))
    source = folder / f"qarn-rpc-gen-{version}.tar.gz"
    tree, epoch = open_source(source, version, work / "source")
    print(f"{source.name} is of one version")
    programs = {}
    for platform in platforms:
        programs.update(check_platform(folder, version, platform, tree, epoch, work / platform))
        print(f"{platform}: archives and programs hold")
    check_main_npm(folder / f"qarn-rpc-gen-{version}.tgz", version, tree, epoch)
    print("npm: the main package holds")
    bill = folder / f"qarn-rpc-gen-{version}.spdx.json"
    described = json.loads(bill.read_text(encoding="utf-8"))
    files = [folder / name for name in expected if name.startswith("qarn-rpc-gen")]
    check_bill(described, [path for path in files if path != bill], programs)
    print(f"{bill.name} has {len(described['packages'])} packages")
    print(f"gate: {len(names)} files of {version} hold")


@contextlib.contextmanager
def work_folder():
    """A folder that is removed at the end. Wine keeps its files in it."""
    with tempfile.TemporaryDirectory() as name:
        os.environ["WINEPREFIX"] = f"{name}/wine"
        try:
            yield pathlib.Path(name)
        finally:
            if os.path.exists(f"{name}/wine"):
                for option in ("--kill", "--wait"):
                    subprocess.run(["wineserver", option], check=False)


def main():
    """Runs the gate; the comment on top says what it checks."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--only", choices=project.platforms(), metavar="PLATFORM")
    parser.add_argument("--public-key", type=pathlib.Path, metavar="FILE")
    arguments = parser.parse_args()
    if not arguments.folder.is_dir():
        parser.error(f"{arguments.folder} is no folder")
    try:
        with work_folder() as work:
            check(arguments.folder, arguments.only, arguments.public_key, work)
    except (Refusal, project.Disagreement) as refusal:
        print(f"gate: REFUSED: {refusal}", file=sys.stderr)
        return 1
    except (KeyError, TypeError, ValueError) as error:
        # What one of our own files must have, and this one lacks.
        print(f"gate: REFUSED: a file is not of the form that it should have: {error!r}")
        return 1
    except Misuse as misuse:
        print(f"gate: {misuse}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
