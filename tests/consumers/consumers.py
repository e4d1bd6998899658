#!/usr/bin/env python3
"""Builds and runs small projects as users of an installed plugin would.

    consumers.py SCENARIO --source DIR --build DIR --work DIR [--config NAME]

Each function named test_SCENARIO, in the modules beside this one, is a test.
`install` comes first, and the others use the prefix that it leaves. Exit status
77 means skipped.
"""

import argparse
import sys

import cmake_tests
import debian_tests
import docs_tests
import other_build_tests
import prefix_tests
import source_tree_tests
from context import Context
from kit import Failure, Skip, fresh_folder


def main():
    """Runs the one scenario that the command line names."""
    tests = {name[len("test_"):]: function
             for module in (prefix_tests, cmake_tests, source_tree_tests, other_build_tests,
                            debian_tests, docs_tests)
             for name, function in vars(module).items() if name.startswith("test_")}
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("scenario", choices=tests)
    for name in ("source", "build", "work"):
        parser.add_argument(f"--{name}", required=True)
    parser.add_argument("--config", default="")
    arguments = parser.parse_args()
    context = Context(arguments)
    try:
        fresh_folder(context.work)
        tests[arguments.scenario](context)
    except Skip as skip:
        print("skipped:", skip)
        return 77
    except Failure as failure:
        print("FAILED:", failure)
        return 1
    print("passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
