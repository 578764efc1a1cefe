// The service log: filters by level, date and keyword, paging, CSV and HTML export.
import { call, callRaw, errorText } from './api.js';
import { h, clear, formatTime, download } from './dom.js';
import { dataTable, showError } from './ui.js';

const LEVELS = [['info', 'Information'], ['warning', 'Warning'], ['err', 'Error']];
const PAGE = 25;

// The filters as the log methods take them; date inputs are local days.
function filters(form) {
  const f = {};
  const levels = LEVELS.map(([l]) => l).filter((l) => form.querySelector(`#level-${l}`).checked);
  if (levels.length && levels.length < LEVELS.length) f.log_level = levels;
  const from = form.querySelector('#date-from').value;
  const to = form.querySelector('#date-to').value;
  if (from) f.date_from = Math.floor(new Date(`${from}T00:00:00`).getTime() / 1000);
  if (to) f.date_to = Math.floor(new Date(`${to}T23:59:59`).getTime() / 1000);
  const keyword = form.querySelector('#keyword').value.trim();
  if (keyword) f.keyword = keyword;
  return f;
}

export async function logView(main) {
  main.append(h('h1', {}, 'Service log'));
  const status = h('p', { class: 'status', role: 'status', id: 'log-status' });
  const form = h('form', { class: 'panel filters', id: 'log-filters' },
    h('fieldset', {}, h('legend', {}, 'Levels'),
      LEVELS.map(([l, t]) => h('span', { class: 'check' }, h('input', { type: 'checkbox', id: `level-${l}`, checked: true }), h('label', { for: `level-${l}` }, t)))),
    h('div', { class: 'field' }, h('label', { for: 'date-from' }, 'From'), h('input', { type: 'date', id: 'date-from' })),
    h('div', { class: 'field' }, h('label', { for: 'date-to' }, 'To'), h('input', { type: 'date', id: 'date-to' })),
    h('div', { class: 'field' }, h('label', { for: 'keyword' }, 'Keyword'), h('input', { type: 'search', id: 'keyword', maxlength: 256 })),
    h('div', { class: 'actions' },
      h('button', { type: 'submit', id: 'log-apply' }, 'Filter'),
      h('button', { type: 'button', id: 'export-csv', class: 'secondary' }, 'Export CSV'),
      h('button', { type: 'button', id: 'export-html', class: 'secondary' }, 'Export HTML')));
  const table = h('div', { id: 'log-table' });
  const pager = h('nav', { class: 'pager', 'aria-label': 'Pages' });
  main.append(form, status, table, pager);

  let offset = 0;
  async function load() {
    const f = filters(form);
    if (f.date_from && f.date_to && f.date_from > f.date_to) {
      showError(status, 'From lies after To.');
      return;
    }
    let r;
    try {
      r = await call('Node', 'log_list', { ...f, offset, limit: PAGE });
    } catch (err) {
      showError(status, errorText(err));
      return;
    }
    status.className = 'status';
    const total = r.summary && Number.isFinite(Number(r.summary.total)) ? Number(r.summary.total) : null;
    const lines = r.logs || [];
    status.textContent = total === null ? `${lines.length} lines` : `${total} lines match`;
    clear(table, dataTable([
      { title: 'Time', get: (l) => formatTime(l.time) },
      { title: 'Level', get: (l) => h('span', { class: `level ${l.level}` }, l.level) },
      { title: 'User', get: (l) => l.user },
      { title: 'Event', get: (l) => l.message ?? l.event },
    ], lines, { id: 'log-lines', empty: 'No line matches.' }));
    const last = total === null ? lines.length < PAGE : offset + PAGE >= total;
    clear(pager,
      h('button', { type: 'button', id: 'page-prev', disabled: offset === 0, onclick: () => { offset = Math.max(0, offset - PAGE); load(); } }, 'Newer'),
      h('span', {}, ` ${offset + (lines.length ? 1 : 0)}–${offset + lines.length} `),
      h('button', { type: 'button', id: 'page-next', disabled: last, onclick: () => { offset += PAGE; load(); } }, 'Older'));
  }

  async function exportAs(format) {
    try {
      const blob = await callRaw('Node', 'log_export', { ...filters(form), export_format: format });
      download(blob, `iscsi-log.${format}`);
      status.className = 'status';
      status.textContent = `Exported as ${format.toUpperCase()}.`;
    } catch (err) {
      showError(status, errorText(err));
    }
  }
  form.addEventListener('submit', (event) => {
    event.preventDefault();
    offset = 0;
    load();
  });
  form.querySelector('#export-csv').addEventListener('click', () => exportAs('csv'));
  form.querySelector('#export-html').addEventListener('click', () => exportAs('html'));
  await load();
}
