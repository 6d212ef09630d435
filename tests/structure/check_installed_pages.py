#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Whether the pages of the package lead to files of the package: check_installed_pages.py root

debian/libtessaly-doc.docs and .examples name what the package has. Both are installed in one directory, so a relative
link of a page is right if its target is among them.
"""

import tree


def installed(root):
    """The entries of both lists, as paths in the tree. A directory stands for all below it. A build makes the site."""
    entries = [entry for kind in ("docs", "examples") for entry in tree.read(root / f"debian/libtessaly-doc.{kind}").split()]
    return [root / entry for entry in entries if not entry.startswith("build/")]


def pages(entry):
    return sorted(entry.rglob("*.md")) if entry.is_dir() else [entry] * (entry.suffix == ".md")


def check(root):
    root = root.resolve()
    entries = installed(root)
    complaints = [f"{entry.relative_to(root)} is to be installed, but does not exist"
                  for entry in entries if not entry.exists()]
    for page in (page for entry in entries if entry.exists() for page in pages(entry)):
        complaints += [f"{page.relative_to(root)} links {target.relative_to(root)}, which libtessaly-doc does not have"
                       for target in tree.links(page)
                       if not any(target.is_relative_to(entry) for entry in entries)]
    for helper in ("dh_installdocs", "dh_installexamples"):
        if f"{helper} -plibtessaly-doc --doc-main-package=libtessaly-doc" not in tree.read(root / "debian/rules"):
            complaints.append(f"debian/rules runs {helper} for another directory than that of libtessaly-doc")
    return complaints


def self_test():
    rules = ("\tdh_installdocs -plibtessaly-doc --doc-main-package=libtessaly-doc\n"
             "\tdh_installexamples -plibtessaly-doc --doc-main-package=libtessaly-doc\n")
    right = {"README.md": "[All](docs/README.md), [Tour](examples/tour), [C](https://c.org)\n",
             "docs/README.md": "[Read](../README.md)\n", "examples/tour/main.cpp": "", "LICENSE": "", "debian/rules": rules,
             "debian/libtessaly-doc.docs": "README.md\ndocs\nbuild/docs/html\n",
             "debian/libtessaly-doc.examples": "examples/tour\n"}
    with tree.small_tree(right) as root:
        tree.expect(check(root))
    for name, text, complaint in (
            ("docs/a.md", "[Licence](../LICENSE)\n", "docs/a.md links LICENSE, which libtessaly-doc does not have"),
            ("docs/a.md", "[Other](../examples/other)\n", "docs/a.md links examples/other, which"),
            ("debian/libtessaly-doc.docs", "README.md\ndocs\nSECURITY.md\n", "SECURITY.md is to be installed, but"),
            ("debian/rules", rules.splitlines()[0], "debian/rules runs dh_installexamples for another directory")):
        with tree.small_tree(right | {name: text}) as root:
            tree.expect(check(root), complaint)


tree.main(check, self_test)
