// Live I/O per LUN from the LUN method "top": a chart of read and write throughput over the
// last minutes, drawn as SVG, and the counters beside it.
import { call, errorText } from './api.js';
import { h, clear, formatBytes } from './dom.js';
import { dataTable, showError } from './ui.js';

const SAMPLE_MS = 2000;
const KEEP = 90; // samples per LUN: three minutes
const W = 640;
const H = 200;
const PAD = { left: 64, right: 8, top: 10, bottom: 22 };

function rate(n) {
  return `${formatBytes(n)}/s`;
}

// One chart: two lines (read, write) of the samples, scaled to the largest value.
export function ioChart(samples, label) {
  const max = Math.max(1, ...samples.map((s) => Math.max(s.read, s.write)));
  const x = (i) => PAD.left + ((W - PAD.left - PAD.right) * i) / Math.max(1, KEEP - 1);
  const y = (v) => PAD.top + (H - PAD.top - PAD.bottom) * (1 - v / max);
  const offset = KEEP - samples.length;
  const points = (key) => samples.map((s, i) => `${x(i + offset).toFixed(1)},${y(s[key]).toFixed(1)}`).join(' ');
  const grid = [0, 0.5, 1].map((f) => h('g', {},
    h('line', { x1: PAD.left, x2: W - PAD.right, y1: y(max * f), y2: y(max * f), class: 'grid' }),
    h('text', { x: PAD.left - 6, y: y(max * f) + 4, class: 'axis', 'text-anchor': 'end' }, rate(max * f))));
  const last = samples[samples.length - 1] || { read: 0, write: 0 };
  return h('svg', { viewBox: `0 0 ${W} ${H}`, class: 'chart', role: 'img',
    'aria-label': `${label}: read ${rate(last.read)}, write ${rate(last.write)}` },
  grid,
  h('text', { x: PAD.left, y: H - 6, class: 'axis' }, `${(KEEP * SAMPLE_MS) / 60000} min ago`),
  h('text', { x: W - PAD.right, y: H - 6, class: 'axis', 'text-anchor': 'end' }, 'now'),
  samples.length > 1 ? h('polyline', { points: points('read'), class: 'read' }) : null,
  samples.length > 1 ? h('polyline', { points: points('write'), class: 'write' }) : null);
}

export async function ioView(main, { every }) {
  main.append(h('h1', {}, 'I/O'));
  const status = h('p', { class: 'status', role: 'status' });
  const select = h('select', { id: 'io-lun' }, h('option', { value: '' }, 'All LUNs'));
  const charts = h('div', { id: 'io-charts', class: 'charts' });
  const table = h('div', { id: 'io-table' });
  main.append(h('div', { class: 'panel filters' },
    h('div', { class: 'field' }, h('label', { for: 'io-lun' }, 'LUN'), select),
    h('p', { class: 'legend' }, h('span', { class: 'swatch read' }), ' read ', h('span', { class: 'swatch write' }), ' write')),
  status, charts, table);
  try {
    for (const l of (await call('LUN', 'list', {})).luns || []) select.append(h('option', { value: l.uuid }, l.name));
  } catch (err) {
    showError(status, errorText(err));
  }
  const history = new Map();
  let busy = false;
  async function sample() {
    if (busy) return;
    busy = true;
    try {
      const params = {};
      if (select.value) params.uuids = [select.value];
      const r = await call('LUN', 'top', params);
      const stats = Array.isArray(r.iostats) ? r.iostats : Object.values(r.iostats || {});
      for (const s of stats) {
        const list = history.get(s.uuid) || [];
        list.push({ read: Number(s.read_bytes_per_sec || 0), write: Number(s.write_bytes_per_sec || 0) });
        if (list.length > KEEP) list.shift();
        history.set(s.uuid, list);
      }
      status.className = 'status';
      status.textContent = stats.length ? '' : 'No LUN to show.';
      clear(charts, stats.map((s) => h('figure', { class: 'io' },
        h('figcaption', {}, `${s.name}${s.is_served ? '' : ' (not served)'}`), ioChart(history.get(s.uuid), s.name))));
      clear(table, dataTable([
        { title: 'LUN', get: (s) => s.name },
        { title: 'Read', get: (s) => rate(s.read_bytes_per_sec || 0) },
        { title: 'Write', get: (s) => rate(s.write_bytes_per_sec || 0) },
        { title: 'Read ops/s', get: (s) => Number(s.read_ops_per_sec || 0).toFixed(0) },
        { title: 'Write ops/s', get: (s) => Number(s.write_ops_per_sec || 0).toFixed(0) },
        { title: 'Read total', get: (s) => formatBytes(s.read_bytes) },
        { title: 'Written total', get: (s) => formatBytes(s.write_bytes) },
        { title: 'Errors', get: (s) => s.errors ?? 0 },
      ], stats, { id: 'io-stats', empty: '' }));
    } catch (err) {
      showError(status, errorText(err));
    } finally {
      busy = false;
    }
  }
  select.addEventListener('change', sample);
  await sample();
  every(SAMPLE_MS, sample);
}
