#!/usr/bin/env python3
"""Writes the list of deliberate rules in docs/architecture.md, and checks what the pages say.

The rules are read from the doc comments (`///`) of the public headers. A rule is the sentence that
"Deliberate:" begins; where a list follows the word, each of its items is one. A rule in the comment
above a group of members holds for all of them. In the document the list stands between two markers,
in the order of the headers and under the titles of their groups.

Usage:
  tools/list_deliberate_rules.py            prints the list
  tools/list_deliberate_rules.py --write    puts it into docs/architecture.md
  tools/list_deliberate_rules.py --check    fails when the list there is not up to date, or a member
                                            that docs/surprises.md names has no rule or has no
                                            item in SECURITY.md
"""

import argparse
import collections
import dataclasses
import pathlib
import re
import sys
import textwrap

CORE = "core/StringBuffer.h"
SUPPORT = "support"
DOCUMENT = "docs/architecture.md"
BEGIN = "<!-- The rules: written by tools/list_deliberate_rules.py from the headers. -->\n"
END = "<!-- The end of the rules. -->\n"
PAGE = "docs/surprises.md"
SECURITY = "SECURITY.md"

COMMENT = re.compile(r"(?P<doc>(?:^ *///.*\n)+)(?P<declaration>(?:(?!\n *///)[^;{])*)",
                     re.MULTILINE)
WORD = re.compile(r'(?<!")\b[Dd]eliberate:')
SENTENCE_END = re.compile(r'"[^"]*"|`[^`]*`|(?P<stop>\.(?=\s|$))')
COLUMNS = 100


@dataclasses.dataclass
class Comment:
    """A doc comment; `name` and `types` are those of what it documents, "" for a whole group."""

    section: str
    name: str
    types: list
    lines: list

    def key(self):
        return f"{self.name}({', '.join(self.types)})"


# ---- Reading the headers ----


def name_and_types(declaration):
    """What a declaration names, and the types of its parameters; None when it is no function."""
    if function := re.search(r"(operator[^\s(]+|~?\w+)\(([^()]*)\)", declaration):
        parameters = [p for p in function[2].split(",") if p.strip()]
        return function[1], [re.sub(r"(?<=[\s*&])\w+$", "", p.strip()).strip() for p in parameters]
    if variable := re.search(r"(\w+)(?:\[\w*\])*(?: [:=].*)?$", declaration):
        return variable[1], None
    sys.exit(f"a declaration in an unknown form: {declaration}")


def read_header(text, section, qualified):
    """The doc comments of a header; members are named with their class if asked for."""
    owner = ""
    for match in COMMENT.finditer(text):
        lines = [line.strip() for line in match["doc"].splitlines()]
        declaration = " ".join(match["declaration"].split())
        if group := re.search(r"@name (.*) \(.*\)", match["doc"]):
            section = group[1]
            yield Comment(section, "", None, lines[:-1])
        elif opened := re.match(r"class (\w+)", declaration):
            owner = f"{opened[1]}::" if qualified else ""
            yield Comment(section, opened[1], None, lines)
        elif declaration:
            name, types = name_and_types(declaration)
            is_member = match["declaration"].startswith("  ")
            yield Comment(section, (owner if is_member else "") + name, types, lines)


def read_comments(root):
    comments = list(read_header((root / CORE).read_text(), "Every member", False))
    for header in sorted((root / SUPPORT).glob("*.h")):
        comments += read_header(header.read_text(), "Support", True)
    return comments


# ---- Rules ----


def units(lines):
    """The paragraphs and list items of a comment, in order; items keep their "- "."""
    unit = []
    for line in [*(raw.removeprefix("///").strip() for raw in lines), ""]:
        if unit and (not line or line.startswith("- ")):
            yield " ".join(unit)
            unit = []
        if line:
            unit.append(line)


def first_sentence(text):
    for match in SENTENCE_END.finditer(text):
        if match["stop"]:
            return text[:match.start()]
    sys.exit(f"a rule without an end: {text}")


def rules_of(lines):
    in_list = False
    for unit in units(lines):
        if in_list and unit.startswith("- "):
            yield unit.removeprefix("- ").rstrip(".")
            continue
        in_list = False
        for match in WORD.finditer(unit):
            rest = unit[match.end():].strip()
            in_list = not rest
            if rest:
                yield first_sentence(rest)


def with_rules(comments):
    """The comments that hold rules, each with its rules."""
    found = [(comment, list(rules_of(comment.lines))) for comment in comments]
    return [entry for entry in found if entry[1]]


# ---- The list ----


def count_uses(comments):
    return collections.Counter(comment.name for comment in comments)


def subject(comment, uses):
    if not comment.name:
        return "All of them"
    if comment.types is None:
        return f"`{comment.name}`"
    return f"`{comment.key()}`" if uses[comment.name] > 1 else f"`{comment.name}()`"


def as_code(match):
    """A code span; doxygen ends one at a single quote unless two backquotes enclose it."""
    mark = "``" if "'" in match[0] else "`"
    return mark + match[0] + mark


def in_markdown(text):
    """Names of functions, and quoted texts that markdown would change, become code."""
    parts = re.split(r"(`[^`]*`)", text)
    for i in range(0, len(parts), 2):
        parts[i] = re.sub(r'"([^"]*[&<>*_\\\[][^"]*)"', r'`"\1"`', parts[i])
        parts[i] = re.sub(r"(?<![\w`:])(\w+\([^()\s]*\))", as_code, parts[i])
    return "".join(parts)


def in_one_sentence_each(rules):
    """The rules as sentences, the first of which follows a colon."""
    first = re.sub(r"^[A-Z](?=[a-z]* )", lambda match: match[0].lower(), rules[0])
    later = [re.sub(r"^[a-z](?=[a-z]* )", lambda match: match[0].upper(), r) for r in rules[1:]]
    return ". ".join([first, *later])


def bullet(comment, rules, uses):
    text = in_one_sentence_each(rules)
    return textwrap.fill(f"- {subject(comment, uses)}: {in_markdown(text)}.", COLUMNS,
                         subsequent_indent="  ", break_long_words=False, break_on_hyphens=False)


def rule_list(rules, uses):
    lines, section = [], None
    for comment, texts in rules:
        if comment.section != section:
            section = comment.section
            lines += ["", section, ""]
        lines.append(bullet(comment, texts, uses))
    return "\n".join(lines) + "\n\n"


def split_document(root):
    text = (root / DOCUMENT).read_text()
    if text.count(BEGIN) != 1 or text.count(END) != 1:
        sys.exit(f"{DOCUMENT}: not exactly one pair of markers")
    head, rest = text.split(BEGIN)
    rules, tail = rest.split(END)
    return head + BEGIN, rules, END + tail


# ---- The check ----


def surprising_members(root):
    """The members that the page names below its headings."""
    for lines in re.findall(r"^Members: ((?:`[^`]*`\s+)+)", (root / PAGE).read_text(), re.MULTILINE):
        yield from re.findall(r"`[^`]*`", lines)


def dangerous_members(root):
    """The members that begin an item of a list in the document on security."""
    for names in re.findall(r"^- ((?:`[^`]*`,?\s*)+):", (root / SECURITY).read_text(), re.MULTILINE):
        yield from re.findall(r"`[^`]*`", names)


def complaints(root, comments):
    rules, uses = with_rules(comments), count_uses(comments)
    if split_document(root)[1] != rule_list(rules, uses):
        yield f"{DOCUMENT} is not up to date: tools/list_deliberate_rules.py --write"
    ruled = {subject(comment, uses) for comment, _ in rules}
    groups = {comment.section for comment, _ in rules if not comment.name}
    ruled |= {subject(comment, uses) for comment in comments if comment.section in groups}
    dangerous = set(dangerous_members(root))
    for member in surprising_members(root):
        if member not in ruled:
            yield f"{PAGE}: {member} has no rule in {CORE}"
        if member not in dangerous:
            yield f"{PAGE}: {member} has no item in {SECURITY}"


def check(root, comments):
    found = sorted(set(complaints(root, comments)))
    count = sum(len(texts) for _, texts in with_rules(comments))
    print("\n".join(found) or f"{count} deliberate rules, all listed")
    return 1 if found else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    modes = parser.add_mutually_exclusive_group()
    modes.add_argument("--write", action="store_true")
    modes.add_argument("--check", action="store_true")
    parser.add_argument("--root", type=pathlib.Path, help="the directory that holds core/",
                        default=pathlib.Path(__file__).resolve().parent.parent)
    arguments = parser.parse_args()
    comments = read_comments(arguments.root)
    if arguments.check:
        return check(arguments.root, comments)
    rules = rule_list(with_rules(comments), count_uses(comments))
    if arguments.write:
        head, _, tail = split_document(arguments.root)
        (arguments.root / DOCUMENT).write_text(head + rules + tail)
    else:
        sys.stdout.write(rules)
    return 0


if __name__ == "__main__":
    sys.exit(main())
