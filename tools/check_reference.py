#!/usr/bin/env python3
"""Checks that the rendered reference shows what the comments and documents say.

    tools/check_reference.py build/docs/html

Doxygen takes some marks for others without a warning: a single quote ends a code span that has not
two backquotes, a percent sign before a name goes, and two asterisks before a code span stay what
they are. The sources are ASCII, so a typographic quote on a page is such a mistake, as is a mark of
Markdown that is left over. And each code span of the class has to be on its page.
"""

import html.parser
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# What no text outside of code holds unless a mark was misread.
LEFT_OVER = re.compile("\\*\\*|`|[\N{LEFT SINGLE QUOTATION MARK}-\N{DOUBLE HIGH-REVERSED-9 QUOTATION MARK}]")


class Page(html.parser.HTMLParser):
    """The running text of a page, its code left out, and its code spans."""

    SKIPPED = {"code", "pre", "script", "style", "title"}

    def __init__(self, path):
        super().__init__()
        self.text = ""
        self.spans = set()
        self._skipping = []
        self._span = None
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        if tag in self.SKIPPED or ("class", "fragment") in attributes:
            self._skipping.append(tag)
            self._span = "" if tag == "code" else None
        elif self._skipping and tag == self._skipping[-1]:
            self._skipping.append(tag)

    def handle_endtag(self, tag):
        if not self._skipping or tag != self._skipping[-1]:
            return
        self._skipping.pop()
        if tag == "code" and self._span is not None:
            self.spans.add(" ".join(self._span.split()))
            self._span = None

    def handle_data(self, data):
        if self._span is not None:
            self._span += data
        if not self._skipping:
            self.text += data


def code_spans(header):
    """The code spans in the doc comments of a header; two backquotes enclose what holds a quote."""
    comments = [line.strip()[3:] for line in header.splitlines() if line.strip().startswith("///")]
    spans = re.findall(r"(`+)(.+?)\1(?!`)", "\n".join(comments), re.DOTALL)
    return {" ".join(span.split()) for _, span in spans}


def misread(pages):
    for path, page in pages.items():
        for match in LEFT_OVER.finditer(page.text):
            around = page.text[max(0, match.start() - 40) : match.end() + 40]
            yield f"{path.name}: {match.group()!r} in {' '.join(around.split())!r}"


def missing(pages):
    header = (ROOT / "core/StringBuffer.h").read_text(encoding="ascii")
    spans = next(page.spans for path, page in pages.items() if path.name == "classStringBuffer.html")
    for span in sorted(code_spans(header) - spans):
        yield f"classStringBuffer.html: the code span {span!r} is missing"


def main():
    directory = pathlib.Path(sys.argv[1])
    pages = {path: Page(path) for path in sorted(directory.glob("*.html"))}
    errors = [*misread(pages), *missing(pages)]
    for error in errors:
        print(error, file=sys.stderr)
    print(f"{len(pages)} pages, {len(errors)} errors")
    return 1 if errors or not pages else 0


if __name__ == "__main__":
    sys.exit(main())
