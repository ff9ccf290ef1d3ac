import { COASTING, FOLLOWED, OUT_OF_SIGHT } from "./boxes.js";
import { INKS, colourOf, inkOn } from "./colours.js";
import { lanesOf } from "./lanes.js";
import { fitToScreen } from "./picture.js";
import { clock } from "./text.js";

const RULER = 22; // heights, in pixels of the style
const HEADING = 18;
const LANE = 15;
const BAR = 11;
const EDGE = 10; // beside the first and the last frame
const LEAST_TICK = 80;
const TICKS = [0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 14400]; // s

/** All lives of a camera: a bar for each identity, packed into lanes, run below run. */
export class Timeline {
  constructor(view, canvas, box) {
    this.view = view;
    this.canvas = canvas;
    this.box = box;
    this.spacer = box.lastElementChild;
    this.still = document.createElement("canvas"); // all but what moves
    this.layouts = new Map();
    canvas.addEventListener("pointerdown", (event) => this.press(event));
    canvas.addEventListener("pointermove", (event) => this.move(event));
    canvas.addEventListener("pointerup", () => (this.isDragging = false));
    canvas.addEventListener("pointerleave", () => view.hover(-1, -1));
    canvas.addEventListener("wheel", (event) => this.wheel(event), { passive: false });
    box.addEventListener("scroll", () => this.drawAll(this.theme));
    this.showAll();
  }

  /** The whole recording. */
  showAll() {
    this.first = 1;
    this.last = Math.max(this.view.scene.frames, 2);
  }

  layoutOf(run) {
    if (!this.layouts.has(run)) this.layouts.set(run, lanesOf(run.boxes));
    return this.layouts.get(run);
  }

  /** Where each run begins, and the height of all. */
  rows() {
    const { runs } = this.view.scene;
    const heading = runs.length > 1 ? HEADING : 4;
    let top = RULER;
    const tops = runs.map((run) => {
      const start = top + heading;
      top = start + this.layoutOf(run).count * LANE + 6;
      return start;
    });
    return { tops, height: top };
  }

  xOf(frame) {
    return EDGE + ((frame - this.first) / (this.last - this.first)) * (this.width - 2 * EDGE);
  }

  frameAt(x) {
    return this.first + ((x - EDGE) / (this.width - 2 * EDGE)) * (this.last - this.first);
  }

  /** Zooms about a frame; a factor below 1 shows more. */
  zoom(factor, frame = this.view.frame) {
    const { frames } = this.view.scene;
    const length = Math.min(Math.max((this.last - this.first) / factor, 20), Math.max(frames - 1, 1));
    const share = (frame - this.first) / (this.last - this.first);
    this.moveTo(frame - share * length, length);
  }

  moveTo(first, length = this.last - this.first) {
    const { frames } = this.view.scene;
    this.first = Math.max(1, Math.min(first, frames - length));
    this.last = this.first + length;
    this.drawAll(this.theme);
  }

  /** Keeps the shown frame in sight. */
  follow() {
    const { frame } = this.view;
    const length = this.last - this.first;
    if (frame >= this.first && frame <= this.last) return false;
    this.moveTo(frame - length * 0.1);
    return true;
  }

  /** Scrolls to the lane of what is selected. */
  reveal() {
    const { run, selected } = this.view;
    if (selected < 0) return;
    const y = this.rows().tops[run] + this.layoutOf(this.view.current).lanes[selected] * LANE;
    const { scrollTop, clientHeight } = this.box;
    if (y - RULER < scrollTop || y + LANE > scrollTop + clientHeight) this.box.scrollTop = y - clientHeight / 2;
  }

  drawAll(theme) {
    this.theme = theme;
    this.width = this.canvas.clientWidth;
    const { tops, height } = this.rows();
    this.spacer.style.height = `${Math.max(0, height - this.box.clientHeight)}px`;
    const { ratio } = fitToScreen(this.canvas);
    this.still.width = this.canvas.width;
    this.still.height = this.canvas.height;
    const context = this.still.getContext("2d");
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.font = "600 10px system-ui, sans-serif";
    context.textBaseline = "middle";
    this.inks = INKS[theme];
    tops.forEach((top, index) => this.drawRun(context, index, top - this.box.scrollTop));
    this.drawRuler(context);
    this.draw();
  }

  drawRun(context, index, top) {
    const run = this.view.scene.runs[index];
    const { lanes } = this.layoutOf(run);
    const isInSight = (y) => y > RULER - LANE && y < this.canvas.clientHeight;
    for (let identity = 0; identity < lanes.length; ++identity) {
      const y = top + lanes[identity] * LANE;
      if (isInSight(y)) this.drawLife(context, run, index, identity, y);
    }
    for (const { frame, identity, other } of run.events.merge) {
      const [from, to] = [top + lanes[other] * LANE, top + lanes[identity] * LANE];
      if (isInSight(from) || isInSight(to)) this.drawMerge(context, frame, from + LANE / 2, to + LANE / 2);
    }
    for (const { frame, identity } of run.events.switch) {
      const y = top + lanes[identity] * LANE;
      if (isInSight(y)) this.drawSwitch(context, frame, y);
    }
    if (this.view.scene.runs.length < 2) return;
    context.fillStyle = this.inks.faint;
    context.fillText(`${run.name} · ${run.boxes.ids.length} identities`, EDGE, top - HEADING / 2 - 1);
  }

  /** A bar where it is followed, lower where it isn't confirmed, hollow where nothing is seen, a line across gaps. */
  drawLife(context, run, index, identity, y) {
    const { boxes } = run;
    const [left, right] = [this.xOf(boxes.firstFrame(identity)), this.xOf(boxes.lastFrame(identity) + 1)];
    if (right < 0 || left > this.width) return;
    const colour = colourOf(identity, this.theme);
    const middle = y + LANE / 2;
    const isMarked = this.view.isMarked(index, identity);
    context.fillStyle = colour;
    context.globalAlpha = 0.55;
    context.fillRect(left, middle - 0.5, right - left, 1);
    for (let i = boxes.stretchStarts[identity]; i < boxes.stretchStarts[identity + 1]; ++i) {
      const kind = boxes.stretches.kind[i];
      const start = this.xOf(boxes.stretches.first[i]);
      const width = Math.max(this.xOf(boxes.stretches.last[i] + 1) - start, 0.75);
      const height = kind === FOLLOWED || kind === COASTING ? BAR : kind === OUT_OF_SIGHT ? 3 : 5;
      context.globalAlpha = kind === COASTING ? 0.4 : kind === OUT_OF_SIGHT ? 0.5 : 1;
      context.fillRect(start, middle - height / 2, width, height);
    }
    context.globalAlpha = 1;
    if (isMarked) {
      context.strokeStyle = this.inks.ink;
      context.lineWidth = 1.5;
      context.strokeRect(left - 1.5, middle - BAR / 2 - 1.5, right - left + 3, BAR + 3);
    }
    this.writeName(context, boxes, identity, middle);
  }

  /** In the first stretch in sight that has room for it. */
  writeName(context, boxes, identity, y) {
    const name = boxes.ids[identity];
    const needed = context.measureText(name).width + 8;
    for (let i = boxes.stretchStarts[identity]; i < boxes.stretchStarts[identity + 1]; ++i) {
      const left = Math.max(this.xOf(boxes.stretches.first[i]), 0);
      if (left > this.width) return;
      const right = Math.min(this.xOf(boxes.stretches.last[i] + 1), this.width);
      if (boxes.stretches.kind[i] !== FOLLOWED || right - left < needed) continue;
      context.fillStyle = inkOn(colourOf(identity, this.theme));
      context.fillText(name, left + 4, y + 0.5);
      return;
    }
  }

  drawMerge(context, frame, from, to) {
    const x = this.xOf(frame);
    context.strokeStyle = context.fillStyle = this.inks.ink;
    context.lineWidth = 1.5;
    context.beginPath();
    context.moveTo(x, from);
    context.lineTo(x, to);
    context.stroke();
    context.beginPath();
    context.arc(x, to, 3, 0, 2 * Math.PI);
    context.fill();
  }

  drawSwitch(context, frame, y) {
    const x = this.xOf(frame);
    context.fillStyle = this.inks.fault;
    context.beginPath();
    context.moveTo(x - 4, y - 1);
    context.lineTo(x + 4, y - 1);
    context.lineTo(x, y + 5);
    context.fill();
  }

  drawRuler(context) {
    const { times } = this.view.scene;
    const at = (frame) => times[Math.min(Math.max(Math.round(frame), 1), times.length) - 1] / 1000;
    context.fillStyle = this.inks.ground;
    context.fillRect(0, 0, this.width, RULER);
    context.fillStyle = context.strokeStyle = this.inks.faint;
    context.lineWidth = 1;
    const span = Math.max(at(this.last) - at(this.first), 1e-3);
    const step = TICKS.find((each) => (each / span) * this.width >= LEAST_TICK) ?? TICKS[TICKS.length - 1];
    let frame = Math.max(1, Math.floor(this.first));
    for (let tick = Math.ceil(at(this.first) / step); tick * step <= at(this.last) + 1e-9; ++tick) {
      while (frame < times.length && times[frame - 1] / 1000 < tick * step - 1e-9) ++frame;
      const x = Math.round(this.xOf(frame)) + 0.5;
      context.fillRect(x - 0.5, RULER - 5, 1, 5);
      context.fillText(clock(tick * step * 1000, times[times.length - 1]), x + 3, RULER / 2);
    }
    context.fillStyle = this.inks.line;
    context.fillRect(0, RULER - 1, this.width, 1);
  }

  /** The still part, and what moves over it. */
  draw() {
    const { ratio } = fitToScreen(this.canvas);
    const context = this.canvas.getContext("2d");
    context.setTransform(1, 0, 0, 1, 0, 0);
    context.clearRect(0, 0, this.canvas.width, this.canvas.height);
    if (this.still.width > 0 && this.still.height > 0) context.drawImage(this.still, 0, 0);
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    const x = this.xOf(this.view.frame + 0.5);
    context.fillStyle = this.inks.ink;
    context.fillRect(x - 0.75, 0, 1.5, this.canvas.clientHeight);
    context.beginPath();
    context.moveTo(x - 6, 0);
    context.lineTo(x + 6, 0);
    context.lineTo(x, 9);
    context.fill();
    const { frame, scene } = this.view;
    this.canvas.setAttribute("aria-valuemax", scene.frames);
    this.canvas.setAttribute("aria-valuenow", frame);
    this.canvas.setAttribute("aria-valuetext", `Frame ${frame}, ${clock(scene.times[frame - 1])}`);
  }

  /** The run and the identity whose bar is at a place of the canvas. */
  barAt(x, y) {
    const inside = y + this.box.scrollTop;
    const frame = this.frameAt(x);
    const { tops } = this.rows();
    for (let index = tops.length - 1; index >= 0 && y > RULER; --index) {
      if (inside < tops[index]) continue;
      const run = this.view.scene.runs[index];
      const { lanes } = this.layoutOf(run);
      const lane = Math.floor((inside - tops[index]) / LANE);
      const slack = (3 / this.width) * (this.last - this.first);
      const identity = lanes.findIndex((each, at) => each === lane && frame >= run.boxes.firstFrame(at) - slack &&
        frame <= run.boxes.lastFrame(at) + 1 + slack);
      return { run: index, identity };
    }
    return { run: -1, identity: -1 };
  }

  press(event) {
    const { run, identity } = this.barAt(event.offsetX, event.offsetY);
    if (identity >= 0) this.view.select(run, identity);
    this.isDragging = true;
    this.canvas.setPointerCapture(event.pointerId);
    this.view.goTo(Math.floor(this.frameAt(event.offsetX)));
  }

  move(event) {
    if (this.isDragging) return this.view.goTo(Math.floor(this.frameAt(event.offsetX)));
    const { run, identity } = this.barAt(event.offsetX, event.offsetY);
    this.canvas.style.cursor = identity < 0 ? "" : "pointer";
    return this.view.hover(run, identity);
  }

  /** With control or shift, the wheel zooms or moves along; without, lanes scroll as anything does. */
  wheel(event) {
    if (event.ctrlKey || event.metaKey) {
      event.preventDefault();
      this.zoom(Math.exp(-event.deltaY / 300), this.frameAt(event.offsetX));
    } else if (event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      event.preventDefault();
      const way = event.deltaX || event.deltaY;
      this.moveTo(this.first + (way / this.width) * (this.last - this.first));
    }
  }
}
