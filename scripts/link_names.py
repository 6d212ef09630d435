#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Finishes the documentation site that Doxygen made: link_names.py html tagfile

Links each name in code type on a page to its reference, and mends the links that Doxygen cannot translate. The search
results get the site's colours, and can be left without a server. Then each link must lead to a page and an anchor that
exist; otherwise the broken links are printed, and the exit status is 1.
"""

import html
import pathlib
import re
import shutil
import sys
import urllib.parse
import xml.etree.ElementTree

SITE, TAGS = map(pathlib.Path, sys.argv[1:3])
ROOT = pathlib.Path(__file__).resolve().parent.parent
CODE = re.compile(r"<code>([^<]*)</code>")
LINK = re.compile(r'<a\b[^>]*\bhref="([^"]+)"[^>]*>(.*?)</a>', re.DOTALL)
HEADING = re.compile(r'<h\d><a class="anchor" id="([^"]+)"></a>\s*(.*?)</h\d>', re.DOTALL)
NAME = re.compile(r"(?:Tessaly::)?([A-Za-z_][\w:]*?)(?:<.*>)?(?:\(.*\))?")


def read(path):
    return path.read_text(encoding="utf-8")


def references():
    """The places of types, of concepts and of functions of a namespace. A member is found by `Type::member`."""
    found = {}
    for compound in xml.etree.ElementTree.parse(TAGS).getroot():
        kind, scope = compound.get("kind"), compound.findtext("name", "").removeprefix("Tessaly").removeprefix("::")
        if kind not in ("class", "struct", "concept", "namespace"):
            continue
        if kind != "namespace":
            found[scope] = compound.findtext("filename").removesuffix(".html") + ".html"
        for member in compound.findall("member"):
            name = f"{scope}::{member.findtext('name')}".removeprefix("::")
            found.setdefault(name, f"{member.findtext('anchorfile')}#{member.findtext('anchor')}")
    return found


def anchors():
    return {path.name: set(re.findall(r'\b(?:id|name)="([^"]+)"', read(path))) for path in SITE.glob("*.html")}


def link_names(text, found):
    def linked(match):
        name = NAME.fullmatch(html.unescape(match.group(1)))
        place = found.get(name.group(1)) if name else None
        return f'<a class="el" href="{place}">{match.group()}</a>' if place else match.group()

    parts = re.split(r"(<a\b.*?</a>)", text, flags=re.DOTALL)  # Code inside a link stays as it is.
    parts[::2] = [CODE.sub(linked, part) for part in parts[::2]]
    return "".join(parts)


def page_of(text):
    """The page that Doxygen made of a text such as `first-hour.md`. Its versions write names differently."""
    name = pathlib.PurePath(text).stem
    ends = f"_{name.replace('-', '_')}.html", f"_2{name}.html"
    pages = [path.name for path in SITE.glob("md_*.html") if path.name.endswith(ends)]
    return min(pages, key=len, default=text)


def heading(page, fragment):
    """The anchor of a heading by its words, as in `texts.md#reading-what-people-write`."""
    for anchor, title in HEADING.findall(read(SITE / page) if (SITE / page).exists() else ""):
        words = re.sub(r"[^\w\s-]", "", html.unescape(re.sub(r"<[^>]*>", "", title))).strip().lower()
        if re.sub(r"\s", "-", words) == fragment:
            return anchor
    return fragment


def mend_links(page, text, known):
    """Doxygen cannot link a heading of another page, nor friends without a comment, nor files that are not in the site."""
    def mended(match):
        parts = urllib.parse.urlsplit(html.unescape(match.group(1)))
        if parts.scheme or parts.netloc or (SITE / parts.path).is_file() and not parts.fragment:
            return match.group()
        target = parts.path or page
        if target.endswith(".md"):
            target = page_of(target)
            return match.group().replace(match.group(1), f"{target}#{heading(target, parts.fragment)}")
        if not (SITE / target).exists() and ((ROOT / target).exists() or (ROOT / "docs" / target).exists()):
            return match.group(2)
        if parts.fragment not in known.get(target, ()) and not page.startswith("md_"):
            return match.group().replace(match.group(1), target)
        return match.group()

    return LINK.sub(mended, text)


def take_pictures(text):
    """Copies the pictures of a page into the site."""
    def taken(match):
        for source in (ROOT / match.group(2), ROOT / "docs" / match.group(2)):
            if source.is_file():
                shutil.copy(source, SITE)
                return match.group(1) + source.name
        return match.group()

    return re.sub(r'(<img\b[^>]*\bsrc=")([^"]+)', taken, text)


def let_results_close():
    """Without a server, the frame of the results may not reach into its page. So it sends the page messages. Gives what
    still reaches into the page.
    """
    path = SITE / "search/search.js"
    text = read(path)
    text = text.replace('parent.document.getElementById("MSearchField").focus()', 'parent.postMessage("focus", "*")')
    text = text.replace("parent.searchBox.CloseResultsWindow()", 'parent.postMessage("close", "*")')
    path.write_text(text + """
window.addEventListener('message', event => {
  if (event.data == 'focus') document.getElementById('MSearchField').focus();
  if (event.data == 'close') searchBox.CloseResultsWindow();
});
""", encoding="utf-8")
    for place in re.findall(r"parent\.(?!postMessage)\w+", text):
        yield f"search/search.js reaches into the page by {place}"


def broken_links(known):
    for page in sorted(known):
        if re.search(r'@ref ["/]', read(SITE / page)):
            yield f"{page} shows a link as text"
        for link in sorted(set(re.findall(r'\b(?:href|src)="([^"]+)"', read(SITE / page)))):
            parts = urllib.parse.urlsplit(html.unescape(link))
            target = parts.path or page
            if parts.scheme or parts.netloc:
                continue
            if not (SITE / target).exists():
                yield f"{page} links {link}, which does not exist"
            elif parts.fragment and target in known and parts.fragment not in known[target]:
                yield f"{page} links {link}, which has no such anchor"


def main():
    found, known = references(), anchors()
    for page in known:
        path = SITE / page
        text = mend_links(page, read(path), known)
        if page.startswith(("md_", "index.")):
            text = take_pictures(link_names(text, found))
        path.write_text(text, encoding="utf-8")
    style = SITE / "search/search.css"
    style.write_text(read(style) + read(SITE / "site.css"), encoding="utf-8")
    complaints = [*let_results_close(), *broken_links(known)]
    if complaints:
        print("\n".join(complaints))
        sys.exit(1)


main()
