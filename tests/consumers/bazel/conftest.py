"""A workspace, whose tests share one Bazel server and its output folder: they run in
their order, and stop at the first that fails."""

import pytest

from consumers.bazel.prebuilt import Prebuilt
from consumers.bazel.workspace import Workspace, missing


@pytest.fixture(scope="session")
def sid(request):
    return request.config.getoption("sid")


@pytest.fixture(scope="session")
def workspace(source, sid, tmp_path_factory):
    if missing(sid):
        pytest.skip(f"for lack of {', '.join(missing(sid))}")
    work = tmp_path_factory.mktemp("bazel")
    # Some clients are of another user.
    for folder in (work, work.parent):
        folder.chmod(0o755)
    made = Workspace(source, work, sid)
    yield made
    made.bazel.shutdown()


@pytest.fixture(scope="session")
def prebuilt(workspace):
    """The static plugin and protoc, in the workspace."""
    return Prebuilt(workspace)
