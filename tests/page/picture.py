#!/usr/bin/python3
"""Makes the README's picture of a replay: two trackers on the sample.

usage: picture.py TOOL ROOT OUTPUT.png
"""
import pathlib
import subprocess
import sys
import tempfile

import browser as browsers

tool, root, output = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
sample = root / "examples/data/plaza"
with tempfile.TemporaryDirectory() as folder:
    page = pathlib.Path(folder) / "plaza.html"
    subprocess.run([tool, "replay", sample, "--tracker", "reid", "--beside", "vanilla", "--truth", sample, "-o", page], check=True)
    browser = browsers.start(1200, 760)
    try:
        browsers.open_page(browser, page)
        browsers.drawn(browser, "view.goTo(167); view.select(0, view.current.boxes.ids.indexOf('0'))")
        browser.save_screenshot(str(output))
    finally:
        browser.quit()
