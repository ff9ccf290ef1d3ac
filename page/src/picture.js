import { LOST } from "./boxes.js";
import { INKS } from "./colours.js";
import { Drawing } from "./drawing.js";
import { element } from "./text.js";

/** Gives a canvas as many pixels as the screen has where it is, and returns its size in those of the style. */
export function fitToScreen(canvas) {
  const ratio = window.devicePixelRatio || 1;
  const width = canvas.clientWidth;
  const height = canvas.clientHeight;
  const [wide, high] = [Math.round(width * ratio), Math.round(height * ratio)];
  if (canvas.width !== wide || canvas.height !== high) [canvas.width, canvas.height] = [wide, high];
  return { width, height, ratio };
}

/** The picture of one run: a canvas that is drawn anew whenever something of it changes. */
export class Picture {
  constructor(view, index, footage) {
    this.view = view;
    this.index = index;
    this.footage = footage;
    this.canvas = element("canvas");
    this.canvas.setAttribute("role", "img");
    this.caption = element("figcaption", "", view.scene.runs[index]?.name ?? "");
    this.figure = element("figure", "", this.caption, this.canvas);
    this.canvas.addEventListener("click", (event) => this.select(event));
    this.canvas.addEventListener("pointermove", (event) => this.hover(event));
    this.canvas.addEventListener("pointerleave", () => view.hover(-1, -1));
    this.spent = 0; // ms, for the last drawing
  }

  get run() {
    return this.view.scene.runs[this.index];
  }

  /** The camera's picture as large as fits into the middle of the canvas. */
  placeIn(width, height) {
    const { scene } = this.view;
    const scale = Math.min(width / scene.width, height / scene.height);
    return { x: (width - scene.width * scale) / 2, y: (height - scene.height * scale) / 2, scale };
  }

  draw(theme) {
    const start = performance.now();
    const { width, height, ratio } = fitToScreen(this.canvas);
    const context = this.canvas.getContext("2d");
    const { scene, frame, shows } = this.view;
    const place = (this.place = this.placeIn(width, height));
    const image = shows.footage ? this.footage.imageAt(frame) : null;
    const shown = image ? "dark" : theme; // footage is brighter than any ground, and its boxes are to be, too
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, width, height);
    context.fillStyle = INKS[theme].ground;
    const area = [place.x, place.y, scene.width * place.scale, scene.height * place.scale];
    context.fillRect(...area);
    if (image) context.drawImage(image, ...area);
    if (this.run) {
      context.save();
      context.beginPath();
      context.rect(...area);
      context.clip();
      new Drawing(context, place, this.view, this.index, shown).draw();
      context.restore();
    }
    this.figure.classList.toggle("active", scene.runs.length > 1 && this.index === this.view.run);
    this.describe();
    this.spent = performance.now() - start;
  }

  describe() {
    const count = this.run ? this.run.boxes.at(this.view.frame).length : 0;
    this.canvas.setAttribute("aria-label", `Frame ${this.view.frame} of ${this.view.scene.frames}: ${count} tracks`);
  }

  /** The identity of the smallest box at a place of the canvas; -1 if there is none. */
  identityAt(x, y) {
    if (!this.run || !this.place) return -1;
    const { boxes } = this.run;
    const unit = this.view.scene.step * this.place.scale;
    const [column, row] = [(x - this.place.x) / unit, (y - this.place.y) / unit];
    let best = -1;
    let least = Infinity;
    for (const at of boxes.at(this.view.frame)) {
      if (boxes.state[at] & LOST && !this.view.shows.lost) continue;
      const isInside = column >= boxes.left[at] && column <= boxes.left[at] + boxes.width[at] &&
        row >= boxes.top[at] && row <= boxes.top[at] + boxes.height[at];
      const area = boxes.width[at] * boxes.height[at];
      if (!isInside || area >= least) continue;
      best = boxes.identity[at];
      least = area;
    }
    return best;
  }

  select(event) {
    this.view.select(this.index, this.identityAt(event.offsetX, event.offsetY));
  }

  hover(event) {
    const identity = this.identityAt(event.offsetX, event.offsetY);
    this.canvas.style.cursor = identity < 0 ? "" : "pointer";
    this.view.hover(this.index, identity);
  }
}
