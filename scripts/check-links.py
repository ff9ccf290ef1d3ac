#!/usr/bin/env python3
"""Follows every link of a built site, in its folder: those that lead nowhere, or need the network to show a page, are
named, and make it fail."""

import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

# Doxygen's list of private classes, which it leaves out but for the link.
LEFT_OUT = {"nested-classes"}


class Page(HTMLParser):
    """The places of a page, and what it links to or loads."""

    def __init__(self, path):
        super().__init__()
        self.anchors, self.links, self.loads = set(), set(), set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        self.anchors.update(values[key] for key in ("id", "name") if values.get(key))
        if tag == "a" and values.get("href"):
            self.links.add(values["href"])
        if tag in ("img", "script", "iframe", "source") and values.get("src"):
            self.loads.add(values["src"])
        if tag == "link" and values.get("rel") == "stylesheet":
            self.loads.add(values["href"])


def main(folder):
    site = Path(folder).resolve()
    pages = {path: Page(path) for path in site.rglob("*.html")}
    faults = []
    for path, page in sorted(pages.items()):
        where = path.relative_to(site)
        faults += [f"{where}: loads {url}" for url in page.loads if urlsplit(url).netloc]
        for url in page.links | page.loads:
            parts = urlsplit(url)
            if parts.scheme or parts.netloc:
                continue
            target = (path.parent / unquote(parts.path)).resolve() if parts.path else path
            if target.is_dir():
                target /= "index.html"
            if not target.exists():
                faults.append(f"{where}: {url} is not there")
            elif target in pages and parts.fragment and unquote(parts.fragment) not in pages[target].anchors | LEFT_OUT:
                faults.append(f"{where}: {url} has no such place")
    print(*faults, sep="\n", end="\n" if faults else "")
    print(f"{len(pages)} pages, {len(faults)} links to nowhere")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
