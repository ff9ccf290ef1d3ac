#!/usr/bin/python3
"""Measures replays in the browser: how large they are, how soon they can be used, and how long the
script takes for the fullest frame, without the browser's own time to fill in the pixels.

usage: measure.py PAGE.html ...
"""
import pathlib
import sys

import browser as browsers

DRAW = """
    const { view, pictures, theme } = window.replay, { boxes } = view.current, frames = view.scene.frames;
    let fullest = 1;
    for (let frame = 1; frame <= frames; ++frame) if (boxes.at(frame).length > boxes.at(fullest).length) fullest = frame;
    view.frame = fullest;
    const times = Array.from({ length: 101 }, () => {
      for (const picture of pictures) picture.draw(theme);
      return pictures.reduce((sum, picture) => sum + picture.spent, 0);
    }).sort((a, b) => a - b);
    return [performance.getEntriesByName("ready")[0].startTime, boxes.frame.length, boxes.at(fullest).length, times[50]];"""

browser = browsers.start()
try:
    for page in map(pathlib.Path, sys.argv[1:]):
        browsers.open_page(browser, page.resolve())
        ready, boxes, most, drawn = browser.execute_script(DRAW)
        print(f"{page.name}: {page.stat().st_size / 1000:.0f} kB, {boxes} boxes, usable after {ready:.0f} ms, "
              f"{most} boxes of a frame drawn in {drawn:.1f} ms")
finally:
    browser.quit()
