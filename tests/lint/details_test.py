"""What the rules find beyond the cases of the limits: the other halves of their
conditions."""

import subprocess

import pytest

from lint.linter import lint

HEAD = 'syntax = "proto3"; package demo; message A {} message B {}\n'

FOUND = {
    "a deprecated method": (
        "service S { rpc R(A) returns (B) { option deprecated = true; } }",
        "",
        ["api.proto:2:36: warning [option-without-effect]"],
    ),
    "the third number of ours, in a message": (
        'import "google/protobuf/descriptor.proto";\n'
        "message M { extend google.protobuf.MethodOptions { bool local = 50010; } }",
        "",
        ["api.proto:3:52: warning [option-number]"],
    ),
    "an option of another kind": (
        'import "google/protobuf/descriptor.proto";\n'
        "extend google.protobuf.FieldOptions { bool local = 50001; }",
        "",
        [],
    ),
    "a message that two methods use": (
        "message S {}\n"
        "service T { rpc Q(Service) returns (A); rpc R(Service) returns (Service); }\n"
        "message Service {}",
        "",
        ["api.proto:3:13: error [message-like-member]"],
    ),
    "a namespace like a class in that of a service": (
        "service S { rpc R(A) returns (B); }",
        "Stub",
        ["services_namespace=Stub: error [services-namespace-taken]"],
    ),
    "a namespace like a service without methods": ("service S {}", "S", []),
    "a namespace like a service without methods, beside one with": (
        "service S {} service T { rpc R(A) returns (B); }",
        "S",
        ["services_namespace=S: error [services-namespace-taken]"],
    ),
    "a namespace like the traits of a service without methods": (
        "service S {} service T { rpc R(A) returns (B); }",
        "SMethods",
        ["services_namespace=SMethods: error [services-namespace-taken]"],
    ),
    "a namespace with letters above ASCII": ("service S {}", "\u00e9\u20ac\U00010400", []),
    "a map in a message of its entry's name": (
        "message MEntry { map<int32, int32> m = 1; }",
        "",
        [],
    ),
    "a namespace like an enum value": (
        "enum E { api = 0; }",
        "api",
        ["services_namespace=api: error [services-namespace-taken]"],
    ),
    "a namespace that begins with a digit": (
        "",
        "1a",
        ["services_namespace=1a: error [services-namespace-name]"],
    ),
    "a namespace in a namespace that is a keyword": (
        "",
        "a::new",
        ["services_namespace=a::new: error [services-namespace-keyword]"],
    ),
    "a namespace that is a macro": (
        "service S {}",
        "EOF",
        ["services_namespace=EOF: error [name-macro]"],
    ),
    "an enum that is a macro": ("enum EOF { V = 0; }", "", ["api.proto:2:1: error [name-macro]"]),
    "a service's traits": (
        "service S {}\nservice SMethods {}",
        "api",
        ["api.proto:2:1: error [service-like-enumeration]"],
    ),
}


@pytest.mark.parametrize("name", list(FOUND))
def test_details(built, source, tmp_path, name):
    text, services_namespace, expected = FOUND[name]
    (tmp_path / "api.proto").write_text(HEAD + text)
    option = f"services_namespace={services_namespace}" if services_namespace else ""
    assert lint(built, source, tmp_path, ["api.proto"], [option]).brief() == expected


def test_a_namespace_without_a_package_meets_global_names(built, source, tmp_path):
    """Inside a package it does not."""
    text = 'syntax = "proto3"; message A {} service S { rpc R(A) returns (A); }'
    (tmp_path / "api.proto").write_text(text)
    found = lint(built, source, tmp_path, ["api.proto"], ["services_namespace=time"]).brief()
    assert found == ["services_namespace=time: error [global-name]"]
    (tmp_path / "api.proto").write_text(HEAD + "service S { rpc R(A) returns (A); }")
    assert lint(built, source, tmp_path, ["api.proto"], ["services_namespace=time"]).brief() == []


def test_a_message_of_elsewhere_hides_a_namespace(built, source, tmp_path):
    """The class has a typedef of its name, which generated code means by boost."""
    (tmp_path / "b.proto").write_text('syntax = "proto3"; package b; message boost {}')
    (tmp_path / "api.proto").write_text(
        'syntax = "proto3"; package demo; import "b.proto";\n'
        "service S { rpc R(b.boost) returns (b.boost); }"
    )
    found = lint(built, source, tmp_path, ["api.proto"], []).brief()
    assert found == ["api.proto:2:1: error [namespace-boost-std]"]


def test_findings_stand_in_the_files_to_generate(built, source, tmp_path):
    """What is wrong with an imported file is said when that is generated."""
    (tmp_path / "b.proto").write_text(
        'syntax = "proto3"; package b; message A {}\nservice Echo { rpc new(A) returns (A); }'
    )
    (tmp_path / "api.proto").write_text(
        'syntax = "proto3"; package demo; import "b.proto";\n'
        "service ECHO { rpc R(b.A) returns (b.A); }"
    )
    found = lint(built, source, tmp_path, ["api.proto"], ["off=system-macro"]).brief()
    assert found == ["api.proto:2:1: warning [services-share-macros]"]


def test_the_options_schema_itself_is_right(built, source, tmp_path):
    schema = "morvane/qarn/rpc/service_options.proto"
    assert lint(built, source, source / "proto", [schema], out=tmp_path).brief() == []


def test_a_file_that_is_named_twice_is_linted_once(built, source, tmp_path):
    (tmp_path / "api.proto").write_text(HEAD + "service new {}")
    found = lint(built, source, tmp_path, ["api.proto", "api.proto"]).brief()
    assert found == ["api.proto:2:1: error [service-keyword]"]


# Of two, three and four bytes: cut short, without their beginning, and a byte
# that begins nothing.
@pytest.mark.parametrize(
    "value",
    [
        b"\xc3",
        b"\xe2\x82",
        b"\xf0\x90\x90",
        b"\xc3a",
        b"\xc3\xa9\xa9",
        b"\x80",
        b"\xf5\x90\x90\x90",
    ],
)
def test_a_namespace_that_is_not_in_utf_8(built, source, tmp_path, value):
    (tmp_path / "api.proto").write_text(HEAD)
    command = [
        built.protoc,
        f"-I{tmp_path}",
        f"--plugin=protoc-gen-qarn-rpc-lint={built.plugin_lint}",
        f"--qarn-rpc-lint_out={tmp_path}",
        b"--qarn-rpc-lint_opt=services_namespace=a" + value,
        "api.proto",
    ]
    done = subprocess.run(command, stderr=subprocess.PIPE, check=False)
    assert done.returncode == 1
    assert b"[services-namespace-name]" in done.stderr


@pytest.mark.parametrize("character", ['"', "\n", "\r"])
def test_a_file_name_that_no_header_can_be_included_by(built, source, tmp_path, character):
    name = f"a{character}b.proto"
    texts = {name: HEAD, "c.proto": 'syntax = "proto3"; ', "d.proto": 'syntax = "proto3";\n'}
    escaped = name.replace('"', '\\"').replace("\n", "\\n").replace("\r", "\\r")
    texts["c.proto"] += f'import "{escaped}";'
    texts["d.proto"] += 'import "c.proto";'
    for path, text in texts.items():
        (tmp_path / path).write_text(text)

    def found(path):
        linted = lint(built, source, tmp_path, [path])
        return [one["rule"] for one in linted.findings], linted.brief()

    assert found("c.proto") == (["file-name"], ["c.proto:1:20: error [file-name]"])
    assert found("d.proto") == (["file-name"], ["d.proto:2:1: error [file-name]"])
    assert found(name)[0] == ["file-name"]
