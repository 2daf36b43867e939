#!/usr/bin/env python3
"""Checks that includes go down only, and that families leave the storage to core.

The layers, from the bottom up:

  ground   support/, but for the types named in ABOVE_CORE: they know no StringBuffer
  core     core/
  above    the types of support/ named in ABOVE_CORE: they use StringBuffer
  text     text/

A file may include files of its own layer and of those below. Headers above core may be included by
text only. In text/ no field of StringBuffer and no private member is named: what the families use of
the storage is in core/internal/BufferAccess.h.

Usage:
  tools/check_layers.py          fails, and says where, if a rule is broken
  tools/check_layers.py --list   one line per file: its layer and its name
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
LAYERS = ["ground", "core", "above", "text"]

# Types of support/, and what they consist of, that are written on StringBuffer.
ABOVE_CORE = {
    "AppendExactly", "ContentCoding", "ContentOf", "EncodedWords", "ExtPtrArraySb", "FileSys",
    "LogText", "ParseEngine", "XString", "_clsEncode", "_dvHashMap", "_dvUrlEncode", "dvEnv",
}

INCLUDE = re.compile(r'^#include [<"]((?:support|core|text)/[^>"]+)[>"]', re.MULTILINE)
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/", re.DOTALL)
MEMBER = re.compile(r"^  (?:[\w:*&<> ]+[ *&])(\w+)\([^;{]*\)", re.MULTILINE)
FIELD = re.compile(r"^  [\w:*& ]+[ *&](m_\w+)(?:\[\w+\])?(?: = [^;]+)?;", re.MULTILINE)


def layer_of(name):
    top = name.split("/")[0]
    if top == "support":
        return "above" if pathlib.Path(name).stem in ABOVE_CORE else "ground"
    return top


def files():
    for folder in ("support", "core", "text"):
        for path in sorted((ROOT / folder).rglob("*")):
            if path.suffix in (".h", ".cpp"):
                yield path.relative_to(ROOT).as_posix(), path.read_text(encoding="ascii")


def wrong_includes():
    for name, text in files():
        for included in INCLUDE.findall(text):
            if LAYERS.index(layer_of(included)) > LAYERS.index(layer_of(name)):
                yield f"{name} ({layer_of(name)}) includes {included} ({layer_of(included)})"


def private_names():
    """The fields and the private members of StringBuffer that no public member shares a name with."""
    header = COMMENT.sub("", (ROOT / "core/StringBuffer.h").read_text(encoding="ascii"))
    public, private = header.split("\n private:\n", 1)
    private = private.split("\n};\n", 1)[0]
    fields = set(FIELD.findall(private))
    members = set(MEMBER.findall(private)) - {"static_assert"} - set(re.findall(r"\b(\w+)\(", public))
    if len(fields) < 9 or "makeRoom" not in members:
        sys.exit("tools/check_layers.py: core/StringBuffer.h does not read as expected")
    return fields, members


def wrong_names():
    fields, members = private_names()
    # A member of another object, or of a namespace, may have any name, and so may a variable.
    call = re.compile(r"(?<![\w.:>*&] )(?<![\w.:>])(?:(?<=return )|(?<=else )|(?<=this->))?("
                      + "|".join(sorted(members)) + r")\(|\b(?:return|else) ("
                      + "|".join(sorted(members)) + r")\(")
    field = re.compile(r"\b(" + "|".join(sorted(fields)) + r")\b")
    for name, text in files():
        if not name.startswith("text/"):
            continue
        owns_fields = set(FIELD.findall(COMMENT.sub("", text)))
        for number, line in enumerate(COMMENT.sub("", text).split("\n"), 1):
            for found in field.findall(line):
                if found not in owns_fields:
                    yield f"{name}: names the field {found}: {line.strip()}"
            if name.endswith(".cpp"):
                for found in map("".join, call.findall(line)):
                    yield f"{name}: calls the private member {found}(): {line.strip()}"


def main():
    if sys.argv[1:] == ["--list"]:
        for name, _ in files():
            print(layer_of(name), name)
        return
    if sys.argv[1:]:
        sys.exit(__doc__)
    problems = list(wrong_includes()) + list(wrong_names())
    for problem in problems:
        print(problem)
    if problems:
        sys.exit(1)


if __name__ == "__main__":
    main()
