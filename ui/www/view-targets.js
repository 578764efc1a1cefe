// Targets: create with CHAP, enable and disable, LUN mapping, access masks, portals and the
// connected sessions.
import { call, errorText } from './api.js';
import { h, clear, validIqn } from './dom.js';
import { formPanel, actionButton, dataTable, section } from './ui.js';

const AUTH = [['0', 'None'], ['1', 'CHAP'], ['2', 'Mutual CHAP']];
const PERMISSIONS = [['rw', 'Read and write'], ['r', 'Read only'], ['-', 'No access']];

function chapCheck(v) {
  if (v.auth_type === '0') return '';
  if (!v.user || v.user.length > 255) return 'CHAP user: 1 to 255 characters.';
  if (v.password.length < 12 || v.password.length > 16) return 'CHAP password: 12 to 16 characters.';
  if (v.auth_type === '2') {
    if (!v.mutual_user) return 'Mutual CHAP user: required.';
    if (v.mutual_password.length < 12 || v.mutual_password.length > 16) return 'Mutual CHAP password: 12 to 16 characters.';
  }
  return '';
}

export async function targetsView(main) {
  main.append(h('h1', {}, 'Targets'));
  const listArea = h('div', { id: 'target-list' });
  const detail = h('div', { id: 'target-detail' });
  const stamp = new Date().toISOString().slice(0, 7);
  const create = formPanel({
    title: 'Create a target', id: 'target-create', submitLabel: 'Create',
    fields: [
      { name: 'name', label: 'Name', required: true, placeholder: 'target1' },
      { name: 'iqn', label: 'IQN', required: true, placeholder: `iqn.${stamp}.com.example:target1` },
      { name: 'auth_type', label: 'Authentication', type: 'select', options: AUTH, value: '0' },
      { name: 'user', label: 'CHAP user', show: (v) => v.auth_type !== '0' },
      { name: 'password', label: 'CHAP password (12-16)', type: 'password', show: (v) => v.auth_type !== '0' },
      { name: 'mutual_user', label: 'Mutual CHAP user', show: (v) => v.auth_type === '2' },
      { name: 'mutual_password', label: 'Mutual CHAP password (12-16)', type: 'password', show: (v) => v.auth_type === '2' },
      { name: 'max_sessions', label: 'Sessions at most', type: 'number', value: '1', inputmode: 'numeric' },
    ],
    check: (v) => {
      if (!/^[A-Za-z0-9][A-Za-z0-9._\-]{0,127}$/.test(v.name)) return 'Name: letters, digits, ".", "_" and "-", at most 128.';
      if (!validIqn(v.iqn)) return 'IQN: iqn.YYYY-MM.reversed.domain[:name] in lower case, or eui. and 16 hex digits.';
      if (!/^\d+$/.test(v.max_sessions)) return 'Sessions at most: a whole number.';
      return chapCheck(v);
    },
    submit: async (v) => {
      const params = { name: v.name, iqn: v.iqn, auth_type: Number(v.auth_type), max_sessions: Number(v.max_sessions) };
      if (v.auth_type !== '0') Object.assign(params, { user: v.user, password: v.password });
      if (v.auth_type === '2') Object.assign(params, { mutual_user: v.mutual_user, mutual_password: v.mutual_password });
      const r = await call('Target', 'create', params);
      await refresh();
      return `Created target ${v.name} (id ${r.target_id}).`;
    },
  });
  main.append(section('New target', create), section('All targets', listArea), detail);

  let targets = [];
  let openId = null;
  async function refresh() {
    try {
      targets = (await call('Target', 'list', { additional: ['mapped_lun', 'acls', 'connected_sessions', 'status'] })).targets || [];
    } catch (err) {
      clear(listArea, h('p', { class: 'error', role: 'alert' }, errorText(err)));
      return;
    }
    clear(listArea, dataTable([
      { title: 'Name', get: (t) => h('button', { type: 'button', class: 'link', onclick: () => openTarget(String(t.target_id)), 'data-target': t.name }, t.name) },
      { title: 'IQN', get: (t) => h('code', {}, t.iqn) },
      { title: 'State', get: (t) => h('span', { class: `badge ${t.is_enabled ? 'ok' : 'off'}` }, t.is_enabled ? 'enabled' : 'disabled') },
      { title: 'LUNs', get: (t) => (t.mapped_luns || []).length },
      { title: 'Sessions', get: (t) => (t.connected_sessions || []).length },
      { title: 'Actions', get: (t) => h('span', { class: 'row-actions' },
        h('button', { type: 'button', class: 'small', onclick: () => openTarget(String(t.target_id)) }, 'Manage'),
        actionButton(t.is_enabled ? 'Disable' : 'Enable', async () => {
          await call('Target', t.is_enabled ? 'disable' : 'enable', { target_id: String(t.target_id) });
          await refresh();
        }, { title: `${t.is_enabled ? 'Disable' : 'Enable'} ${t.name}` }),
        actionButton('Delete', async () => {
          await call('Target', 'delete', { target_id: String(t.target_id) });
          await refresh();
        }, { confirm: 'Really delete?', title: `Delete ${t.name}` })) },
    ], targets, { id: 'targets', empty: 'No target yet.' }));
    if (openId) {
      if (targets.some((t) => String(t.target_id) === openId)) await openTarget(openId, true);
      else clear(detail);
    }
  }

  async function openTarget(id, keepFocus) {
    openId = id;
    const t = targets.find((x) => String(x.target_id) === id);
    if (!t) return;
    let luns = [];
    try {
      luns = (await call('LUN', 'list', {})).luns || [];
    } catch (err) {
      // The mapping form then offers nothing; the error shows when it is used.
    }
    const mapped = t.mapped_luns || [];
    const nameOf = (uuid) => (luns.find((l) => l.uuid === uuid) || {}).name || uuid;
    const status = h('p', { class: 'status', role: 'status' });
    const map = formPanel({
      title: 'Map a LUN', id: 'target-map', submitLabel: 'Map',
      fields: [{ name: 'lun', label: 'LUN', type: 'select', options: luns.filter((l) => !mapped.some((m) => m.lun_uuid === l.uuid)).map((l) => [l.uuid, l.name]) }],
      check: (v) => (v.lun ? '' : 'LUN: there is no unmapped LUN.'),
      submit: async (v) => {
        await call('Target', 'map_lun', { target_id: id, lun_uuids: [v.lun] });
        await refresh();
        return 'Mapped.';
      },
    });
    const acl = formPanel({
      title: 'Add an access mask', id: 'target-acl', submitLabel: 'Add',
      fields: [
        { name: 'iqn', label: 'Initiator IQN', required: true, placeholder: 'iqn.1993-08.org.debian:01:host' },
        { name: 'permission', label: 'Access', type: 'select', options: PERMISSIONS },
      ],
      check: (v) => (validIqn(v.iqn) ? '' : 'Initiator IQN: iqn.YYYY-MM.reversed.domain[:name] or eui. and 16 hex digits.'),
      submit: async (v) => {
        await call('Target', 'acl_masks_add', { target_id: id, acls: [{ iqn: v.iqn, permission: v.permission }] });
        await refresh();
        return 'Added.';
      },
    });
    const portal = formPanel({
      title: 'Add a network portal', id: 'target-portal', submitLabel: 'Add',
      fields: [
        { name: 'ip', label: 'Address', required: true, placeholder: '192.0.2.10' },
        { name: 'port', label: 'Port', value: '3260', inputmode: 'numeric' },
      ],
      check: (v) => {
        if (!/^[0-9a-fA-F.:]+$/.test(v.ip) || v.ip.length > 45) return 'Address: an IPv4 or IPv6 address.';
        const port = Number(v.port);
        return Number.isInteger(port) && port >= 1 && port <= 65535 ? '' : 'Port: 1 to 65535.';
      },
      submit: async (v) => {
        await call('Target', 'network_portals_add', { target_id: id, network_portals: [{ ip: v.ip, port: Number(v.port) }] });
        await refresh();
        return 'Added.';
      },
    });
    const portals = t.network_portals || [];
    clear(detail, h('section', { class: 'detail', 'aria-label': `Target ${t.name}` },
      h('h2', { tabindex: '-1' }, `Target ${t.name}`),
      h('p', { class: 'meta' }, `id ${t.target_id} · ${t.iqn} · authentication ${AUTH[t.auth_type] ? AUTH[t.auth_type][1] : t.auth_type}`),
      status,
      h('h3', {}, 'Mapped LUNs'),
      dataTable([
        { title: 'LUN', get: (m) => nameOf(m.lun_uuid) },
        { title: 'Number', get: (m) => m.mapping_index ?? m.lun_id ?? '-' },
        { title: '', get: (m) => actionButton('Unmap', async () => {
          await call('Target', 'unmap_lun', { target_id: id, lun_uuids: [m.lun_uuid] });
          await refresh();
        }, { status, title: `Unmap ${nameOf(m.lun_uuid)}` }) },
      ], mapped, { id: 'mapped-luns', empty: 'No LUN mapped.' }),
      h('h3', {}, 'Access masks'),
      dataTable([
        { title: 'Initiator', get: (a) => h('code', {}, a.iqn) },
        { title: 'Access', get: (a) => a.permission },
        { title: '', get: (a) => actionButton('Remove', async () => {
          await call('Target', 'acl_masks_remove', { target_id: id, initiator_iqns: [a.iqn] });
          await refresh();
        }, { status, title: `Remove the mask of ${a.iqn}` }) },
      ], t.acls || [], { id: 'acls', empty: 'No mask: every initiator may log in.' }),
      h('h3', {}, 'Network portals'),
      dataTable([
        { title: 'Address', get: (p) => p.ip || p.interface_name },
        { title: 'Port', get: (p) => p.port },
        { title: '', get: (p) => actionButton('Remove', async () => {
          await call('Target', 'network_portals_remove', { target_id: id, network_portals: [p.ip ? { ip: p.ip, port: p.port } : { interface_name: p.interface_name, port: p.port }] });
          await refresh();
        }, { status, title: `Remove portal ${p.ip || p.interface_name}` }) },
      ], portals, { id: 'portals', empty: 'The service\'s own portal only.' }),
      h('h3', {}, 'Connected sessions'),
      dataTable([
        { title: 'Initiator', get: (s) => h('code', {}, s.iqn || s.initiator_iqn || s.initiator || '-') },
        { title: 'Address', get: (s) => s.ip || s.address || '-' },
      ], t.connected_sessions || [], { id: 'sessions', empty: 'No session.' }),
      h('div', { class: 'grid' }, map, acl, portal)));
    if (!keepFocus) detail.querySelector('h2').focus();
  }

  await refresh();
}
