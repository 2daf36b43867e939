#!/usr/bin/env python3
"""Lists the public members of StringBuffer and _tsStringBuffer, and checks that none is forgotten.

The headers are read in the form that clang-format gives them: members stand at two spaces, behind
their doc comment, in groups that a comment `/// @name Title (text/File.cpp)` opens. A declaration
in another form stops the script. Deleted members are not listed.

Usage:
  tools/list_public_members.py               one line per member, columns separated by TABs:
                                             class, group, name, signature, qualifiers, doc
  tools/list_public_members.py --count       the number of members of each class
  tools/list_public_members.py --link-test   writes tests/link/EveryMember.cpp
  tools/list_public_members.py --check       fails when a member has no doc comment, no source file,
                                             no test or no row in the tests of all members, or when
                                             the link test is not up to date
"""

import argparse
import collections
import dataclasses
import pathlib
import re
import sys

CLASSES = {
    "StringBuffer": "core/StringBuffer.h",
    "_tsStringBuffer": "core/_tsStringBuffer.h",
}
DEFAULT_GROUP = {"StringBuffer": "", "_tsStringBuffer": "core/_tsStringBuffer.cpp"}
TABLE_CLASS = "StringBuffer"
TABLES = "EveryMember"  # the start of the file names, in tests/core and tests/harness
LINK_TEST = "tests/link/EveryMember.cpp"

DECLARATION = re.compile(
    r"(?P<template>template <class (?P<parameter>\w+)> )?"
    r"(?P<specifiers>(?:(?:static|virtual|explicit|constexpr) )*)"
    r"(?P<result>[\w:*& ]*?)"
    r"(?P<name>operator\S+?|~?\w+)"
    r"\((?P<parameters>[^()]*)\)"
    r"(?P<qualifiers>(?: (?:const|noexcept|override))*)$")


@dataclasses.dataclass
class Member:
    """A public member function; `types` are those of its parameters."""

    owner: str
    group: str
    source: str
    signature: str
    name: str
    result: str
    types: list
    is_template: bool
    qualifiers: list
    has_doc: bool
    is_overloaded: bool = False

    def key(self):
        return f"{self.name}({', '.join(self.types)})"

    def label(self):
        """How the tables of the tests name the member: with its types when it is overloaded."""
        return self.key() if self.is_overloaded else self.name

    def is_special(self):
        """Whether it is a constructor, the destructor or an operator."""
        return self.name.lstrip("~") == self.owner or self.name.startswith("operator")


# ---- Reading the headers ----


def class_body(text, name):
    match = re.search(rf"^class {name}\b[^;{{]*\{{\n(.*?)^\}};", text, re.MULTILINE | re.DOTALL)
    if match is None:
        sys.exit(f"no class {name}")
    return match.group(1).splitlines()


def is_complete(declaration):
    """Whether the braces are balanced and the last line ends the declaration."""
    return (declaration.count("{") == declaration.count("}")
            and declaration.endswith((";", "}")))


def parameter_type(parameter):
    match = re.fullmatch(r"(.*[\s*&])(\w+)", parameter.strip())
    if match is None:
        sys.exit(f"a parameter without a name: {parameter}")
    return match.group(1).strip()


def read_declaration(declaration, owner, group, has_doc):
    signature = re.sub(r";$| \{.*\}$", "", declaration)
    match = DECLARATION.fullmatch(signature)
    if match is None:
        sys.exit(f"a declaration in an unknown form: {declaration}")
    title, source = group
    parameters = [p for p in match["parameters"].split(",") if p]
    return Member(owner, title, source, signature, match["name"], match["result"].strip(),
                  [parameter_type(p) for p in parameters], match["template"] is not None,
                  (match["specifiers"] + match["qualifiers"]).split(), has_doc)


def read_class(text, owner):
    members = []
    group = ("", DEFAULT_GROUP[owner])
    is_public = has_doc = False
    declaration = ""
    for line in (raw.strip() for raw in class_body(text, owner)):
        if not declaration and re.fullmatch(r"(public|protected|private):", line):
            is_public = line == "public:"
        elif not is_public or not line:
            has_doc = has_doc and bool(line)
        elif opened := re.fullmatch(r"/// @name (.*) \((.*)\)", line):
            group = opened.groups()
        elif line.startswith("//"):
            has_doc = line.startswith("///") and not line.startswith("/// @")
        else:
            declaration = f"{declaration} {line.split('  // ')[0]}".strip()
            if is_complete(declaration):
                if not declaration.endswith("= delete;"):
                    members.append(read_declaration(declaration, owner, group, has_doc))
                declaration, has_doc = "", False
    return members


def read_members(root):
    members = []
    for owner, header in CLASSES.items():
        members += read_class((root / header).read_text(), owner)
    uses = collections.Counter((member.owner, member.name) for member in members)
    for member in members:
        member.is_overloaded = uses[member.owner, member.name] > 1
    return members


# ---- The link test ----

LINK_TEMPLATE = """\
// Generated by tools/list_public_members.py --link-test; do not edit.
//
// Takes the address of every public member, or uses it, so that the program only links when the
// shared library defines and exports them all.

#include <cstdio>

#include "core/StringBuffer.h"
#include "core/_tsStringBuffer.h"

// clang-format off

namespace {{

using Bytes = char[32];  // what the member templates are instantiated with

unsigned int g_count = 0;

void use(bool result) {{
  if (result) ++g_count;
}}

// Through a volatile, so that no compiler can do without the address.
template <class Pointer>
void keep(Pointer pointer) {{
  const volatile Pointer kept = pointer;
  use(kept != nullptr);
}}

{functions}
}}  // namespace

int main() {{
{calls}  std::printf("%u public members\\n", g_count);
  return g_count == {count} ? 0 : 1;
}}
"""


LINK_FUNCTIONS = {"StringBuffer": "useBuffer", "_tsStringBuffer": "useWrapper"}


def instantiated(member, text):
    """A type of a member template, its parameter being the alias of the link test."""
    if not member.is_template:
        return text
    return re.sub(r"\bSet\b", "Bytes", text)


def address_line(member):
    types = ", ".join(instantiated(member, t) for t in member.types)
    owner = "" if "static" in member.qualifiers else f"{member.owner}::"
    suffix = "".join(f" {q}" for q in ("const", "noexcept") if q in member.qualifiers)
    arguments = "<Bytes>" if member.is_template else ""
    return (f"keep(static_cast<{member.result} ({owner}*)({types}){suffix}>"
            f"(&{member.owner}::{member.name}{arguments}));")


CONSTRUCTOR_ARGUMENTS = {"()": "", "(const char*)": '("text")', "(const StringBuffer&)": "(buffer)",
                         "(StringBuffer&&)": "(static_cast<StringBuffer&&>(buffer))"}


def use_line(member):
    """A use of a member whose address cannot be taken or names no symbol."""
    if member.name.startswith("~"):
        return f"{{ {member.owner} gone; }} use(true);"
    if member.name == member.owner:
        arguments = CONSTRUCTOR_ARGUMENTS[member.key().removeprefix(member.owner)]
        return f"{{ {member.owner} made{arguments}; use(made.getSize() < 5); }}"
    return f"use(buffer.{member.owner}::{member.name}() == 0);"


def link_line(member):
    by_use = member.name.lstrip("~") == member.owner or \
        {"virtual", "override"} & set(member.qualifiers)
    return use_line(member) if by_use else address_line(member)


def link_test(members):
    functions, calls = [], []
    for owner in CLASSES:
        lines = [f"  {link_line(member)}\n" for member in members if member.owner == owner]
        function = LINK_FUNCTIONS[owner]
        functions.append(f"void {function}() {{\n  {owner} buffer;\n{''.join(lines)}}}\n")
        calls.append(f"  {function}();\n")
    return LINK_TEMPLATE.format(functions="\n".join(functions), calls="".join(calls),
                                count=len(members))


# ---- The check ----


def sources_under(directory):
    return sorted(p for p in directory.rglob("*") if p.suffix in (".h", ".cpp"))


def is_of_all_members(path):
    return path.name.startswith(TABLES)


def assigns(text, owner):
    """Whether a variable of the class is assigned to."""
    names = set(re.findall(rf"\b{owner}&? (\w+)", text))
    return any(re.search(rf"[;({{]\s*{name} = ", text) for name in names)


def called_names(text):
    """The names of all members that a text calls, or takes the address of."""
    return (set(re.findall(r"(?:\.|->|::)(\w+)\(", text))
            | set(re.findall(r"&\w+::(\w+)", text)))


def is_tested(member, texts, called):
    if member.name == "operator=":
        return any(assigns(text, member.owner) for text in texts)
    if member.is_special():
        use = re.compile(rf"\b{member.owner}(?: \w+)?[;({{]")
        return any(use.search(text) for text in texts)
    return member.name in called


def complaints_about(member, root, tests, called, tables, linked):
    if not member.has_doc:
        yield "has no doc comment"
    if not member.source or not (root / member.source).is_file():
        yield f"belongs to no source file: '{member.source}' does not exist"
    if not is_tested(member, tests, called):
        yield "is called in no test"
    if member.owner == TABLE_CLASS and f'{{"{member.label()}",' not in tables:
        yield f'has no row {{"{member.label()}", ...}} in tests/*/{TABLES}*'
    if link_line(member) not in linked:
        yield f"is missing in {LINK_TEST}"


def check(members, root):
    files = sources_under(root / "tests")
    tests = [p.read_text() for p in files if not is_of_all_members(p)]
    called = set().union(*map(called_names, tests))
    tables = "".join(p.read_text() for p in files if is_of_all_members(p))
    link_path = root / LINK_TEST
    linked = link_path.read_text() if link_path.is_file() else ""
    complaints = [f"{member.owner}::{member.key()} {complaint}" for member in members
                  for complaint in complaints_about(member, root, tests, called, tables, linked)]
    if linked != link_test(members):
        complaints.append(f"{LINK_TEST} is not up to date: "
                          f"tools/list_public_members.py --link-test > {LINK_TEST}")
    print("\n".join(complaints) or f"{len(members)} public members, all documented and tested")
    return 1 if complaints else 0


# ---- Output ----


def list_members(members):
    for member in members:
        print(member.owner, member.group, member.name, member.signature,
              ",".join(member.qualifiers) or "-", "doc" if member.has_doc else "no doc", sep="\t")


def count_members(members):
    for owner in CLASSES:
        print(owner, sum(member.owner == owner for member in members))


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    modes = parser.add_mutually_exclusive_group()
    for mode in ("count", "link-test", "check"):
        modes.add_argument(f"--{mode}", action="store_true")
    parser.add_argument("--root", type=pathlib.Path, help="the directory that holds core/",
                        default=pathlib.Path(__file__).resolve().parent.parent)
    arguments = parser.parse_args()
    members = read_members(arguments.root)
    if arguments.check:
        return check(members, arguments.root)
    if arguments.link_test:
        sys.stdout.write(link_test(members))
    elif arguments.count:
        count_members(members)
    else:
        list_members(members)
    return 0


if __name__ == "__main__":
    sys.exit(main())
