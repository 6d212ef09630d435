#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Wraps the long lines of the documentation at 120 characters.

    scripts/wrap_pages.py            wraps every page
    scripts/wrap_pages.py page...    wraps these pages

Tables, code and pictures stay unchanged, and so do paragraphs without a long line. The text of a link stays in one line,
because Doxygen does not find its end in the next one.
"""

import pathlib
import re
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
LONGEST = 120
BULLET = re.compile(r"\s*(?:[-*]|\d+\.) ")
VERBATIM = re.compile(r"\||#|<!--|!\[")
TEXT_OF_LINK = re.compile(r"\[[^\[\]]*\](?=\()")


def wrapped(paragraph):
    """The lines of a paragraph or a list item, filled again if one of them is too long or ends inside a link."""
    if all(len(line) <= LONGEST for line in paragraph) and not any(
            "\n" in link for link in TEXT_OF_LINK.findall("\n".join(paragraph))):
        return paragraph
    bullet = BULLET.match(paragraph[0])
    indent = re.match(r"\s*", paragraph[0]).group()
    rest = " " * len(bullet.group()) if bullet else indent
    text = TEXT_OF_LINK.sub(lambda link: link.group().replace(" ", "\0"), " ".join(line.strip() for line in paragraph))
    lines = textwrap.wrap(text, LONGEST, initial_indent=indent, subsequent_indent=rest, break_long_words=False,
                          break_on_hyphens=False)
    return [line.replace("\0", " ") for line in lines]


def wrap(text):
    lines, paragraph, is_code = [], [], False
    for line in [*text.splitlines(), ""]:
        fence = line.startswith("```")
        is_code ^= fence
        ends = fence or is_code or not line.strip() or VERBATIM.match(line) or (line.startswith("    ") and not paragraph)
        if paragraph and (ends or BULLET.match(line)):
            lines += wrapped(paragraph)
            paragraph = []
        (lines if ends else paragraph).append(line)
    return "\n".join(lines[:-1]) + "\n"


def main():
    pages = map(pathlib.Path, sys.argv[1:]) if sys.argv[1:] else [*ROOT.glob("*.md"), *(ROOT / "docs").rglob("*.md")]
    for page in pages:
        page.write_text(wrap(page.read_text(encoding="utf-8")), encoding="utf-8")


if __name__ == "__main__":
    main()
