"""What scripts/release.sh, and what it calls, refuse: before anything is made, and
saying what to do."""

import shutil
import subprocess

import pytest

from release.checkout import commit
from support.commands import run

pytestmark = pytest.mark.needs("git")

USAGE = (
    "usage: scripts/release.sh VERSION [--out DIR] [--only PLATFORM] "
    "[--key FILE [--public-key FILE]]\n"
)
CHANGELOG = "# Changelog\n\n## Unreleased\n\n## 1.2.3 - 2026-03-04\n\n- A line.\n\n## 1.2.2 - x\n"
MODULE = 'module(\n    name = "x",\n    version = "1.2.3",\n)\nbazel_dep(name = "y", version = "9")'


@pytest.fixture(name="tree")
def fixture_tree(source, tmp_path):
    """A checkout with all scripts, and what they read of the project."""
    tree = tmp_path / "tree"
    shutil.copytree(source / "scripts", tree / "scripts")
    (tree / "CMakeLists.txt").write_text("project(qarn-rpc-gen\n  VERSION 1.2.3\n")
    (tree / "CHANGELOG.md").write_text(CHANGELOG)
    (tree / "MODULE.bazel").write_text(MODULE)
    (tree / ".gitignore").write_text("/build/\n__pycache__/\n")
    return commit(tree)


def result(tree, script, *arguments):
    """Status, output and errors of a script."""
    done = subprocess.run(
        [tree / "scripts" / script, *arguments],
        stdin=subprocess.DEVNULL,
        capture_output=True,
        check=False,
        text=True,
        cwd="/",
    )
    return done.returncode, done.stdout, done.stderr


def expect_refusal(tree, arguments, status, text):
    assert result(tree, "release.sh", *arguments) == (status, "", text)
    assert not (tree / "build").exists(), "something was made"


@pytest.mark.parametrize(
    "arguments, text",
    [
        ([], "say which VERSION, so that it is the one that you mean"),
        (["1.2.4"], "this tree is 1.2.3, as CMakeLists.txt says, and not 1.2.4"),
        (["1.2.3", "1.2.4"], "there is one VERSION, and not 1.2.3 and 1.2.4"),
        (["1.2.3", "--fast"], "there is no option --fast"),
        (["1.2.3", "--out"], "--out needs a value"),
        (
            ["1.2.3", "--only", "vax"],
            "there is no platform 'vax'; there are linux-x86_64 linux-aarch_64 linux-s390_64 win64",
        ),
        (
            ["1.2.3", "--key", "/no/key"],
            "there is no key /no/key; --key needs a secret and a public one",
        ),
        (["1.2.3", "--public-key", "/no/key"], "--public-key is for --key"),
    ],
)
def test_refuses_a_wrong_call(tree, arguments, text):
    expect_refusal(tree, arguments, 2, f"release.sh: {text}\n{USAGE}")


def test_refuses_what_is_not_committed(tree):
    (tree / "CHANGELOG.md").write_text(CHANGELOG + "\n")
    (tree / "new").write_text("")
    text = "release.sh: these files are not committed, so no commit has what would be released:\n"
    expect_refusal(tree, ["1.2.3"], 1, text + " M CHANGELOG.md\n?? new\n")


def test_refuses_a_tree_that_is_no_checkout(tree):
    shutil.rmtree(tree / ".git")
    text = f"release.sh: {tree} is not a checkout of git, whose commit could be released\n"
    expect_refusal(tree, ["1.2.3"], 1, text)


def test_refuses_a_folder_of_other_files(tree):
    text = (
        f"release.sh: {tree}/scripts is there and holds other files than those of a "
        "release; name another folder with --out\n"
    )
    expect_refusal(tree, ["1.2.3", "--out", str(tree / "scripts")], 1, text)


def test_knows_the_date_of_the_release(tree):
    assert result(tree, "release/project.py") == (0, "1.2.3 2026-03-04 1772582400\n", "")


@pytest.mark.parametrize(
    "name, old, new, text",
    [
        (
            "MODULE.bazel",
            '"1.2.3"',
            '"1.2.2"',
            "MODULE.bazel says 1.2.2, but CMakeLists.txt says 1.2.3",
        ),
        (
            "MODULE.bazel",
            '    version = "1.2.3",\n',
            "",
            "MODULE.bazel has no version in its call of module()",
        ),
        (
            "CHANGELOG.md",
            "1.2.3",
            "1.2.1",
            "CHANGELOG.md, in its newest section '## VERSION - DATE', says 1.2.1, "
            "but CMakeLists.txt says 1.2.3",
        ),
        (
            "CHANGELOG.md",
            "2026-03-04",
            "soon",
            "CHANGELOG.md has no section '## 1.2.3 - YEAR-MONTH-DAY'",
        ),
        ("CHANGELOG.md", "2026-03-04", "2026-02-30", "CHANGELOG.md: 2026-02-30 is no date"),
    ],
)
def test_refuses_a_tree_that_disagrees(tree, name, old, new, text):
    (tree / name).write_text((tree / name).read_text().replace(old, new))
    assert result(tree, "release/project.py") == (1, "", f"project.py: {text}\n")


def test_needs_no_module(tree):
    (tree / "MODULE.bazel").unlink()
    assert result(tree, "release/project.py")[0] == 0


def test_the_tree_itself_is_of_one_version(source):
    run([source / "scripts/release/project.py"])


def test_builds_in_a_fresh_tree_alone(tree):
    (tree / "build").mkdir()
    status, output, error = result(tree, "release/build.sh", str(tree / "files"))
    assert (status, output) == (1, "")
    assert "this tree is not fresh; unpack the source archive anew" in error
    assert not (tree / "files").exists()
