#!/usr/bin/env python3
"""Writes the bill of materials of a release, in the JSON of SPDX 2.3.

  scripts/release/bill.py FOLDER WORK PLATFORM...

FOLDER holds the files of the release and gets the bill. WORK/PLATFORM holds what
build.sh made for each: the folder `tree` that is packed, the traces of the links
and the folder `build`. Runs where the programs were linked.

The bill says of each file of the release which programs it holds, of each program
from which packages the linker took code, and which other packages had
headers for its sources. It is the same for the same files.
"""

import hashlib
import json
import os
import pathlib
import re
import subprocess
import sys
import uuid

import linked
import project

ROOT = pathlib.Path(__file__).resolve().parents[2]


def sha256(path):
    """The checksum of the file, in hexadecimal."""
    return hashlib.sha256(pathlib.Path(path).read_bytes()).hexdigest()


def reference(*parts):
    """An SPDX identifier, which takes letters, digits, dots and hyphens."""
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.]+", "-", "-".join(parts))


def entry(spdx_id, name, version, **more):
    """A package of the bill. Licences are the owner's and Debian's to state: each
    Debian package has its own in /usr/share/doc/PACKAGE/copyright."""
    return {
        "SPDXID": spdx_id,
        "name": name,
        "versionInfo": version,
        "supplier": "NOASSERTION",
        "downloadLocation": "NOASSERTION",
        "filesAnalyzed": False,
        "licenseConcluded": "NOASSERTION",
        "licenseDeclared": "NOASSERTION",
        "copyrightText": "NOASSERTION",
        **more,
    }


def checksums(path):
    """The field of that name."""
    return [{"algorithm": "SHA256", "checksumValue": sha256(path)}]


def purl(name, version, architecture):
    """The field that names a package as Debian has it."""
    version = version.replace(":", "%3A").replace("+", "%2B")
    return [
        {
            "referenceCategory": "PACKAGE-MANAGER",
            "referenceType": "purl",
            "referenceLocator": f"pkg:deb/debian/{name}@{version}?arch={architecture}",
        }
    ]


def package_entry(package):
    """The bill's entry of a Debian package, or of what was built from its source."""
    if package.name == linked.BUILT_HERE:
        return entry(
            reference("Built", package.name),
            package.name,
            package.source_version,
            sourceInfo=f"built with mingw-w64 from Debian's source package {package.source} "
            + package.source_version,
            externalRefs=purl(package.source, package.source_version, "source"),
        )
    return entry(
        reference("Debian", package.name, package.architecture),
        package.name,
        package.version,
        supplier="Organization: Debian",
        sourceInfo=f"Debian's source package {package.source} {package.source_version}",
        externalRefs=purl(package.name, package.version, package.architecture),
    )


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
        self.packages = {}
        self.relationships = []

    def add(self, package):
        """Adds a package once, and returns its identifier."""
        self.packages[package["SPDXID"]] = package
        return package["SPDXID"]

    def relate(self, one, kind, other):
        """Adds a relationship."""
        self.relationships.append(
            {"spdxElementId": one, "relationshipType": kind, "relatedSpdxElement": other}
        )

    def add_program(self, platform, program, work):
        """Adds a program with what it is made of, and returns its identifier."""
        folder = work / platform
        names = project.platforms()[platform]
        (path,) = folder.glob(f"tree/*/bin/{program}")
        spdx_id = self.add(
            entry(
                reference("Program", platform, program),
                program,
                self.version,
                primaryPackagePurpose="APPLICATION",
                checksums=checksums(path),
                comment=f"for {names.system} on {names.cpu}",
            )
        )
        taken = set(linked.owners(linked.linked_files(folder / f"{program}.trace")).values())
        for package in sorted(taken):
            self.relate(spdx_id, "STATIC_LINK", self.add(package_entry(package)))
        included = set(linked.owners(headers(folder / "build"), names.debian).values())
        for package in sorted(included - taken):
            self.relate(self.add(package_entry(package)), "BUILD_DEPENDENCY_OF", spdx_id)
        return spdx_id

    def document(self):
        """All of it. The namespace names this document alone; it is made from what
        the document says."""
        name = f"qarn-rpc-gen-{self.version}"
        body = {
            "packages": [self.packages[spdx_id] for spdx_id in sorted(self.packages)],
            "relationships": self.relationships,
        }
        identity = hashlib.sha256(json.dumps(body, sort_keys=True).encode()).hexdigest()
        return {
            "spdxVersion": "SPDX-2.3",
            "dataLicense": "CC0-1.0",
            "SPDXID": "SPDXRef-DOCUMENT",
            "name": name,
            "documentNamespace": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_OID, name + identity)}",
            "creationInfo": {
                "created": f"{project.date_of(ROOT)}T00:00:00Z",
                "creators": [f"Tool: qarn-rpc-gen-bill.py-{self.version}"],
            },
            **body,
        }


def purpose_of(name, source):
    """What SPDX calls a file of a release whose source archive is `source`."""
    if name.endswith((".deb", ".tgz")):
        return "INSTALL"
    return "SOURCE" if name == source else "ARCHIVE"


def main(arguments):
    """Writes the bill; the comment on top says what it holds."""
    if len(arguments) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    folder, work = map(pathlib.Path, arguments[:2])
    version = project.version_of(ROOT)
    bill = Bill(version)
    files = {path.name: path for path in sorted(folder.iterdir())}
    source = f"qarn-rpc-gen-{version}.tar.gz"
    for name, path in files.items():
        spdx_id = bill.add(
            entry(
                reference("File", name),
                name,
                version,
                packageFileName=name,
                primaryPackagePurpose=purpose_of(name, source),
                checksums=checksums(path),
            )
        )
        bill.relate("SPDXRef-DOCUMENT", "DESCRIBES", spdx_id)
    for platform in sorted(arguments[2:]):
        names = project.platforms()[platform]
        holders = [f"-{platform}.tar.gz", f"-{platform}.zip", f"-{names.node}-{version}.tgz"]
        if names.has_deb:
            holders.append(f"_{names.debian}.deb")
        for program in names.programs:
            spdx_id = bill.add_program(platform, program, work)
            bill.relate(spdx_id, "GENERATED_FROM", reference("File", source))
            for name in files:
                if name.endswith(tuple(holders)):
                    bill.relate(reference("File", name), "CONTAINS", spdx_id)
    text = json.dumps(bill.document(), indent=2) + "\n"
    (folder / f"qarn-rpc-gen-{version}.spdx.json").write_text(text, encoding="utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
