#!/usr/bin/env python3
"""Which packages the files come from that the linker took.

  scripts/release/linked.py TRACE...

A TRACE is what record_link.sh leaves. Prints the source packages as a Debian
package names them in Static-Built-Using. Runs where the programs were linked,
since it asks dpkg who owns each file.
"""

import collections
import os
import re
import subprocess
import sys

# What windows_protobuf.sh installs: no package of Debian's.
BUILT_HERE = "protobuf-mingw-w64"

Package = collections.namedtuple("Package", "name version architecture source source_version")


def linked_files(trace):
    """The absolute paths of the objects in a trace, and of the archives of which
    a member was taken. What the build made itself has a relative path."""
    files = set()
    with open(trace, encoding="utf-8") as lines:
        for line in lines:
            # lld writes ARCHIVE(MEMBER), GNU ld (ARCHIVE)MEMBER.
            match = re.match(r"(/.*\.a)\(.+\)$|\((/.*\.a)\).+|(/.*\.o)$", line.rstrip("\n"))
            if match:
                files.add(os.path.realpath(match.group(match.lastindex)))
    if not any(path.endswith("/libprotoc.a") for path in files):
        raise SystemExit(f"linked.py: {trace} lacks libprotoc.a: is it a trace of the link?")
    return files


def owners(files, architecture=None):
    """The package that each of the installed files comes from. Packages of several
    architectures share headers; then it is that of `architecture`."""
    # On a merged /usr, dpkg knows some files by their old path.
    asked = sorted(files | {path[len("/usr") :] for path in files if path.startswith("/usr/lib")})
    answer = subprocess.run(
        ["dpkg-query", "--search", *asked], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
        check=False, text=True,
    ).stdout  # fmt: skip
    package_of = {}
    for line in answer.splitlines():
        names, path = line.split(": ", 1)
        names = sorted(names.split(", "), key=lambda name: not name.endswith(f":{architecture}"))
        package_of[os.path.realpath(path)] = names[0]
    unknown = files - set(package_of)
    if unknown:
        raise SystemExit(f"linked.py: no package has these files: {' '.join(sorted(unknown))}")
    fields = "${binary:Package}|${Version}|${Architecture}|${source:Package}|${source:Version}\n"
    details = {}
    names = sorted(set(package_of.values()))
    shown = subprocess.run(
        ["dpkg-query", "--show", f"--showformat={fields}", *names],
        stdout=subprocess.PIPE, check=True, text=True,
    ).stdout  # fmt: skip
    for line in shown.splitlines():
        name, *others = line.split("|")
        package = Package(name.split(":")[0], *others)
        details[f"{package.name}:{package.architecture}"] = details[name] = package
    return {path: details[package_of[path]] for path in files}


def main(traces):
    """Prints what the comment on top says."""
    if not traces:
        print(__doc__, file=sys.stderr)
        return 2
    packages = owners(set().union(*map(linked_files, traces))).values()
    sources = {f"{package.source} (= {package.source_version})" for package in packages}
    print(", ".join(sorted(sources)))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
