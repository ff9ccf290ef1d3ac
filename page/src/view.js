/**
 * What is looked at: which camera, run, frame and identity, and what is shown of them. Changes come together before the
 * next picture is drawn, and listeners get the names of what has changed.
 */
export class View {
  constructor(recording) {
    this.recording = recording;
    this.camera = 0;
    this.run = 0;
    this.frame = 1;
    this.selected = -1;
    this.hovered = -1;
    this.hoveredRun = -1;
    this.playing = false;
    this.speed = 1;
    this.shows = { detections: false, lost: true, trails: true, truth: true, zones: true, footage: true };
    this.listeners = [];
    this.changed = new Set();
  }

  get scene() {
    return this.recording.cameras[this.camera];
  }

  get current() {
    return this.scene.runs[this.run];
  }

  listen(listener) {
    this.listeners.push(listener);
  }

  set(changes) {
    for (const [name, value] of Object.entries(changes)) {
      if (this[name] === value) continue;
      this[name] = value;
      if (this.changed.size === 0) requestAnimationFrame(() => this.tell());
      this.changed.add(name);
    }
  }

  tell() {
    const changed = this.changed;
    this.changed = new Set();
    for (const listener of this.listeners) listener(changed);
  }

  goTo(frame) {
    this.set({ frame: Math.min(Math.max(Math.round(frame), 1), this.scene.frames) });
  }

  select(run, identity) {
    this.set({ run, selected: identity });
  }

  hover(run, identity) {
    this.set({ hoveredRun: run, hovered: identity });
  }

  /** Whether an identity is selected or pointed at. */
  isMarked(run, identity) {
    return (run === this.run && identity === this.selected) || (run === this.hoveredRun && identity === this.hovered);
  }

  show(name, isShown) {
    this.set({ shows: { ...this.shows, [name]: isShown } });
  }

  lookAt(camera) {
    const length = this.recording.cameras[camera].frames;
    const time = this.scene.times[this.frame - 1];
    this.set({ camera, run: 0, selected: -1, hovered: -1 });
    this.set({ frame: Math.min(frameAt(this.scene.times, time), length) });
  }
}

/** The frame, from 1, that is shown at a time. */
export function frameAt(times, time) {
  let low = 0;
  let high = times.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (times[middle] <= time) low = middle + 1;
    else high = middle;
  }
  return Math.max(low, 1);
}
