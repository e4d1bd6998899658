"""Writes the source that makes every call of the services of an RPC header, by
means of support/exercise.h."""

import re


def services_of(header_text, services_namespace):
    """The services that an RPC header declares, as (scope, name, macros):
    ("::a::b::services::", "Echo", "ECHO")."""
    macros = dict(
        (name, macro)
        for macro, name in re.findall(r"^#define (\w+) (\w+)$", header_text, re.MULTILINE)
    )
    names = re.findall(r"^class (\w+) \{$", header_text, re.MULTILINE)
    packages = re.findall(r'^  static const char\* package\(\) .*"(.*)"', header_text, re.MULTILINE)
    services = []
    for name, package in zip(names, packages):
        parts = [part for part in package.split(".") if part]
        if services_namespace:
            parts.append(services_namespace)
        scope = "::" + "".join(part + "::" for part in parts)
        services.append((scope, name, macros[name]))
    return services


def exercise_source(headers, services, function):
    """A source that defines `void function()`, which exercises the services.
    The headers come first, so that they get nothing from other includes."""
    lines = [f'#include "{header}"' for header in headers]
    lines += ['#include "support/exercise.h"', ""]
    lines += [
        f"EXERCISE_DEFINE({scope}, {name}, {macros}_METHOD_NAMES)"
        for scope, name, macros in services
    ]
    lines += [f"void {function}();", f"void {function}() {{"]
    lines += [
        f"  EXERCISE_RUN({scope}, {name}, {macros}_METHODS)" for scope, name, macros in services
    ]
    lines += ["}", ""]
    return "\n".join(lines)


def main_source(functions, files):
    """A main that calls the functions and then asks whether every service of
    these .proto files was exercised."""
    lines = ['#include "support/exercise.h"', ""]
    lines += [f"void {function}();" for function in functions]
    lines += ["", "int main() {"]
    lines += [f"  {function}();" for function in functions]
    names = ", ".join(f'"{name}"' for name in files)
    lines += [f"  return exercise::Finish({{{names}}});", "}", ""]
    return "\n".join(lines)
