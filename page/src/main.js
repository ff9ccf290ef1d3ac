import { LOST } from "./boxes.js";
import { actionsOf, listenToKeys } from "./actions.js";
import { eventsOf, findersOf } from "./events.js";
import { footageOf } from "./footage.js";
import { Panel } from "./panel.js";
import { Picture } from "./picture.js";
import { Player } from "./player.js";
import { Search } from "./search.js";
import { button, clock, element } from "./text.js";
import { Timeline } from "./timeline.js";
import { unpackRecording } from "./unpack.js";
import { View } from "./view.js";

const byId = (id) => document.getElementById(id);

/** Adds what follows from the data. */
function complete(recording) {
  for (const camera of recording.cameras) {
    for (const run of camera.runs) {
      if (camera.truth) run.finders = findersOf(run.boxes, camera.truth);
      run.hasLost = run.boxes.state.some((state) => state & LOST);
      run.events = eventsOf(run, camera.truth);
    }
  }
}

class App {
  constructor(recording) {
    this.view = new View(recording);
    this.player = new Player(this.view);
    this.chosenTheme = null;
    this.timeline = new Timeline(this.view, byId("timeline"), byId("timelineBox"));
    this.panel = new Panel(this.view, byId("panel"));
    this.search = new Search(this.view, byId("search"), byId("found"), () => this.theme);
    this.actions = actionsOf(this);
    this.addButtons();
    this.addCameras();
    this.addPictures();
    listenToKeys(this.actions);
    byId("theme").addEventListener("click", () => this.switchTheme());
    byId("helpButton").addEventListener("click", () => this.showHelp());
    this.view.listen((changed) => this.update(changed));
    const drawAll = () => this.drawAll();
    matchMedia("(prefers-color-scheme: light)").addEventListener("change", drawAll);
    new ResizeObserver(drawAll).observe(document.body);
    new ResizeObserver(drawAll).observe(byId("pictures"));
    this.drawAll();
  }

  get theme() {
    return this.chosenTheme ?? (matchMedia("(prefers-color-scheme: light)").matches ? "light" : "dark");
  }

  addButtons() {
    const groups = new Map();
    this.buttons = new Map();
    for (const action of this.actions.filter(({ group }) => group)) {
      const made = button(action.icon, action.group, action.run);
      made.setAttribute("aria-label", action.name);
      made.setAttribute("aria-keyshortcuts", action.keys.join(" "));
      made.title = `${action.name} (${action.keys[0] === " " ? "space" : action.keys[0]})`;
      this.buttons.set(action.id ?? action.shown ?? action.name, made);
      if (!groups.has(action.group)) groups.set(action.group, element("div", "group"));
      groups.get(action.group).append(made);
    }
    this.speed = element("output", "speed");
    groups.get("speed").firstChild.after(this.speed);
    this.place = element("output", "place");
    byId("switches").append(groups.get("switch"));
    for (const name of ["step", "speed", "event"]) byId("transport").append(groups.get(name));
    byId("transport").append(this.place, groups.get("zoom"));
  }

  addCameras() {
    const { cameras } = this.view.recording;
    const choice = byId("camera");
    byId("cameraChoice").hidden = cameras.length < 2;
    cameras.forEach((camera, index) => choice.append(new Option(camera.name, String(index))));
    choice.addEventListener("change", () => this.view.lookAt(Number(choice.value)));
  }

  addPictures() {
    const { view } = this;
    this.footage = footageOf(view.camera, view, () => this.drawPictures());
    const count = Math.max(view.scene.runs.length, 1);
    this.pictures = Array.from({ length: count }, (_, index) => new Picture(view, index, this.footage));
    byId("pictures").replaceChildren(...this.pictures.map(({ figure }) => figure));
    byId("pictures").classList.toggle("several", count > 1);
    this.layPictures();
  }

  /** In as many columns as let them be largest. */
  layPictures() {
    const { clientWidth, clientHeight, style } = byId("pictures");
    const { width, height } = this.view.scene;
    const count = this.pictures.length;
    const scaleIn = (columns) => Math.min(clientWidth / columns / width, clientHeight / Math.ceil(count / columns) / height);
    let best = 1;
    for (let columns = 2; columns <= count; ++columns) if (scaleIn(columns) > scaleIn(best)) best = columns;
    style.gridTemplate = `repeat(${Math.ceil(count / best)}, minmax(0, 1fr)) / repeat(${best}, minmax(0, 1fr))`;
  }

  update(changed) {
    if (changed.has("camera")) {
      this.addPictures();
      this.timeline.showAll();
    }
    if (changed.has("camera") || changed.has("run") || changed.has("selected")) {
      this.panel.draw(this.theme);
      this.timeline.reveal();
    } else if (changed.has("frame")) {
      this.panel.drawNow();
    }
    const isStill = ["camera", "run", "selected", "hovered", "hoveredRun"].every((name) => !changed.has(name));
    if (!this.timeline.follow()) {
      if (isStill) this.timeline.draw();
      else this.timeline.drawAll(this.theme);
    }
    this.drawPictures();
    this.drawControls();
  }

  drawAll() {
    this.layPictures();
    document.documentElement.dataset.theme = this.theme;
    this.panel.draw(this.theme);
    this.timeline.drawAll(this.theme);
    this.drawPictures();
    this.drawControls();
  }

  drawPictures() {
    this.footage.follow();
    for (const picture of this.pictures) picture.draw(this.theme);
  }

  drawControls() {
    const { view } = this;
    this.buttons.get("play").textContent = view.playing ? "❚❚" : "▶";
    this.buttons.get("play").setAttribute("aria-pressed", String(view.playing));
    for (const [name, isShown] of Object.entries(view.shows)) {
      this.buttons.get(name)?.setAttribute("aria-pressed", String(isShown));
    }
    this.speed.textContent = `${view.speed}×`;
    const { times, frames } = view.scene;
    this.place.textContent = `${clock(times[view.frame - 1], times[frames - 1])} · ${view.frame} / ${frames}`;
    byId("camera").value = String(view.camera);
  }

  switchTheme() {
    this.chosenTheme = this.theme === "dark" ? "light" : "dark";
    this.drawAll();
  }

  showHelp() {
    const shown = { " ": "space", ArrowLeft: "←", ArrowRight: "→", ArrowUp: "↑", ArrowDown: "↓", Escape: "Esc" };
    const nameOf = (key) => key.replace(/[A-Z]\w+$| /, (name) => shown[name] ?? name).replace("Shift+", "⇧");
    const rows = this.actions.map(({ keys, name }) =>
      element("li", "", element("span", "", ...keys.map((key) => element("kbd", "", nameOf(key)))), name));
    const close = button("✕", "close", () => byId("help").close());
    close.setAttribute("aria-label", "Close");
    byId("help").replaceChildren(close, element("h2", "", "Keys"), element("ul", "", ...rows));
    byId("help").showModal();
  }

  /** Tells those who don't see the picture. */
  say(text) {
    byId("said").textContent = text;
  }
}

async function start() {
  const block = byId("recording");
  const recording = await unpackRecording(block.textContent);
  block.remove();
  complete(recording);
  window.replay = new App(recording);
  document.title = `${recording.cameras.map(({ name }) => name).join(", ")} · nivra replay`;
  document.body.dataset.ready = "yes";
  requestAnimationFrame(() => performance.mark("ready")); // the first picture is there
}

start().catch((fault) => {
  byId("said").textContent = `This recording cannot be shown: ${fault.message}`;
  document.body.dataset.ready = "failed";
});
