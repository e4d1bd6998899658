"""Programs that are linked without shared libraries, as a team would keep them."""

import shutil

from support.commands import run

# Where Bazel 4, which knows no toolchain of it, finds a prebuilt protoc.
PROTOC = "prebuilt/protoc"


class Prebuilt:
    """Links the plugin and a protoc, and puts them into the workspace."""

    def __init__(self, workspace):
        self.sid = workspace.sid
        build = workspace.work / "static_plugin"
        run(
            ["cmake", "-S", workspace.source, "-B", build, "-DCMAKE_BUILD_TYPE=Release"]
            + ["-DQARN_RPC_BUILD_TESTS=OFF", "-DQARN_RPC_STATIC=ON"]
        )
        run(
            ["cmake", "--build", build, "--parallel", "2"] + ["--target", "protoc-gen-qarn-rpc-any"]
        )
        self.static_plugin = build / "protoc-gen-qarn-rpc-any"
        folder = workspace.bazel.workspace / "prebuilt"
        self.plugin = folder / "protoc-gen-qarn-rpc-any-linux-x86_64"
        shutil.copy(self.static_plugin, self.plugin)
        workspace.write("prebuilt/protoc-gen-qarn-rpc-any-linux-aarch_64", "")
        self.protoc = folder / "protoc/protoc-linux-x86_64" if self.sid else folder / "protoc"
        unit = workspace.source / "tests/consumers/bazel/static_protoc.cc"
        libraries = ["-lprotoc", "-lprotobuf", "-lz", "-lpthread"]
        run(["c++", "-std=c++17", "-static", unit, "-o", self.protoc, *libraries])
        if self.sid:
            workspace.write("prebuilt/protoc/protoc-linux-aarch_64", "")

    def flags(self):
        """What has plugin and protoc taken from //prebuilt."""
        if self.sid:
            return ["--config=prebuilt", "--config=prebuilt_protoc"]
        protoc = "//" + PROTOC.replace("/", ":")
        return [
            "--config=prebuilt",
            f"--@qarn_rpc_gen//bazel:protoc={protoc}",
            f"--proto_compiler={protoc}",
        ]
