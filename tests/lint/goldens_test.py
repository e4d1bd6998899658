"""What the linter says of the golden cases, whose code compiles, but for one."""

import pathlib

import pytest

from lint.linter import lint

CASES = sorted(pathlib.Path(__file__).parents[1].glob("golden/*/proto"))

# By case: the lines at which it says something, for each rule. All is right: the cases
# are about what the rules are about, and `Echo` is called like a macro of termios.h.
EXPECTED = {
    "requires_local_context": [
        f"kinds/four.proto:{line}:5: warning [option-without-effect]" for line in (16, 19, 24)
    ],
    # Does not compile, on purpose.
    "same_local_name": ["compass.proto:14:3: error [messages-of-one-name]"] * 2,
    "stream_keyword": [
        f"radio.proto:{line}:3: warning [stream-keyword]" for line in (12, 13, 14, 15, 18)
    ],
    "two_kinds_in_namespace": ["a/b/echo.proto:12:1: warning [system-macro]"],
}


@pytest.mark.parametrize("parameter", ["", "services_namespace=services"])
@pytest.mark.parametrize("folder", CASES, ids=lambda folder: folder.parent.name)
def test_goldens(folder, built, source, tmp_path, parameter):
    name = folder.parent.name
    protos = sorted(str(path.relative_to(folder)) for path in folder.rglob("*"))
    protos = [path for path in protos if (folder / path).is_file()]
    linted = lint(built, source, folder, protos, [parameter], out=tmp_path)
    if name.startswith("edition_") and not linted.findings and linted.status:
        pytest.skip("protoc does not take this edition")
    assert linted.brief() == EXPECTED.get(name, [])
    assert linted.status == ("error" in str(linted.brief()))
