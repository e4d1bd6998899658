"""Hands on the C++ rules that are part of Bazel 4.

Debian's package of rules_cc is made for later releases and does not load there.
The last four are loaded by Bazel's own tools alone.
"""

cc_binary = native.cc_binary
cc_library = native.cc_library
cc_proto_library = native.cc_proto_library
cc_toolchain = native.cc_toolchain
cc_toolchain_suite = native.cc_toolchain_suite
objc_library = native.objc_library
