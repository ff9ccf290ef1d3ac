import { frameAt } from "./view.js";

export const SPEEDS = [0.1, 0.25, 0.5, 1, 2, 4, 8, 16];

/** Shows frames at their times, as fast as is asked for. */
export class Player {
  constructor(view) {
    this.view = view;
    view.listen((changed) => {
      if (changed.has("playing") && view.playing) this.start();
      if (changed.has("speed") || changed.has("camera")) this.restart();
    });
  }

  start() {
    const { view } = this;
    if (view.frame === view.scene.frames) view.goTo(1);
    this.restart();
    requestAnimationFrame((now) => this.step(now));
  }

  /** From here on, time counts anew. */
  restart() {
    this.began = null;
  }

  step(now) {
    const { view } = this;
    if (!view.playing) return;
    const { times, frames } = view.scene;
    // Whoever has jumped meanwhile goes on from there.
    if (this.began === null || view.frame !== this.shown) {
      this.began = now;
      this.from = times[view.frame - 1];
    }
    const time = this.from + (now - this.began) * view.speed;
    view.goTo(frameAt(times, time));
    this.shown = view.frame;
    if (view.frame === frames && time >= times[frames - 1]) view.set({ playing: false });
    else requestAnimationFrame((next) => this.step(next));
  }

  /** Faster, or slower. */
  change(steps) {
    const at = SPEEDS.indexOf(this.view.speed) + steps;
    this.view.set({ speed: SPEEDS[Math.min(Math.max(at, 0), SPEEDS.length - 1)] });
  }
}
