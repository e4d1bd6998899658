"""Hands on the rule of Debian's rules_proto, with the toolchain() beside it."""

# Its public macro beside it makes a toolchain() of a wrong type.
# buildifier: disable=bzl-visibility
load(
    "@rules_proto//proto/private/rules:proto_toolchain_rule.bzl",
    proto_toolchain_rule = "proto_toolchain",
)

def proto_toolchain(name, proto_compiler, exec_compatible_with = []):
    """Declares protoc as a toolchain; NAME_toolchain is what is registered.

    Args:
      name: name of the toolchain.
      proto_compiler: the protoc program.
      exec_compatible_with: where it runs.
    """
    proto_toolchain_rule(
        name = name,
        proto_compiler = proto_compiler,
    )
    native.toolchain(
        name = name + "_toolchain",
        exec_compatible_with = exec_compatible_with,
        toolchain = name,
        toolchain_type = Label("//bazel/private:proto_toolchain_type"),
    )
