// Nodes and replications: shown as the service answers them; in a build without them the
// methods answer "not available" and the page says so.
import { call, errorText } from './api.js';
import { h, formatBytes, formatTime } from './dom.js';
import { dataTable, section } from './ui.js';

async function listing(title, api, key, columns, id) {
  try {
    const r = await call(api, 'list', {});
    const rows = Array.isArray(r) ? r : (r && (r[key] || r.list)) || [];
    return section(title, dataTable(columns, rows, { id, empty: `No ${title.toLowerCase()}.` }));
  } catch (err) {
    return section(title, h('p', { class: 'notice', id }, errorText(err)));
  }
}

export async function nodesView(main) {
  main.append(h('h1', {}, 'Nodes and replications'));
  main.append(await listing('Nodes', 'Node', 'nodes', [
    { title: 'Node', get: (n) => n.hostname || n.name || n.uuid },
    { title: 'uuid', get: (n) => h('code', {}, n.uuid || n.node_uuid || '-') },
    { title: 'Status', get: (n) => n.status ?? '-' },
    { title: 'Local', get: (n) => (n.is_local_node ? 'yes' : 'no') },
  ], 'nodes'));
  main.append(await listing('Replications', 'Replication', 'tasks', [
    { title: 'Task', get: (t) => t.name || t.uuid || t.task_uuid },
    { title: 'Type', get: (t) => t.type_str || t.type || '-' },
    { title: 'Status', get: (t) => t.status_str || t.status || '-' },
    { title: 'Last sync', get: (t) => formatTime(t.last_sync_time) },
    { title: 'Progress', get: (t) => {
      const total = Number(t.sync_total || t.total_size || 0);
      const done = Number(t.sync_done || t.sync_size || 0);
      const pct = total ? Math.floor((done * 100) / total) : 0;
      return h('span', {}, h('progress', { max: 100, value: pct, 'aria-label': 'sync progress' }), ` ${pct}% of ${formatBytes(total)}`);
    } },
  ], 'replications'));
}
