"""Runs of the linter, and its table of rules."""

import pathlib
import re
import subprocess
import typing

from support.commands import run

STANDARDS = ("11", "14", "17", "20")

FINDING = re.compile(
    r"(?P<place>\S.*?): (?P<severity>error|warning): (?P<text>.*) \[(?P<rule>[a-z0-9-]+)\]"
)


class Rule(typing.NamedTuple):
    """A row of the table in the program."""

    name: str
    severity: str
    row: str
    examples: "list[str]"


def rules_of(built):
    """The table, by the names of the rules."""
    printed = run([built.build / "tests/lint/print_rules"])
    found = [line.split("\t") for line in printed.splitlines()]
    return {
        name: Rule(name, severity, row, examples.split()) for name, severity, row, examples in found
    }


class Linted(typing.NamedTuple):
    """What a run of protoc with the linter gave."""

    status: int
    errors: str
    findings: "list[re.Match]"

    def brief(self):
        """The findings without their texts: 'api.proto:9:3: error [method-keyword]'."""
        return [f"{one['place']}: {one['severity']} [{one['rule']}]" for one in self.findings]


def lint(built, source, folder, protos, options=(), out=None):
    """Lints the files of the folder, which are named as protoc finds them there.
    `out` is an empty folder, for a `folder` that is not ours to write to.

    Whatever is found: the run fails just if there is an error, all errors stand in
    protoc's own message too, in their order, and no file is written."""
    out = out or pathlib.Path(folder) / "lint_out"
    out.mkdir(exist_ok=True)
    command = [
        built.protoc,
        *built.protoc_options,
        f"-I{folder}",
        f"-I{source}/proto",
        f"--plugin=protoc-gen-qarn-rpc-lint={built.plugin_lint}",
        f"--qarn-rpc-lint_out={out}",
        *[f"--qarn-rpc-lint_opt={option}" for option in options if option],
        *protos,
    ]
    done = subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False
    )
    assert not done.stdout
    assert not list(out.iterdir())
    own, _, response = done.stderr.partition("--qarn-rpc-lint_out: ")
    findings = [FINDING.fullmatch(line) for line in own.splitlines()]
    findings = [one for one in findings if one]
    errors = [one[0] for one in findings if one["severity"] == "error"]
    if findings:
        assert (done.returncode != 0) == bool(errors), done.stderr
        assert response.splitlines() == errors, done.stderr
    return Linted(done.returncode, response, findings)
