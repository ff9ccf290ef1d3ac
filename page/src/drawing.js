import { CONFIDENT, LOST, NOT_COUNTED, SEEN } from "./boxes.js";
import { countsAt } from "./events.js";
import { INKS, colourOf, inkOn, shapeOf } from "./colours.js";

const TRAIL = 2000; // ms
const SWITCH_SHOWN = 700; // ms
const MOST_TAGS = 150; // beyond it, only what is looked at is named

const TAG_FONT = "600 11px system-ui, sans-serif";
const TAG_HEIGHT = 15;

/** Draws a frame of one run: what is there, as a list of steps. All lengths are pixels of the style. */
export class Drawing {
  /**
   * @param place Where the picture is: { x, y, scale }, the scale being that of the camera's pixels.
   * @param view Of which frame, selection and switches are taken.
   */
  constructor(context, place, view, index, theme) {
    this.context = context;
    this.place = place;
    this.view = view;
    this.scene = view.scene;
    this.index = index;
    this.run = view.scene.runs[index];
    this.boxes = this.run.boxes;
    this.theme = theme;
    this.inks = INKS[theme];
    this.unit = this.scene.step * place.scale;
  }

  draw() {
    const { shows, frame } = this.view;
    const places = this.visible();
    this.context.font = TAG_FONT;
    this.context.textBaseline = "middle";
    this.context.lineJoin = "round";
    if (shows.zones) this.drawZones(frame);
    if (shows.detections && this.scene.detections) this.drawDetections(frame);
    if (shows.trails) for (const at of places) this.drawTrail(at);
    for (const at of places) this.drawBox(at);
    if (shows.truth && this.scene.truth) this.drawTruth(frame);
    const namesAll = places.length <= MOST_TAGS;
    for (const at of places) {
      if (namesAll || this.isMarked(this.boxes.identity[at])) this.drawTag(at);
    }
    if (shows.truth && this.scene.truth) this.drawSwitches(frame);
  }

  /** The boxes of the frame that are shown, the marked ones last. */
  visible() {
    const { frame, shows } = this.view;
    const places = Array.from(this.boxes.at(frame)).filter((at) => shows.lost || !(this.boxes.state[at] & LOST));
    const isMarked = (at) => Number(this.isMarked(this.boxes.identity[at]));
    return places.sort((a, b) => isMarked(a) - isMarked(b));
  }

  isMarked(identity) {
    return this.view.isMarked(this.index, identity);
  }

  /** Where a box is, as left, top, width and height. */
  rectangleOf(boxes, at) {
    const { x, y } = this.place;
    return [x + boxes.left[at] * this.unit, y + boxes.top[at] * this.unit, boxes.width[at] * this.unit,
      boxes.height[at] * this.unit];
  }

  /** Zones and lines, with what has been counted there. */
  drawZones(frame) {
    const { context, place, scene } = this;
    const counts = countsAt(this.run, frame);
    for (const { name, points } of [...scene.zones, ...scene.lines]) {
      const [first, ...rest] = points.map(([x, y]) => [place.x + x * place.scale, place.y + y * place.scale]);
      context.beginPath();
      context.moveTo(...first);
      for (const point of rest) context.lineTo(...point);
      if (rest.length > 1) context.closePath();
      context.strokeStyle = this.inks.ink;
      context.lineWidth = 1.5;
      context.setLineDash([12, 4]);
      context.stroke();
      context.setLineDash([]);
      const [x, y] = rest.length > 1 ? first : [(first[0] + rest[0][0]) / 2, (first[1] + rest[0][1]) / 2];
      const words = counts.filter((each) => each.name === name).map((each) => each.words);
      this.writeTag([name, ...words].join(" · "), x, y + TAG_HEIGHT, this.inks.ink, false);
    }
  }

  drawDetections(frame) {
    const { context, scene } = this;
    context.strokeStyle = this.inks.faint;
    context.lineWidth = 1;
    context.setLineDash([2, 2]);
    for (let at = scene.detections.starts[frame - 1]; at < scene.detections.starts[frame]; ++at) {
      context.strokeRect(...this.rectangleOf(scene.detections, at));
    }
    context.setLineDash([]);
  }

  /** The way of the box's foot. */
  drawTrail(last) {
    const { boxes, context, scene } = this;
    const identity = boxes.identity[last];
    const start = scene.times[boxes.frame[last] - 1] - TRAIL;
    context.beginPath();
    for (let at = last; at >= boxes.starts[identity] && scene.times[boxes.frame[at] - 1] >= start; --at) {
      const [left, top, width, height] = this.rectangleOf(boxes, at);
      context.lineTo(left + width / 2, top + height);
    }
    context.strokeStyle = this.colourOf(identity);
    context.globalAlpha = 0.65;
    context.lineWidth = this.isMarked(identity) ? 3 : 1.5;
    context.stroke();
    context.globalAlpha = 1;
  }

  colourOf(identity) {
    return colourOf(identity, this.theme);
  }

  drawBox(at) {
    const { boxes, context } = this;
    const identity = boxes.identity[at];
    const state = boxes.state[at];
    const rectangle = this.rectangleOf(boxes, at);
    const colour = this.colourOf(identity);
    const isMarked = this.isMarked(identity);
    context.globalAlpha = state & LOST ? 0.6 : 1;
    context.lineWidth = isMarked ? 3 : state & CONFIDENT ? 2 : 1;
    context.setLineDash(state & LOST ? [2, 4] : state & SEEN ? [] : [7, 4]);
    if (isMarked) {
      context.fillStyle = `${colour}2e`;
      context.fillRect(...rectangle);
    }
    context.strokeStyle = colour;
    context.strokeRect(...rectangle);
    context.setLineDash([]);
    context.globalAlpha = 1;
    if (this.view.shows.truth && this.scene.truth && boxes.partner[at] === 0 && !(state & LOST)) this.crossOut(rectangle);
  }

  /** A false box: nobody is there. */
  crossOut([left, top, width, height]) {
    const { context } = this;
    context.strokeStyle = this.inks.fault;
    context.lineWidth = 1;
    context.beginPath();
    context.moveTo(left, top);
    context.lineTo(left + width, top + height);
    context.moveTo(left + width, top);
    context.lineTo(left, top + height);
    context.stroke();
  }

  /** Those who are found have a thin outline, those who are missed a bold one. */
  drawTruth(frame) {
    const { context, scene } = this;
    for (const at of scene.truth.at(frame)) {
      if (scene.truth.state[at] & NOT_COUNTED) continue;
      const rectangle = this.rectangleOf(scene.truth, at);
      const isFound = this.run.finders[at] >= 0;
      context.strokeStyle = isFound ? this.inks.faint : this.inks.fault;
      context.lineWidth = isFound ? 1 : 2;
      context.setLineDash(isFound ? [1, 3] : [10, 3, 2, 3]);
      context.strokeRect(...rectangle);
    }
    context.setLineDash([]);
  }

  drawTag(at) {
    const { boxes, view } = this;
    const identity = boxes.identity[at];
    const isSelected = this.index === view.run && identity === view.selected;
    const mark = boxes.state[at] & LOST ? "?" : shapeOf(identity);
    const label = this.scene.labels[boxes.label[at]];
    const text = `${mark} ${boxes.ids[identity]}${isSelected && label ? ` ${label} ${boxes.score[at]} %` : ""}`;
    const [left, top] = this.rectangleOf(boxes, at);
    const isSure = boxes.state[at] & CONFIDENT && !(boxes.state[at] & LOST);
    this.writeTag(text, left, top, this.colourOf(identity), isSure);
  }

  writeTag(text, left, top, colour, isFilled) {
    const { context, place } = this;
    const width = context.measureText(text).width + 8;
    const x = Math.max(place.x, Math.min(left - 1, place.x + this.scene.width * place.scale - width));
    const y = Math.max(place.y, top - TAG_HEIGHT);
    context.fillStyle = isFilled ? colour : this.inks.ground;
    context.fillRect(x, y, width, TAG_HEIGHT);
    if (!isFilled) {
      context.strokeStyle = colour;
      context.lineWidth = 1;
      context.strokeRect(x + 0.5, y + 0.5, width - 1, TAG_HEIGHT - 1);
    }
    context.fillStyle = isFilled ? inkOn(colour) : this.inks.ink;
    context.fillText(text, x + 4, y + TAG_HEIGHT / 2 + 0.5);
  }

  /** Switches of a moment ago, on the person whose identity they changed. */
  drawSwitches(frame) {
    const { boxes, scene } = this;
    const now = scene.times[frame - 1];
    for (const each of this.run.events.switch) {
      const age = now - scene.times[each.frame - 1];
      const at = age >= 0 && age < SWITCH_SHOWN ? scene.truth.boxOf(each.person, frame) : -1;
      if (at < 0) continue;
      const [left, top, width, height] = this.rectangleOf(scene.truth, at);
      const before = each.other < 0 ? "" : `${boxes.ids[each.other]} `;
      this.writeTag(`⇄ ${before}→ ${boxes.ids[each.identity]}`, left, top + height + TAG_HEIGHT, this.inks.fault, true);
      this.context.strokeStyle = this.inks.fault;
      this.context.lineWidth = 2;
      this.context.strokeRect(left - 3, top - 3, width + 6, height + 6);
    }
  }
}
