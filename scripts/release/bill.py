#!/usr/bin/env python3
"""Writes the bill of materials of a release, in the JSON of CycloneDX 1.6.

  scripts/release/bill.py FOLDER WORK PLATFORM...

FOLDER holds the files of the release and gets the bill. WORK/PLATFORM holds what
build.sh made for each: the folder `tree` that is packed, the traces of the links
and the folder `build`. Runs where the programs were linked.

The components are the files, the programs, and the packages. A file depends on the
programs that it holds, and a program on the packages from which the linker took
code; packages that only had headers for its sources are properties of it. The bill
is the same for the same files.
"""

import hashlib
import json
import os
import pathlib
import subprocess
import sys
import urllib.parse
import uuid

import linked
import project

ROOT = pathlib.Path(__file__).resolve().parents[2]
NAME = "qarn-rpc-gen"
HEADERS = f"{NAME}:headers"


def hashes(path):
    """The field of that name."""
    return [{"alg": "SHA-256", "content": hashlib.sha256(path.read_bytes()).hexdigest()}]


def package_component(package):
    """A Debian package, or what was built from its source. Its identifier is its
    package URL. Licences are Debian's to state: each package has its own in
    /usr/share/doc/PACKAGE/copyright."""
    source = f"Debian's source package {package.source} {package.source_version}"
    if package.name == linked.BUILT_HERE:
        name, version, architecture = package.source, package.source_version, "source"
        more = {"description": f"built with mingw-w64 from {source}"}
    else:
        name, version, architecture = package.name, package.version, package.architecture
        more = {"description": f"from {source}", "supplier": {"name": "Debian"}}
    purl = f"pkg:deb/debian/{name}@{urllib.parse.quote(version)}?arch={architecture}"
    ref = {"type": "library", "bom-ref": purl, "name": package.name}
    return {**ref, "version": version, "purl": purl, **more}


def headers(build):
    """The installed headers that the sources of a build folder included."""
    deps = subprocess.run(
        ["ninja", "-C", str(build), "-t", "deps"], stdout=subprocess.PIPE, check=True, text=True
    ).stdout
    paths = {line.strip() for line in deps.splitlines() if line.startswith("    ")}
    return {os.path.realpath(path) for path in paths if path.startswith("/usr/")}


class Bill:
    """The document, as it grows."""

    def __init__(self, version):
        self.version = version
        self.components = {}
        self.dependencies = {}

    def add(self, component, depends_on=None):
        """Adds a component once, and returns its identifier."""
        ref = component["bom-ref"]
        self.components[ref] = component
        self.dependencies[ref] = sorted(depends_on or [])
        return ref

    def add_program(self, platform, program, work):
        """Adds a program with what it is made of, and returns its identifier."""
        folder = work / platform
        names = project.platforms()[platform]
        (path,) = folder.glob(f"tree/*/bin/{program}")
        taken = set(linked.owners(linked.linked_files(folder / f"{program}.trace")).values())
        included = set(linked.owners(headers(folder / "build"), names.debian).values()) - taken
        return self.add(
            {
                "type": "application",
                "bom-ref": f"{platform}/{program}",
                "name": program,
                "version": self.version,
                "description": f"for {names.system} on {names.cpu}",
                "hashes": hashes(path),
                "properties": [
                    {"name": HEADERS, "value": self.add(package_component(package))}
                    for package in sorted(included)
                ],
            },
            [self.add(package_component(package)) for package in taken],
        )

    def document(self):
        """All of it. The serial number names this document alone; it is made from
        what the document says."""
        product = {"type": "application", "bom-ref": NAME, "name": NAME, "version": self.version}
        body = {
            "version": 1,
            "metadata": {
                "timestamp": f"{project.date_of(ROOT)}T00:00:00Z",
                "tools": {
                    "components": [{"type": "application", "name": "scripts/release/bill.py"}]
                },
                "component": product,
            },
            "components": [self.components[ref] for ref in sorted(self.components)],
            "dependencies": [
                {"ref": ref, "dependsOn": self.dependencies[ref]}
                for ref in sorted(self.dependencies)
            ],
        }
        serial = uuid.uuid5(uuid.NAMESPACE_OID, json.dumps(body))
        head = {
            "bomFormat": "CycloneDX",
            "specVersion": "1.6",
            "serialNumber": f"urn:uuid:{serial}",
        }
        return {**head, **body}


def main(arguments):
    """Writes the bill; the comment on top says what it holds."""
    if len(arguments) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    folder, work = map(pathlib.Path, arguments[:2])
    version = project.version_of(ROOT)
    bill = Bill(version)
    holders = {}
    for platform in arguments[2:]:
        names = project.platforms()[platform]
        programs = [bill.add_program(platform, program, work) for program in names.programs]
        for end in (f"-{platform}.tar.gz", f"-{platform}.zip", f"-{names.node}-{version}.tgz"):
            holders[end] = programs
        if names.has_deb:
            holders[f"_{names.debian}.deb"] = programs
    for path in folder.iterdir():
        file = {"type": "file", "bom-ref": path.name, "name": path.name, "hashes": hashes(path)}
        held = (programs for end, programs in holders.items() if path.name.endswith(end))
        bill.add(file, next(held, None))
    text = json.dumps(bill.document(), indent=2) + "\n"
    (folder / f"{NAME}-{version}.cdx.json").write_text(text, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
