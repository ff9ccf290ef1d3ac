import { colourOf } from "./colours.js";
import { element, percent } from "./text.js";

const SHOWN = ["HOTA", "DetA", "AssA"];
const DASHES = { HOTA: "", DetA: "5 3", AssA: "1.5 3" };
const [WIDTH, HEIGHT] = [300, 190];
const [LEFT, RIGHT, TOP, BOTTOM] = [28, 14, 8, 26];

function shape(name, attributes, text) {
  const made = document.createElementNS("http://www.w3.org/2000/svg", name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  if (text !== undefined) made.textContent = text;
  return made;
}

const xOf = (threshold) => LEFT + threshold * (WIDTH - LEFT - RIGHT);
const yOf = (value) => TOP + (1 - value) * (HEIGHT - TOP - BOTTOM);

function drawGrid(plot) {
  for (let i = 0; i <= 4; ++i) {
    const y = yOf(i / 4);
    plot.append(shape("line", { x1: LEFT, x2: WIDTH - RIGHT, y1: y, y2: y, class: "grid" }));
    plot.append(shape("text", { x: LEFT - 5, y: y + 3, "text-anchor": "end" }, String(i * 25)));
    plot.append(shape("text", { x: xOf(i / 4), y: HEIGHT - BOTTOM + 13, "text-anchor": "middle" }, (i / 4).toFixed(2)));
  }
  plot.append(shape("text", { x: xOf(0.5), y: HEIGHT - 2, "text-anchor": "middle" }, "least overlap (IoU)"));
}

/** HOTA and what it is made of over the thresholds of overlap, a colour for each run. */
export function plotOfScores(runs, theme) {
  const label = runs.map((run) => `${run.name}: HOTA ${percent(run.figures[0].value)}`).join(", ");
  const plot = shape("svg", { viewBox: `0 0 ${WIDTH} ${HEIGHT}`, role: "img", "aria-label": label });
  drawGrid(plot);
  const key = element("p", "key");
  for (const [index, run] of runs.entries()) {
    for (const { name, values } of run.curves.filter((curve) => SHOWN.includes(curve.name))) {
      const points = values.map((value, i) => `${xOf(0.05 * (i + 1)).toFixed(1)},${yOf(value).toFixed(1)}`).join(" ");
      plot.append(shape("polyline", { points, stroke: colourOf(index, theme), "stroke-dasharray": DASHES[name], class: name }));
    }
    const dot = element("i", "dot");
    dot.style.background = colourOf(index, theme);
    key.append(element("span", "", dot, run.name));
  }
  key.append(element("span", "faint", "— HOTA  ‒ ‒ DetA  ··· AssA"));
  return element("div", "plot", plot, key);
}
