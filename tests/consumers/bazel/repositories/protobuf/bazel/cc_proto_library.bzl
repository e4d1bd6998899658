"""Hands on the cc_proto_library that is part of Bazel 4."""

cc_proto_library = native.cc_proto_library
