"""Compiles generated RPC files as a strict user would: with every common
warning on, and all of them errors.

A warning in a header that was found through -isystem is silent. So the RPC
files must be found through -I, and protobuf's message headers, whose warnings
are not ours, through -isystem. The two therefore never share a folder.
"""

import concurrent.futures
import os
import pathlib

from support.commands import run

WARNINGS = [
    "-Wall",
    "-Wextra",
    "-Wpedantic",
    "-Wshadow",
    "-Wnon-virtual-dtor",
    "-Werror",
]

# Prebuilt once a compiler and standard, because every generated file includes
# most of it. What is silent here is silent in a compile without it, too: all of
# it comes from system folders.
PREFIX_TEXT = """\
#include <boost/intrusive_ptr.hpp>
#include <boost/preprocessor.hpp>
#include <boost/shared_ptr.hpp>
#include <deque>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/extension_set.h>
#include <google/protobuf/generated_message_reflection.h>
#include <google/protobuf/generated_message_util.h>
#include <google/protobuf/message.h>
#include <google/protobuf/metadata_lite.h>
#include <google/protobuf/repeated_field.h>
#include <google/protobuf/unknown_field_set.h>
#include <iostream>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>
"""


def system_includes(folders):
    """The options that make the compiler search the folders for headers whose
    warnings are not ours."""
    options = []
    for folder in folders:
        # The default folder must keep its place: named again as a system
        # folder, it hides the C++ library's wrappers of C headers.
        if folder and os.path.realpath(folder) != "/usr/include":
            options += ["-isystem", folder]
    return options


def in_parallel(function, items):
    """Calls the function for each item, two at a time. All of them are tried;
    then the first failure is raised."""
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        calls = [pool.submit(function, item) for item in items]
    return [call.result() for call in calls]


class Toolchain:
    """One compiler at one standard.

    compiler: the path or name of g++ or clang++.
    standard: such as "c++11".
    system_folders: where protobuf and Boost are, unless the compiler looks
        there by itself.
    prefix_folder: where make_prefix puts the prebuilt header, which `compile`
        then starts with. Without one, each source gets its own includes only.
    optimisation: the option for it.
    """

    def __init__(self, compiler, standard, system_folders, prefix_folder=None, optimisation="-O0"):
        self.command = [compiler, f"-std={standard}", optimisation]
        self.command += system_includes(system_folders)
        self.prefix = prefix_folder and pathlib.Path(prefix_folder, "prefix.h")
        self.is_clang = "clang" in os.path.basename(compiler)

    def make_prefix(self):
        """Prebuilds the headers that most sources include."""
        self.prefix.parent.mkdir(parents=True, exist_ok=True)
        self.prefix.write_text(PREFIX_TEXT)
        suffix = ".pch" if self.is_clang else ".gch"
        options = ["-x", "c++-header", self.prefix, "-o", f"{self.prefix}{suffix}"]
        run(self.command + WARNINGS + options)

    def compilation(self, source, rpc_folders, message_folders, output=None):
        """The command that compiles one source with all warnings. Without an output
        it is only checked."""
        command = self.command + WARNINGS
        for folder in rpc_folders:
            command = command + ["-I", folder]
        for folder in message_folders:
            command = command + ["-isystem", folder]
        command = command + self.prefix_includes()
        if output is None:
            return command + ["-fsyntax-only", source]
        return command + ["-c", source, "-o", output]

    def prefix_includes(self):
        """The options to start with the prebuilt header, if there is one."""
        if not self.prefix:
            return []
        includes = ["-include", self.prefix]
        return includes if self.is_clang else includes + ["-Winvalid-pch"]

    def compile(self, source, rpc_folders, message_folders, output=None, status=0):
        """Compiles one source, and returns what the compiler said. See `run` for
        status."""
        if output is not None:
            pathlib.Path(output).parent.mkdir(parents=True, exist_ok=True)
        command = self.compilation(source, rpc_folders, message_folders, output)
        return run(command, status=status)

    def compile_messages(self, source, folders, output):
        """Compiles a source of protobuf's own generator, without warnings."""
        command = self.command + ["-w"] + self.prefix_includes()
        for folder in folders:
            command = command + ["-I", folder]
        pathlib.Path(output).parent.mkdir(parents=True, exist_ok=True)
        run(command + ["-c", source, "-o", output])

    def link(self, objects, libraries, program):
        """Links one program."""
        run(self.command + list(objects) + list(libraries) + ["-pthread", "-o", program])
