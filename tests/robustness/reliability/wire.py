"""Requests and responses of protoc's plugin protocol, byte by byte.

The tests need requests that no protobuf library would write: huge, cut off,
garbled. So they write the wire format themselves, as far as they need it.
"""


def varint(number):
    encoded = bytearray()
    while number > 127:
        encoded.append(number & 127 | 128)
        number >>= 7
    encoded.append(number)
    return bytes(encoded)


def field(number, content):
    """A length-delimited field: a string or a message."""
    if isinstance(content, str):
        content = content.encode()
    return varint(number << 3 | 2) + varint(len(content)) + content


def message(name, *nested):
    return field(1, name) + b"".join(field(3, inner) for inner in nested)


def method(name, type_name=".M", options=b""):
    content = field(1, name) + field(2, type_name) + field(3, type_name)
    return content + (field(4, options) if options else b"")


def service(name, methods):
    return field(1, name) + b"".join(field(2, one) for one in methods)


def file(name, package="", messages=(), services=()):
    return (
        field(1, name)
        + (field(2, package) if package else b"")
        + b"".join(field(4, one) for one in messages)
        + b"".join(field(6, one) for one in services)
    )


def request(files, parameter=""):
    """A request to generate all of `files`, from file names to what file() made."""
    return (
        b"".join(field(1, name) for name in files)
        + (field(2, parameter) if parameter else b"")
        + b"".join(field(15, content) for content in files.values())
    )


def echo_request(name="echo.proto", methods=("Ping",), parameter=""):
    """One file with a message M and a service Echo."""
    kinds = [b"", b"\x88\xb5\x18\x01", b"\x90\xb5\x18\x01", b"\x88\xb5\x18\x01\x90\xb5\x18\x01"]
    echo = service("Echo", [method(m, ".a.b.M", kinds[i % 4]) for i, m in enumerate(methods)])
    return request({name: file(name, "a.b", [message("M")], [echo])}, parameter)


class NotWhole(Exception):
    """The bytes are no whole message."""


def _read_varint(data, at):
    value = 0
    for shift in range(0, 70, 7):
        if at >= len(data):
            raise NotWhole("cut off in a number at byte %d" % at)
        value |= (data[at] & 127) << shift
        at += 1
        if data[at - 1] < 128:
            return value, at
    raise NotWhole("no number at byte %d" % at)


def fields(data):
    """Yields (field number, value) for each field: a number or a memoryview."""
    data = memoryview(data)
    at = 0
    while at < len(data):
        tag, at = _read_varint(data, at)
        if tag & 7 == 0:
            value, at = _read_varint(data, at)
        elif tag & 7 == 2:
            size, at = _read_varint(data, at)
            value = data[at : at + size]
            if len(value) < size:
                raise NotWhole("%d bytes are missing" % (size - len(value)))
            at += size
        else:
            raise NotWhole("a response has no wire type %d" % (tag & 7))
        yield tag >> 3, value


class Response:
    """What a whole response says; raises NotWhole for other bytes."""

    def __init__(self, data):
        self.error = None
        self.files = {}
        for number, value in fields(data):
            if number == 1:
                self.error = bytes(value).decode(errors="replace")
            elif number == 15:
                parts = dict(fields(value))
                self.files[bytes(parts[1]).decode(errors="replace")] = parts[15]
