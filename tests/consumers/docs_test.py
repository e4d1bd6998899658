"""The pages for users, with the installed plugin."""

import re

from support.commands import run


def test_docs_readme(context):
    """The README's commands build its program with the installed plugin."""
    readme = (context.source / "README.md").read_text()
    commands = re.search(r"^cmake -G Ninja -S examples/greeter .*?(?=^```$)", readme, re.M | re.S)
    assert commands, "the README has no commands for its program"
    (context.work / "examples").symlink_to(context.source / "examples")
    commands = commands[0].replace('"$PWD/build/prefix"', f"'{context.prefix}'")
    commands = commands.replace("$PWD/examples/runtime", str(context.runtime))
    printed = run(["sh", "-e", "-c", commands], cwd=context.work)
    assert printed.endswith("\nhello, world\n")
