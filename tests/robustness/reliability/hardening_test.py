"""The executables are built as hard to exploit as their build promises.

Only an optimised build with QARN_RPC_STATIC is for users, and promises something. It
is not position independent: that would cost time at each start.
"""

import pathlib
import re

import pytest

from support.commands import run

PROPERTIES = {
    "pie": False,
    "relro": True,
    "nx-stack": True,
    "stack-protector": True,
    "static": True,
}


def readelf(option, binary):
    return run(["readelf", "--wide", option, binary])


def has_nx_stack(binary):
    stack = re.search(r"GNU_STACK .*", readelf("--program-headers", binary))
    return stack is not None and "RWE" not in stack.group()


def has_stack_protector(binary):
    """Generate() checks its stack frame.

    The symbol alone would say nothing: a static C library brings it along.
    """
    code = run(["objdump", "--disassemble", "--no-show-raw-insn", "--demangle", binary])
    # More than one body: the compiler splits off the paths of exceptions.
    bodies = re.findall(r"<CppGenerator::Generate\(.*>:\n((?:.+\n)+)", code)
    assert bodies, f"{binary} has no symbols; test the binary before it is stripped"
    return any("__stack_chk_fail" in body for body in bodies)


@pytest.mark.needs("readelf", "objdump", package="binutils")
@pytest.mark.parametrize(
    "program",
    ["protoc-gen-qarn-rpc", "protoc-gen-qarn-rpc-any", "protoc-gen-qarn-rpc-lint"],
)
def test_hardening(built, program):
    if not built.static or built.config == "Debug":
        pytest.skip("this build promises no hardening; a release build does")
    binary = pathlib.Path(built.plugin).with_name(program)
    found = {
        "pie": "DYN (" in readelf("--file-header", binary),
        "relro": "GNU_RELRO" in readelf("--program-headers", binary),
        "nx-stack": has_nx_stack(binary),
        "stack-protector": has_stack_protector(binary),
        "static": "INTERP" not in readelf("--program-headers", binary),
    }
    assert found == PROPERTIES
