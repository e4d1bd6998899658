#!/usr/bin/env python3
"""Makes the npm packages of a release: one with the programs of each platform,
and the main one, which starts them. Nothing is downloaded when they are installed.

  scripts/release/npm.py FOLDER WORK PLATFORM...

FOLDER gets the packages. WORK/PLATFORM/tree/* is the installed tree whose programs
they hold. SOURCE_DATE_EPOCH is the time of all.
"""

import json
import os
import pathlib
import shutil
import sys

import pack
import project

ROOT = pathlib.Path(__file__).resolve().parents[2]
NAME = "qarn-rpc-gen"


def write_package(folder, archive, fields, epoch):
    """Writes the folder's package.json, and the folder as a package of npm."""
    text = json.dumps(fields, indent=2) + "\n"
    (folder / "package.json").write_text(text, encoding="utf-8")
    pack.pack_tar(folder, archive, epoch)


def platform_package(version, node):
    """The package.json of a platform's package; the programs go beside it."""
    system, cpu = node.split("-")
    return {
        "name": f"{NAME}-{node}",
        "version": version,
        "description": f"The programs of {NAME} for {system} on {cpu}",
        "os": [system],
        "cpu": [cpu],
        "files": ["bin"],
        "preferUnplugged": True,
    }


def main_package(version, nodes):
    """The package.json of the main package."""
    return {
        "name": NAME,
        "version": version,
        "description": "A protoc plugin that generates asynchronous C++ RPC classes",
        "bin": {program: f"bin/{program}.js" for program in project.PROGRAMS},
        "files": ["bin", "include", "run.js"],
        "engines": {"node": ">=14"},
        "optionalDependencies": {f"{NAME}-{node}": version for node in nodes},
    }


def main(arguments):
    """Makes the packages."""
    if len(arguments) < 3:
        print(__doc__, file=sys.stderr)
        return 2
    folder, work = map(pathlib.Path, arguments[:2])
    epoch = int(os.environ["SOURCE_DATE_EPOCH"])
    version = project.version_of(ROOT)
    platforms = project.platforms()
    for platform in arguments[2:]:
        names = platforms[platform]
        (tree,) = (work / platform / "tree").iterdir()
        package = work / platform / "npm" / "package"
        (package / "bin").mkdir(parents=True)
        for program in names.programs:
            shutil.copy2(tree / "bin" / program, package / "bin")
        name = f"{NAME}-{names.node}-{version}.tgz"
        write_package(package, folder / name, platform_package(version, names.node), epoch)

    # It names the packages of all platforms, also when some are not made here.
    package = work / "npm" / "package"
    shutil.copytree(ROOT / "packaging/npm", package)
    schema = "morvane/qarn/rpc/service_options.proto"
    (package / "include" / schema).parent.mkdir(parents=True)
    shutil.copy2(ROOT / "proto" / schema, package / "include" / schema)
    (package / "bin").mkdir()
    for program in project.PROGRAMS:
        script = package / "bin" / f"{program}.js"
        script.write_text(f'#!/usr/bin/env node\nrequire("../run.js")("{program}");\n')
        script.chmod(0o755)
    write_package(
        package,
        folder / f"{NAME}-{version}.tgz",
        main_package(version, sorted(names.node for names in platforms.values())),
        epoch,
    )
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
