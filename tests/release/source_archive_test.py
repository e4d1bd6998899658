"""Builds and tests from the source archive alone: where there is no git, the
programs build, and the core suite passes.

  python3 -m release.source_archive_test ROOT WORK
"""

import os
import pathlib
import re
import sys

from release.checkout import copy_tree
from support.testkit import Failure, fresh_folder, run, status_of


def main(arguments):
    """Packs, unpacks, builds, tests."""
    source, work = pathlib.Path(arguments[0]), pathlib.Path(fresh_folder(arguments[1]))
    version, _, epoch = run([source / "scripts/release/project.py"]).split()
    name = f"qarn-rpc-gen-{version}"
    copy_tree(source, work / "packed" / name)
    archive = work / f"{name}.tar.gz"
    run(
        [source / "scripts/release/pack.py", work / "packed" / name, archive],
        env={"SOURCE_DATE_EPOCH": epoch},
    )
    run(["tar", "-xf", archive, "-C", work])
    tree = work / name
    if (tree / ".git").exists():
        raise Failure("the source archive holds a folder of git")
    # The tree lies in a checkout, which git must not find.
    env = {"GIT_CEILING_DIRECTORIES": str(work)}
    jobs = ["--parallel", str(os.cpu_count())]
    run(["cmake", "--preset", "release"], cwd=tree, env=env)
    run(["cmake", "--build", "--preset", "release", *jobs], cwd=tree, env=env)
    run(["cmake", "--preset", "dev"], cwd=tree, env=env)
    run(["cmake", "--build", "--preset", "dev", *jobs], cwd=tree, env=env)
    output = run(["ctest", "--preset", "dev", "-L", "^core$", *jobs], cwd=tree, env=env)
    print(output[-2000:])
    if not re.search(r"100% tests passed, 0 tests failed out of [1-9]\d\d", output):
        raise Failure("the core suite of the source archive has fewer tests than it should")


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
