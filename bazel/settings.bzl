"""What the flags of this package stand for where nobody sets them."""

load("@com_google_protobuf//bazel/common:proto_common.bzl", "proto_common")

# Whether the build has protobuf choose protoc by its toolchain, with
# --incompatible_enable_proto_toolchain_resolution.
PROTOC_BY_TOOLCHAIN = proto_common.INCOMPATIBLE_ENABLE_PROTO_TOOLCHAIN_RESOLUTION

# protobuf's toolchain type of protoc.
PROTOC_TOOLCHAIN_TYPE = "@com_google_protobuf//bazel/private:proto_toolchain_type"

ProtocOfToolchainInfo = provider(
    doc = "Marks the target that stands for the protoc of protobuf's toolchain.",
    fields = {},
)

def _protoc_of_toolchain_impl(_ctx):
    return [ProtocOfToolchainInfo()]

# It must not look the toolchain up itself: it would be given a protoc for the
# platform on which its own actions run, not for that of the action to come.
protoc_of_toolchain = rule(
    doc = "Stands for the protoc of protobuf's toolchain.",
    implementation = _protoc_of_toolchain_impl,
)

def default_protoc():
    """The label of the protoc that message code is generated with."""
    return ":protoc_of_toolchain" if PROTOC_BY_TOOLCHAIN else "@com_google_protobuf//:protoc"

# buildifier: disable=unnamed-macro
def default_boost():
    """Boost's libraries: as modules each has a repository of its own.

    Returns:
      their labels, a list.
    """
    libraries = ["algorithm", "preprocessor", "smart_ptr", "unordered"]
    if hasattr(native, "module_name") and native.module_name():
        return ["@boost.%s//:boost.%s" % (library, library) for library in libraries]
    return ["@boost//:" + library for library in libraries]

NoLinterInfo = provider(
    doc = "Marks the target that stands for the linter that nobody named.",
    fields = {},
)

def _no_linter_impl(_ctx):
    return [NoLinterInfo()]

no_linter = rule(
    doc = "Stands for the linter that nobody named: nothing is linted.",
    implementation = _no_linter_impl,
)

def _no_runtime_impl(_ctx):
    fail("cc_qarn_rpc_library: runtime is missing. Name the cc_library that provides " +
         "qarn/rpc.h: at the target, such as runtime = \"//third_party/qarn_rpc\", or for the " +
         "whole build in .bazelrc, such as " +
         "build --@qarn_rpc_gen//bazel:runtime=//third_party/qarn_rpc")

no_runtime = rule(
    doc = "Stands for the runtime that nobody named; fails when it is used.",
    implementation = _no_runtime_impl,
)
