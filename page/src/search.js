import { colourOf, shapeOf } from "./colours.js";
import { element } from "./text.js";

const MOST_FOUND = 40;

/** The identities that a text finds: those of that very name first, then those whose name or label has it. */
export function identitiesFound(scene, text) {
  const wanted = text.trim().toLowerCase();
  if (wanted === "") return [];
  const [exact, others] = [[], []];
  scene.runs.forEach(({ boxes }, run) => {
    for (let identity = 0; identity < boxes.ids.length; ++identity) {
      const label = scene.labels[boxes.label[boxes.starts[identity + 1] - 1]] ?? "";
      if (boxes.ids[identity] === wanted) exact.push({ run, identity, label });
      else if (others.length < MOST_FOUND && `${boxes.ids[identity]} ${label}`.toLowerCase().includes(wanted)) {
        others.push({ run, identity, label });
      }
    }
  });
  return [...exact, ...others].slice(0, MOST_FOUND);
}

/** A box to type into, and a list of who is found. */
export class Search {
  constructor(view, input, list, themeOf) {
    Object.assign(this, { view, input, list, themeOf });
    this.found = [];
    this.chosen = 0;
    input.addEventListener("input", () => this.find());
    input.addEventListener("keydown", (event) => this.key(event));
    input.addEventListener("blur", () => this.close());
    list.addEventListener("pointerdown", (event) => this.click(event));
  }

  find() {
    this.found = identitiesFound(this.view.scene, this.input.value);
    this.chosen = 0;
    this.draw();
  }

  draw() {
    const { scene } = this.view;
    this.list.replaceChildren(...this.found.map(({ run, identity, label }, index) => {
      const { boxes, name } = scene.runs[run];
      const mark = element("b", "", `${shapeOf(identity)} ${boxes.ids[identity]}`);
      mark.style.color = colourOf(identity, this.themeOf());
      const where = scene.runs.length > 1 ? ` · ${name}` : "";
      const item = element("li", "", mark, ` ${label} · frames ${boxes.firstFrame(identity)}–${boxes.lastFrame(identity)}${where}`);
      item.id = `found-${index}`;
      item.setAttribute("role", "option");
      item.setAttribute("aria-selected", String(index === this.chosen));
      return item;
    }));
    const isOpen = this.input.value.trim() !== "";
    if (isOpen && this.found.length === 0) this.list.replaceChildren(element("li", "none", "nobody is called so"));
    this.list.hidden = !isOpen;
    this.input.setAttribute("aria-expanded", String(isOpen));
    this.input.setAttribute("aria-activedescendant", this.found.length > 0 ? `found-${this.chosen}` : "");
    document.getElementById(`found-${this.chosen}`)?.scrollIntoView({ block: "nearest" });
  }

  key(event) {
    event.stopPropagation();
    const steps = { ArrowDown: 1, ArrowUp: -1 }[event.key];
    if (steps && this.found.length > 0) {
      this.chosen = (this.chosen + steps + this.found.length) % this.found.length;
      this.draw();
      event.preventDefault();
    } else if (event.key === "Enter" && this.found.length > 0) {
      this.choose(this.found[this.chosen]);
    } else if (event.key === "Escape") {
      this.input.value = "";
      this.input.blur();
    }
  }

  click(event) {
    const at = [...this.list.children].indexOf(event.target.closest("li"));
    if (this.found[at]) this.choose(this.found[at]);
  }

  /** Selects who was found, and goes to where they are. */
  choose({ run, identity }) {
    const { boxes } = this.view.scene.runs[run];
    this.view.select(run, identity);
    if (boxes.boxOf(identity, this.view.frame) < 0) this.view.goTo(boxes.firstFrame(identity));
    this.input.blur();
  }

  close() {
    this.list.hidden = true;
    this.input.setAttribute("aria-expanded", "false");
  }
}
