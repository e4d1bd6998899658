"""The toolchain of the plugin: which program generates on which platform.

Where nothing else is registered, the plugin is built from source. A team that
has it prebuilt declares the files with qarn_rpc_prebuilt_toolchains, or any
target with qarn_rpc_toolchain, and registers what these declare.
"""

# What a toolchain() of the plugin names as its toolchain_type.
QARN_RPC_TOOLCHAIN_TYPE = str(Label("//bazel:toolchain_type"))

# Names of platforms, as release files have them, and what each stands for.
_PLATFORMS = {
    "linux-aarch_64": ["@platforms//os:linux", "@platforms//cpu:aarch64"],
    "linux-x86_64": ["@platforms//os:linux", "@platforms//cpu:x86_64"],
}

def _qarn_rpc_toolchain_impl(ctx):
    return [platform_common.ToolchainInfo(plugin = ctx.attr.plugin[DefaultInfo].files_to_run)]

qarn_rpc_toolchain = rule(
    doc = "The plugin as a toolchain. A toolchain() names it and says where it runs.",
    implementation = _qarn_rpc_toolchain_impl,
    attrs = {
        "plugin": attr.label(
            executable = True,
            cfg = "exec",
            allow_files = True,
            mandatory = True,
            doc = "The protoc-gen-qarn-rpc-any or protoc-gen-qarn-rpc program, a target or a file.",
        ),
    },
)

def qarn_rpc_prebuilt_toolchains(name, plugins):
    """Declares a toolchain for each platform that the plugin is prebuilt for.

    They are chosen by the platform on which the action runs. Register them, as in
    register_toolchains("//third_party/qarn_rpc:all").

    Args:
      name: how the names of the targets begin: NAME-linux-x86_64 and so on.
      plugins: a dictionary from the name of a platform, "linux-x86_64" or
        "linux-aarch_64", to the plugin's file.
    """
    if type(plugins) != "dict" or not plugins:
        fail(("qarn_rpc_prebuilt_toolchains \"%s\": plugins is %s. Give it a dictionary, such as " +
              "{\"linux-x86_64\": \"protoc-gen-qarn-rpc-any\"}.") % (name, repr(plugins)))
    for platform, plugin in plugins.items():
        if platform not in _PLATFORMS:
            fail(("qarn_rpc_prebuilt_toolchains \"%s\": there is no platform \"%s\". The platforms " +
                  "are %s; for another one, use qarn_rpc_toolchain with a toolchain() of your own.") %
                 (name, platform, " and ".join(_PLATFORMS.keys())))
        program = "%s-%s-program" % (name, platform)
        qarn_rpc_toolchain(
            name = program,
            plugin = plugin,
            # //... must not ask for the programs of other platforms.
            tags = ["manual"],
            visibility = ["//visibility:private"],
        )
        native.toolchain(
            name = "%s-%s" % (name, platform),
            exec_compatible_with = _PLATFORMS[platform],
            toolchain = program,
            toolchain_type = QARN_RPC_TOOLCHAIN_TYPE,
        )
