"""From the source archive alone, where there is no git, the programs build, and the
core suite passes."""

import os
import re

from release.checkout import copy_tree, pack, project_of
from support.commands import run


def test_builds_and_passes_without_git(source, tmp_path):
    name = f"qarn-rpc-gen-{project_of(source).version_of(source)}"
    archive = tmp_path / f"{name}.tar.gz"
    pack(source, copy_tree(source, tmp_path / "packed" / name), archive)
    run(["tar", "-xf", archive, "-C", tmp_path])
    tree = tmp_path / name
    assert not (tree / ".git").exists()
    # The tree lies in a checkout, which git must not find.
    env = {"GIT_CEILING_DIRECTORIES": str(tmp_path)}
    jobs = ["--parallel", str(os.cpu_count())]
    for preset in ("release", "dev"):
        run(["cmake", "--preset", preset], cwd=tree, env=env)
        run(["cmake", "--build", "--preset", preset, *jobs], cwd=tree, env=env)
    output = run(["ctest", "--preset", "dev", "-L", "^core$", *jobs], cwd=tree, env=env)
    assert re.search(r"100% tests passed, 0 tests failed out of [1-9]\d\d", output)
