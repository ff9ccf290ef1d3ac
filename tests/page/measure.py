#!/usr/bin/python3
"""Measures replays in the browser: how large they are, how soon they can be used, and how long the fullest frame takes
to be drawn: in the script alone, and with the time that the browser takes to fill in the pixels.

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
    const median = (measure) => Array.from({ length: 101 }, measure).sort((a, b) => a - b)[50];
    const script = () => pictures.reduce((sum, picture) => (picture.draw(theme), sum + picture.spent), 0);
    const whole = () => {
      const start = performance.now();
      script();
      for (const { canvas } of pictures) canvas.getContext("2d").getImageData(0, 0, 1, 1); // waits for the pixels
      return performance.now() - start;
    };
    return [performance.getEntriesByName("ready")[0].startTime, boxes.frame.length, boxes.at(fullest).length,
      median(script), median(whole)];"""

browser = browsers.start()
try:
    for page in map(pathlib.Path, sys.argv[1:]):
        browsers.open_page(browser, page.resolve())
        ready, boxes, most, script, whole = browser.execute_script(DRAW)
        print(f"{page.name}: {page.stat().st_size / 1000:.0f} kB, {boxes} boxes, usable after {ready:.0f} ms, "
              f"{most} boxes of a frame drawn in {whole:.1f} ms, {script:.1f} of them in the script")
finally:
    browser.quit()
