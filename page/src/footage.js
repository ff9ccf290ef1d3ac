import { bytesOfBase64 } from "./unpack.js";

const MOST_KEPT = 90; // pictures
const AHEAD = 8; // frames that are loaded before they are shown
const MOST_DRIFT = 0.12; // s, by which a playing video may be off

/** The bytes of what is embedded in the page under a name, once. */
function embedded(id) {
  return new Blob([bytesOfBase64(document.getElementById(id).textContent)]);
}

/** No footage at all. */
class Nothing {
  imageAt() {
    return null;
  }

  follow() {}
}

/** A file for each frame. */
class Pictures {
  constructor(camera, isEmbedded, view, onLoad) {
    this.camera = camera;
    this.isEmbedded = isEmbedded;
    this.view = view;
    this.onLoad = onLoad;
    this.kept = new Map(); // frame to picture; null while it loads or where it can't be
  }

  imageAt(frame) {
    return this.kept.get(frame) ?? null;
  }

  follow() {
    const { frame, playing } = this.view;
    for (let next = frame; next <= frame + (playing ? AHEAD : 1); ++next) this.load(next);
    for (const old of this.kept.keys()) {
      if (this.kept.size <= MOST_KEPT) break;
      if (old < frame || old > frame + AHEAD) this.kept.delete(old);
    }
  }

  load(frame) {
    const address = this.view.recording.cameras[this.camera].pictures[frame - 1];
    if (address === undefined || this.kept.has(frame)) return;
    this.kept.set(frame, null);
    this.read(frame, address).then(
      (image) => {
        this.kept.set(frame, image);
        if (frame === this.view.frame) this.onLoad();
      },
      () => {}, // without the picture, boxes stand on plain ground
    );
  }

  async read(frame, address) {
    if (this.isEmbedded) return createImageBitmap(embedded(`picture-${this.camera}-${frame - 1}`));
    const image = new Image();
    image.src = address;
    await image.decode();
    return image;
  }
}

/** A video, kept at the time of the frame that is shown. */
class Video {
  constructor(camera, isEmbedded, view, onLoad) {
    this.view = view;
    this.video = document.createElement("video");
    this.video.muted = true;
    this.video.preload = "auto";
    this.video.playsInline = true;
    for (const event of ["seeked", "loadeddata"]) this.video.addEventListener(event, onLoad);
    const address = view.recording.cameras[camera].video;
    this.video.src = isEmbedded ? URL.createObjectURL(embedded(`video-${camera}`)) : address;
  }

  imageAt() {
    return this.video.readyState >= HTMLMediaElement.HAVE_CURRENT_DATA ? this.video : null;
  }

  follow() {
    const { frame, playing, scene, speed } = this.view;
    const time = scene.times[frame - 1] / 1000 + 1e-3;
    if (playing && this.video.paused) this.video.play().catch(() => {});
    if (!playing && !this.video.paused) this.video.pause();
    this.video.playbackRate = Math.min(Math.max(speed, 0.1), 16);
    if (Math.abs(this.video.currentTime - time) > (playing ? MOST_DRIFT * Math.max(speed, 1) : 1e-3)) {
      this.video.currentTime = time;
    }
  }
}

/** What is behind the boxes of a camera; `onLoad` is called when more of it can be shown. */
export function footageOf(camera, view, onLoad) {
  const { recording } = view;
  const head = recording.cameras[camera];
  if (head.pictures) return new Pictures(camera, recording.isEmbedded, view, onLoad);
  if (head.video !== undefined) return new Video(camera, recording.isEmbedded, view, onLoad);
  return new Nothing();
}
