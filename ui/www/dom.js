// Small helpers: building elements, sizes, names, dates.

// h('div', {class: 'x', onclick: fn}, child, ...): an element; children are nodes, texts,
// arrays of them, or null/false (left out).
export function h(tag, attrs, ...children) {
  const el = tag === 'svg' || tag === 'polyline' || tag === 'line' || tag === 'text' || tag === 'g' || tag === 'path'
    ? document.createElementNS('http://www.w3.org/2000/svg', tag)
    : document.createElement(tag);
  for (const [key, value] of Object.entries(attrs || {})) {
    if (value === null || value === undefined || value === false) continue;
    if (key.startsWith('on') && typeof value === 'function') el.addEventListener(key.slice(2), value);
    else if (key === 'value' && 'value' in el) el.value = value;
    else if (key === 'checked' || key === 'disabled' || key === 'selected') el[key] = !!value;
    else el.setAttribute(key, value === true ? '' : String(value));
  }
  append(el, children);
  return el;
}

function append(el, children) {
  for (const child of children) {
    if (child === null || child === undefined || child === false) continue;
    if (Array.isArray(child)) append(el, child);
    else el.append(child instanceof Node ? child : document.createTextNode(String(child)));
  }
}

export function clear(el, ...children) {
  el.replaceChildren();
  append(el, children);
  return el;
}

const UNITS = ['B', 'KiB', 'MiB', 'GiB', 'TiB', 'PiB', 'EiB'];

export function formatBytes(value) {
  let n = Number(value);
  if (!Number.isFinite(n)) return '-';
  let unit = 0;
  while (n >= 1024 && unit < UNITS.length - 1) {
    n /= 1024;
    unit++;
  }
  return `${unit === 0 ? n : n.toFixed(n < 10 ? 2 : 1)} ${UNITS[unit]}`;
}

// "10G", "512 MiB", "1.5 t", "4096": bytes as a whole number, or null when unreadable.
export function parseSize(text) {
  const m = /^\s*(\d+(?:\.\d+)?)\s*([kmgtp]?)(?:i?b)?\s*$/i.exec(text || '');
  if (!m) return null;
  const power = ' kmgtp'.indexOf(m[2].toLowerCase() || ' ');
  const bytes = Math.round(Number(m[1]) * 1024 ** power);
  return Number.isSafeInteger(bytes) && bytes > 0 ? bytes : null;
}

// The names of LUNs: a letter or digit, then letters, digits, '-', ':', '.' (at most 257).
export function validObjectName(name) {
  return /^[A-Za-z0-9][A-Za-z0-9:.\-]{0,256}$/.test(name);
}

export function validIqn(iqn) {
  return /^(iqn\.\d{4}-\d{2}\.[a-z0-9.\-]+(:[^\s]+)?|eui\.[0-9A-Fa-f]{16})$/.test(iqn) && iqn.length <= 223;
}

export function formatTime(seconds) {
  if (!seconds && seconds !== 0) return '-';
  const d = new Date(Number(seconds) * 1000);
  const pad = (n) => String(n).padStart(2, '0');
  return `${d.getFullYear()}-${pad(d.getMonth() + 1)}-${pad(d.getDate())} ${pad(d.getHours())}:${pad(d.getMinutes())}:${pad(d.getSeconds())}`;
}

// Offers a Blob as a file download.
export function download(blob, name) {
  const url = URL.createObjectURL(blob);
  const a = h('a', { href: url, download: name, hidden: true });
  document.body.append(a);
  a.click();
  a.remove();
  setTimeout(() => URL.revokeObjectURL(url), 10000);
}
