#!/usr/bin/env python3
"""Says whether the files of a release are whole, right and of one version.

  scripts/release/gate.py FOLDER [--only PLATFORM] [--public-key FILE]

FOLDER holds exactly the files of a release, or with --only those of one platform.
Everybody who has them can run this: it needs protoc, dpkg-deb, bsdtar, qemu-user for
the processors that are not this one, wine on x86_64 and objdump for the programs for
Windows, and minisign if the checksums are signed, all of which Debian has.

- SHA256SUMS is what sha256sum prints again, and its signature is of the public key.
- Every archive and package opens; its times, owners and modes are those of the
  release; what one platform's archives and its Debian package have in common is
  equal.
- Every plugin in each of them writes one golden case, to the byte, and the linter
  finds a mistake. Those for Windows take nothing from libraries that Windows lacks.
- The version is the same in the names, in the source archive's CMakeLists.txt,
  CHANGELOG.md and MODULE.bazel, in the CMake package, the pkg-config file, the man
  pages, the Debian and the npm packages.
- The bill of materials has each file and program with its checksum, and each
  program with protobuf.

Exit status: 0 if all holds, 1 with the first thing that does not, 2 for wrong
usage or a tool that is missing.
"""

import argparse
import contextlib
import gzip
import json
import os
import pathlib
import platform as machine
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

import project
from linked import BUILT_HERE

GOLDEN = "all_four_kinds"
MISTAKE = """\
syntax = "proto3";
message Order {
}
service Orders {
  rpc delete(Order) returns (Order);
}
"""
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


def tool(*names, package):
    """The path of the first of the tools that is installed."""
    for name in names:
        path = shutil.which(name)
        if path:
            return path
    raise Misuse(f"{names[0]} is not installed (Debian's package {package})")


def run(command, what, cwd=None):
    """What the command prints, or a Refusal."""
    command = [str(word) for word in command]
    done = subprocess.run(
        command, cwd=cwd, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False
    )
    if done.returncode != 0:
        raise Refusal(f"{what}:\n{(done.stdout + done.stderr).decode(errors='replace')}")
    return done.stdout


def contents(what, keywords, *arguments):
    """What bsdtar says with the keywords of each name in an archive or a folder."""
    bsdtar = tool("bsdtar", package="libarchive-tools")
    command = [bsdtar, "-cf", "-", "--format=mtree", f"--options=!all,{keywords}", *arguments]
    lines = run(command, f"{what} does not open").decode().splitlines()[1:]
    rows = [line.split(" ") for line in lines]
    # The folder itself is "." or "/.".
    return {
        os.path.normpath(f"./{name}"): dict(field.split("=") for field in fields)
        for name, *fields in rows
    }


def contents_of(folder):
    """What archives have in common: of each name its kind, its mode and the checksum
    of its bytes."""
    return contents(folder.name, "type,mode,sha256", "-C", folder, ".")


def unpack(path, top, epoch, folder):
    """Unpacks an archive, all of which must stand below the name `top` and be as the
    release packs it. With None for the epoch any time will do. Returns where it
    lies."""
    for name, fields in contents(path.name, "type,mode,uid,gid,time,sha256", f"@{path}").items():
        if name != ".":
            expect(f"{path.name}: the first name of {name}", name.split("/")[0], top)
        # Links have no checksum, and a hard link has the type of a file.
        if fields["type"] != "dir" and "sha256digest" not in fields:
            raise Refusal(f"{path.name}: {name} is neither a file nor a folder")
        if fields["mode"] not in ("755", "644"):
            raise Refusal(f"{path.name}: {name} has the mode {fields['mode']}")
        expect(f"{path.name}: the owner of {name}", (fields["uid"], fields["gid"]), ("0", "0"))
        if epoch is not None:
            expect(f"{path.name}: the time of {name}", fields["time"], f"{epoch}.0")
    folder.mkdir(parents=True)
    run(["bsdtar", "-xpf", path, "-C", folder], f"{path.name} does not open")
    return folder / top


def expect_equal_contents(what, held, others):
    """Refuses unless both hold the same names, modes and bytes."""
    for name in sorted(set(held) | set(others)):
        if held.get(name) != others.get(name):
            raise Refusal(f"{what}: {name} is not as in the .tar.gz of the same platform")


def expected_files(version, platforms, signed):
    """The names of the files of a release."""
    name = f"qarn-rpc-gen-{version}"
    files = {"SHA256SUMS", f"{name}.tar.gz", f"{name}.tgz", f"{name}.cdx.json"}
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
    names = {path.name for path in folder.iterdir()} - {"SHA256SUMS", signature.name}
    # Not --check, which lets a file that has no line pass.
    sums = run(["sha256sum", "--", *sorted(names)], "sha256sum fails", folder)
    if (folder / "SHA256SUMS").read_bytes() != sums:
        raise Refusal(f"SHA256SUMS does not fit the files; their checksums are\n{sums.decode()}")
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
    tree = unpack(path, name, None, folder / "first")
    project.check_versions(tree)
    expect(f"{path.name}: the version in CMakeLists.txt", project.version_of(tree), version)
    epoch = project.epoch_of(project.date_of(tree))
    unpack(path, name, epoch, folder / "again")
    return tree, epoch


def check_tree_versions(what, tree, version):
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
        path = tree / name
        text = path.read_text(encoding="utf-8") if path.exists() else ""
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
    """Each plugin below the prefix writes the golden case, and the linter finds a mistake."""
    case = source / "tests" / "golden" / GOLDEN
    protos = case / "proto"
    files = sorted(path.relative_to(protos) for path in protos.rglob("*") if path.is_file())
    for program in names.programs:
        plugin = prefix / "bin" / program
        if names.system == "Windows":
            check_libraries(what, plugin)
        if program.startswith(project.LINTER):
            check_linter(what, runnable(plugin, names, work), work)
            continue
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
        run(["diff", "-r", case / "plain", output], f"{what}: {program} writes something else")


def check_linter(what, linter, work):
    """The linter fails with the mistake, at its place."""
    (work / "mistake.proto").write_text(MISTAKE, encoding="utf-8")
    protoc = tool("protoc", package="protobuf-compiler")
    command = [protoc, f"--plugin={project.LINTER}={linter}", "--qarn-rpc-lint_out=."]
    done = subprocess.run(
        [*command, "mistake.proto"], cwd=work, stderr=subprocess.PIPE, text=True, check=False
    )
    if done.returncode == 0 or "mistake.proto:5:3: error: " not in done.stderr:
        raise Refusal(f"{what}: {project.LINTER} misses a mistake; it says\n{done.stderr}")


def check_deb(path, inside, version, debian, epoch, work):
    """A Debian package: its fields, and that it holds what the archives of its
    platform hold. Returns its folder."""
    dpkg_deb = tool("dpkg-deb", package="dpkg")
    fields = "--showformat=${Package} ${Version} ${Architecture}|${Static-Built-Using}"
    shown = run([dpkg_deb, "--show", fields, path], f"{path.name} does not open").decode()
    identity, built_using = shown.split("|")
    expect(f"{path.name}: what it is", identity, f"qarn-rpc-gen {version} {debian}")
    for source in ("glibc", "protobuf"):
        if not re.search(rf"\b{source} \(= [^)]+\)", built_using):
            raise Refusal(f"{path.name}: Static-Built-Using lacks {source}")

    data = work / f"{path.name}.tar"
    data.write_bytes(run([dpkg_deb, "--fsys-tarfile", path], f"{path.name} does not open"))
    prefix = unpack(data, "usr", epoch, work / path.name)
    doc = prefix / "share/doc/qarn-rpc-gen"
    expect(
        f"{path.name}: the beginning of its changelog",
        gzip.decompress((doc / "changelog.gz").read_bytes()).decode().split(";")[0],
        f"qarn-rpc-gen ({version}) unstable",
    )
    overrides = prefix / "share/lintian/overrides/qarn-rpc-gen"
    for only_here in (doc / "changelog.gz", doc / "copyright", overrides):
        only_here.unlink()
    os.removedirs(overrides.parent)
    run(["gunzip", *prefix.glob("share/man/man1/*")], f"{path.name}: its man pages do not open")
    expect_equal_contents(path.name, contents_of(prefix), inside)
    return prefix


def check_npm(path, inside, version, node, epoch, work):
    """The npm package of a platform: whose it is, and that it has the programs of
    the archives and nothing else. Returns its folder."""
    package = unpack(path, "package", epoch, work / path.name)
    fields = json.loads((package / "package.json").read_bytes())
    expect(f"{path.name}: the name", fields["name"], f"qarn-rpc-gen-{node}")
    expect(f"{path.name}: the version", fields["version"], version)
    expect(f"{path.name}: os and cpu", fields["os"] + fields["cpu"], node.split("-"))
    held = contents_of(package)
    programs = {name: inside[name] for name in inside if name.split("/")[0] in (".", "bin")}
    del held["package.json"]
    expect_equal_contents(path.name, held, programs)
    return package


def check_main_npm(path, version, source, epoch, work):
    """The main npm package: it starts each program, takes those of this version,
    and has the options schema."""
    package = unpack(path, "package", epoch, work / path.name)
    fields = json.loads((package / "package.json").read_bytes())
    expect(
        f"{path.name}: the version", (fields["name"], fields["version"]), ("qarn-rpc-gen", version)
    )
    nodes = [names.node for names in project.platforms().values()]
    expect(
        f"{path.name}: what it takes besides",
        fields["optionalDependencies"],
        {f"qarn-rpc-gen-{node}": version for node in nodes},
    )
    held = contents_of(package)
    modes = [held[fields["bin"][program]]["mode"] for program in project.PROGRAMS]
    expect(f"{path.name}: the modes of its scripts", modes, ["755"] * len(modes))
    original = source / "packaging/npm/main"
    command = ["diff", "-r", "--exclude=package.json", "--exclude=include", original, package]
    run(command, f"{path.name}: its scripts are not those of the source archive")
    command = ["diff", "-r", source / "proto/morvane", package / "include/morvane"]
    run(command, f"{path.name}: its schema is not that of the source archive")


def check_bill(bill, files, programs):
    """The bill of materials: that it is of these files and of these programs, given as
    identifiers with checksums, and that programs are linked with protobuf."""
    expect("the format of the bill", (bill["bomFormat"], bill["specVersion"]), ("CycloneDX", "1.6"))
    for kind, sums in (("file", files), ("application", programs)):
        found = {one["bom-ref"]: one["hashes"] for one in bill["components"] if one["type"] == kind}
        expected = {ref: [{"alg": "SHA-256", "content": sums[ref]}] for ref in sums}
        expect(f"what the bill of materials says of each {kind}", found, expected)
    refs = sorted(component["bom-ref"] for component in bill["components"])
    depends_on = {one["ref"]: one["dependsOn"] for one in bill["dependencies"]}
    expect("what the bill of materials says the dependencies of", sorted(depends_on), refs)
    unknown = sorted({other for others in depends_on.values() for other in others} - set(refs))
    expect("what the bill of materials depends on and lacks", unknown, [])
    for program in programs:
        protobuf = (
            [BUILT_HERE] if program.endswith(".exe") else ["libprotobuf-dev", "libprotoc-dev"]
        )
        linked = [
            one["name"] for one in bill["components"] if one["bom-ref"] in depends_on[program]
        ]
        for name in protobuf:
            if name not in linked:
                raise Refusal(f"the bill of materials: {program} is not linked with {name}")


def check_platform(folder, version, platform, source, epoch, work):
    """The archives and the Debian package of a platform. Returns its programs."""
    names = project.platforms()[platform]
    name = f"qarn-rpc-gen-{version}-{platform}"
    tar_gz, packed_zip = folder / f"{name}.tar.gz", folder / f"{name}.zip"
    prefix = unpack(tar_gz, name, epoch, work / tar_gz.name)
    inside = contents_of(prefix)
    zipped = unpack(packed_zip, name, epoch, work / packed_zip.name)
    expect_equal_contents(packed_zip.name, contents_of(zipped), inside)
    check_tree_versions(tar_gz.name, prefix, version)
    holders = {tar_gz.name: prefix}
    if names.has_deb:
        deb = folder / f"qarn-rpc-gen_{version}_{names.debian}.deb"
        holders[deb.name] = check_deb(deb, inside, version, names.debian, epoch, work)
    npm = folder / f"qarn-rpc-gen-{names.node}-{version}.tgz"
    holders[npm.name] = check_npm(npm, inside, version, names.node, epoch, work)
    for what, place in holders.items():
        check_programs(what, place, names, source, work)
    return {
        f"{platform}/{program}": inside[f"bin/{program}"]["sha256digest"]
        for program in names.programs
    }


def check(folder, only, public_key, work):
    """Checks all; prints what holds, step by step."""
    names = {path.name for path in folder.iterdir()}
    found = [re.fullmatch(rf"qarn-rpc-gen-({project.NUMBER})\.tar\.gz", name) for name in names]
    sources = [match.group(1) for match in found if match]
    if len(sources) != 1:
        raise Refusal(f"{folder} has {len(sources)} source archives, and not one")
    version = sources[0]
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
    check_main_npm(folder / f"qarn-rpc-gen-{version}.tgz", version, tree, epoch, work)
    print("npm: the main package holds")
    bill = folder / f"qarn-rpc-gen-{version}.cdx.json"
    described = json.loads(bill.read_bytes())
    lines = (folder / "SHA256SUMS").read_text(encoding="utf-8").splitlines()
    sums = dict(reversed(line.split("  ")) for line in lines)
    del sums[bill.name]
    check_bill(described, sums, programs)
    print(f"{bill.name} has {len(described['components'])} components")
    print(f"gate: {len(names)} files of {version} hold")


@contextlib.contextmanager
def work_folder():
    """A folder that is removed at the end. Wine keeps its files in it."""
    with tempfile.TemporaryDirectory() as name:
        os.environ["WINEPREFIX"] = f"{name}/wine"
        # The times in a .zip are of no zone.
        os.environ["TZ"] = "UTC0"
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
    except (KeyError, OSError, TypeError, ValueError) as error:
        # What one of our own files must have, and this one lacks.
        print(f"gate: REFUSED: a file is not of the form that it should have: {error!r}")
        return 1
    except Misuse as misuse:
        print(f"gate: {misuse}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
