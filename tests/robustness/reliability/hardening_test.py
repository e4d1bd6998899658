"""The executable is built as hard to exploit as its options promise.

  python3 -m robustness.reliability.hardening_test BINARY PROPERTY...

Each PROPERTY is one of those in CHECKS, with "no-" in front where the binary
must not have it. Exit status 77, for a skipped test, if binutils are missing or
no property was named.
"""

import re
import sys

from support.testkit import Failure, Misuse, Skip, need, run, status_of


def readelf(option, binary):
    return run(["readelf", "--wide", option, binary])


def is_pie(binary):
    return "DYN (" in readelf("--file-header", binary)


def has_relro(binary):
    return "GNU_RELRO" in readelf("--program-headers", binary)


def binds_now(binary):
    """With RELRO: the whole table of imported functions becomes read-only."""
    return bool(re.search(r"BIND_NOW|FLAGS_1.*\bNOW\b", readelf("--dynamic", binary)))


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
    if not bodies:
        raise Failure(f"{binary} has no symbols; test the binary before it is stripped")
    return any("__stack_chk_fail" in body for body in bodies)


def is_static(binary):
    return "INTERP" not in readelf("--program-headers", binary)


CHECKS = {
    "pie": is_pie,
    "relro": has_relro,
    "bind-now": binds_now,
    "nx-stack": has_nx_stack,
    "stack-protector": has_stack_protector,
    "static": is_static,
}


def main(arguments):
    if not arguments:
        raise Misuse(__doc__)
    binary, *wanted = arguments
    known = set(CHECKS) | {"no-" + name for name in CHECKS}
    unknown = [name for name in wanted if name not in known]
    if unknown:
        raise Misuse(f"no such property: {unknown[0]}; there are: {', '.join(CHECKS)}")
    need("readelf", "objdump", package="binutils")
    if not wanted:
        raise Skip("this build promises no hardening; a release build does")
    failed = []
    for name in wanted:
        expected = not name.startswith("no-")
        actual = CHECKS[name if expected else name[3:]](binary)
        print(f"{name:20} {'ok' if actual == expected else 'FAILED'}")
        if actual != expected:
            failed.append(name)
    if failed:
        raise Failure(f"{binary} is not {', '.join(failed)}")


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
