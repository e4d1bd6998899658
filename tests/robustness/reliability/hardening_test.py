"""The executable is built as hard to exploit as its options promise.

  hardening_test.py BINARY PROPERTY...

Each PROPERTY is one of those in CHECKS, with "no-" in front where the binary
must not have it. Exit status 77, for a skipped test, if binutils are missing or
no property was named.
"""

import re
import shutil
import subprocess
import sys

SKIPPED = 77


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def readelf(option, binary):
    return output_of("readelf", "--wide", option, binary)


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
    code = output_of("objdump", "--disassemble", "--no-show-raw-insn", "--demangle", binary)
    # More than one body: the compiler splits off the paths of exceptions.
    bodies = re.findall(r"<CppGenerator::Generate\(.*>:\n((?:.+\n)+)", code)
    if not bodies:
        sys.exit("%s has no symbols; test the binary before it is stripped" % binary)
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


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    binary, wanted = sys.argv[1], sys.argv[2:]
    known = set(CHECKS) | {"no-" + name for name in CHECKS}
    unknown = [name for name in wanted if name not in known]
    if unknown:
        sys.exit("no such property: %s; there are: %s" % (unknown[0], ", ".join(CHECKS)))
    if not shutil.which("readelf") or not shutil.which("objdump"):
        print("readelf or objdump is missing (Debian's package 'binutils')")
        return SKIPPED
    if not wanted:
        print("this build promises no hardening; a release build does")
        return SKIPPED
    failed = 0
    for name in wanted:
        expected = not name.startswith("no-")
        actual = CHECKS[name if expected else name[3:]](binary)
        print("%-20s %s" % (name, "ok" if actual == expected else "FAILED"))
        failed += actual != expected
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
