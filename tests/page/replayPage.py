#!/usr/bin/python3
"""Opens replays in a real browser and uses them as people do.

usage: replayPage.py TOOL ROOT [unittest's options]
"""
import itertools
import json
import math
import pathlib
import re
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

import browser as browsers

TOOL, ROOT = pathlib.Path(sys.argv.pop(1)).resolve(), pathlib.Path(sys.argv.pop(1)).resolve()
PLAZA = ROOT / "examples/data/plaza"
AS_SAID = ("--report", "all", "--hold", "always", "--boxes", "smoothed")  # of files, too
HOSTILE = '</script><script>document.title="taken"</script><img src=x onerror=alert(1)>"&amp;\u2028'


def nivra(*arguments, text=None):
    run = subprocess.run([TOOL, *map(str, arguments)], input=text, stdout=subprocess.PIPE, text=True, check=True)
    return run.stdout


def png(red):
    """A picture of one colour."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    head = struct.pack(">IIBBBBB", 4, 4, 8, 2, 0, 0, 0)
    rows = b"".join(b"\0" + bytes([red, 0, 0] * 4) for _ in range(4))
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head) + chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b"")


class Replay(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.page = cls.folder / "plaza.html"
        nivra("replay", PLAZA, "--tracker", "reid", "--beside", "vanilla", "--truth", PLAZA, "-o", cls.page)
        cls.browser = browsers.start()
        cls.addClassCleanup(cls.browser.quit)

    def setUp(self):
        browsers.resize(self.browser, 1280, 800)
        browsers.open_page(self.browser, self.page)

    def tearDown(self):
        self.assertEqual([], self.browser.get_log("browser"))
        for entry in self.browser.get_log("performance"):
            message = json.loads(entry["message"])["message"]
            if message["method"] == "Network.requestWillBeSent":
                self.assertRegex(message["params"]["request"]["url"], r"^(file|blob|data):")

    def script(self, script, *arguments):
        return self.browser.execute_script("const view = window.replay.view, scene = view.scene;" + script, *arguments)

    def press(self, *keys):
        from selenium.webdriver.common.action_chains import ActionChains
        chain = ActionChains(self.browser)
        for key in keys:
            chain.send_keys(key)
        chain.perform()
        browsers.drawn(self.browser)

    def frame(self):
        return self.script("return view.frame")

    def text(self, selector):
        return self.script("return document.querySelector(arguments[0]).innerText", selector)

    def test_boxes_are_those_of_the_trackers(self):
        """To the step that the page counts in, in every frame."""
        for run, tracker in enumerate(["reid", "vanilla"]):
            rows = self.script("""
                const { boxes } = scene.runs[arguments[0]], rows = [];
                for (let at = 0; at < boxes.frame.length; ++at) {
                  if (boxes.state[at] & 4) continue;
                  const edges = ["left", "top", "width", "height"].map((edge) => boxes[edge][at] * scene.step);
                  rows.push([boxes.frame[at], Number(boxes.ids[boxes.identity[at]]), ...edges]);
                }
                return rows;""", run)
            expected = [[float(each) for each in line.split(",")[:6]]
                        for line in nivra("track", PLAZA, "--tracker", tracker, *AS_SAID).splitlines()]
            self.assertEqual(len(expected), len(rows))
            for found, known in zip(sorted(rows), sorted(expected)):
                self.assertEqual(found[:2], [known[0], known[1] - 1])
                for a, b in zip(found[2:], known[2:]):
                    self.assertAlmostEqual(a, b, delta=1280 / 8192)

    def test_figures_and_matches_are_those_of_eval(self):
        tracks = self.folder / "reid.txt"
        nivra("track", PLAZA, "--tracker", "reid", *AS_SAID, "-o", tracks)
        row = json.loads(nivra("eval", PLAZA, tracks, "--json"))["results"][0]
        known = {**row["HOTA"], **row["CLEAR"], **row["Identity"]}
        shown = {each["name"]: each["value"] for each in self.script("return scene.runs[0].figures")}
        for name in "HOTA", "AssA", "MOTA", "IDF1", "IDSW":
            self.assertAlmostEqual(known[name], shown[name], places=5, msg=name)
        counted = self.script("""
            const { boxes, finders, events } = scene.runs[0], { truth } = scene;
            const isFalse = (at) => boxes.partner[at] === 0 && !(boxes.state[at] & 4);
            return [boxes.partner.filter((each) => each > 0).length,
              boxes.partner.filter((_, at) => isFalse(at)).length,
              finders.filter((each, at) => each < 0 && !(truth.state[at] & 8)).length, events.switch.length]""")
        self.assertEqual([shown[name] for name in ("TP", "FP", "FN", "IDSW")], counted)

    def test_plays_and_steps_by_keys(self):
        from selenium.webdriver.common.keys import Keys
        self.assertEqual(1, self.frame())
        self.press(Keys.ARROW_RIGHT, Keys.ARROW_RIGHT, Keys.ARROW_LEFT)
        self.assertEqual(2, self.frame())
        self.press(Keys.END)
        self.assertEqual(300, self.frame())
        self.press(Keys.HOME, "+", " ")
        self.browser.execute_async_script(
            "const done = arguments[0]; const look = () => window.replay.view.frame > 9 ? done() : setTimeout(look, 10); look();")
        self.press(" ")
        stopped = self.frame()
        browsers.drawn(self.browser)
        self.assertEqual(stopped, self.frame())
        self.assertEqual(2, self.script("return view.speed"))

    def test_keys_lead_to_births_merges_and_switches(self):
        answers = [json.loads(line) for line in nivra("track", PLAZA, "--tracker", "reid", "--to", "jsonl", *AS_SAID)
                   .splitlines()]
        merges = [(number, pair) for number, answer in enumerate(answers, 1) for pair in answer["merged"]]
        self.assertTrue(merges)
        for frame, (absorbed, into) in merges:
            self.press("m")
            self.assertEqual((frame, str(into)), (self.frame(), self.script("return view.current.boxes.ids[view.selected]")))
            self.assertIn(f"took in", self.text("#panel"))
        self.press("M")
        self.assertEqual(merges[-2][0] if len(merges) > 1 else merges[0][0], self.frame())
        seen = set()
        born = {}
        for number, answer in enumerate(answers, 1):
            born.setdefault(number, set()).update(track["id"] for track in answer["tracks"] if track["id"] not in seen)
            seen |= born[number]
        frame = min(number for number, ids in born.items() if ids and number > self.frame())
        self.press("b")
        self.assertEqual(frame, self.frame())
        switch = self.script("return view.current.events.switch.find((each) => each.frame > view.frame)?.frame ?? view.frame")
        self.press("s")
        self.assertEqual(switch, self.frame())

    def test_bars_and_boxes_are_clicked(self):
        from selenium.webdriver.common.action_chains import ActionChains
        canvas = self.browser.find_element("id", "timeline")

        def click(element, place):
            size = element.size
            ActionChains(self.browser).move_to_element_with_offset(
                element, round(place[0] - size["width"] / 2), round(place[1] - size["height"] / 2)).click().perform()
            browsers.drawn(self.browser)

        # The longest life, in the middle of its bar.
        bar = self.script("""
            const { timeline } = window.replay, { boxes } = scene.runs[0];
            const { lanes } = timeline.layoutOf(scene.runs[0]);
            const lengths = boxes.ids.map((_, at) => boxes.lastFrame(at) - boxes.firstFrame(at));
            const identity = lengths.indexOf(Math.max(...lengths.filter((_, at) => lanes[at] < 5)));
            const frame = Math.round((boxes.firstFrame(identity) + boxes.lastFrame(identity)) / 2);
            return { identity, frame, id: boxes.ids[identity],
              place: [timeline.xOf(frame + 0.5), timeline.rows().tops[0] + lanes[identity] * 15 + 7] };""")
        click(canvas, bar["place"])
        self.assertEqual([bar["identity"], 0], self.script("return [view.selected, view.run]"))
        self.assertAlmostEqual(bar["frame"], self.frame(), delta=1)
        self.assertIn(bar["id"], self.text("#panel h2"))
        # Somebody in the second tracker's picture, who isn't behind anybody.
        box = self.script("""
            const picture = window.replay.pictures[1], { boxes } = scene.runs[1], { x, y, scale } = picture.place;
            for (const at of boxes.at(view.frame)) {
              const place = [x + (boxes.left[at] + boxes.width[at] / 2) * scene.step * scale,
                y + (boxes.top[at] + boxes.height[at] / 2) * scene.step * scale];
              if (picture.identityAt(...place) === boxes.identity[at]) return { place, id: boxes.ids[boxes.identity[at]] };
            }""")
        click(self.browser.find_elements("css selector", "figure canvas")[1], box["place"])
        self.assertEqual(1, self.script("return view.run"))
        self.assertIn(box["id"], self.text("#panel h2"))
        self.assertIn("vanilla", self.text("#panel"))

    def test_panel_tells_what_explain_says(self):
        """Of whole lives, of switches, and not of tracks that somebody else made."""
        def told(*options):
            return json.loads(nivra("explain", PLAZA, "--tracker", "reid", "--json", *AS_SAID, *options))["told"]

        def shown(selector):
            return self.script("return [...document.querySelectorAll(arguments[0])].map((each) => each.textContent)", selector)

        switches = told("--truth", PLAZA)
        self.assertEqual([each["sentence"] for each in switches], shown("#panel li.switch > p"))
        kinds = set()
        for name in "0", "2", "17":
            life = told("--id", name)
            kinds.update(each["change"] for each in life)
            taken_part = [each for each in switches if name in map(str, (each["track"], each["other"]))]
            known = [f"{each['frame']}{each['sentence']}" for each in life + taken_part]
            browsers.drawn(self.browser, f"view.select(0, view.current.boxes.ids.indexOf('{name}'))")
            self.assertCountEqual(known, shown(".why li"))
        self.assertLessEqual({"began", "confirmed", "lost", "revived", "merged", "ended"}, kinds)

        frame = life[-1]["frame"]
        self.browser.find_elements("css selector", ".why li button")[-1].click()
        browsers.drawn(self.browser)
        self.assertEqual(frame, self.frame())
        self.assertEqual(1, self.script("return document.querySelectorAll('.why [aria-current=step]').length"))

        for options in ["--tracks", self.tracks_of_others()], [PLAZA, "--no-reasons"]:
            page = self.folder / "unexplained.html"
            nivra("replay", *options, "--force", "-o", page)
            browsers.open_page(self.browser, page)
            self.press("n")
            self.assertIn("nivra replay tracks itself", self.text(".why"))

    def tracks_of_others(self):
        tracks = self.folder / "others.jsonl"
        nivra("track", PLAZA, "--force", "-o", tracks)
        return f"others={tracks}"

    def test_search_finds_identities(self):
        from selenium.webdriver.common.keys import Keys
        self.press("/", "1", "2", Keys.ENTER)
        self.assertIn("12", self.text("#panel h2"))
        self.assertEqual("12", self.script("return view.current.boxes.ids[view.selected]"))
        self.assertTrue(self.script("return view.current.boxes.boxOf(view.selected, view.frame) >= 0"))
        self.press(Keys.ESCAPE)
        self.assertEqual(-1, self.script("return view.selected"))

    def test_runs_stand_side_by_side(self):
        figures = self.browser.find_elements("css selector", "figure")
        self.assertEqual(["reid", "vanilla"], [each.text for each in figures])
        self.press("n", "v")
        self.assertEqual("vanilla", self.text("figure.active"))
        labels = self.script("return [...document.querySelectorAll('figure canvas')].map((each) => each.ariaLabel)")
        self.assertTrue(all(label.startswith("Frame 1 of 300") for label in labels))

    def test_names_are_text_and_nothing_else(self):
        box = {"box": [10, 10, 60, 90], "label": HOSTILE, "score": 90}
        lines = [{"camera": HOSTILE, "picture": [640, 480], "timestamp": i * 40000000, "detections": [box]} for i in range(9)]
        name = HOSTILE.replace("=", ":")
        stream, page = self.folder / "hostile.jsonl", self.folder / "hostile.html"
        stream.write_text("".join(json.dumps(line) + "\n" for line in lines))
        tracks = self.folder / "named.jsonl"
        tracks.write_text(nivra("track", stream))
        nivra("replay", stream, "--tracks", f"{name}={tracks}", "--tracker", "vanilla", "-o", page)
        self.assertEqual(1, page.read_text().count("taken") + page.read_text().count("<script>"))
        browsers.open_page(self.browser, page)
        self.press("n", "d")
        self.assertEqual([HOSTILE, HOSTILE, name], self.script(
            "return [scene.name, scene.labels[0], scene.runs.map((run) => run.name).find((name) => name !== 'vanilla')]"))
        self.assertIn("onerror=alert(1)", self.text("#panel h2"))
        self.assertEqual(0, self.script("return document.querySelectorAll('img, #panel script').length"))
        self.assertNotEqual("taken", self.browser.title)

    def test_policy_lets_nothing_in_or_out(self):
        tried = self.browser.execute_async_script("""
            const done = arguments[0], blocked = [];
            document.addEventListener("securitypolicyviolation", (event) => blocked.push(event.effectiveDirective));
            const script = document.createElement("script");
            const image = new Image();
            image.src = "https://example.invalid/x.png";
            fetch("https://example.invalid/").catch(() => {});
            try { document.body.innerHTML += "<b>x</b>"; } catch { blocked.push("html"); }
            setTimeout(() => done(blocked), 100);""")
        self.assertLessEqual({"img-src", "connect-src", "html"}, set(tried))
        for log in "browser", "performance":
            self.browser.get_log(log)  # which tell of all that was blocked

    def test_all_is_named_and_fits_a_phone(self):
        for width in 390, 820, 1440:
            browsers.resize(self.browser, width, 844)
            browsers.drawn(self.browser)
            self.assertLessEqual(self.script("return document.documentElement.scrollWidth"), width)
        nameless = self.script("""
            const isNamed = (each) => each.ariaLabel || each.innerText || each.labels?.length > 0;
            return [...document.querySelectorAll("button, input, select, canvas, svg[role]")].filter((each) => !isNamed(each))
              .map((each) => each.outerHTML)""")
        self.assertEqual([], nameless)
        self.press("?")
        keys = self.text("#help")
        for each in self.script("return window.replay.actions.map(({ name }) => name)"):
            self.assertIn(each, keys)

    def test_pictures_stand_behind_the_boxes(self):
        folder = self.folder / "a picture's <folder>"
        folder.mkdir()
        for number in range(1, 12):
            (folder / f"shot{number}.png").write_bytes(png(10 * number))
        for options in [], ["--embed"]:
            page = self.folder / f"pictures{len(options)}.html"
            nivra("replay", PLAZA, "--pictures", folder, *options, "-o", page)
            browsers.open_page(self.browser, page)
            shown = self.browser.execute_async_script("""
                const done = arguments[0], { view } = window.replay;
                view.goTo(10);
                const look = () => {
                  const image = window.replay.footage.imageAt(10);
                  if (!image) return setTimeout(look, 10);
                  if (image.src) return done(image.src);
                  const context = Object.assign(document.createElement("canvas"), { width: 4, height: 4 }).getContext("2d");
                  context.drawImage(image, 0, 0);
                  return done([...context.getImageData(1, 1, 1, 1).data]);
                };
                look();""")
            self.assertEqual([100, 0, 0, 255] if options else (folder / "shot10.png").as_uri(), shown)

    def test_cameras_of_a_stream_are_chosen(self):
        page = self.folder / "stream.html"
        subprocess.run([TOOL, "replay", ROOT / "examples/data/stream.jsonl", "-o", page], stderr=subprocess.DEVNULL, check=False)
        browsers.open_page(self.browser, page)
        names = self.script("return [...document.querySelectorAll('#camera option')].map((each) => each.text)")
        self.assertEqual(["gate", "yard"], names)
        self.press("c")
        self.assertEqual("yard", self.text("#panel h2"))

    def test_zones_show_what_is_counted(self):
        """By the last frame, as often as track --events tells at the end."""
        zones, page = self.folder / "zones.json", self.folder / "zones.html"
        zones.write_text(json.dumps({"picture": [1280, 720],
                                     "zones": [{"name": HOSTILE, "polygon": [[0, 0], [640, 0], [640, 720], [0, 720]]}],
                                     "lines": [{"name": "middle", "from": [640, 720], "to": [640, 0]}]}))
        nivra("replay", PLAZA, "--tracker", "reid", "--zones", zones, "-o", page)
        known = json.loads(nivra("track", PLAZA, "--tracker", "reid", "--events", "--zones", zones, *AS_SAID).strip().split("\n")[-1])
        browsers.open_page(self.browser, page)
        browsers.drawn(self.browser, "view.goTo(300)")
        shown = self.text(".now")
        self.assertIn("onerror=alert(1)", shown)
        self.assertIn(f"{known['zones'][0]['entries']} entered", shown)
        self.assertTrue(known["lines"])
        for line in known["lines"]:
            self.assertIn(f"{line['crossings']} human to the {line['to']}", shown)

    def test_colours_are_told_apart_by_everybody(self):
        """By usual eyes and simulated colour blindness (Machado et al. 2009), as distances in OKLab."""
        simulations = [
            [1, 0, 0, 0, 1, 0, 0, 0, 1],
            [0.152286, 1.052583, -0.204868, 0.114503, 0.786281, 0.099216, -0.003882, -0.048116, 1.051998],
            [0.367322, 0.860646, -0.227968, 0.280085, 0.672501, 0.047413, -0.011820, 0.042940, 0.968881],
            [1.255528, -0.076749, -0.178779, -0.078411, 0.930809, 0.147602, 0.004733, 0.691367, 0.303900]]
        to_cones = [0.4122214708, 0.5363325363, 0.0514459929, 0.2119034982, 0.6806995451, 0.1073969566, 0.0883024619,
                    0.2817188376, 0.6299787005]
        to_lab = [0.2104542553, 0.7936177850, -0.0040720468, 1.9779984951, -2.4285922050, 0.4505937099, 0.0259040371,
                  0.7827717662, -0.8086757660]

        def times(matrix, vector):
            return [sum(a * b for a, b in zip(matrix[row:row + 3], vector)) for row in (0, 3, 6)]

        def light(colour):
            parts = [int(colour[at:at + 2], 16) / 255 for at in (1, 3, 5)]
            return [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]

        def seen(colour, simulation):
            cones = times(to_cones, [min(max(part, 0), 1) for part in times(simulation, light(colour))])
            return times(to_lab, [max(cone, 0) ** (1 / 3) for cone in cones])

        source = (ROOT / "page/src/colours.js").read_text()
        palettes = [re.findall(r"#\w{6}", each) for each in re.findall(r"^  (?:dark|light): \[(.*)\]", source, re.M)]
        self.assertEqual([8, 8], [len(each) for each in palettes])
        for palette, simulation in itertools.product(palettes, simulations):
            for a, b in itertools.combinations(palette, 2):
                self.assertGreater(math.dist(seen(a, simulation), seen(b, simulation)), 0.09, (a, b))


if browsers.CHROMIUM and browsers.DRIVER:
    unittest.main()
print("skipped: chromium and chromedriver are not installed (scripts/install-dependencies.sh test)")
sys.exit(77)
