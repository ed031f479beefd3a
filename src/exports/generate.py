#!/usr/bin/env python3
"""Makes the guarded entries and the linker's symbol list from the tables of exported names.

A table line is one of
  guarded RESULT NAME(PARAMETERS) = INNER [-> VALUE]   a guard around the inner function of namespace qrt;
                                                       VALUE is what comes back after a caught failure
  bare    RESULT NAME(PARAMETERS) = INNER              the inner function alone, where a guard could not be told from
                                                       none: it reports by guarded entries only, if at all
  direct  SYMBOL                                       a function defined under its exported name
  data    SYMBOL                                       an exported variable
  source  FILE                                         the source that is compiled together with the entries of
                                                       this table, so that hot inner functions can be inlined
Braces in NAME, as in {TO,TS}, make one entry for each choice; $1, $2... in RESULT, PARAMETERS, INNER and VALUE
stand for the chosen texts. A name followed by braces of pairs, {Int1:int8_t,...}, gives $1 the first half and
$1' the second. "#" starts a comment; a line that ends in "\\" goes on in the next.

Fails when a name stands in two tables, or when the tables and the public header don't name the same entries;
the compiler fails when a signature differs from its declaration, the linker when a definition is missing.
"""
import argparse
import itertools
import pathlib
import re
import sys


def logical_lines(path):
    pending = ""
    for number, line in enumerate(path.read_text().split("\n"), 1):
        line = pending + line.split("#")[0].strip()
        if line.endswith("\\"):
            pending = line[:-1].rstrip() + " "
            continue
        pending = ""
        if line:
            yield number, line


def expand(line):
    """Yields the line once for each choice of the braces in its entry's name."""
    head = line.split("(")[0]
    groups = [group.split(",") for group in re.findall(r"\{([^}]*)\}", head)]
    for choice in itertools.product(*groups):
        text = line
        for index, chosen in enumerate(choice, 1):
            first, _, second = chosen.strip().partition(":")
            text = re.sub(r"\{[^}]*\}", first, text, count=1)
            text = text.replace(f"${index}'", second or first).replace(f"${index}", first)
        yield text


ENTRY = re.compile(r"(?P<result>.+?)\s*\b(?P<name>\w+)\((?P<parameters>.*?)\)\s*=\s*(?P<inner>[^-]+?)"
                   r"\s*(?:->\s*(?P<value>.+))?$")


def argument_names(parameters):
    if parameters.strip() in ("", "void"):
        return []
    return [re.search(r"(\w+)\s*$", parameter).group(1) for parameter in split_arguments(parameters)]


def split_arguments(parameters):
    depth, start, parts = 0, 0, []
    for at, character in enumerate(parameters + ","):
        depth += character in "(<"
        depth -= character in ")>"
        if character == "," and depth == 0:
            parts.append(parameters[start:at])
            start = at + 1
    return parts


def guarded_entry(entry, name):
    result, inner, value = entry["result"], entry["inner"], entry["value"]
    call = f"{inner}({', '.join(argument_names(entry['parameters']))})"
    if result == "void":
        work, ending = f"    {call};\n    frame::disarm(guard);\n    return;\n", ""
    else:
        work = f"    {result} const returned = {call};\n    frame::disarm(guard);\n    return returned;\n"
        ending = f"  return {value or '{}'};\n"
    return (f"{result} {name}({entry['parameters']}) {{\n"
            "  frame::Guard guard;\n"
            "  if (qrtArmGuard(&guard) == 0) {\n"
            f"{work}"
            "  }\n"
            "  frame::caughtByGuard(guard);\n"
            f"{ending}"
            "}\n\n")


def bare_entry(entry, name):
    call = f"{entry['inner']}({', '.join(argument_names(entry['parameters']))})"
    return f"{entry['result']} {name}({entry['parameters']}) {{\n  return {call};\n}}\n\n"


def declared_names(header):
    text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
    text = re.sub(r"^\s*#.*$", "", text, flags=re.M)
    for declaration in re.findall(r"^QRT_(?:API|DATA)\b([^;]*);", text, flags=re.M):
        symbol = re.search(r'QRT_SYMBOL\("([^"]+)"\)', declaration)
        if symbol:
            yield symbol.group(1)
        elif "(" in declaration:
            yield re.search(r"(\w+)\s*\(", declaration).group(1)
        else:
            for declared in declaration.split(","):
                yield re.search(r"(\w+)\s*(?:\[[^\]]*\]\s*)*$", declared).group(1)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--header", type=pathlib.Path, required=True)
    parser.add_argument("--output", type=pathlib.Path, required=True)
    parser.add_argument("tables", nargs="+", type=pathlib.Path)
    options = parser.parse_args()
    options.output.mkdir(parents=True, exist_ok=True)

    symbols, faults = {}, []
    for table in options.tables:
        body, sources = [], ""
        for number, line in logical_lines(table):
            place = f"{table}:{number}"
            kind, _, rest = line.partition(" ")
            if kind == "source":
                sources += f'#include "{rest.strip()}"\n'
                continue
            for text in expand(rest.strip()):
                if kind in ("guarded", "bare"):
                    entry = ENTRY.match(text)
                    if not entry:
                        sys.exit(f"{place}: not an entry: {text}")
                    name = entry["name"]
                    body.append(guarded_entry(entry, name) if kind == "guarded" else bare_entry(entry, name))
                elif kind in ("direct", "data"):
                    name = text
                else:
                    sys.exit(f"{place}: '{kind}' is neither guarded, bare, direct, data nor source")
                if name in symbols:
                    faults.append(f"{place}: {name} stands already in {symbols[name]}")
                symbols[name] = place
        # Nothing that an inlined function changes is read behind a caught failure.
        if sources:
            sources += '#ifndef __clang__\n#pragma GCC diagnostic ignored "-Wclobbered"\n#endif\n'
        # The inner functions are known to lie in the library, so that calls to them need no table.
        includes = ('#include <cstdint>\n#include <cstring>\n\n#include "qrtrlib.h"\n\n'
                    '#pragma GCC visibility push(hidden)\n#include "exports/inner.h"\n'
                    f'#pragma GCC visibility pop\n{sources}\nusing namespace qrt;\n\nextern "C" {{\n\n')
        (options.output / f"{table.stem}.cpp").write_text(
            f"// Made from {table.name}; don't edit.\n{includes}{''.join(body)}}}\n")

    declared = set(declared_names(options.header))
    faults += [f"{symbols[name]}: {name} isn't declared in {options.header.name}"
               for name in sorted(symbols.keys() - declared)]
    faults += [f"{options.header.name}: {name} stands in no table" for name in sorted(declared - symbols.keys())]
    if faults:
        sys.exit("\n".join(faults))
    listed = "".join(f'    "{name}";\n' for name in sorted(symbols))
    (options.output / "exports.map").write_text(f"{{\n  global:\n{listed}  local:\n    *;\n}};\n")


if __name__ == "__main__":
    main()
