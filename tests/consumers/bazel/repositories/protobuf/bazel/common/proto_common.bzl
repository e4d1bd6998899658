"""Says how Bazel is set up to find protoc; Bazel 4 knows one way alone."""

load("@rules_proto//proto:defs.bzl", _proto_common = "proto_common")

proto_common = struct(
    INCOMPATIBLE_ENABLE_PROTO_TOOLCHAIN_RESOLUTION = getattr(
        _proto_common,
        "INCOMPATIBLE_ENABLE_PROTO_TOOLCHAIN_RESOLUTION",
        False,
    ),
)
