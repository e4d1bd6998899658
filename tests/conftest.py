"""What all tests that are written in Python share: where everything is, when a test
is skipped, and what CTest is told of it."""

import json
import pathlib
import shutil
import types

import pytest

# The status that CTest takes for "skipped".
SKIPPED = 77

# Asserts in what tests share show their values, too.
pytest.register_assert_rewrite(
    "compile", "consumers", "docs", "release", "robustness", "runtime", "support"
)


def pytest_addoption(parser):
    group = parser.getgroup("qarn-rpc-gen")
    group.addoption(
        "--built",
        type=pathlib.Path,
        metavar="FILE",
        help="tests/built.json of a build folder, which CMake writes",
    )
    group.addoption(
        "--prefix",
        type=pathlib.Path,
        metavar="DIR",
        help="where the plugin is installed; without it, where consumers.install put it",
    )
    group.addoption(
        "--release",
        type=pathlib.Path,
        metavar="DIR",
        help="the files of a release, for release/windows_test.py",
    )
    group.addoption(
        "--sid",
        action="store_true",
        help="try Bazel 7.7 and modules, and what else Debian's sid has for it",
    )


def pytest_sessionfinish(session, exitstatus):
    """A run in which all is skipped counts as skipped. (One that collects nothing
    fails by itself.)"""
    outcomes = session.config.pluginmanager.get_plugin("terminalreporter").stats
    if exitstatus == 0 and "skipped" in outcomes and "passed" not in outcomes:
        session.exitstatus = SKIPPED


def pytest_runtest_setup(item):
    """Skips a test that needs what is not here, before anything is made for it."""
    for mark in item.iter_markers("needs"):
        for tool in mark.args:
            if not shutil.which(tool):
                package = mark.kwargs.get("package", tool)
                pytest.skip(f"{tool} is not installed (Debian's package {package})")


@pytest.fixture(scope="session")
def source():
    """The root of the project's tree."""
    return pathlib.Path(__file__).resolve().parents[1]


@pytest.fixture(scope="session")
def built(request):
    """What was built, and with what: the values that qarn_rpc_write_built_json
    names. `build` is the root of the build folder."""
    path = request.config.getoption("built")
    if not path:
        pytest.fail("say with --built where tests/built.json of the build folder is")
    values = types.SimpleNamespace(**json.loads(path.read_text()))
    values.build = pathlib.Path(values.build)
    return values


@pytest.fixture(scope="session")
def prefix(request):
    """Where what users install is."""
    path = request.config.getoption("prefix")
    return path or request.getfixturevalue("built").build / "tests/consumers/work/moved/prefix"
