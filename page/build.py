#!/usr/bin/env python3
"""Puts the replay's modules, its style and its page into one template, as a source file that holds it.

usage: build.py OUTPUT.cpp

The modules become one script in the order of their imports, each name of which stands for one thing; comments go. The
page's policy allows this script and this style by their hashes, and nothing else.
"""
import base64
import hashlib
import pathlib
import re
import sys

FOLDER = pathlib.Path(__file__).resolve().parent
IMPORT = re.compile(r'^import \{([^}]*)\} from "\./([\w.]+)";\n', re.M)
EXPORT = re.compile(r"^export (?=(?:async )?(?:class|function|const)\b)", re.M)
DEFINITION = re.compile(r"^(?:export )?(?:async )?(?:class|function\*?|const|let) (\w+)", re.M)
PIECE = 15000  # characters of a literal, which compilers may limit


def in_order(name, texts, order, under_way=()):
    """Appends a module to the order, behind those that it imports."""
    if name in under_way:
        sys.exit(f"{name}: imports itself by way of {', '.join(under_way)}")
    if name in order:
        return
    texts[name] = (FOLDER / "src" / name).read_text()
    for names, imported in IMPORT.findall(texts[name]):
        in_order(imported, texts, order, (*under_way, name))
        known = re.findall(r"^export (?:async )?(?:class|function\*?|const) (\w+)", texts[imported], re.M)
        for missing in set(re.findall(r"\w+", names)) - set(known):
            sys.exit(f"{name}: {imported} exports no {missing}")
    order.append(name)


def bundled():
    texts, order = {}, []
    in_order("main.js", texts, order)
    unused = {path.name for path in (FOLDER / "src").glob("*.js")} - set(order)
    if unused:
        sys.exit(f"nobody imports {', '.join(sorted(unused))}")
    places = {}
    for name in order:
        for defined in DEFINITION.findall(texts[name]):
            if defined in places:
                sys.exit(f"{name} and {places[defined]} both define {defined}")
            places[defined] = name
    script = "".join(EXPORT.sub("", IMPORT.sub("", texts[name])) for name in order)
    script = re.sub(r"^ *//.*\n|^ */\*\*(?:.|\n)*?\*/\n", "", script, flags=re.M)
    return '"use strict";\n' + re.sub(r"\n\n+", "\n", re.sub(r"^ +", "", script, flags=re.M)).strip() + "\n"


def hash_of(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


def template():
    script = bundled()
    style = re.sub(r"/\*(?:.|\n)*?\*/\n?|^ +|\n(?=\n)", "", (FOLDER / "style.css").read_text(), flags=re.M)
    for text, end in (script, "</script"), (style, "</style"):
        if end in text:
            sys.exit(f"{end} would end it")
    page = (FOLDER / "page.html").read_text()
    for mark, text in {"script-hash": hash_of(script), "style-hash": hash_of(style), "style": style,
                       "script": script}.items():
        page = page.replace("{{" + mark + "}}", text)
    return page


def literals(text):
    for start in range(0, len(text), PIECE):
        yield f'R"page({text[start:start + PIECE]})page"\n'


def palette():
    colours = re.search(r"light: \[([^]]*)\]", (FOLDER / "src/colours.js").read_text())[1]
    return "{{" + colours + "}}"


page = template()
assert ')page"' not in page
pathlib.Path(sys.argv[1]).write_text(
    '#include "hostkit/replaying/pageTemplate.h"\n\nnamespace nivra::hostkit {\n\n'
    f"const std::array<std::string_view, 8> kPalette = {palette()};\n\n"
    f"const std::string_view kPageTemplate =\n{''.join(literals(page))};\n\n}}  // namespace nivra::hostkit\n")
