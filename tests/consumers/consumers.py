"""Builds and runs small projects as users of an installed plugin would.

    python3 -m consumers.consumers SCENARIO --source DIR --build DIR --work DIR [--config NAME]

Each function named test_SCENARIO, in the modules beside this one, is a test.
`install` comes first, and the others use the prefix that it leaves. Exit status
77 means skipped.
"""

import argparse
import sys

from consumers import (
    cmake_tests,
    debian_tests,
    docs_tests,
    guest_tests,
    other_build_tests,
    prefix_tests,
    runtime_tests,
    source_tree_tests,
)
from consumers.context import Context
from support.testkit import fresh_folder, status_of


def main():
    """Runs the one scenario that the command line names."""
    tests = {
        name[len("test_") :]: function
        for module in (
            prefix_tests,
            cmake_tests,
            guest_tests,
            source_tree_tests,
            other_build_tests,
            debian_tests,
            docs_tests,
            runtime_tests,
        )
        for name, function in vars(module).items()
        if name.startswith("test_")
    }
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("scenario", choices=tests)
    for name in ("source", "build", "work"):
        parser.add_argument(f"--{name}", required=True)
    parser.add_argument("--config", default="")
    arguments = parser.parse_args()
    context = Context(arguments)
    fresh_folder(context.work)
    tests[arguments.scenario](context)


if __name__ == "__main__":
    sys.exit(status_of(main))
