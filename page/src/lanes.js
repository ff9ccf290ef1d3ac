const LEAST_GAP = 3; // frames between bars of a lane

/** Lays lives into as few lanes as they need; returns the lane of each and how many there are. */
export function lanesOf(boxes) {
  const lanes = new Int32Array(boxes.ids.length);
  const ends = []; // of each lane
  for (let identity = 0; identity < lanes.length; ++identity) {
    const first = boxes.firstFrame(identity);
    let lane = ends.findIndex((end) => end + LEAST_GAP < first);
    if (lane < 0) lane = ends.push(0) - 1;
    ends[lane] = boxes.lastFrame(identity);
    lanes[identity] = lane;
  }
  return { lanes, count: ends.length };
}
