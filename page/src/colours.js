/**
 * Colours of identities, for a dark and a light background: as far apart as eight can be to usual eyes and to those that
 * lack red, green or blue receptors. With four shapes they tell 32 identities apart.
 */
export const PALETTES = {
  dark: ["#737ef6", "#daa11a", "#00c494", "#cb56ae", "#f2cf3f", "#b6b2f1", "#f02f19", "#aaebc7"],
  light: ["#00a0ff", "#b17400", "#009a70", "#ff51a5", "#6c5a00", "#832855", "#173db1", "#101171"],
};

const SHAPES = ["●", "▲", "■", "◆"];

/** The colour of an identity, counted from 0, in a theme. */
export function colourOf(identity, theme) {
  const palette = PALETTES[theme];
  return palette[identity % palette.length];
}

/** What can be read on a colour. */
export function inkOn(colour) {
  const part = (at) => (parseInt(colour.slice(at, at + 2), 16) / 255) ** 2.2;
  return 0.2126 * part(1) + 0.7152 * part(3) + 0.0722 * part(5) > 0.22 ? "#0b0d11" : "#ffffff";
}

export function shapeOf(identity) {
  return SHAPES[Math.floor(identity / PALETTES.dark.length) % SHAPES.length];
}

/** What is drawn beside identities, in a theme. */
export const INKS = {
  dark: { ground: "#0f1217", ink: "#e6e9ee", faint: "#8b94a3", line: "#2a303a", fault: "#ff6b6b" },
  light: { ground: "#fbfcfd", ink: "#1b212b", faint: "#667080", line: "#d9dee5", fault: "#c3122f" },
};
