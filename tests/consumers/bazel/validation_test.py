"""The linter is a validation action, which fails a build and holds up nothing."""

from consumers.bazel.workspace import GENERATE, WORKSPACE

LINT = "QarnRpcLint"
ERROR = (
    "\nfaulty/orders.proto:9:3: error: the keyword 'stream' does not make the method 'Watch' a "
    "streaming one; "
)


def test_validation(workspace):
    """A mistake fails the build of what depends on the library; without validations, and
    without the linter, it builds."""
    workspace.add("faulty")
    lines = workspace.project_file(f"{WORKSPACE}/lint.bazelrc").splitlines()
    flags = [line.replace("build ", "") for line in lines]
    off = "--norun_validations" if workspace.sid else "--noexperimental_run_validations"
    names = [action.name for action in workspace.bazel.build(*flags, off, "//faulty:user")]
    assert f"{GENERATE} faulty/orders_rpc_qarn_rpc/faulty/orders.rpc.cpp" in names
    assert [name for name in names if name.startswith(LINT)] == []
    assert ERROR in workspace.bazel.refused(
        "build", *workspace.bazel.cache, *flags, "//faulty:user"
    )
    assert workspace.bazel.build(flags[1], "//faulty:user") == []
    # What is right passes, and nothing else runs again.
    workspace.bazel.build(*flags, off, "//weather")
    ran = workspace.bazel.build(*flags, "//weather")
    assert sorted(action.name for action in ran if action.mnemonic == LINT) == [
        f"{LINT} stations/station_rpc_qarn_rpc/stations/station.linted",
        f"{LINT} weather/weather_rpc_qarn_rpc/weather/weather.linted",
    ]
    assert [action for action in ran if action.mnemonic == GENERATE] == []
    # Nothing that is built reads what the linter's action writes.
    readers = [
        action
        for action in workspace.bazel.aquery("deps(//weather)", *flags)
        if any(file.endswith(".linted") for file in action.files)
    ]
    assert readers == []
