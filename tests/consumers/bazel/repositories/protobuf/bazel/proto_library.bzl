"""Hands on the proto_library that is part of Bazel 4."""

load("@rules_proto//proto:defs.bzl", _proto_library = "proto_library")

proto_library = _proto_library
