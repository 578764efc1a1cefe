// LUNs: the list, create, change and delete; snapshots; clone, export and import with a
// live progress bar.
import { call, errorText, ApiError } from './api.js';
import { h, clear, formatBytes, formatTime, parseSize, validObjectName } from './dom.js';
import { formPanel, actionButton, dataTable, progressBar, section } from './ui.js';

export const LUN_TYPES = ['THIN', 'FILE', 'ADV', 'BLUN', 'BLUN_THICK'];
const POLL_MS = 400;

function sizeCheck(text, label) {
  return parseSize(text) ? '' : `${label}: a size such as 10G, 512M or a number of bytes is expected.`;
}

function nameCheck(name, label) {
  return validObjectName(name) ? '' : `${label}: letters, digits, '-', ':' and '.', starting with a letter or digit.`;
}

// Follows a job until it ends, moving its progress bar: read() answers {done, total, ended,
// failed (error code or 0)}.
function follow(jobs, label, read, every, onEnd) {
  const bar = progressBar(label);
  bar.el.classList.add('job');
  bar.el.dataset.job = label;
  jobs.prepend(bar.el);
  let busy = false;
  const timer = every(POLL_MS, async () => {
    if (busy) return;
    busy = true;
    try {
      const state = await read();
      bar.set(state.done, state.total);
      if (state.ended) {
        clearInterval(timer);
        if (state.failed) bar.end(errorText(new ApiError(state.failed)), true);
        else {
          bar.set(1, 1);
          bar.end('Done.');
        }
        jobs.dispatchEvent(new Event('jobdone'));
        if (onEnd) onEnd();
      }
    } catch (err) {
      clearInterval(timer);
      bar.end(errorText(err), true);
    } finally {
      busy = false;
    }
  });
  return bar;
}

function cloneJob(jobs, uuid, name, every) {
  return follow(jobs, `Clone ${name}`, async () => {
    const r = await call('LUN', 'get', { uuid, additional: ['status', 'sync_progress'] });
    const status = r.lun ? r.lun.status : '';
    return { done: Number(r.sync_done || 0), total: Number(r.sync_total || 0), ended: status !== 'cloning',
      failed: Number(r.sync_errno || 0) };
  }, every);
}

export async function lunsView(main, { every }) {
  main.append(h('h1', {}, 'LUNs'));
  const jobs = h('div', { class: 'jobs', id: 'jobs', 'aria-live': 'polite' });
  const listArea = h('div', { id: 'lun-list' });
  const detail = h('div', { id: 'lun-detail' });
  let volumes = ['/volume1'];
  try {
    const v = await call('Node', 'get', { additional: ['ep_buf_mapped_size', 'no_status'] });
    if (Array.isArray(v.ep_buf_mapped_size) && v.ep_buf_mapped_size.length) volumes = v.ep_buf_mapped_size.map((x) => x.root_path);
  } catch (err) {
    // The create form still offers /volume1.
  }

  const create = formPanel({
    title: 'Create a LUN', id: 'lun-create', submitLabel: 'Create',
    fields: [
      { name: 'name', label: 'Name', required: true, placeholder: 'lun1' },
      { name: 'type', label: 'Type', type: 'select', options: LUN_TYPES.map((t) => [t, t]), value: 'THIN' },
      { name: 'location', label: 'Volume', type: 'select', options: volumes.map((v) => [v, v]) },
      { name: 'size', label: 'Size', required: true, placeholder: '10G' },
    ],
    check: (v) => nameCheck(v.name, 'Name') || sizeCheck(v.size, 'Size'),
    submit: async (v) => {
      const r = await call('LUN', 'create', { name: v.name, type: v.type, location: v.location, size: parseSize(v.size) });
      await refresh();
      return `Created ${v.name} (${r.uuid}).`;
    },
  });
  main.append(section('New LUN', create), jobs, section('All LUNs', listArea), detail);

  let luns = [];
  let openUuid = null;
  async function refresh() {
    try {
      const r = await call('LUN', 'list', { additional: ['allocated_size', 'status'] });
      luns = r.luns || [];
    } catch (err) {
      clear(listArea, h('p', { class: 'error', role: 'alert' }, errorText(err)));
      return;
    }
    clear(listArea, dataTable([
      { title: 'Name', get: (l) => h('button', { type: 'button', class: 'link', onclick: () => openLun(l.uuid), 'data-lun': l.name }, l.name) },
      { title: 'Size', get: (l) => formatBytes(l.size) },
      { title: 'Allocated', get: (l) => formatBytes(l.allocated_size) },
      { title: 'Type', get: (l) => l.type_str || l.type },
      { title: 'Volume', get: (l) => l.location },
      { title: 'Status', get: (l) => h('span', { class: `badge ${l.status === 'normal' ? 'ok' : 'warn'}` }, l.status || '-') },
      { title: 'Actions', get: (l) => h('span', { class: 'row-actions' },
        h('button', { type: 'button', class: 'small', onclick: () => openLun(l.uuid) }, 'Manage'),
        actionButton('Delete', async () => {
          await call('LUN', 'delete', { uuid: l.uuid });
          if (openUuid === l.uuid) clear(detail);
          await refresh();
        }, { confirm: 'Really delete?', title: `Delete ${l.name}` })) },
    ], luns, { id: 'luns', empty: 'No LUN yet.' }));
    if (openUuid && !luns.some((l) => l.uuid === openUuid)) {
      openUuid = null;
      clear(detail);
    }
  }
  jobs.addEventListener('jobdone', () => refresh());

  async function openLun(uuid) {
    openUuid = uuid;
    const lun = luns.find((l) => l.uuid === uuid);
    if (!lun) return;
    const snapArea = h('div', { id: 'snapshots' });
    const edit = formPanel({
      title: 'Change', id: 'lun-set', submitLabel: 'Apply',
      fields: [
        { name: 'new_name', label: 'New name', value: lun.name },
        { name: 'new_size', label: 'New size (larger only)', placeholder: formatBytes(lun.size) },
      ],
      check: (v) => (v.new_name && v.new_name !== lun.name ? nameCheck(v.new_name, 'New name') : '') ||
        (v.new_size ? sizeCheck(v.new_size, 'New size') : ''),
      submit: async (v) => {
        const params = { uuid };
        if (v.new_name && v.new_name !== lun.name) params.new_name = v.new_name;
        if (v.new_size) params.new_size = parseSize(v.new_size);
        await call('LUN', 'set', params);
        await refresh();
        return 'Changed.';
      },
    });
    const snap = formPanel({
      title: 'Take a snapshot', id: 'snap-take', submitLabel: 'Take snapshot',
      fields: [
        { name: 'snapshot_name', label: 'Snapshot name', required: true, placeholder: 'before-upgrade' },
        { name: 'description', label: 'Description' },
        { name: 'is_locked', label: 'Locked', type: 'checkbox' },
      ],
      submit: async (v) => {
        const params = { src_lun_uuid: uuid, snapshot_name: v.snapshot_name, is_locked: v.is_locked, is_app_consistent: false, taken_by: 'web' };
        if (v.description) params.description = v.description;
        await call('LUN', 'take_snapshot', params);
        await loadSnapshots();
        return `Snapshot ${v.snapshot_name} taken.`;
      },
    });
    const clone = formPanel({
      title: 'Clone', id: 'lun-clone', submitLabel: 'Clone',
      fields: [{ name: 'dst_lun_name', label: 'Name of the copy', required: true, placeholder: `${lun.name}-copy` }],
      check: (v) => nameCheck(v.dst_lun_name, 'Name of the copy'),
      submit: async (v) => {
        const r = await call('LUN', 'clone', { src_lun_uuid: uuid, dst_lun_name: v.dst_lun_name });
        cloneJob(jobs, r.dst_lun_uuid, v.dst_lun_name, every);
        await refresh();
        return 'Clone started.';
      },
    });
    const imp = formPanel({
      title: 'Import an export as a snapshot', id: 'lun-import', submitLabel: 'Import',
      fields: [
        { name: 'exported_dir_path', label: 'Export directory', required: true, placeholder: '/volume1/exports/lun1' },
        { name: 'snapshot_name', label: 'Snapshot name', required: true, placeholder: 'imported' },
      ],
      check: (v) => (v.exported_dir_path.startsWith('/') ? '' : 'Export directory: an absolute path such as /volume1/exports/lun1.'),
      submit: async (v) => {
        await call('LUN', 'import', { src_lun_uuid: uuid, exported_dir_path: v.exported_dir_path, snapshot_name: v.snapshot_name, taken_by: 'web' });
        follow(jobs, `Import into ${lun.name}`, async () => {
          const r = await call('LUN', 'get', { uuid, additional: ['import_status'] });
          const total = Number(r.import_total || 0);
          const done = Number(r.import_done || 0);
          const failed = Number(r.import_errno || 0);
          return { done, total, ended: failed !== 0 || (total > 0 && done >= total), failed };
        }, every, () => openUuid === uuid && loadSnapshotsOnceListed(v.snapshot_name));
        return 'Import started.';
      },
    });

    // An import's progress reaches its total a moment before its snapshot is recorded: wait
    // (bounded) until the snapshot is listed, then show the list.
    async function loadSnapshotsOnceListed(name) {
      for (let i = 0; i < 20; i++) {
        const listed = await call('LUN', 'list_snapshot', { src_lun_uuid: uuid }).catch(() => ({}));
        if ((listed.snapshots || []).some((s) => s.name === name)) break;
        await new Promise((resolve) => setTimeout(resolve, 500));
      }
      return loadSnapshots();
    }

    async function loadSnapshots() {
      let snaps;
      try {
        snaps = (await call('LUN', 'list_snapshot', { src_lun_uuid: uuid })).snapshots || [];
      } catch (err) {
        clear(snapArea, h('p', { class: 'error', role: 'alert' }, errorText(err)));
        return;
      }
      const status = h('p', { class: 'status', role: 'status' });
      const exportDir = (s) => `/${(lun.location || '/volume1').replace(/^\/|\/$/g, '')}/exports/${lun.name}-${s.name}`;
      clear(snapArea, dataTable([
        { title: 'Snapshot', get: (s) => s.name },
        { title: 'Taken', get: (s) => formatTime(s.snapshot_time) },
        { title: 'Status', get: (s) => s.status || '-' },
        { title: 'Locked', get: (s) => (s.is_user_locked ? 'yes' : 'no') },
        { title: 'Actions', get: (s) => h('span', { class: 'row-actions' },
          actionButton('Restore', async () => {
            await call('LUN', 'restore_snapshot', { src_lun_uuid: uuid, snapshot_uuid: s.uuid });
            status.textContent = `${lun.name} restored from ${s.name}.`;
          }, { status, confirm: 'Really restore?', title: `Restore from ${s.name}` }),
          actionButton('Clone', async () => {
            const name = `${lun.name}-${s.name}`.replace(/[^A-Za-z0-9:.\-]/g, '-');
            const r = await call('LUN', 'clone_snapshot', { src_lun_uuid: uuid, snapshot_uuid: s.uuid, cloned_lun_name: name });
            cloneJob(jobs, r.cloned_lun_uuid, name, every);
            await refresh();
          }, { status, title: `Clone ${s.name} into a new LUN` }),
          actionButton(s.is_user_locked ? 'Unlock' : 'Lock', async () => {
            await call('LUN', 'set_snapshot', { snapshot_uuid: s.uuid, is_user_locked: !s.is_user_locked });
            await loadSnapshots();
          }, { status, title: `${s.is_user_locked ? 'Unlock' : 'Lock'} ${s.name}` }),
          actionButton('Export', async () => {
            const dir = exportDir(s);
            await call('LUN', 'export', { snapshot_uuid: s.uuid, exported_dir_path: dir });
            status.textContent = `Exporting to ${dir}.`;
            follow(jobs, `Export ${s.name}`, async () => {
              const r = await call('LUN', 'get_snapshot', { snapshot_uuid: s.uuid, additional: ['export_status'] });
              const total = Number(r.export_total || 0);
              const done = Number(r.export_done || 0);
              const failed = Number(r.export_errno || 0);
              return { done, total, ended: failed !== 0 || (r.snapshot && r.snapshot.status !== 'exporting' && total > 0 && done >= total), failed };
            }, every, () => openUuid === uuid && loadSnapshots());
          }, { status, title: `Export ${s.name}` }),
          actionButton('Delete', async () => {
            await call('LUN', 'delete_snapshot', { snapshot_uuid: s.uuid, deleted_by: 'web' });
            await loadSnapshots();
          }, { status, confirm: 'Really delete?', title: `Delete snapshot ${s.name}` })) },
      ], snaps, { id: 'snapshot-table', empty: 'No snapshot.' }), status);
    }

    clear(detail, h('section', { 'aria-label': `LUN ${lun.name}`, class: 'detail' },
      h('h2', {}, `LUN ${lun.name}`),
      h('p', { class: 'meta' }, `uuid ${lun.uuid} · ${formatBytes(lun.size)} · ${lun.location}`),
      h('div', { class: 'grid' }, edit, snap, clone, imp),
      h('h3', {}, 'Snapshots'), snapArea));
    await loadSnapshots();
    detail.querySelector('h2').setAttribute('tabindex', '-1');
    detail.querySelector('h2').focus();
  }

  await refresh();
}
