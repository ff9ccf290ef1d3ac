import { LOST, SEEN } from "./boxes.js";
import { colourOf, shapeOf } from "./colours.js";
import { countsAt } from "./events.js";
import { plotOfScores } from "./plots.js";
import { breakable, button, clock, duration, element, percent, plural } from "./text.js";

const MOST_LISTED = 1000;
const FIGURES = ["HOTA", "DetA", "AssA", "LocA", "MOTA", "IDF1", "IDSW", "FP", "FN"];

/** Rows of names and what stands for them; those without are left out. */
function facts(rows) {
  const list = element("dl");
  for (const [name, ...values] of rows) {
    if (values.length > 0) list.append(element("dt", "", name), element("dd", "", ...values));
  }
  return list;
}

/** Says how many of a list are not shown. */
function restOf(list) {
  return list.length > MOST_LISTED ? [element("p", "faint", `and ${list.length - MOST_LISTED} more`)] : [];
}

/** What is known of an identity from its boxes alone. */
function lifeOf(boxes, identity) {
  const life = { seen: 0, reported: 0, score: 0, gaps: [] };
  for (let at = boxes.starts[identity]; at < boxes.starts[identity + 1]; ++at) {
    if (boxes.state[at] & SEEN) ++life.seen;
    if (!(boxes.state[at] & LOST)) {
      ++life.reported;
      life.score += boxes.score[at];
    }
  }
  let away = null;
  for (let i = boxes.stretchStarts[identity]; i < boxes.stretchStarts[identity + 1]; ++i) {
    const { first, last, kind } = boxes.stretches;
    const isSeen = kind[i] < 2 && boxes.state[boxes.boxOf(identity, first[i])] & SEEN;
    if (isSeen && away !== null && first[i] > away + 1) life.gaps.push([away + 1, first[i] - 1]);
    if (isSeen) away = last[i];
  }
  return life;
}

/** The people of the truth whom an identity followed, and in how many frames. */
function followedBy(boxes, identity) {
  const counts = new Map();
  for (let at = boxes.starts[identity]; at < boxes.starts[identity + 1]; ++at) {
    if (boxes.state[at] & LOST) continue;
    counts.set(boxes.partner[at], (counts.get(boxes.partner[at]) ?? 0) + 1);
  }
  return [...counts].sort((a, b) => b[1] - a[1]);
}

export class Panel {
  constructor(view, root) {
    this.view = view;
    this.now = element("section", "now");
    this.root = root;
  }

  /** A link to a frame. */
  frameLink(frame, text = `frame ${frame}`) {
    return button(text, "link", () => this.view.goTo(frame));
  }

  identityLink(run, identity) {
    const { boxes } = this.view.scene.runs[run];
    const name = button(`${shapeOf(identity)} ${boxes.ids[identity]}`, "link", () => this.view.select(run, identity));
    name.style.color = colourOf(identity, this.theme);
    return name;
  }

  draw(theme) {
    this.theme = theme;
    const { view } = this;
    const parts = [view.selected >= 0 ? this.identity() : this.overview(), this.now];
    this.reasons = view.selected >= 0 ? this.reasonsOf(view.selected) : [];
    if (view.selected >= 0) parts.push(this.why());
    const events = this.events();
    if (events) parts.push(events);
    if (view.scene.truth && view.scene.runs.some((run) => run.figures)) parts.push(this.scores());
    this.root.replaceChildren(...parts);
    this.drawNow();
  }

  overview() {
    const { scene, current } = this.view;
    const rows = [["Length", `${plural(scene.frames, "frame")}, ${duration(scene.times[scene.frames - 1])}`]];
    if (scene.detections) rows.push(["Detections", scene.detections.left.length.toLocaleString("en")]);
    if (current) rows.push(["Identities", current.boxes.ids.length.toLocaleString("en")]);
    if (current?.merges.length) rows.push(["Merged", String(current.merges.length)]);
    if (scene.truth) rows.push(["In the truth", scene.truth.ids.length.toLocaleString("en")]);
    const hint = element("p", "faint", "Choose a box, a bar or a name to see its life. The key ? lists all keys.");
    return element("section", "", element("h2", "", scene.name), facts(rows), hint);
  }

  identity() {
    const { scene, current, run, selected } = this.view;
    const { boxes } = current;
    const [first, last] = [boxes.firstFrame(selected), boxes.lastFrame(selected)];
    const life = lifeOf(boxes, selected);
    const title = element("h2", "", element("span", "", `${shapeOf(selected)} ${boxes.ids[selected]}`), " ",
      scene.labels[boxes.label[boxes.starts[selected + 1] - 1]] ?? "");
    title.firstChild.style.color = colourOf(selected, this.theme);
    const close = button("✕", "close", () => this.view.select(run, -1));
    close.setAttribute("aria-label", "Select nothing");
    const rows = [
      ["Life", this.frameLink(first), " to ", this.frameLink(last), `, ${duration(scene.times[last - 1] - scene.times[first - 1])}`],
      ["Seen", `in ${life.seen} of ${plural(last - first + 1, "frame")}`],
      ["Mean score", `${(life.score / Math.max(life.reported, 1)).toFixed(0)} %`],
      ["Unseen", ...this.gaps(life.gaps)],
      ["Merges", ...this.merges(selected)],
      ["Follows", ...this.followed(boxes, selected)],
    ];
    if (scene.runs.length > 1) rows.unshift(["Tracker", current.name]);
    return element("section", "identity", close, title, facts(rows));
  }

  gaps(gaps) {
    const { times } = this.view.scene;
    const shown = gaps.slice(0, 12).flatMap(([first, last], i) => [i > 0 ? ", " : "",
      this.frameLink(first, first === last ? String(first) : `${first}–${last}`),
      last - first < 5 ? "" : ` (${duration(times[last] - times[first - 1])})`]);
    if (gaps.length > 12) shown.push(` and ${gaps.length - 12} more times`);
    return shown;
  }

  merges(identity) {
    const { run, current } = this.view;
    return current.merges.filter(([, absorbed, into]) => absorbed === identity || into === identity)
      .flatMap(([frame, absorbed, into]) => (into === identity
        ? ["took in ", this.identityLink(run, absorbed), " in ", this.frameLink(frame), " "]
        : ["became ", this.identityLink(run, into), " in ", this.frameLink(frame), " "]));
  }

  followed(boxes, identity) {
    const { truth } = this.view.scene;
    if (!truth) return [];
    const nameOf = (partner) => (partner > 0 ? `person ${truth.ids[partner - 1]}` : partner === 0 ? "nobody" : "who doesn't count");
    return [followedBy(boxes, identity).map(([partner, count]) => `${nameOf(partner)} (${plural(count, "frame")})`).join(", ")];
  }

  /** What happened to an identity and why, with the switches that it took part in, in the order of frames. */
  reasonsOf(identity) {
    const { reasons, events } = this.view.current;
    const switches = events.switch.filter((each) => each.sentence && (each.identity === identity || each.other === identity));
    return [...(reasons?.[identity] ?? []), ...switches].sort((a, b) => a.frame - b.frame);
  }

  why() {
    const heading = element("h3", "", "Why");
    if (!this.view.current.reasons) {
      return element("section", "why", heading, element("p", "faint", "Reasons are told of detections that nivra replay tracks itself."));
    }
    const list = element("ol", "events");
    for (const { frame, sentence } of this.reasons.slice(0, MOST_LISTED)) {
      const link = this.frameLink(frame, String(frame));
      link.append(breakable(sentence));
      list.append(element("li", "", link));
    }
    return element("section", "why", heading, list, ...restOf(this.reasons));
  }

  /** Marks what happened last until the shown frame, and scrolls its list there. */
  markReason() {
    const list = this.root.querySelector(".why ol");
    const last = this.reasons.findLastIndex(({ frame }) => frame <= this.view.frame);
    const item = list?.children[last];
    if (item?.ariaCurrent) return;
    for (const each of list?.children ?? []) each.ariaCurrent = each === item ? "step" : null;
    if (item) list.scrollTop = item.offsetTop - list.offsetTop;
  }

  /** What there is of the selection in the shown frame. */
  drawNow() {
    const { scene, current, frame, selected } = this.view;
    if (!current) return this.now.replaceChildren();
    const at = selected >= 0 ? current.boxes.boxOf(selected, frame) : -1;
    const count = current.boxes.at(frame).length;
    const rows = [["Time", clock(scene.times[frame - 1])], ["Tracks", String(count)]];
    if (at >= 0) {
      const { boxes } = current;
      const pixels = (steps) => (steps * scene.step).toFixed(0);
      const state = boxes.state[at] & LOST ? "lost" : boxes.state[at] & SEEN ? "seen" : "not seen";
      rows.push(["State", `${state}, ${boxes.score[at]} %`]);
      rows.push(["Box", `${pixels(boxes.width[at])} × ${pixels(boxes.height[at])} at ${pixels(boxes.left[at])}, ${pixels(boxes.top[at])}`]);
    } else if (selected >= 0) {
      rows.push(["State", "not there"]);
    }
    for (const { name, words } of countsAt(current, frame)) rows.push([name, words]);
    this.markReason();
    return this.now.replaceChildren(element("h3", "", `Frame ${frame}`), facts(rows));
  }

  events() {
    const { run, current } = this.view;
    if (!current) return null;
    const all = [...current.events.merge, ...current.events.switch].sort((a, b) => a.frame - b.frame);
    if (all.length === 0) return null;
    const list = element("ol", "events");
    for (const each of all.slice(0, MOST_LISTED)) {
      const words = each.kind === "merge"
        ? [this.identityLink(run, each.other), " became ", this.identityLink(run, each.identity)]
        : ["switch from ", ...(each.other < 0 ? [] : [this.identityLink(run, each.other)]), " to ", this.identityLink(run, each.identity)];
      const why = each.sentence ? [element("p", "faint", breakable(each.sentence))] : [];
      list.append(element("li", each.kind, this.frameLink(each.frame, String(each.frame)), " ", ...words, ...why));
    }
    return element("section", "", element("h3", "", "Merges and switches"), list, ...restOf(all));
  }

  scores() {
    const runs = this.view.scene.runs.filter((run) => run.figures);
    const table = element("table");
    table.append(element("tr", "", element("td"), ...runs.map((run) => element("th", "", run.name))));
    for (const name of FIGURES) {
      const cells = runs.map((run) => {
        const { value, isFraction } = run.figures.find((figure) => figure.name === name);
        return element("td", "", isFraction ? percent(value) : String(value));
      });
      table.append(element("tr", "", element("th", "", name), ...cells));
    }
    return element("section", "", element("h3", "", "Against the truth"), plotOfScores(runs, this.theme),
      element("div", "scores", table));
  }
}
