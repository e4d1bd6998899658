"""Checks that the README's sample and commands work as they are printed.

  python3 -m docs.check_readme ROOT CONFIG

CONFIG is the file that qarn_rpc_write_compile_config writes. Checked are

- the sample: the left side is generated, and the lines of the right side stand
  in the header in their order;
- the commands under "By hand it is", which are run as they stand, in a folder
  where the placeholders PATH_TO... are what they stand for; the program that
  they build, from greeter_main.cc beside this file, runs;
- the scripts that any `sh` block of the README or of CONTRIBUTING names: they
  are there.
"""

import json
import os
import pathlib
import re
import sys
import tempfile

from support.testkit import Failure, Misuse, run, status_of

OUTPUT = "hello, one\nhello, two\nhello, three\n"


def block(text, language, part):
    """The one block of that language that holds `part`."""
    found = [
        body
        for body in re.findall(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
        if part in body
    ]
    if len(found) != 1:
        raise Failure(
            f"README.md: {len(found)} blocks of {language} hold '{part}'; there must be one"
        )
    return found[0]


def make_folder(folder, root, config, greeter):
    """Fills the folder with what the commands by hand begin with."""
    (folder / "greeter.proto").write_text(greeter, encoding="utf-8")
    (folder / "PATH_TO").mkdir()
    for name, target in {
        "main.cc": root / "tests/docs/greeter_main.cc",
        "PATH_TO/protoc-gen-qarn-rpc": config["plugin"],
        "PATH_TO/protoc": config["protoc"],
        "PATH_TO_THIS_PROJECT": root,
        "PATH_TO_YOUR_RUNTIME": config["runtime"],
    }.items():
        (folder / name).symlink_to(target)


def environment(folder, config):
    """The environment of a user who has this protobuf."""
    # Named again, the default folder would hide the C++ library's own headers.
    headers = [
        path for path in config["system_folders"] if path and path.rstrip("/") != "/usr/include"
    ]
    libraries = [str(pathlib.Path(path).parent) for path in config["libraries"]]
    return {
        "PATH": f"{folder}/PATH_TO:{os.environ['PATH']}",
        "CPLUS_INCLUDE_PATH": ":".join(headers),
        "LIBRARY_PATH": ":".join(libraries),
        "LD_LIBRARY_PATH": ":".join(libraries),
    }


def check_sample(readme, folder, env):
    """The header that the sample gives holds the lines that are shown."""
    (folder / "sample").mkdir()  # apart from what the commands write
    run(
        ["protoc", "-I.", "-IPATH_TO_THIS_PROJECT/proto", "--qarn-rpc_out=sample", "greeter.proto"],
        folder,
        env,
    )
    header = (folder / "sample/greeter.rpc.h").read_text(encoding="utf-8")
    lines = iter(header.splitlines())
    for shown in block(readme, "cpp", "class Greeter").splitlines():
        if shown and shown not in lines:
            raise Failure(
                "README.md: the header of its sample has not, at "
                f"this place, the line\n{shown}\nShow what is "
                f"generated now:\n{header}"
            )


def check_by_hand(readme, folder, env):
    """The commands by hand build a program that runs."""
    run(["sh", "-e", "-c", block(readme, "sh", "--qarn-rpc_out")], folder, env)
    output = run([str(folder / "greeter")], folder, env)
    if output != OUTPUT:
        raise Failure(f"the README's greeter printed\n{output}")


def check_scripts(root, page):
    """The scripts that the page tells its reader to run are there."""
    text = (root / page).read_text(encoding="utf-8")
    blocks = re.findall(r"^```sh\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
    names = re.findall(r"^((?:scripts|\.ci)/\S+)", "".join(blocks), re.MULTILINE)
    if not names:
        raise Failure(f"{page} names no script in a block of sh")
    for name in names:
        if not os.access(root / name, os.X_OK):
            raise Failure(f"{page}: there is no script {name}")


def main(arguments):
    if len(arguments) != 2:
        raise Misuse(__doc__)
    root = pathlib.Path(arguments[0]).resolve()
    config = json.loads(pathlib.Path(arguments[1]).read_text("utf-8"))
    readme = (root / "README.md").read_text(encoding="utf-8")
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        make_folder(folder, root, config, block(readme, "proto", "service Greeter"))
        env = environment(folder, config)
        check_sample(readme, folder, env)
        check_by_hand(readme, folder, env)
    for page in ("README.md", "CONTRIBUTING.md"):
        check_scripts(root, page)


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
