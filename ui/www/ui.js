// Pieces the views share: forms that check before sending and keep what was typed, tables,
// buttons that show the API's error, progress bars.
import { h, clear } from './dom.js';
import { errorText } from './api.js';

let fieldCount = 0;

// A form of fields [{name, label, type ('text', 'password', 'select', 'checkbox', 'number'),
// options [[value, text]], value, placeholder, required, show (values => bool)}].
// check(values) answers an error text or ''; submit(values) is the call. On failure the
// error is shown and every field keeps its value.
export function formPanel({ title, id, fields, submitLabel, check, submit, done }) {
  const inputs = {};
  const rows = fields.map((f) => {
    const fid = `f${++fieldCount}-${f.name}`;
    let input;
    if (f.type === 'select') {
      input = h('select', { id: fid, name: f.name }, (f.options || []).map(([v, t]) => h('option', { value: v }, t)));
      if (f.value !== undefined) input.value = f.value;
    } else if (f.type === 'checkbox') {
      input = h('input', { id: fid, name: f.name, type: 'checkbox', checked: !!f.value });
    } else {
      input = h('input', { id: fid, name: f.name, type: f.type || 'text', value: f.value ?? '', placeholder: f.placeholder,
        required: f.required, autocomplete: f.type === 'password' ? 'new-password' : 'off', inputmode: f.inputmode });
    }
    inputs[f.name] = input;
    const row = h('div', { class: f.type === 'checkbox' ? 'field check' : 'field' },
      f.type === 'checkbox' ? [input, h('label', { for: fid }, f.label)] : [h('label', { for: fid }, f.label), input]);
    row.dataset.field = f.name;
    return { f, row };
  });
  const status = h('p', { class: 'status', role: 'status', 'aria-live': 'polite' });
  const button = h('button', { type: 'submit' }, submitLabel || 'Save');
  const form = h('form', { class: 'panel', id, novalidate: true }, title ? h('h3', {}, title) : null,
    h('div', { class: 'fields' }, rows.map((r) => r.row)), h('div', { class: 'actions' }, button), status);
  const values = () => {
    const v = {};
    for (const [name, input] of Object.entries(inputs)) v[name] = input.type === 'checkbox' ? input.checked : input.value.trim();
    return v;
  };
  const refresh = () => {
    const v = values();
    for (const { f, row } of rows) if (f.show) row.hidden = !f.show(v);
  };
  form.addEventListener('input', refresh);
  form.addEventListener('change', refresh);
  refresh();
  form.addEventListener('submit', async (event) => {
    event.preventDefault();
    const v = values();
    for (const { f, row } of rows) {
      if (f.required && !row.hidden && !v[f.name]) {
        showError(status, `${f.label}: required.`);
        inputs[f.name].focus();
        return;
      }
    }
    const problem = check ? check(v) : '';
    if (problem) {
      showError(status, problem);
      return;
    }
    button.disabled = true;
    status.className = 'status';
    status.textContent = 'Working…';
    try {
      const result = await submit(v);
      status.textContent = typeof result === 'string' ? result : 'Done.';
      if (done) done(result, form);
    } catch (err) {
      showError(status, errorText(err));
    } finally {
      button.disabled = false;
    }
  });
  form.inputs = inputs;
  form.setOptions = (name, options) => {
    const input = inputs[name];
    const keep = input.value;
    clear(input, options.map(([v, t]) => h('option', { value: v }, t)));
    if (options.some(([v]) => v === keep)) input.value = keep;
  };
  return form;
}

export function showError(el, text) {
  el.className = 'status error';
  el.setAttribute('role', 'alert');
  el.textContent = text;
}

// A button that runs fn; its error goes into status (or beside the button).
export function actionButton(label, fn, { status, confirm: ask, title, cls } = {}) {
  const button = h('button', { type: 'button', class: cls || 'small', title, 'aria-label': title });
  button.textContent = label;
  let armed = false;
  button.addEventListener('click', async () => {
    if (ask && !armed) {
      // A second click confirms: no modal dialog, reachable by keyboard alike.
      armed = true;
      button.textContent = ask;
      button.classList.add('danger');
      setTimeout(() => {
        armed = false;
        button.textContent = label;
        button.classList.remove('danger');
      }, 5000);
      return;
    }
    armed = false;
    button.disabled = true;
    const out = status || errorSpot(button);
    out.textContent = '';
    try {
      await fn();
    } catch (err) {
      showError(out, errorText(err));
    } finally {
      button.disabled = false;
      button.textContent = label;
      button.classList.remove('danger');
    }
  });
  return button;
}

function errorSpot(button) {
  let spot = button.parentElement && button.parentElement.querySelector(':scope > .status');
  if (!spot) {
    spot = h('span', { class: 'status', role: 'status' });
    button.parentElement.append(spot);
  }
  return spot;
}

// A table of rows: columns [{title, get(row) => node or text}].
export function dataTable(columns, rows, { empty = 'None.', caption, id } = {}) {
  if (!rows.length) return h('p', { class: 'empty', id }, empty);
  return h('div', { class: 'table-wrap' },
    h('table', { id }, caption ? h('caption', {}, caption) : null,
      h('thead', {}, h('tr', {}, columns.map((c) => h('th', { scope: 'col' }, c.title)))),
      h('tbody', {}, rows.map((r) => h('tr', {}, columns.map((c) => h('td', { 'data-label': c.title }, c.get(r))))))));
}

// A labelled progress bar: set(done, total), end(text).
export function progressBar(label) {
  const bar = h('progress', { max: 100, value: 0, 'aria-label': label });
  const text = h('span', { class: 'percent' }, '0%');
  const note = h('span', { class: 'note' });
  const el = h('div', { class: 'progress' }, h('span', { class: 'label' }, label), bar, text, note);
  return {
    el,
    set(done, total) {
      const pct = total > 0 ? Math.min(100, Math.floor((done * 100) / total)) : 0;
      bar.value = pct;
      text.textContent = `${pct}%`;
      el.dataset.percent = String(pct);
    },
    end(message, failed) {
      note.textContent = message;
      el.dataset.state = failed ? 'failed' : 'done';
      if (failed) note.classList.add('error');
    },
  };
}

export function section(title, ...children) {
  return h('section', { 'aria-label': title }, h('h2', {}, title), children);
}
