// Overview: the data path, the volumes, counts and the latest warnings.
import { call, errorText } from './api.js';
import { h, formatBytes, formatTime } from './dom.js';
import { dataTable, section } from './ui.js';

const NODE_STATUS = {
  0: ['Up', 'ok'],
  1: ['Kernel modules missing', 'bad'],
  2: ['Down: the target engine cannot serve', 'bad'],
  3: ['Starting', 'warn'],
  4: ['Unknown: the storage library could not start', 'bad'],
};

// Runs a call and answers [data, error]: one failing figure leaves the others shown.
async function settle(promise) {
  try {
    return [await promise, null];
  } catch (err) {
    return [null, err];
  }
}

function failure(err) {
  return h('p', { class: 'error', role: 'alert' }, errorText(err));
}

export async function overviewView(main) {
  main.append(h('h1', {}, 'Overview'));
  const [[node, nodeErr], [volumes, volErr], [luns, lunErr], [targets, tgtErr], [log, logErr]] = await Promise.all([
    settle(call('Node', 'get', {})),
    settle(call('Node', 'get', { additional: ['ep_buf_mapped_size', 'no_status'] })),
    settle(call('LUN', 'list', { additional: ['allocated_size'] })),
    settle(call('Target', 'list', { additional: ['connected_sessions', 'status'] })),
    settle(call('Node', 'log_list', { log_level: ['warning', 'err'], limit: 5 })),
  ]);

  const [statusText, statusClass] = node ? NODE_STATUS[node.status] || [`Status ${node.status}`, 'warn'] : ['-', 'warn'];
  const lunList = luns ? luns.luns || [] : [];
  const targetList = targets ? targets.targets || [] : [];
  const sessions = targetList.reduce((n, t) => n + (t.connected_sessions ? t.connected_sessions.length : 0), 0);

  main.append(h('div', { class: 'cards' },
    h('div', { class: 'card', id: 'card-datapath' }, h('span', { class: 'card-title' }, 'Data path'),
      nodeErr ? failure(nodeErr) : h('span', { class: `badge ${statusClass}` }, statusText)),
    h('div', { class: 'card', id: 'card-luns' }, h('span', { class: 'card-title' }, 'LUNs'),
      lunErr ? failure(lunErr) : h('span', { class: 'figure' }, lunList.length)),
    h('div', { class: 'card', id: 'card-targets' }, h('span', { class: 'card-title' }, 'Targets'),
      tgtErr ? failure(tgtErr) : h('span', { class: 'figure' }, targetList.length)),
    h('div', { class: 'card', id: 'card-sessions' }, h('span', { class: 'card-title' }, 'Sessions'),
      tgtErr ? failure(tgtErr) : h('span', { class: 'figure' }, sessions))));

  // Each volume with what its LUNs take: provisioned (their sizes) and allocated on disk.
  const roots = volumes && Array.isArray(volumes.ep_buf_mapped_size) ? volumes.ep_buf_mapped_size.map((v) => v.root_path) : [];
  for (const lun of lunList) if (lun.location && !roots.includes(lun.location)) roots.push(lun.location);
  const volumeRows = roots.map((root) => {
    const own = lunList.filter((l) => l.location === root);
    const size = own.reduce((n, l) => n + Number(l.size || 0), 0);
    const allocated = own.reduce((n, l) => n + Number(l.allocated_size || 0), 0);
    return { root, count: own.length, size, allocated };
  });
  main.append(section('Volumes', volErr ? failure(volErr) : dataTable([
    { title: 'Volume', get: (v) => v.root },
    { title: 'LUNs', get: (v) => v.count },
    { title: 'Provisioned', get: (v) => formatBytes(v.size) },
    { title: 'Allocated', get: (v) => formatBytes(v.allocated) },
    { title: 'Use', get: (v) => {
      const pct = v.size > 0 ? Math.round((v.allocated * 100) / v.size) : 0;
      return h('span', { class: 'meter' }, h('meter', { min: 0, max: 100, value: pct, 'aria-label': `${v.root} allocated` }), ` ${pct}%`);
    } },
  ], volumeRows, { id: 'volumes', empty: 'No volume.' })));

  const lines = log ? log.logs || [] : [];
  main.append(section('Recent warnings', logErr ? failure(logErr) : dataTable([
    { title: 'Time', get: (l) => formatTime(l.time) },
    { title: 'Level', get: (l) => h('span', { class: `level ${l.level}` }, l.level) },
    { title: 'Event', get: (l) => l.message ?? l.event },
  ], lines, { id: 'warnings', empty: 'No warnings.' })));
}
