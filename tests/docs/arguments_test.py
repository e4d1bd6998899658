"""The pages of the build systems' functions and the functions have the same arguments."""

import re


def test_of_qarn_rpc_generate(source):
    page = (source / "docs/qarn_rpc_generate.md").read_text()
    function = (source / "cmake/QarnRpcGenerate.cmake").read_text()
    keywords = re.findall(r"^  set\((?:flags|values|lists) (.*)\)$", function, re.MULTILINE)
    documented = re.findall(r"^\| `([A-Z_]+)", page, re.MULTILINE)
    assert documented
    assert set(documented) == set(" ".join(keywords).split())


def test_of_cc_qarn_rpc_library(source):
    """In the same order, too."""
    page = (source / "docs/using/bazel.md").read_text()
    rule = (source / "bazel/qarn_rpc.bzl").read_text()
    signature = re.search(r"^def cc_qarn_rpc_library\((.*?)\*\*kwargs", rule, re.M | re.S)[1]
    table = page.split("| Argument |")[1].split("\n\n")[0]
    documented = re.findall(r"^\| `(\w+)` \|", table, re.MULTILINE)
    assert documented
    assert documented == re.findall(r"^ +(\w+)", signature, re.MULTILINE)
