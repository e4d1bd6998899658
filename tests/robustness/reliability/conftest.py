"""The plugin for the reliability tests."""

import pytest

from robustness.reliability.plugin import Plugin


@pytest.fixture(scope="session")
def plugin(built):
    return Plugin(built.plugin, built.protoc)


@pytest.fixture
def no_sanitizers(plugin):
    """Skips a test that a sanitizer would disturb: it opens files of its own, and
    reserves more memory than any limit."""
    if plugin.has_sanitizers():
        pytest.skip("the plugin has sanitizers")
