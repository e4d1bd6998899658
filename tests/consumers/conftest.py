"""Where users' projects are built, with the plugin that consumers.install installed."""

import pytest

from consumers.context import Context


@pytest.fixture
def context(source, prefix, tmp_path):
    return Context(source, prefix, tmp_path)
