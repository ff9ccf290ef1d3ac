import { Boxes } from "./boxes.js";

/** Numbers as the tool packs them: groups of 7 bits, the lowest first, the sign in the lowest bit. */
class Numbers {
  constructor(bytes, at) {
    this.bytes = bytes;
    this.at = at;
  }

  next() {
    const bytes = this.bytes;
    let byte = bytes[this.at++];
    let bits = byte & 0x7f;
    for (let shift = 7; byte > 0x7f; shift += 7) {
      byte = bytes[this.at++];
      bits |= (byte & 0x7f) << shift;
    }
    return (bits >>> 1) ^ -(bits & 1);
  }

  column(count) {
    const numbers = new Int32Array(count);
    for (let i = 0; i < count; ++i) numbers[i] = this.next();
    return numbers;
  }

  /** Of numbers that came as their differences. */
  differences(count, Kind = Int32Array) {
    const numbers = new Kind(count);
    let last = 0;
    for (let i = 0; i < count; ++i) numbers[i] = last += this.next();
    return numbers;
  }

  /** Of numbers that came as their differences from where the two before led, anew behind each of the starts. */
  course(starts) {
    const count = starts[starts.length - 1];
    const numbers = new Int32Array(count);
    let last = 0;
    for (let i = 0; i + 1 < starts.length; ++i) {
      let step = 0;
      for (let at = starts[i]; at < starts[i + 1]; ++at) {
        const number = last + step + this.next();
        if (at > starts[i]) step = number - last;
        numbers[at] = last = number;
      }
    }
    return numbers;
  }
}

function startsOf(counts) {
  const starts = new Int32Array(counts.length + 1);
  for (let i = 0; i < counts.length; ++i) starts[i + 1] = starts[i] + counts[i];
  return starts;
}

function unpackBoxes(head, frames, numbers) {
  const starts = startsOf(numbers.column(head.ids.length));
  const count = head.boxes;
  const boxes = new Boxes(head.ids, starts, numbers.differences(count));
  for (const edge of ["left", "top", "width", "height"]) boxes[edge] = numbers.course(starts);
  boxes.state = numbers.differences(count, Uint8Array);
  boxes.score = numbers.differences(count, Int16Array);
  boxes.label = numbers.differences(count, Int16Array);
  boxes.partner = numbers.differences(count);
  boxes.index(frames);
  return boxes;
}

/** Detections of all frames, one after the other; those of frame f begin at starts[f - 1]. */
function unpackDetections(head, numbers) {
  if (head.detections === 0) return null;
  const detections = { starts: startsOf(numbers.column(head.frames)) };
  const count = head.detections;
  for (const column of ["left", "top", "width", "height", "score", "label"]) {
    detections[column] = numbers.differences(count);
  }
  return detections;
}

function unpackCamera(head, numbers) {
  const camera = { ...head };
  camera.times = numbers.differences(head.frames, Float64Array);
  camera.detections = unpackDetections(head, numbers);
  camera.truth = head.truth ? unpackBoxes(head.truth, head.frames, numbers) : null;
  camera.runs = head.runs.map((run) => ({ ...run, boxes: unpackBoxes(run, head.frames, numbers) }));
  return camera;
}

export function bytesOfBase64(text) {
  const characters = atob(text);
  const bytes = new Uint8Array(characters.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = characters.charCodeAt(i);
  return bytes;
}

/** The recording that a text in base64 holds. */
export async function unpackRecording(text) {
  const packed = new Blob([bytesOfBase64(text)]).stream().pipeThrough(new DecompressionStream("deflate"));
  const bytes = new Uint8Array(await new Response(packed).arrayBuffer());
  const headEnd = 4 + new DataView(bytes.buffer).getUint32(0, true);
  const head = JSON.parse(new TextDecoder().decode(bytes.subarray(4, headEnd)));
  const numbers = new Numbers(bytes, headEnd);
  return { ...head, cameras: head.cameras.map((camera) => unpackCamera(camera, numbers)) };
}
