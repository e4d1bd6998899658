#!/usr/bin/env python3
"""Shows that a fuzzer finds mistakes: puts ten into src/, one at a time, and says
how many seconds of processor time it takes from an empty corpus to each finding.

  tests/robustness/fuzz/mutants.py [--source TREE] [--options OPTIONS] [--first NUMBER] [TARGET]

Run by hand. Works on a copy below build/mutants and builds it with the preset
fuzz. TARGET is structured unless it is named. TREE is another checkout to take,
with options for its libFuzzer if it has no list of them. Exit status 1 if a
mutant is not found within a minute.
"""

import argparse
import pathlib
import re
import resource
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[3]
LIMIT = 60

# What the mistake is, the file of src/, the text there and what takes its place.
MUTANTS = [
    (
        "server_streaming counts where it is present, also if it is false",
        "naming/streaming_kind.cc",
        """      options.GetExtension(::morvane::qarn::rpc::server_streaming);""",
        """      true;""",
    ),
    (
        "a nested message is joined to its outer one by a dot too few",
        "naming/names.cc",
        """AppendWithoutDots(name.substr(outer.size()), "_", text);""",
        """AppendWithoutDots(name.substr(outer.size() + 1), "_", text);""",
    ),
    (
        "a text is read after it was freed",
        "naming/names.cc",
        """  const std::string_view outer(outermost->full_name());""",
        """  const std::string_view outer(std::string(outermost->full_name()) + "");""",
    ),
    (
        "of two responses with one local name only the first gets its typedef",
        "header/typedefs.cc",
        """PrintOnce(printer, vars, MessageClassName(method->output_type(), true),""",
        """PrintOnce(printer, vars, MessageClassName(method->output_type(), false),""",
    ),
    (
        "what was printed is remembered from one service to the next",
        "header/server.cc",
        """    TypedefSet messages;""",
        """    static TypedefSet messages;""",
    ),
    (
        "the fourth method of a service ends its list",
        "header/traits.cc",
        """method->index() == service->method_count() - 1;""",
        """method->index() == service->method_count() - 1 || method->index() == 3;""",
    ),
    (
        "the source closes its namespaces in reverse order",
        "source/frame.cc",
        """  for (const std::string& part : parts) {
    text += "}  // namespace " + part + "\\n";
  }""",
        """  for (auto part = parts.rbegin(); part != parts.rend(); ++part) {
    text += "}  // namespace " + *part + "\\n";
  }""",
    ),
    (
        "of a repeated parameter the first value wins",
        "plugin/parse_parameters.cc",
        """    parameters->services_namespace = pieces.size() > 1 ? pieces[1] : "";""",
        """    if (parameters->services_namespace.empty())
      parameters->services_namespace = pieces.size() > 1 ? pieces[1] : "";""",
    ),
    (
        "both suffixes of a file name go",
        "naming/file_names.cc",
        """      return boost::algorithm::erase_tail_copy(
          file_name, static_cast<int>(std::strlen(suffix)));""",
        """      return OutputBaseName(boost::algorithm::erase_tail_copy(
          file_name, static_cast<int>(std::strlen(suffix))));""",
    ),
    (
        "generic services are refused only where there are services",
        "plugin/generator.cc",
        """  if (file->options().cc_generic_services()) {""",
        """  if (file->options().cc_generic_services() && file->service_count() > 0) {""",
    ),
]


def run(command, **arguments):
    """Runs a command quietly; ends with its output if it fails."""
    result = subprocess.run(
        [str(word) for word in command],
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        check=False,
        **arguments,
    )
    if result.returncode != 0:
        text = result.stdout.decode(errors="replace")
        sys.exit(f"mutants.py: {command[0]} fails:\n{text}")
    return result.stdout


def used():
    """Seconds of processor time of all processes that have ended."""
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def copy_of(source, folder):
    """Copies the files of a checkout that git knows, and their times."""
    folder.mkdir(parents=True, exist_ok=True)
    for name in run(["git", "-C", source, "ls-files", "-z"]).decode().split("\0"):
        if not name or not (source / name).is_file():
            continue
        target = folder / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists() or target.read_bytes() != (source / name).read_bytes():
            shutil.copy2(source / name, target)


def fuzzer_of(build, target, options):
    """The program, and the options to run it with."""
    programs = [p for p in build.rglob(f"{target}_fuzzer") if p.is_file()]
    if not programs:
        sys.exit(f"mutants.py: there is no target '{target}'")
    if options is not None:
        return [programs[0], *options.split()]
    for line in (build / "fuzzers.txt").read_text().splitlines():
        name, _, *words = line.split()
        if name == target:
            return [programs[0], *words]
    sys.exit(f"mutants.py: {build}/fuzzers.txt does not name '{target}'")


def seconds_to_find(command, folder):
    """Seconds until the fuzzer ends with a finding, and what tells it; None and
    None if it does not."""
    shutil.rmtree(folder, ignore_errors=True)
    (folder / "corpus").mkdir(parents=True)
    before = used()
    result = subprocess.run(
        [
            *command,
            "-seed=1",
            f"-artifact_prefix={folder}/",
            folder / "corpus",
        ],
        stdout=subprocess.DEVNULL,
        stderr=subprocess.PIPE,
        check=False,
        preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_CPU, (LIMIT, LIMIT)),
    )
    found = re.search(rb"^FINDING: (\w+)|ERROR: (AddressSanitizer: [\w-]+)", result.stderr, re.M)
    if not found:
        return None, None
    return used() - before, (found[1] or found[2]).decode()


def main():
    """Tries each mutant and prints a row for it."""
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--source", type=pathlib.Path, default=ROOT)
    parser.add_argument("--options")
    parser.add_argument("--first", type=int, default=1, help="the number to begin with")
    parser.add_argument("target", nargs="?", default="structured")
    arguments = parser.parse_args()

    source = arguments.source.resolve()
    work = ROOT / "build" / "mutants" / source.name
    tree = work / "tree"
    copy_of(source, tree)
    # A compiler may see that a mutant is wrong; it is not asked here.
    run(["cmake", "--preset", "fuzz", "-DQARN_RPC_WARNINGS_AS_ERRORS=OFF"], cwd=tree)
    build = tree / "build" / "fuzz"
    missed = 0
    for number, (what, name, old, new) in enumerate(MUTANTS, start=1):
        if number < arguments.first:
            continue
        path = tree / "src" / name
        text = path.read_text()
        if text.count(old) != 1:
            sys.exit(f"mutants.py: mutant {number} has no one place in src/{name}; correct it")
        path.write_text(text.replace(old, new))
        try:
            run(["cmake", "--build", build, "--target", f"{arguments.target}_fuzzer"])
            command = fuzzer_of(build, arguments.target, arguments.options)
            seconds, sign = seconds_to_find(command, work / "run")
        finally:
            path.write_text(text)
        if seconds is None:
            missed += 1
        shown = "not found" if seconds is None else f"{seconds:.1f} s by {sign}"
        print(f"{number:2}  {what}: {shown}", flush=True)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
