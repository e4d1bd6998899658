"""A checkout to release: this tree as it is, committed, and what it says of itself."""

import re
import runpy
import shutil
import subprocess
import types

from support.commands import run

GIT = ["git", "-c", "user.name=Tester", "-c", "user.email=tester@tests.example"]
GIT += ["-c", "commit.gpgsign=false", "-c", "init.defaultBranch=main"]


def project_of(source):
    """The module scripts/release/project.py of the tree."""
    return types.SimpleNamespace(**runpy.run_path(source / "scripts/release/project.py"))


def files_of(source):
    """The files of the tree: those that git knows or would add, or, where there is
    no git, all that is not built."""
    command = ["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    try:
        listed = subprocess.run(
            command, cwd=source, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True
        )
        names = listed.stdout.decode().split("\0")
        return [name for name in names if name and (source / name).exists()]
    except (OSError, subprocess.CalledProcessError):
        return [
            path.relative_to(source)
            for path in source.rglob("*")
            if path.is_file() and not {"build", "__pycache__"} & set(path.parts)
        ]


def copy_tree(source, folder):
    """Copies the files of the tree to the new folder, and returns it."""
    for name in files_of(source):
        target = folder / name
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(source / name, target)
    return folder


def commit(folder):
    """Makes the folder a checkout of git without changes."""
    run([*GIT, "init", "--quiet"], cwd=folder)
    run([*GIT, "add", "--all"], cwd=folder)
    run([*GIT, "commit", "--quiet", "--message", "All"], cwd=folder)
    return folder


def make_checkout(source, folder):
    """A checkout of the tree in the new folder, which shares the Debian roots."""
    checkout = commit(copy_tree(source, folder))
    roots = source / "build/platforms"
    roots.mkdir(parents=True, exist_ok=True)
    (checkout / "build").mkdir()
    (checkout / "build/platforms").symlink_to(roots)
    return checkout


def pack(source, folder, archive):
    """Packs the folder as a release would the files of the tree."""
    epoch = run([source / "scripts/release/project.py"]).split()[2]
    run([source / "scripts/release/pack.sh", folder, archive], env={"SOURCE_DATE_EPOCH": epoch})


def code_blocks(source, page, language, heading=""):
    """The code blocks of that language of docs/PAGE, or below a heading of it."""
    text = (source / "docs" / page).read_text()
    if heading:
        text = text.split(f"\n## {heading}\n")[1].split("\n## ")[0]
    return re.findall(rf"^```{language}\n(.*?)^```$", text, re.MULTILINE | re.DOTALL)
