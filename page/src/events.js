/** What happens to identities, kind by kind, each in the order of frames. */
export function eventsOf(run, truth) {
  const { boxes } = run;
  const births = boxes.ids.map((_, identity) => ({ kind: "birth", frame: boxes.firstFrame(identity), identity }));
  const merges = run.merges.map(([frame, identity, into]) => ({ kind: "merge", frame, identity: into, other: identity }));
  const switches = truth ? switchesOf(run, truth) : [];
  for (const list of [births, merges, switches]) list.sort((a, b) => a.frame - b.frame);
  return { birth: births, merge: merges, switch: switches };
}

/** The box of a run that found each box of the truth; -1 for none. */
export function findersOf(boxes, truth) {
  const finders = new Int32Array(truth.frame.length).fill(-1);
  for (let at = 0; at < boxes.frame.length; ++at) {
    if (boxes.partner[at] <= 0) continue;
    const found = truth.boxOf(boxes.partner[at] - 1, boxes.frame[at]);
    if (found >= 0) finders[found] = at;
  }
  return finders;
}

function switchesOf(run, truth) {
  return run.switches.flatMap(({ frame, person, sentence }) => {
    const at = truth.boxOf(person, frame);
    if (at < 0 || run.finders[at] < 0) return [];
    let before = at - 1;
    while (before >= truth.starts[person] && run.finders[before] < 0) --before;
    const other = before < truth.starts[person] ? -1 : run.boxes.identity[run.finders[before]];
    return [{ kind: "switch", frame, identity: run.boxes.identity[run.finders[at]], other, person, sentence }];
  });
}

const SIDES = ["", " to the left", " to the right"];

/** What a run has counted until a frame, place by place, in words. */
export function countsAt(run, frame) {
  const steps = run.counts.filter((each) => each.frame <= frame);
  const places = (steps[steps.length - 1]?.places ?? []).filter(({ name }) => name !== "");
  return places.map(({ name, side, label, times, inside }) => ({
    name,
    words: side > 0 ? `${times} ${label}${SIDES[side]}` : `${inside} ${label} inside, ${times} entered`,
  }));
}

/** The next event behind a frame, or the last one before it; undefined if there is none. */
export function neighbourOf(list, frame, isForward) {
  if (isForward) return list.find((each) => each.frame > frame);
  for (let i = list.length - 1; i >= 0; --i) {
    if (list[i].frame < frame) return list[i];
  }
  return undefined;
}
