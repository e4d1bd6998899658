"""What does not depend on a single rule: parameters, comments that switch rules off,
places, and several files in one run."""

import re

import pytest

from lint.linter import lint, rules_of
from support.commands import run

HEAD = """syntax = "proto3";
package shop;
message Order {}
message Reply {}
"""
# A warning of one rule and an error of another, both of rules about methods.
TEXT = (
    HEAD
    + """service Orders {
  rpc delete(Order) returns (Reply);
  rpc Watch(Order) returns (stream Reply);
}
"""
)
KEYWORD = "api.proto:6:3: error [method-keyword]"
STREAM = "api.proto:7:3: warning [stream-keyword]"


@pytest.fixture(name="said")
def fixture_said(built, source, tmp_path):
    """A function: the brief findings in files, texts by name, with parameters."""

    def function(texts, *options, raw=False):
        texts = {"api.proto": texts} if isinstance(texts, str) else texts
        for name, text in texts.items():
            path = tmp_path / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        linted = lint(built, source, tmp_path, list(texts), options)
        return linted if raw else linted.brief()

    return function


def test_errors_and_warnings_of_a_file_come_from_top_to_bottom(said):
    assert said(TEXT) == [KEYWORD, STREAM]
    assert said(TEXT.replace("delete", "requires")) == [STREAM]


def test_a_finding_is_one_line_that_says_what_to_do(said):
    linted = said(TEXT, raw=True)
    assert [one[0] for one in linted.findings] == [
        "api.proto:6:3: error: the method 'delete' has the name of a C++ keyword, and "
        "cannot be declared; rename it, such as to 'Delete' [method-keyword]",
        "api.proto:7:3: warning: the keyword 'stream' does not make the method 'Watch' a "
        "streaming one; set option (morvane.qarn.rpc.server_streaming) = true; "
        "[stream-keyword]",
    ]


@pytest.mark.parametrize(
    "options, expected",
    [
        (["off=stream-keyword"], [KEYWORD]),
        (["off=stream-keyword", "off=method-keyword"], []),
        (["off=stream-keyword,off=method-keyword"], []),
        (["error=stream-keyword"], [KEYWORD, STREAM.replace("warning", "error")]),
        (["error=method-keyword"], [KEYWORD, STREAM]),
        (["error=all"], [KEYWORD, STREAM.replace("warning", "error")]),
        (["error=all", "off=stream-keyword"], [KEYWORD]),
        (["services_namespace=api"], [KEYWORD, STREAM]),
        (
            ["services_namespace=new", "services_namespace=a=b"],
            ["services_namespace=a=b: warning [services-namespace-equals-sign]", KEYWORD, STREAM],
        ),
    ],
)
def test_parameters(said, options, expected):
    assert said(TEXT, *options) == expected


def test_a_warning_made_an_error_fails_the_run_by_itself(said):
    text = TEXT.replace("delete", "Delete")
    assert said(text, raw=True).status == 0
    assert said(text, "error=all", raw=True).status == 1


@pytest.mark.parametrize("standard, found", [(11, 0), (14, 0), (17, 0), (20, 1), (None, 0)])
def test_standard(said, standard, found):
    text = TEXT.replace("delete", "co_await").replace("(stream Reply)", "(Reply)")
    assert len(said(text, f"standard={standard}" if standard else "")) == found


@pytest.mark.parametrize(
    "option, message",
    [
        (
            "colour=red",
            "Unknown parameter: colour=red. There are services_namespace=NAME, "
            "standard=11|14|17|20, off=RULE, error=RULE and error=all.\n",
        ),
        ("standard=23", "standard=23: the standard is 11, 14, 17 or 20.\n"),
        ("standard", "standard: the standard is 11, 14, 17 or 20.\n"),
        ("off=all", "off=all: there is no such rule. There are {rules}.\n"),
        ("off", "off: there is no such rule. There are {rules}.\n"),
        ("error=strict", "error=strict: there is no such rule. There are {rules}, and all.\n"),
    ],
)
def test_what_does_not_exist_is_refused_with_what_does(built, said, option, message):
    linted = said(TEXT, option, raw=True)
    assert linted.status == 1
    assert not linted.findings
    assert linted.errors == message.format(rules=", ".join(sorted(rules_of(built))))


COMMENT = "// qarn-rpc-lint: off method-keyword because no C++ server has it\n"


@pytest.mark.parametrize(
    "old",
    ["  rpc delete", "service Orders", "package shop", "syntax"],
    ids=["method", "service", "package", "syntax"],
)
def test_a_comment_switches_a_rule_off_for_what_it_stands_ahead_of(said, old):
    assert said(TEXT.replace(old, COMMENT + old)) == [STREAM.replace(":7:", ":8:")]
    block = "/* Orders.\n * " + COMMENT[3:] + " */\n"
    assert said(TEXT.replace(old, block + old)) == [STREAM.replace(":7:", ":10:")]
    apart = "\n// Orders.\n" + COMMENT + "\n\n// More.\n"
    assert said(TEXT.replace(old, apart + old)) == [STREAM.replace(":7:", ":13:")]


def test_a_comment_holds_for_its_rule_alone(said):
    both = COMMENT + COMMENT.replace("method-keyword", "stream-keyword")
    assert said(TEXT.replace("service Orders", both + "service Orders")) == []
    assert said({"api.proto": TEXT, "b.proto": COMMENT + TEXT.replace("shop", "b")}) == [
        KEYWORD,
        STREAM,
        "b.proto:8:3: warning [stream-keyword]",
    ]


@pytest.mark.parametrize(
    "comment, old, line, text",
    [
        (
            COMMENT,
            "  rpc Watch",
            8,
            "this comment switches off 'method-keyword', which finds nothing here; remove it",
        ),
        (
            COMMENT.replace("method-keyword", "method-keywords"),
            "  rpc delete",
            7,
            "this comment switches off 'method-keywords', and there is no such rule; correct "
            "its name",
        ),
        (
            COMMENT.replace(" because no C++ server has it", ""),
            "  rpc delete",
            7,
            "this comment says not why it switches off 'method-keyword'; add 'because' and "
            "the reason",
        ),
        (
            COMMENT.replace("no C++ server has it", ""),
            "  rpc delete",
            7,
            "this comment says not why it switches off 'method-keyword'; add 'because' and "
            "the reason",
        ),
        (
            COMMENT.replace("off", "disable"),
            "  rpc delete",
            7,
            "this comment is not understood; write 'qarn-rpc-lint: off RULE because REASON'",
        ),
    ],
)
def test_a_comment_that_does_nothing_is_a_warning(said, comment, old, line, text):
    changed = TEXT.replace(old, comment + old)
    linted = said(changed, raw=True)
    found = [one for one in linted.findings if one["rule"] == "suppression"]
    assert [one[0] for one in found] == [f"api.proto:{line}:3: warning: {text} [suppression]"]
    assert any(one["rule"] == "method-keyword" for one in linted.findings)
    assert "suppression" not in str(said(changed, "off=suppression"))


def test_a_comment_behind_an_element_is_a_warning(said):
    text = TEXT.replace(
        "delete(Order) returns (Reply);", "delete(Order) returns (Reply); " + COMMENT
    )
    assert said(text) == [
        KEYWORD,
        "api.proto:6:3: warning [suppression]",
        STREAM.replace(":7:", ":8:"),
    ]


def test_a_comment_about_a_rule_that_is_off_is_right(said):
    text = TEXT.replace("  rpc delete", COMMENT + "  rpc delete")
    assert said(text, "off=method-keyword") == [STREAM.replace(":7:", ":8:")]


def test_without_source_information_the_element_is_named(built, source, tmp_path):
    (tmp_path / "api.proto").write_text(TEXT)
    run([built.protoc, "-I.", "--descriptor_set_out=set", "api.proto"], cwd=tmp_path)
    printed = run(
        [
            built.protoc,
            "--descriptor_set_in=set",
            f"--plugin=protoc-gen-qarn-rpc-lint={built.plugin_lint}",
            "--qarn-rpc-lint_out=.",
            "api.proto",
        ],
        cwd=tmp_path,
        status=1,
    )
    assert "\napi.proto: shop.Orders.Watch: warning: the keyword 'stream' " in printed
    assert printed.startswith("api.proto: shop.Orders.delete: error: the method 'delete' ")


def test_files_of_one_run_are_told_apart(said):
    """Imports are looked at, and findings stand in the files to generate alone."""
    imported = TEXT.replace("shop", "b")
    importer = (
        'syntax = "proto3"; package a; import "lib/b.proto";\n'
        "service Watch { rpc All(b.Order) returns (.b.Reply); }\n"
        "service Orders { rpc All(b.Order) returns (.b.Reply); }\n"
    )
    both = {"lib/b.proto": imported, "a.proto": importer}
    assert said(both) == [
        "lib/b.proto:6:3: error [method-keyword]",
        "lib/b.proto:7:3: warning [stream-keyword]",
        "a.proto:3:1: warning [services-share-macros]",
    ]


def test_files_of_any_syntax_are_taken(said):
    text = TEXT.replace("message Order {}", "message Order { optional int32 number = 1; }")
    assert said(text) == [KEYWORD, STREAM]


def test_weak_imports(said):
    texts = {
        "b.proto": 'syntax = "proto2"; package b;',
        "api.proto": 'syntax = "proto2";\nimport "google/protobuf/empty.proto";\n'
        '  import weak "b.proto";\n',
    }
    assert said(texts) == ["api.proto:3:3: error [weak-import]"]


def test_the_readme_shows_a_real_finding(said, source):
    """Of a chat.proto whose ninth line has the method."""
    text = HEAD + "\n\n\nservice Chat {\n  rpc Talk(stream Order) returns (Reply);\n}\n"
    lines = [one[0] for one in said({"chat.proto": text}, raw=True).findings]
    assert re.findall(r"^chat.proto:.*", (source / "README.md").read_text(), re.M) == lines
