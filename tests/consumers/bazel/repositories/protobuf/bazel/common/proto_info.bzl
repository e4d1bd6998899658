"""Hands on the provider of proto_library that is part of Bazel 4."""

load("@rules_proto//proto:defs.bzl", _ProtoInfo = "ProtoInfo")

ProtoInfo = _ProtoInfo
