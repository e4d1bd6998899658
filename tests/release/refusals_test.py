"""Tests what scripts/release.sh, and what it calls, refuse: before anything is
made, and saying what to do."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

from release.checkout import commit

ROOT = pathlib.Path(__file__).resolve().parents[2]
USAGE = (
    "usage: scripts/release.sh VERSION [--out DIR] [--only PLATFORM] "
    "[--key FILE [--public-key FILE]]\n"
)
CHANGELOG = "# Changelog\n\n## Unreleased\n\n## 1.2.3 - 2026-03-04\n\n- A line.\n\n## 1.2.2 - x\n"
MODULE = 'module(\n    name = "x",\n    version = "1.2.3",\n)\nbazel_dep(name = "y", version = "9")'


@unittest.skipUnless(shutil.which("git"), "git is not installed")
class RefusalsTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.tree = pathlib.Path(os.path.realpath(scratch.name)) / "tree"
        shutil.copytree(ROOT / "scripts", self.tree / "scripts")
        self.write("CMakeLists.txt", "project(qarn-rpc-gen\n  VERSION 1.2.3\n")
        self.write("CHANGELOG.md", CHANGELOG)
        self.write("MODULE.bazel", MODULE)
        self.write(".gitignore", "/build/\n__pycache__/\n")
        commit(self.tree)

    def write(self, name, text):
        (self.tree / name).write_text(text, encoding="utf-8")

    def run_script(self, script, *arguments):
        done = subprocess.run(
            [self.tree / "scripts" / script, *arguments],
            stdin=subprocess.DEVNULL, capture_output=True, check=False, text=True, cwd="/",
        )  # fmt: skip
        return done.returncode, done.stdout, done.stderr

    def expect_refusal(self, arguments, status, text):
        self.assertEqual(self.run_script("release.sh", *arguments), (status, "", text))
        self.assertFalse((self.tree / "build").exists(), "something was made")

    def expect_usage(self, arguments, text):
        self.expect_refusal(arguments, 2, f"release.sh: {text}\n{USAGE}")

    def test_refuses_a_call_without_a_version(self):
        self.expect_usage([], "say which VERSION, so that it is the one that you mean")

    def test_refuses_another_version(self):
        self.expect_usage(["1.2.4"], "this tree is 1.2.3, as CMakeLists.txt says, and not 1.2.4")

    def test_refuses_two_versions(self):
        self.expect_usage(["1.2.3", "1.2.4"], "there is one VERSION, and not 1.2.3 and 1.2.4")

    def test_refuses_unknown_options_and_platforms(self):
        self.expect_usage(["1.2.3", "--fast"], "there is no option --fast")
        self.expect_usage(["1.2.3", "--out"], "--out needs a value")
        self.expect_usage(
            ["1.2.3", "--only", "vax"],
            "there is no platform 'vax'; there are linux-x86_64 linux-aarch_64 linux-s390_64 win64",
        )

    def test_refuses_keys_that_are_not_there(self):
        self.expect_usage(
            ["1.2.3", "--key", "/no/key"],
            "there is no key /no/key; --key needs a secret and a public one",
        )
        self.expect_usage(["1.2.3", "--public-key", "/no/key"], "--public-key is for --key")

    def test_refuses_what_is_not_committed(self):
        self.write("CHANGELOG.md", CHANGELOG + "\n")
        self.write("new", "")
        self.expect_refusal(
            ["1.2.3"],
            1,
            "release.sh: these files are not committed, so no commit has what would be released:\n"
            " M CHANGELOG.md\n?? new\n",
        )

    def test_refuses_a_tree_that_is_no_checkout(self):
        shutil.rmtree(self.tree / ".git")
        self.expect_refusal(
            ["1.2.3"],
            1,
            f"release.sh: {self.tree} is not a checkout of git, whose commit could be released\n",
        )

    def test_refuses_a_folder_of_other_files(self):
        self.expect_refusal(
            ["1.2.3", "--out", str(self.tree / "scripts")],
            1,
            f"release.sh: {self.tree}/scripts is there and holds other files than those of a "
            "release; name another folder with --out\n",
        )

    def test_knows_the_date_of_the_release(self):
        self.assertEqual(
            self.run_script("release/project.py"), (0, "1.2.3 2026-03-04 1772582400\n", "")
        )

    def expect_disagreement(self, text):
        self.assertEqual(self.run_script("release/project.py"), (1, "", f"project.py: {text}\n"))

    def test_refuses_versions_that_differ(self):
        self.write("MODULE.bazel", MODULE.replace("1.2.3", "1.2.2"))
        self.expect_disagreement("MODULE.bazel says 1.2.2, but CMakeLists.txt says 1.2.3")
        self.write("MODULE.bazel", MODULE.replace('    version = "1.2.3",\n', ""))
        self.expect_disagreement("MODULE.bazel has no version in its call of module()")
        (self.tree / "MODULE.bazel").unlink()
        self.assertEqual(self.run_script("release/project.py")[0], 0)

    def test_refuses_a_changelog_that_does_not_have_the_version(self):
        self.write("CHANGELOG.md", CHANGELOG.replace("1.2.3", "1.2.1"))
        self.expect_disagreement(
            "CHANGELOG.md, in its newest section '## VERSION - DATE', says 1.2.1, "
            "but CMakeLists.txt says 1.2.3"
        )
        self.write("CHANGELOG.md", CHANGELOG.replace("2026-03-04", "soon"))
        self.expect_disagreement("CHANGELOG.md has no section '## 1.2.3 - YEAR-MONTH-DAY'")
        self.write("CHANGELOG.md", CHANGELOG.replace("2026-03-04", "2026-02-30"))
        self.expect_disagreement("CHANGELOG.md: 2026-02-30 is no date")

    def test_the_tree_itself_is_of_one_version(self):
        done = subprocess.run([ROOT / "scripts/release/project.py"], check=False)
        self.assertEqual(done.returncode, 0)

    def test_builds_in_a_fresh_tree_alone(self):
        (self.tree / "build").mkdir()
        status, output, error = self.run_script("release/build.sh", str(self.tree / "files"))
        self.assertEqual((status, output), (1, ""))
        self.assertIn("this tree is not fresh; unpack the source archive anew", error)
        self.assertFalse((self.tree / "files").exists())


if __name__ == "__main__":
    unittest.main()
