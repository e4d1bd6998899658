"""Runs Bazel and reads what it did: the actions that ran and those it has."""

import json
import pathlib
import re

from support.commands import run


def _place(path):
    """A path without the name of its configuration, and with the short names of
    repositories: bazel-out/k8/bin/external/a~~b~c/d -> BIN/external/c/d."""
    path = re.sub(r"^bazel-out/[^/]+/bin/", "BIN/", path)
    return re.sub(r"\bexternal/(?:[^/~]*~+)*([^/~]+)~?/", r"external/\1/", path)


class RanAction:
    """An entry of the execution log."""

    def __init__(self, entry):
        self.mnemonic = entry["mnemonic"]
        output = _place(sorted(entry["listedOutputs"])[0])
        # Such as "CppLink weather/weather": what it is and what it made first.
        self.name = f"{self.mnemonic} {output.replace('BIN/', '', 1)}"
        self.runner = entry["runner"]
        # Its name up to Bazel 6, and since.
        self.cached = entry.get("remoteCacheHit", entry.get("cacheHit"))
        self.environment = entry["environmentVariables"]

    def __repr__(self):
        return self.name


class PlannedAction:
    """An action of `bazel aquery`."""

    def __init__(self, action, targets, paths, input_sets):
        self.target = targets[action["targetId"]]
        self.arguments = action.get("arguments", [])
        self.environment = {e["key"]: e["value"] for e in action.get("environmentVariables", [])}
        # Below the folder where the action runs. A middleman stands for the shared
        # libraries beside a program and is no file.
        self.files = {
            paths[file]
            for file in input_sets(action.get("inputDepSetIds", []))
            if "/_middlemen/" not in paths[file]
        }
        self.outputs = {paths[file] for file in action.get("outputIds", [])}
        # Places of the files read.
        self.inputs = {_place(file) for file in self.files}

    def __repr__(self):
        return f"{self.target} {self.arguments}"


class Bazel:
    """Bazel in one workspace, with an output folder of our own.

    cache: the flags of the cache to use.
    registry: the folder of a registry; its modules are used, or else a WORKSPACE.
    user: who runs it, if it is not the user of the test.
    """

    def __init__(self, workspace, output, cache, registry=None, user=None):
        self.workspace = workspace
        self.cache_hits = []
        self._log = output / "execution_log.json"
        self.cache = cache
        output.mkdir(exist_ok=True)
        # The idle limit is for a test that is killed: it ends with shutdown().
        self._command = ["runuser", "-u", user, "--"] if user else []
        self._command += [
            "bazel",
            "--nohome_rc",
            f"--output_user_root={output}",
            "--max_idle_secs=60",
            "--host_jvm_args=-Xmx1g",
        ]
        if registry:
            flags = registry / "bazelrc"
            flags.write_text(f"common --registry=file://{registry}\ncommon --lockfile_mode=off\n")
            self._command.append(f"--bazelrc={flags}")

    def run(self, *arguments):
        """Runs one Bazel command that must succeed; returns its standard output."""
        return run([*self._command, *arguments], cwd=self.workspace, merge=False)

    def shutdown(self):
        """Ends the server; it does no harm when there is none."""
        self.run("shutdown")

    def exec_root(self):
        """The folder in which paths of actions begin."""
        return pathlib.Path(self.run("info", "execution_root").strip())

    def build(self, *targets):
        """Builds; returns the actions that ran, leaving hits in cache_hits."""
        log = f"--execution_log_json_file={self._log}"
        self.run("build", "--jobs=2", *self.cache, log, *targets)
        actions = [RanAction(entry) for entry in self._read_log()]
        self.cache_hits = [action for action in actions if action.cached]
        return [action for action in actions if not action.cached]

    def _read_log(self):
        """The objects of the log, which stand in it one after the other."""
        text = self._log.read_text().strip()
        decoder = json.JSONDecoder()
        while text:
            entry, end = decoder.raw_decode(text)
            yield entry
            text = text[end:].lstrip()

    def refused(self, *arguments):
        """Runs one Bazel command that must fail; returns what it printed."""
        return run([*self._command, *arguments], cwd=self.workspace, status=None)

    def fail_text(self, target):
        """The text that fail() gives when `target` is analysed."""
        output = self.refused("build", "--nobuild", target)
        message = re.search(r"^Error in fail: (.*)$", output, re.M)
        assert message, f"{target} was not refused by fail():\n{output}"
        # Bazel 7 writes the labels of this workspace with @@.
        return message.group(1).replace("@@//", "//")

    def aquery(self, query, *flags):
        """The actions that a query finds, without running them."""
        graph = json.loads(self.run("aquery", "--output=jsonproto", *flags, query))
        fragments = {f["id"]: f for f in graph.get("pathFragments", [])}

        def path(fragment_id):
            fragment = fragments[fragment_id]
            parent = fragment.get("parentId")
            start = path(parent) + "/" if parent else ""
            return start + fragment["label"]

        paths = {a["id"]: path(a["pathFragmentId"]) for a in graph.get("artifacts", [])}
        sets = {s["id"]: s for s in graph.get("depSetOfFiles", [])}

        def input_sets(ids):
            files = set()
            for set_id in ids:
                files.update(sets[set_id].get("directArtifactIds", []))
                files |= input_sets(sets[set_id].get("transitiveDepSetIds", []))
            return files

        targets = {t["id"]: t["label"] for t in graph.get("targets", [])}
        return [
            PlannedAction(action, targets, paths, input_sets) for action in graph.get("actions", [])
        ]
