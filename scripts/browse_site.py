#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests the documentation site in Chromium: browse_site.py html pictures

Every page must load without an error in the console. In light and dark colours, and as wide as a phone, pages must not
overflow, and their texts must have the contrast that WCAG 2.1 asks for (4.5, or 3 for large letters). The search must
lead to a reference, and back to its field, by the keyboard alone. Screenshots are written to the directory of pictures.
Speaks the WebDriver protocol with chromedriver.
"""

import base64
import json
import pathlib
import subprocess
import sys
import time
import urllib.request

SITE, PICTURES = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
# The pages' names depend on the version of Doxygen.
TASKS = next(path.stem for path in SITE.glob("md_docs_*tasks.html") if "decisions" not in path.stem)
SAMPLES = ("index", TASKS, TASKS.replace("tasks", "components"), "classTessaly_1_1OwnedTasks", "annotated")
ENTER, UP, DOWN, TAB, ESCAPE = "\ue007", "\ue013", "\ue015", "\ue004", "\ue00c"

POOR_CONTRAST = """
const part = value => (value /= 255) <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
const light = color => 0.2126 * part(color[0]) + 0.7152 * part(color[1]) + 0.0722 * part(color[2]);
const numbers = text => text.match(/[\\d.]+/g).map(Number);
const paper = element => {
  for (; element; element = element.parentElement) {
    const color = numbers(getComputedStyle(element).backgroundColor);
    if (color.length < 4 || color[3] > 0.5) return color;
  }
  return matchMedia('(prefers-color-scheme: dark)').matches ? [0, 0, 0] : [255, 255, 255];
};
const poor = new Set();
const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
while (texts.nextNode()) {
  const element = texts.currentNode.parentElement;
  if (!texts.currentNode.data.trim() || !element.checkVisibility({checkVisibilityCSS: true})) continue;
  if (['SCRIPT', 'STYLE', 'NOSCRIPT'].includes(element.tagName)) continue;
  const style = getComputedStyle(element);
  const [a, b] = [light(numbers(style.color)), light(paper(element))];
  const ratio = (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  const size = parseFloat(style.fontSize);
  if (ratio < (size >= 24 || (size >= 18.6 && style.fontWeight >= 700) ? 3 : 4.5)) {
    poor.add(`${element.tagName}.${element.className} ${ratio.toFixed(1)}: ${texts.currentNode.data.trim().slice(0, 30)}`);
  }
}
return [...poor];
"""


class Browser:
    """A Chromium without a window, and its log."""

    def __init__(self, width, *flags):
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, text=True)
        line = next(line for line in self.driver.stdout if "successfully on port" in line)
        self.root = f"http://127.0.0.1:{line.strip().rstrip('.').split()[-1]}/session"
        arguments = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                     f"--window-size={width},900", *flags]
        wanted = {"goog:loggingPrefs": {"browser": "ALL"}, "goog:chromeOptions": {"args": arguments}}
        self.root += "/" + self.call("POST", "", {"capabilities": {"alwaysMatch": wanted}})["sessionId"]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.call("DELETE", "")
        self.driver.terminate()
        self.driver.wait()

    def call(self, method, path, body=None):
        request = urllib.request.Request(self.root + path, method=method, headers={"Content-Type": "application/json"},
                                         data=None if body is None else json.dumps(body).encode())
        with urllib.request.urlopen(request) as answer:
            return json.load(answer)["value"]

    def open(self, page):
        self.call("POST", "/url", {"url": (SITE / f"{page}.html").as_uri()})

    def run(self, script):
        return self.call("POST", "/execute/sync", {"script": script, "args": []})

    def press(self, keys):
        actions = [{"type": kind, "value": key} for key in keys for kind in ("keyDown", "keyUp")]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def errors(self):
        return [entry["message"] for entry in self.call("POST", "/se/log", {"type": "browser"})
                if entry["level"] in ("SEVERE", "WARNING")]

    def take_picture(self, name):
        (PICTURES / f"{name}.png").write_bytes(base64.b64decode(self.call("GET", "/screenshot")))


def check_every_page(browser):
    for path in sorted(SITE.glob("*.html")):
        browser.open(path.stem)
        for error in browser.errors():
            yield f"{path.name}: {error}"


def check_looks(browser, name):
    for page in SAMPLES:
        browser.open(page)
        browser.take_picture(f"{name}-{page}")
        excess = browser.run("return document.documentElement.scrollWidth - document.documentElement.clientWidth")
        if excess > 0:
            yield f"{page} ({name}) is {excess} pixels too wide"
        for text in browser.run(POOR_CONTRAST):
            yield f"{page} ({name}) has a poor contrast: {text}"


def search(browser, *keys):
    """Presses keys in the results of a search for OwnedTasks."""
    browser.open(TASKS)
    browser.run("document.getElementById('MSearchField').focus()")
    browser.press("OwnedTasks")
    time.sleep(1)
    browser.take_picture("search")
    browser.press(DOWN)
    time.sleep(1)
    browser.call("POST", "/frame", {"id": browser.run("return document.activeElement")})  # That of the results.
    for key in keys:
        browser.press(key)
        time.sleep(1)
    browser.call("POST", "/frame", {"id": None})


def check_search(browser):
    search(browser, UP)
    if not browser.run("return document.activeElement.id == 'MSearchField'"):
        yield "no key leads from the first result to the search field"
    search(browser, ESCAPE)
    if browser.run("return document.getElementById('MSearchResultsWindow').checkVisibility()"):
        yield "Escape does not close the results"
    search(browser, ENTER, DOWN, ENTER)  # The result opens, its first place is chosen.
    title = browser.run("return document.title")
    if "OwnedTasks Class Reference" not in title:
        yield f"the search for OwnedTasks led to {title!r}"
    for error in browser.errors():
        yield f"search: {error}"


def check_keyboard(browser):
    browser.open(TASKS)
    browser.press(TAB)
    if not browser.run("return document.activeElement.matches('a, input') && "
                       "getComputedStyle(document.activeElement).outlineStyle != 'none'"):
        yield "the tabulator shows no focus"


def main():
    PICTURES.mkdir(parents=True, exist_ok=True)
    complaints = []
    with Browser(1200) as browser:
        complaints += [*check_looks(browser, "light"), *check_search(browser), *check_keyboard(browser),
                       *check_every_page(browser)]
    with Browser(1200, "--force-dark-mode") as browser:
        complaints += check_looks(browser, "dark")
    with Browser(500, "--force-dark-mode") as browser:
        complaints += check_looks(browser, "phone")
    print("\n".join(complaints) if complaints else f"Chromium found no fault. Its pictures are in {PICTURES.name}/.")
    sys.exit(1 if complaints else 0)


main()
