#!/usr/bin/env python3
"""Writes the inputs of the benchmarks: make_inputs.py FOLDER [METHODS...]

Four shapes, each in a folder of its own under FOLDER:

  cold    one file, one service, one method: what a build's start-ups cost
  wide    one service of 1,000 methods, also in the language of every peer
  many    1,000 files of 12 methods and 40 messages each, with imports
  growth  one service of METHODS methods, a file for each number given
          (2000, 20000 and 200000 if none is)

The methods take the four streaming kinds in turn. The output depends on
nothing but the arguments.
"""

import pathlib
import sys

WIDE_METHODS = 1000
MANY_FILES = 1000
METHODS_A_FILE = 12
MESSAGES_A_FILE = 40
GROWTH = [2000, 20000, 200000]

# The options of a method, the four kinds in turn.
KINDS = [
    "",
    " { option (morvane.qarn.rpc.client_streaming) = true; }",
    " { option (morvane.qarn.rpc.server_streaming) = true; }",
    " {\n"
    "    option (morvane.qarn.rpc.client_streaming) = true;\n"
    "    option (morvane.qarn.rpc.server_streaming) = true;\n"
    "  }",
]


def message_name(index):
    return f"Record{index}"


def proto_messages(count):
    for index in range(count):
        yield (
            f"message {message_name(index)} {{\n"
            "  optional string title = 1;\n"
            "  optional int64 number = 2;\n"
            "}\n"
        )


def method_types(index, messages):
    """The request and the response of a method: all messages take part."""
    return message_name(index % messages), message_name((index * 7 + 1) % messages)


def proto_service(methods, messages, with_kinds, borrowed=()):
    """The first methods take their requests from the packages `borrowed`."""
    yield "service Archive {\n"
    for index in range(methods):
        request, response = method_types(index, messages)
        if index < len(borrowed):
            request = f"{borrowed[index]}.{request}"
        options = KINDS[index % len(KINDS)] if with_kinds else ""
        yield f"  rpc Fetch{index}({request}) returns ({response}){options or ';'}\n"
    yield "}\n"


def proto_file(package, methods, messages, with_kinds=True, option="", imported=()):
    """`imported` are packages of one component, each in a file of its name."""
    yield 'syntax = "proto2";\n'
    yield f"package {package};\n"
    if with_kinds:
        yield 'import "morvane/qarn/rpc/service_options.proto";\n'
    for name in imported:
        yield f'import "{name}.proto";\n'
    yield option
    yield from proto_messages(messages)
    yield from proto_service(methods, messages, with_kinds, imported)


def thrift_file(methods, messages):
    yield "namespace cpp bench.wide\n"
    for index in range(messages):
        yield (
            f"struct {message_name(index)} {{\n"
            "  1: optional string title\n"
            "  2: optional i64 number\n"
            "}\n"
        )
    yield "service Archive {\n"
    for index in range(methods):
        request, response = method_types(index, messages)
        yield f"  {response} Fetch{index}(1: {request} request)\n"
    yield "}\n"


def capnp_file(methods, messages):
    yield "@0xb7d2a4f0c1935e86;\n"
    for index in range(messages):
        yield (f"struct {message_name(index)} {{\n  title @0 :Text;\n  number @1 :Int64;\n}}\n")
    yield "interface Archive {\n"
    for index in range(methods):
        request, response = method_types(index, messages)
        yield f"  fetch{index} @{index} (request :{request}) -> (response :{response});\n"
    yield "}\n"


def slice_file(methods, messages):
    yield "module bench\n{\n"
    for index in range(messages):
        yield f"struct {message_name(index)}\n{{\n  string title;\n  long number;\n}}\n"
    yield "interface Archive\n{\n"
    for index in range(methods):
        request, response = method_types(index, messages)
        yield f"  {response} Fetch{index}({request} request);\n"
    yield "}\n}\n"


def write(path, pieces):
    path.parent.mkdir(parents=True, exist_ok=True)
    with open(path, "w", encoding="ascii") as file:
        file.writelines(pieces)


def write_cold(folder):
    write(
        folder / "cold.proto",
        'syntax = "proto2";\n'
        "package bench.cold;\n"
        "message PingRequest { optional string text = 1; }\n"
        "message PingReply { optional string text = 1; }\n"
        "service Echo { rpc Ping(PingRequest) returns (PingReply); }\n",
    )


def write_wide(folder):
    size = (WIDE_METHODS, MESSAGES_A_FILE)
    write(folder / "wide.proto", proto_file("bench.wide", *size))
    # The peers that take part with a .proto file know nothing of our options.
    write(
        folder / "plain.proto",
        proto_file("bench.wide", *size, with_kinds=False),
    )
    write(
        folder / "generic.proto",
        proto_file(
            "bench.wide",
            *size,
            with_kinds=False,
            option="option cc_generic_services = true;\n",
        ),
    )
    write(folder / "wide.thrift", thrift_file(*size))
    write(folder / "wide.capnp", capnp_file(*size))
    write(folder / "wide.ice", slice_file(*size))


def write_many(folder):
    for index in range(MANY_FILES):
        # Each file imports the two before it, as the files of one product do.
        imported = [f"many{i}" for i in range(max(0, index - 2), index)]
        write(
            folder / f"many{index}.proto",
            proto_file(f"many{index}", METHODS_A_FILE, MESSAGES_A_FILE, imported=imported),
        )


def write_growth(folder, numbers):
    for methods in numbers:
        write(
            folder / f"growth{methods}.proto",
            proto_file("bench.growth", methods, MESSAGES_A_FILE),
        )


def main():
    arguments = sys.argv[1:]
    if not arguments or not all(number.isdigit() for number in arguments[1:]):
        sys.exit("usage: make_inputs.py FOLDER [METHODS...]")
    folder = pathlib.Path(arguments[0])
    write_cold(folder / "cold")
    write_wide(folder / "wide")
    write_many(folder / "many")
    write_growth(folder / "growth", [int(n) for n in arguments[1:]] or GROWTH)


if __name__ == "__main__":
    main()
