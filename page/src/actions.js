import { neighbourOf } from "./events.js";

const SWITCHES = {
  detections: { name: "Detections", keys: ["d"] },
  lost: { name: "Lost tracks", keys: ["l"] },
  trails: { name: "Trails", keys: ["t"] },
  truth: { name: "Truth", keys: ["g"] },
  zones: { name: "Zones", keys: ["z"] },
  footage: { name: "Footage", keys: ["f"] },
};

/** Which of the switches have anything to show in a recording. */
function usefulSwitches({ cameras }) {
  const isUseful = {
    detections: cameras.some((camera) => camera.detections),
    lost: cameras.some((camera) => camera.runs.some((run) => run.hasLost)),
    trails: true,
    truth: cameras.some((camera) => camera.truth),
    zones: cameras.some((camera) => camera.zones.length + camera.lines.length > 0),
    footage: cameras.some((camera) => camera.pictures || camera.video !== undefined),
  };
  return Object.entries(SWITCHES).filter(([name]) => isUseful[name]);
}

/** Goes to the next event of a kind or the previous one, and selects whom it is about. */
function goToEvent(app, kind, isForward) {
  const { view } = app;
  const event = neighbourOf(view.current?.events[kind] ?? [], view.frame, isForward);
  if (!event) return app.say(`No ${isForward ? "further" : "earlier"} ${kind}.`);
  view.set({ selected: event.identity });
  view.goTo(event.frame);
  return app.say(`${kind} of ${view.current.boxes.ids[event.identity]}, frame ${event.frame}`);
}

/** Selects the next identity of those in the frame, or the previous one. */
function selectNeighbour({ view }, steps) {
  const identities = Array.from(view.current.boxes.at(view.frame), (at) => view.current.boxes.identity[at]).sort((a, b) => a - b);
  if (identities.length === 0) return;
  const at = identities.indexOf(view.selected);
  const next = at < 0 ? (steps > 0 ? 0 : identities.length - 1) : (at + steps + identities.length) % identities.length;
  view.set({ selected: identities[next] });
}

/** All that can be done, with its keys: what is shown as a button has a group. */
export function actionsOf(app) {
  const { view, player, timeline } = app;
  const event = (kind, key, group, useful = true) => (useful ? [
    { keys: [key], name: `Next ${kind}`, icon: `${kind} ›`, group, run: () => goToEvent(app, kind, true) },
    { keys: [key.toUpperCase()], name: `Previous ${kind}`, icon: `‹ ${kind}`, run: () => goToEvent(app, kind, false) },
  ] : []);
  const has = (kind) => view.recording.cameras.some((camera) => camera.runs.some((run) => run.events[kind].length > 0));
  const second = () => Math.max(1, Math.round(1000 / Math.max(view.scene.times[1] ?? 40, 1)));
  return [
    { keys: ["Home"], name: "First frame", icon: "|◂", group: "step", run: () => view.goTo(1) },
    { keys: ["ArrowLeft", ","], name: "One frame back", icon: "◂", group: "step", run: () => view.goTo(view.frame - 1) },
    { keys: [" ", "p"], name: "Play or pause", icon: "▶", group: "step", id: "play", run: () => view.set({ playing: !view.playing }) },
    { keys: ["ArrowRight", "."], name: "One frame on", icon: "▸", group: "step", run: () => view.goTo(view.frame + 1) },
    { keys: ["End"], name: "Last frame", icon: "▸|", group: "step", run: () => view.goTo(view.scene.frames) },
    { keys: ["Shift+ArrowLeft", "j"], name: "One second back", run: () => view.goTo(view.frame - second()) },
    { keys: ["Shift+ArrowRight", "k"], name: "One second on", run: () => view.goTo(view.frame + second()) },
    { keys: ["ArrowDown", "-"], name: "Slower", icon: "−", group: "speed", run: () => player.change(-1) },
    { keys: ["ArrowUp", "+"], name: "Faster", icon: "+", group: "speed", run: () => player.change(1) },
    ...event("birth", "b", "event"),
    ...event("merge", "m", "event", has("merge")),
    ...event("switch", "s", "event", has("switch")),
    { keys: ["n"], name: "Select the next identity", run: () => selectNeighbour(app, 1) },
    { keys: ["N"], name: "Select the previous identity", run: () => selectNeighbour(app, -1) },
    { keys: ["Escape"], name: "Select nothing", run: () => view.set({ selected: -1 }) },
    { keys: ["/"], name: "Search", run: () => app.search.input.focus() },
    ...usefulSwitches(view.recording).map(([shown, { name, keys }]) => ({
      keys, name, icon: name, group: "switch", shown, run: () => view.show(shown, !view.shows[shown]),
    })),
    { keys: ["["], name: "Timeline: see more of it", icon: "⊖", group: "zoom", run: () => timeline.zoom(1 / 1.6) },
    { keys: ["]"], name: "Timeline: see it closer", icon: "⊕", group: "zoom", run: () => timeline.zoom(1.6) },
    { keys: ["0"], name: "Timeline: see all of it", icon: "↔", group: "zoom", run: () => timeline.zoom(1e-9) },
    ...(view.recording.cameras.length > 1 ? [{ keys: ["c"], name: "Next camera",
      run: () => view.lookAt((view.camera + 1) % view.recording.cameras.length) }] : []),
    ...(view.recording.cameras.some((camera) => camera.runs.length > 1) ? [{ keys: ["v"], name: "Next tracker",
      run: () => view.set({ run: (view.run + 1) % view.scene.runs.length, selected: -1 }) }] : []),
    { keys: ["x"], name: "Dark or light", run: () => app.switchTheme() },
    { keys: ["?"], name: "Keys", run: () => app.showHelp() },
  ];
}

/** Does what belongs to a pressed key, unless somebody types or chooses. */
export function listenToKeys(actions) {
  const byKey = new Map(actions.flatMap((action) => action.keys.map((key) => [key, action])));
  document.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const { target } = event;
    if (target.closest("select, input, dialog")) return;
    if (event.key === " " && target.closest("button")) return;
    const isNamed = event.key.length > 1;
    const action = byKey.get(event.shiftKey && isNamed ? `Shift+${event.key}` : event.key);
    if (!action) return;
    event.preventDefault();
    action.run();
  });
}
