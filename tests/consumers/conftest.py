"""Where users' projects are built, with the plugin that consumers.install installed."""

import shutil

import pytest

from consumers.context import Context


@pytest.fixture
def context(request, source, prefix, tmp_path):
    """Each test has its own copy of what this build installed, so that it may change
    files there while others run."""
    if not request.config.getoption("prefix"):
        prefix = shutil.copytree(prefix, tmp_path / "usr", symlinks=True)
    return Context(source, prefix, tmp_path)
