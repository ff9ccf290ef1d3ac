/** An element with a class and children, of which texts stay texts. */
export function element(name, className, ...children) {
  const made = document.createElement(name);
  if (className) made.className = className;
  made.append(...children);
  return made;
}

/** A text that may break between the parts of a parameter's name. */
export function breakable(text) {
  const parts = text.split(/(?<=\w\.)(?=[a-z])/);
  return element("span", "", ...parts.flatMap((part, index) => (index > 0 ? [element("wbr"), part] : [part])));
}

export function button(text, className, onClick) {
  const made = element("button", className, text);
  made.type = "button";
  made.addEventListener("click", onClick);
  return made;
}

/** Milliseconds as h:mm:ss.t, without hours where nothing takes one. */
export function clock(milliseconds, longest = milliseconds) {
  const tenths = Math.floor(milliseconds / 100 + 1e-6);
  const seconds = Math.floor(tenths / 10);
  const two = (number) => String(number).padStart(2, "0");
  const minutes = `${two(Math.floor(seconds / 60) % 60)}:${two(seconds % 60)}.${tenths % 10}`;
  return longest < 3600e3 ? minutes : `${Math.floor(seconds / 3600)}:${minutes}`;
}

/** A length of time in words. */
export function duration(milliseconds) {
  const seconds = milliseconds / 1000;
  if (seconds < 60) return `${seconds.toFixed(1)} s`;
  return `${Math.floor(seconds / 60)} min ${Math.round(seconds % 60)} s`;
}

export function percent(fraction) {
  return (fraction * 100).toFixed(1);
}

export function plural(count, one, many = `${one}s`) {
  return `${count.toLocaleString("en")} ${count === 1 ? one : many}`;
}
