/** What the state of a box says, bit by bit, as the tool packs it. */
export const SEEN = 1;
export const CONFIDENT = 2;
export const LOST = 4;
export const NOT_COUNTED = 8;

/** How a stretch of a life shows in the timeline. */
export const TENTATIVE = 0;
export const FOLLOWED = 1;
export const COASTING = 2;
export const OUT_OF_SIGHT = 3;

function stretchOf(state) {
  if (state & LOST) return OUT_OF_SIGHT;
  if (!(state & CONFIDENT)) return TENTATIVE;
  return state & SEEN ? FOLLOWED : COASTING;
}

/** All boxes of tracks or of a truth, identity by identity, each in the order of frames. Identities count from 0. */
export class Boxes {
  constructor(ids, starts, frame) {
    this.ids = ids;
    this.starts = starts;
    this.frame = frame;
  }

  /** Finds out which boxes each frame has, and how lives go on. */
  index(frames) {
    const count = this.frame.length;
    this.identity = new Int32Array(count);
    for (let i = 0; i < this.ids.length; ++i) this.identity.fill(i, this.starts[i], this.starts[i + 1]);
    this.frameStarts = new Int32Array(frames + 2);
    for (let i = 0; i < count; ++i) ++this.frameStarts[this.frame[i] + 1];
    for (let i = 1; i < frames + 2; ++i) this.frameStarts[i] += this.frameStarts[i - 1];
    const next = this.frameStarts.slice();
    this.byFrame = new Int32Array(count);
    for (let i = 0; i < count; ++i) this.byFrame[next[this.frame[i]]++] = i;
    this.findStretches();
  }

  findStretches() {
    const first = [];
    const last = [];
    const kind = [];
    this.stretchStarts = new Int32Array(this.ids.length + 1);
    for (let i = 0; i < this.ids.length; ++i) {
      let before = -1;
      for (let at = this.starts[i]; at < this.starts[i + 1]; ++at) {
        const now = stretchOf(this.state[at]);
        if (before === now && this.frame[at] === last[last.length - 1] + 1) {
          last[last.length - 1] = this.frame[at];
          continue;
        }
        first.push(this.frame[at]);
        last.push(this.frame[at]);
        kind.push(now);
        before = now;
      }
      this.stretchStarts[i + 1] = first.length;
    }
    this.stretches = { first: Int32Array.from(first), last: Int32Array.from(last), kind: Uint8Array.from(kind) };
  }

  /** The boxes of a frame, by their places. */
  at(frame) {
    return this.byFrame.subarray(this.frameStarts[frame], this.frameStarts[frame + 1]);
  }

  /** The place of an identity's last box that is not behind a frame; -1 if there is none. */
  lastUntil(identity, frame) {
    let low = this.starts[identity];
    let high = this.starts[identity + 1];
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.frame[middle] <= frame) low = middle + 1;
      else high = middle;
    }
    return low > this.starts[identity] ? low - 1 : -1;
  }

  /** The place of an identity's box in a frame; -1 if it has none. */
  boxOf(identity, frame) {
    const at = this.lastUntil(identity, frame);
    return at >= 0 && this.frame[at] === frame ? at : -1;
  }

  firstFrame(identity) {
    return this.frame[this.starts[identity]];
  }

  lastFrame(identity) {
    return this.frame[this.starts[identity + 1] - 1];
  }
}
