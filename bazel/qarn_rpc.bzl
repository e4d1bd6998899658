"""cc_qarn_rpc_library: a C++ library of the RPC classes of .proto files.

The macro puts three things together: the message code, which is the build's own
cc_proto_library, so that a program which also names it elsewhere links it once;
one protoc run for each proto_library, which writes the .rpc.h and .rpc.cpp
files; and a cc_library of those.

The same file serves Bazel 4.2 with a WORKSPACE and Bazel 7 with modules.
"""

load("@com_google_protobuf//bazel:cc_proto_library.bzl", "cc_proto_library")
load("@com_google_protobuf//bazel/common:proto_info.bzl", "ProtoInfo")
load("@rules_cc//cc:defs.bzl", "cc_library")
load(
    ":settings.bzl",
    "NoLinterInfo",
    "PROTOC_BY_TOOLCHAIN",
    "PROTOC_TOOLCHAIN_TYPE",
    "ProtocOfToolchainInfo",
)
load(":toolchain.bzl", "QARN_RPC_TOOLCHAIN_TYPE")

# Attributes of cc_library that the macro sets itself.
_OWN_ATTRIBUTES = ["srcs", "hdrs", "includes", "include_prefix", "strip_include_prefix"]

# Attributes that hold for the helper targets as much as for the library.
_SHARED_ATTRIBUTES = ["compatible_with", "restricted_to", "tags", "target_compatible_with", "testonly"]

_IDENTIFIER_START = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ_"
_IDENTIFIER = _IDENTIFIER_START + "0123456789"

def _is_identifier(text):
    """Whether `text` can be a C++ name, such as "api" or "v2_api"."""
    if not text or text[0] not in _IDENTIFIER_START:
        return False
    return all([char in _IDENTIFIER for char in text.elems()])

def _check_namespace(label, text):
    """Fails unless `text` is empty or a namespace, such as "api" or "acme::api"."""
    if text and not all([_is_identifier(part) for part in text.split("::")]):
        fail(("%s: services_namespace is \"%s\", which is not a C++ namespace. " +
              "Write names joined by ::, such as \"acme::api\".") % (label, text))

def _import_roots(proto_info):
    """The folders at which import paths begin, those within others first.

    protoc names a file after the first one that holds it.
    """
    roots = [proto_info.proto_source_root or "."] + proto_info.transitive_proto_path.to_list()

    # Where the build itself writes a .proto file, when it is not linked elsewhere.
    roots += [file.root.path for file in proto_info.direct_sources if not file.is_source]
    return sorted(depset(roots).to_list(), key = len, reverse = True)

def _import_path(source, roots):
    """The path by which .proto files import `source`, such as "a/b.proto"."""
    for root in roots:
        if source.path.startswith(root + "/"):
            return source.path[len(root) + 1:]
    return source.path

def _output_stem(import_path):
    """The name of the generated files without suffix: "a/b.proto" -> "a/b"."""
    for extension in [".protodevel", ".proto"]:
        if import_path.endswith(extension):
            return import_path[:-len(extension)]
    return import_path

def _program(target, what):
    """The program that a target or file is; fails if it is none."""
    program = target[DefaultInfo].files_to_run
    if not program or not program.executable:
        fail("%s cannot be %s: it is not a program." % (target.label, what))
    return program

def _plugin(ctx):
    """The plugin: that of the target, or else of the toolchain."""
    if ctx.attr.plugin:
        return _program(ctx.attr.plugin, "the plugin")
    return ctx.toolchains[QARN_RPC_TOOLCHAIN_TYPE].plugin

def _protoc(ctx):
    """protoc: that of the target or the flag, or else of protobuf's toolchain."""
    if ProtocOfToolchainInfo not in ctx.attr.protoc:
        return _program(ctx.attr.protoc, "protoc")
    return ctx.toolchains[PROTOC_TOOLCHAIN_TYPE].proto.proto_compiler

def _add_inputs(args, proto_info, roots):
    """Adds what each protoc run over a proto_library has at its end."""

    # protoc 3.12 to 3.14 take proto3 optional fields with it alone; later ones
    # read over it.
    args.add("--experimental_allow_proto3_optional")
    args.add_all(roots, format_each = "--proto_path=%s")
    args.add_all(proto_info.direct_sources)

def _lint(ctx, dep):
    """Declares the linter's run over one proto_library; returns the file that shows it.

    It is a run of its own, so that nothing waits for it: a validation action.
    """
    linter = _program(ctx.attr.linter, "the linter")
    proto_info = dep[ProtoInfo]

    roots = _import_roots(proto_info)

    # The linter writes no file, and Bazel runs no action without one. Named after a
    # .proto file: proto_library targets of several packages may share a name.
    stem = _output_stem(_import_path(proto_info.direct_sources[0], roots))
    shown = ctx.actions.declare_file("%s/%s.linted" % (ctx.label.name, stem))
    args = ctx.actions.args()
    args.add(linter.executable, format = "--plugin=protoc-gen-qarn-rpc-lint=%s")
    args.add(shown.dirname, format = "--qarn-rpc-lint_out=%s")
    if ctx.attr.services_namespace:
        args.add(
            ctx.attr.services_namespace,
            format = "--qarn-rpc-lint_opt=services_namespace=%s",
        )
    args.add_all(ctx.attr.lint_options, format_each = "--qarn-rpc-lint_opt=%s")
    args.add(shown, format = "--descriptor_set_out=%s")
    _add_inputs(args, proto_info, roots)
    ctx.actions.run(
        executable = _protoc(ctx),
        arguments = [args],
        inputs = proto_info.transitive_sources,
        tools = [linter],
        outputs = [shown],
        mnemonic = "QarnRpcLint",
        progress_message = "Linting %s" % dep.label,
    )
    return shown

def _generate(ctx, dep):
    """Declares the protoc run of one proto_library; returns (headers, sources)."""
    protoc = _protoc(ctx)
    plugin = _plugin(ctx)
    proto_info = dep[ProtoInfo]
    if not proto_info.direct_sources:
        fail(("%s: %s has no .proto file of its own. " +
              "List in deps the proto_library targets whose srcs hold them.") %
             (ctx.label, dep.label))

    roots = _import_roots(proto_info)

    # Below a folder of the target's own: two targets may then generate the same
    # .proto file with different namespaces, from any package.
    stems = [_output_stem(_import_path(f, roots)) for f in proto_info.direct_sources]
    headers = [ctx.actions.declare_file("%s/%s.rpc.h" % (ctx.label.name, s)) for s in stems]
    sources = [ctx.actions.declare_file("%s/%s.rpc.cpp" % (ctx.label.name, s)) for s in stems]
    out = headers[0].path[:-len("/%s.rpc.h" % stems[0])]

    args = ctx.actions.args()
    args.add(plugin.executable, format = "--plugin=protoc-gen-qarn-rpc=%s")
    args.add(out, format = "--qarn-rpc_out=%s")
    if ctx.attr.services_namespace:
        # Not within --qarn-rpc_out, where protoc would end the parameters at
        # the first colon: a::b has two.
        args.add(ctx.attr.services_namespace, format = "--qarn-rpc_opt=services_namespace=%s")
    _add_inputs(args, proto_info, roots)

    ctx.actions.run(
        executable = protoc,
        arguments = [args],
        inputs = proto_info.transitive_sources,
        tools = [plugin],
        outputs = headers + sources,
        mnemonic = "QarnRpcGenerate",
        progress_message = "Generating RPC classes of %s" % dep.label,
    )
    return headers, sources

def _qarn_rpc_sources_impl(ctx):
    _check_namespace(ctx.label, ctx.attr.services_namespace)
    headers = []
    sources = []
    for dep in ctx.attr.deps:
        dep_headers, dep_sources = _generate(ctx, dep)
        headers += dep_headers
        sources += dep_sources
    linted = []
    if NoLinterInfo not in ctx.attr.linter:
        linted = [_lint(ctx, dep) for dep in ctx.attr.deps]
    return [
        DefaultInfo(files = depset(headers + sources)),
        OutputGroupInfo(
            headers = depset(headers),
            sources = depset(sources),
            _validation = depset(linted),
        ),
    ]

def _sources_rule(toolchains):
    """The rule that generates, with the toolchains that it is to look up."""
    return rule(
        doc = "The .rpc.h and .rpc.cpp files of proto_library targets, uncompiled.",
        implementation = _qarn_rpc_sources_impl,
        attrs = {
            "deps": attr.label_list(
                providers = [ProtoInfo],
                doc = "The proto_library targets to generate.",
            ),
            "services_namespace": attr.string(
                doc = "The namespace to put around the service classes, or empty.",
            ),
            "plugin": attr.label(
                cfg = "exec",
                allow_files = True,
                doc = "The plugin, where it is not that of the toolchain.",
            ),
            "protoc": attr.label(
                cfg = "exec",
                allow_files = True,
                mandatory = True,
                doc = "The protoc program, or what stands for that of the toolchain.",
            ),
            "linter": attr.label(
                cfg = "exec",
                allow_files = True,
                mandatory = True,
                doc = "The linter, or what stands for none.",
            ),
            "lint_options": attr.string_list(
                doc = "More parameters of the linter, such as \"standard=20\".",
            ),
        },
        toolchains = toolchains,
    )

# Bazel 4 has none.
_protoc_toolchains = [PROTOC_TOOLCHAIN_TYPE] if PROTOC_BY_TOOLCHAIN else []

# A target that names its plugin asks for no toolchain, or the one that is built
# from source would have to be there.
_qarn_rpc_sources = _sources_rule(_protoc_toolchains + [QARN_RPC_TOOLCHAIN_TYPE])
_qarn_rpc_sources_with_plugin = _sources_rule(_protoc_toolchains)

def cc_qarn_rpc_library(
        name,
        deps = None,
        runtime = Label("//bazel:runtime"),
        services_namespace = "",
        plugin = None,
        protoc = Label("//bazel:protoc"),
        linter = Label("//bazel:linter"),
        lint_options = [],
        boost = Label("//bazel:boost"),
        protobuf = Label("//bazel:protobuf"),
        **kwargs):
    """The RPC classes of proto_library targets as a C++ library.

    A file a/b.proto is then included as "a/b.rpc.h", and its messages come along
    as "a/b.pb.h". Classes are generated for the targets in `deps` themselves,
    not for the ones they depend on, whose messages are there all the same.

    Args:
      name: name of the library.
      deps: the proto_library targets, a list of labels; mandatory.
      runtime: the cc_library with the RPC runtime, which provides "qarn/rpc.h";
        by default that of the flag @qarn_rpc_gen//bazel:runtime.
      services_namespace: a namespace to put around the service classes, such as
        "api" or "acme::api"; none by default.
      plugin: the generator, a target or a prebuilt file; by default that of the
        toolchain, which is the one for .proto files of any syntax, built from
        source, unless another one is registered.
      protoc: protobuf's compiler, a target or a prebuilt file; by default that of
        protobuf's toolchain, where the build asks for it, or else of the flag
        @qarn_rpc_gen//bazel:protoc. The message code is generated with the
        compiler that the build is set up for; bring the same one.
      linter: the linter, a target or a prebuilt file, which reads the .proto files as
        a validation action; by default that of the flag @qarn_rpc_gen//bazel:linter,
        or none.
      lint_options: more parameters of the linter, such as "standard=20".
      boost: a cc_library with Boost's headers.
      protobuf: a cc_library with protobuf's library.
      **kwargs: further attributes of cc_library, such as visibility.
    """
    if type(deps) != "list" or not deps:
        fail(("cc_qarn_rpc_library \"%s\": deps is %s. Give it a list of proto_library targets, " +
              "such as deps = [\":greeting_proto\"]; a select() cannot be taken.") %
             (name, repr(deps)))
    for attribute in _OWN_ATTRIBUTES:
        if attribute in kwargs:
            fail(("cc_qarn_rpc_library \"%s\": %s is set by the macro. Leave it out; code of your " +
                  "own belongs in a cc_library that depends on this one.") % (name, attribute))
    shared = {key: kwargs[key] for key in _SHARED_ATTRIBUTES if key in kwargs}

    # cc_proto_library takes one proto_library, so there is one for each.
    messages = ["%s_messages_%d" % (name, i) for i in range(len(deps))]
    for message, dep in zip(messages, deps):
        cc_proto_library(
            name = message,
            deps = [dep],
            visibility = ["//visibility:private"],
            **shared
        )

    files = name + "_qarn_rpc"
    sources_rule = _qarn_rpc_sources_with_plugin if plugin else _qarn_rpc_sources
    sources_rule(
        name = files,
        deps = deps,
        plugin = plugin,
        protoc = protoc,
        linter = linter,
        lint_options = lint_options,
        services_namespace = services_namespace,
        visibility = ["//visibility:private"],
        **shared
    )
    for group in ["headers", "sources"]:
        native.filegroup(
            name = "%s_%s" % (files, group),
            srcs = [files],
            output_group = group,
            visibility = ["//visibility:private"],
            **shared
        )
    cc_library(
        name = name,
        srcs = [files + "_sources"],
        hdrs = [files + "_headers"],
        # The folder that stands for the root of all import paths.
        includes = [files],
        deps = messages + [runtime, boost, protobuf],
        **kwargs
    )
