"""What nearly meets a limit and does not: the linter says nothing, and the compilers
take it."""

import pytest

from lint.linter import lint
from support.commands import run
from support.refusal import Attempt
from support.toolchain import WARNINGS, system_includes

IMPORT = 'import "morvane/qarn/rpc/service_options.proto";\n'
SERVER_STREAMS = "{ option (morvane.qarn.rpc.server_streaming) = true; }"

# By what they are: the package, the services namespace and the rest of the file.
TEXTS = {
    "members": (
        "demo",
        "",
        f"""
message Request {{}}
message Reply {{}}
message Stub {{}}
message class {{}}
message PingCallHandle {{}}
message Outer {{ message class {{}} message Service {{}} }}
enum Outside {{ OUTSIDE = 0; }}
service Log {{
  rpc Ping(Request) returns (Reply);
  rpc Container(Stub) returns (Outer.class) {SERVER_STREAMS}
  rpc RequestCallObserverPtr(Outer.Service) returns (Reply);
  rpc PingServerCallPtr(Request) returns (Reply);
  rpc package(Request) returns (Reply);
  rpc name(Request) returns (Reply);
  rpc full_name(Request) returns (Reply);
  rpc Upload(Stub) returns (stream Reply) {{
    option (morvane.qarn.rpc.client_streaming) = true;
    option (morvane.qarn.rpc.server_streaming) = true;
  }}
}}
""",
    ),
    "capitals": (
        "demo.ECHO",
        "",
        """
message Request {}
message Net_Ping {}
message Kind { enum Disk { Read = 0; } }
service ECHO { rpc Ping(Request) returns (Request); }
service Net { rpc Ping(Request) returns (Request); }
service Disk { rpc Read(Request) returns (Request); }
""",
    ),
    "services namespace": (
        "boost.demo",
        "api",
        """
message Request {}
message LogMethod {}
message Net_Ping {}
enum Kind { Log_Ping = 0; }
service Log { rpc Ping(Request) returns (Request); }
service Net { rpc Ping(Request) returns (Request); }
""",
    ),
    "no services": ("demo.std", "", "message Request { message boost {} }"),
    "nested namespace": ("", " a1 :: b_2 ", "message M {} service S { rpc R(M) returns (M); }"),
}


@pytest.mark.parametrize("standard", ["17", "20"])
@pytest.mark.parametrize("name", list(TEXTS))
def test_near_misses(built, source, tmp_path, name, standard):
    package, services_namespace, text = TEXTS[name]
    head = 'syntax = "proto3";\n' + (f"package {package};\n" if package else "")
    folders = [tmp_path / part for part in ("in", "messages", "rpc")]
    for folder in folders:
        folder.mkdir()
    (folders[0] / "api.proto").write_text(head + IMPORT + text)
    option = f"services_namespace={services_namespace}" if services_namespace else ""
    options = [option, f"standard={standard}", "off=system-macro"]
    assert lint(built, source, folders[0], ["api.proto"], options).brief() == []

    command = [built.protoc, f"-I{folders[0]}", f"-I{source}/proto", f"--cpp_out={folders[1]}"]
    command += [f"--plugin=protoc-gen-qarn-rpc={built.plugin}", f"--qarn-rpc_out={folders[2]}"]
    command += [f"--qarn-rpc_opt={option}"] if option else []
    run([*command, "api.proto"])
    run([*command[:4], "morvane/qarn/rpc/service_options.proto"])
    for compiler, values in built.compilers.items():
        command = [values["path"], f"-std=c++{standard}", *WARNINGS, "-isystem", folders[1]]
        command += [f"-I{folders[2]}", f"-I{source}/examples/runtime", "-fsyntax-only"]
        command += [*system_includes(built.system_folders), folders[2] / "api.rpc.cpp"]
        Attempt(f"'{name}' with {compiler}", command).expect_accepted()
