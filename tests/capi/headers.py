#!/usr/bin/env python3
"""Compares the public headers with the list of operations: declarations, and what comments say about them.

A comment in front of a declaration applies to it and to the declarations that follow without one; the first
comment of a header applies to all of it. A parameter is explained by an entry, a line that begins with its
name, alone or with others, and goes on behind two spaces:

   MaskAdr, ReadAdr  in, 2 bytes: ...

or by a sentence that says "... MaskAdr ... are those of tagwire/OTHER.h", where the first comment of the other
header has the entry. Pointers tell their direction, and pointers to bytes how many there are. Results are
entries with a number for a name, "else" for the reader's own status, or numbers in a paragraph that speaks of
results. A comment with such entries speaks for itself; otherwise the results of the header count, and those of
another one with "results ... are those of tagwire/OTHER.h".

Usage: headers.py SOURCE_DIRECTORY
"""

import functools
import pathlib
import re
import sys

EXPORTS = 243
ENTRY = re.compile(r"^ \*\s+((?:\w+, )*\w+)  +(\S.*)$")
REFERENCE = re.compile(r"([^.]*?)\b(?:are|is) those of tagwire/(\w+\.h)")

# What a call can return, by the kind that calls.h gives it; "else" is the status of the reader.
RESULTS = {
    "ANSWER": {0, 48, 49, 51, 55, 238, "else"},
    "PICKED": {0, 48, 49, 51, 55, 238, "else"},
    "INVENTORY": {1, 2, 48, 51, 55, "else"},
    "SWITCHING": {0, 48, 51, 55, 238, "else"},
    "TEMPERATURE": {1, 2, 48, 51, 55, "else"},
    "COUNT": {0, 48, 49, 51, 55, 238, "else"},
    "BUFFER": {1, 48, 51, 55, 254},
    "RECORDS": {0, 48, 51, 55},
    "MEMORY": {1, 48, 51, 55, 176, "else"},
    "SCAN": {0, 48, 51, 55, "else"},
    "TABLE": {0, 48, 51, 55},
    "MODULE": {0, 48, 49, 51, 55, 238, "else"},
    "RAW": {0, 51, 55, 251},
    "SEND": {0, 48, 51, 55},
    "OPEN": {0, 48, 51},
    "CLOSE": {0, 48, 51, 55},
}
# The results of calls that are no operations, or unlike their kind's.
OWN_RESULTS = {
    "SingleTagInventory_G2": {1, 48, 49, 51, 55, 238, "else"},
    "OpenComPort": {0, 48, 51, 57, 249, "else"},
    "AutoOpenComPort": {0, 48},
    "CloseComPort": {0},
    "InitRFIDCallBack": set(),
    "CheckSense": {0, 1},
    "GetTemperature": set(),
    "StopRead": {0, 48, 49, 55, 238, "else"},
}
# These have arguments out of range, and so has every call that names one tag.
RANGED = {"InventoryExtMix_G2", "SetAntennaPower", "GetCustomRegion", "Find_epc_list_cfg"}
ANY_LENGTH = {"WriteEPC_G2", "GetBxTagTemperature"}
# The operation calls the ID of the tag by another name.
RENAMED = {("BlockErase_GB", "EPC"): "TagID"}


def split_parameters(text):
    out = []
    for parameter in filter(None, (part.strip() for part in text.split(","))):
        kind, name = re.fullmatch(r"(.*?[\s*])(\w+)", parameter).groups()
        kind = re.sub(r"\s+", " ", kind.replace("unsigned char", "u8")).replace(" *", "*").strip()
        out.append((kind, name))
    return out


def operations(source):
    """The exported ones: name to result type and parameters, handle included."""
    text = (source / "src/reader/operations.def").read_text()
    out = {}
    for exported, result, name, parameters in re.findall(
            r"^TAGWIRE_OPERATION\((\w+),\s*(\w+),\s*(\w+)(?:,\s*([^)]*))?\)", text, re.MULTILINE):
        if exported == "INTERNAL":
            continue
        wanted = [(kind, RENAMED.get((name, parameter), parameter))
                  for kind, parameter in split_parameters(parameters or "")]
        out[name] = (result, wanted + [("int", "FrmHandle")])
    return out


class Header:
    def __init__(self, path):
        self.name = path.name
        text = path.read_text()
        comments = r"/\*.*?\*/"
        declaration = r"^TAGWIRE_API\s+(\w+)\s+(\w+)\s*\(([^;]*)\);"
        self.first = re.search(comments, text, re.DOTALL).group()
        self.calls = []  # name, result type, parameters, the comment in front
        comment = ""
        for found in re.finditer(f"(?P<comment>{comments})|{declaration}", text, re.DOTALL | re.MULTILINE):
            if found["comment"]:
                comment = found["comment"]
                continue
            parameters = "" if found[4] == "void" else found[4]
            self.calls.append((found[3], found[2], split_parameters(parameters), comment))


@functools.cache
def entries(comment):
    """Name to text; lines without an entry belong to the one in front of them."""
    out = {}
    names = []
    for line in comment.splitlines():
        found = ENTRY.match(line)
        if found:
            names = found[1].split(", ")
            for name in names:
                out[name] = found[2]
        elif not line.strip(" */"):
            names = []
        else:
            for name in names:
                out[name] += " " + line.strip(" */")
    return out


@functools.cache
def references(comment):
    """Pairs of the words in front of a reference and the name of the header referred to."""
    text = re.sub(r"\s+\*?\s*", " ", comment)
    return [(set(re.findall(r"\w+", words)), other) for words, other in REFERENCE.findall(text)]


def referred(comment, headers):
    for words, other in references(comment):
        yield words, headers[other].first


def explanation(name, comments, headers):
    for comment in comments:
        if name in entries(comment):
            return entries(comment)[name]
        for words, other in referred(comment, headers):
            if name in words and name in entries(other):
                return entries(other)[name]
    return None


def faults_of_parameter(kind, name, text):
    if text is None:
        return [f"no word about {name}"]
    out = []
    if kind.endswith("*") and not re.search(r"\b(in|out)\b", text):
        out.append(f"{name}: in or out?")
    if kind == "u8*" and not re.search(r"\bbytes?\b", text):
        out.append(f"{name}: how many bytes?")
    return out


@functools.cache
def results_listed(comment):
    names = entries(comment)
    return {int(name) for name in names if name.isdigit()} | ({"else"} if "else" in names else set())


@functools.cache
def results_in_prose(comment):
    out = set()
    for paragraph in re.split(r"\n \*\n", comment):
        if any(ENTRY.match(line) for line in paragraph.splitlines()):
            continue
        if not re.search(r"\b(Results?|result is|gives?|returns|Always|also when|255:)(?!\w)", paragraph):
            continue
        out |= {int(number) for number in re.findall(r"\b\d+\b", paragraph)}
        if "status" in paragraph:
            out.add("else")
    return out


def results_told(comment, header, headers):
    if len(results_listed(comment)) > 1:
        return results_listed(comment)
    out = results_in_prose(comment)
    first = [header.first] + [other for words, other in referred(header.first, headers) if "results" in words]
    for each in first:
        out = out | results_listed(each) | results_in_prose(each)
    return out


def results_wanted(name, parameters, kind, is_operation):
    if name in OWN_RESULTS:
        return OWN_RESULTS[name]
    if not is_operation:
        return RESULTS.get(kind, {0})
    names = {parameter for _, parameter in parameters}
    names_a_tag = ("ENum" in names and "EPC" in names) or "TNum" in names
    ranged = name in RANGED or (names_a_tag and name not in ANY_LENGTH)
    return RESULTS[kind or "ANSWER"] | ({255} if ranged else set())


def kinds(calls_header):
    out = {}
    kind = None
    listed = calls_header.split("Which call is of which kind:")[1].split(" ANSWER ")[0]
    for word in re.findall(r"\w+", listed):
        if word in RESULTS:
            kind = word
        else:
            out[word] = kind
    return out


def faults_of_call(call, header, headers, operation, kind):
    name, result, parameters, comment = call
    comments = [comment, header.first]
    shared = [headers["calls.h"].first]
    if operation and (result, parameters) != operation:
        yield f"declared otherwise than its operation: {parameters} for {operation[1]}"
    for parameter_kind, parameter in parameters:
        by_value = not parameter_kind.endswith("*")
        text = explanation(parameter, comments + (shared if by_value else []), headers)
        yield from faults_of_parameter(parameter_kind, parameter, text)
    missing = results_wanted(name, parameters, kind, operation is not None) - results_told(comment, header, headers)
    if missing:
        yield f"no word about results {sorted(missing, key=str)}"


def main():
    source = pathlib.Path(sys.argv[1])
    headers = {path.name: Header(path) for path in sorted((source / "include/tagwire").glob("*.h"))}
    wanted = operations(source)
    kind = kinds(headers["calls.h"].first)
    faults = []
    places = {}
    for header in headers.values():
        for call in header.calls:
            name = call[0]
            places.setdefault(name, []).append(header.name)
            for fault in faults_of_call(call, header, headers, wanted.get(name), kind.get(name)):
                faults.append(f"{header.name}: {name}: {fault}")
    faults += [f"{name} is declared in {len(where)} places" for name, where in places.items() if len(where) > 1]
    faults += [f"{name} is not declared" for name in wanted if name not in places]
    faults += [f"calls.h names {name}, which is no call" for name in kind if name not in places]
    if len(places) != EXPORTS:
        faults.append(f"{len(places)} calls are declared, not {EXPORTS}")

    print("\n".join(faults) or f"{len(places)} calls, every parameter and result explained")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
