// The management page in a real browser: the system's headless chromium driven by
// playwright-core, against kova-webapid on loopback with the shipped module and the real
// storage library on a temporary data directory. Signs in with a one-time code, makes a LUN,
// a snapshot and a target, maps the LUN, follows a clone to 100%, filters and exports the
// log, signs out; checks that a change from another site is refused, that an ended session
// returns to sign-in, and that an iSCSI initiator reads the LUN the page made (SKIPPED
// without root, tgtd or libiscsi's tools). Screenshots of every view go to UI_SCREENSHOT_DIR.
//
// Environment: KOVA_WEBAPID_PATH, KOVA_REAL_MODULE_PATH, KOVA_UI_DIR, UI_SCREENSHOT_DIR.
// Exit status 0 passed, 1 failed, 77 skipped (no chromium or playwright-core).
import { spawn, spawnSync, execFileSync } from 'node:child_process';
import { createHmac } from 'node:crypto';
import fs from 'node:fs';
import http from 'node:http';
import net from 'node:net';
import os from 'node:os';
import path from 'node:path';
import assert from 'node:assert/strict';

const CHROMIUM = '/usr/bin/chromium';
const DAEMON = process.env.KOVA_WEBAPID_PATH;
const MODULE = process.env.KOVA_REAL_MODULE_PATH;
const UI_DIR = process.env.KOVA_UI_DIR;
const SHOTS = process.env.UI_SCREENSHOT_DIR || path.join(os.tmpdir(), 'kova-ui-screenshots');
const ACCOUNT = 'webadmin';
const PASSWORD = 'correct horse battery staple';
const STEP_MS = 30000;

let chromium;
try {
  ({ chromium } = await import('playwright-core'));
} catch {
  console.log('SKIPPED: playwright-core is not installed (run scripts/setup)');
  process.exit(77);
}
if (!fs.existsSync(CHROMIUM)) {
  console.log(`SKIPPED: ${CHROMIUM} is not installed (run scripts/setup)`);
  process.exit(77);
}
for (const [name, value] of Object.entries({ KOVA_WEBAPID_PATH: DAEMON, KOVA_REAL_MODULE_PATH: MODULE, KOVA_UI_DIR: UI_DIR })) {
  if (!value) {
    console.error(`${name} is not set`);
    process.exit(1);
  }
}

function step(text) {
  console.log(`-- ${text}`);
}

// RFC 6238 with HMAC-SHA1, 30-second steps and 6 digits, as the daemon checks it.
function base32(text) {
  const alphabet = 'ABCDEFGHIJKLMNOPQRSTUVWXYZ234567';
  let bits = '';
  for (const c of text.replace(/=+$/, '').toUpperCase()) bits += alphabet.indexOf(c).toString(2).padStart(5, '0');
  const bytes = [];
  for (let i = 0; i + 8 <= bits.length; i += 8) bytes.push(parseInt(bits.slice(i, i + 8), 2));
  return Buffer.from(bytes);
}

function totp(secret, now = Date.now()) {
  const counter = Buffer.alloc(8);
  counter.writeBigUInt64BE(BigInt(Math.floor(now / STEP_MS)));
  const mac = createHmac('sha1', base32(secret)).update(counter).digest();
  const offset = mac[mac.length - 1] & 0xf;
  const value = (mac.readUInt32BE(offset) & 0x7fffffff) % 1000000;
  return String(value).padStart(6, '0');
}

function freePort(host) {
  return new Promise((resolve, reject) => {
    const server = net.createServer();
    server.once('error', reject);
    server.listen(0, host, () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
}

async function waitFor(predicate, what, ms = 20000) {
  const end = Date.now() + ms;
  while (Date.now() < end) {
    const value = await predicate();
    if (value) return value;
    await new Promise((r) => setTimeout(r, 100));
  }
  throw new Error(`timed out waiting for ${what}`);
}

function missingInitiatorPrerequisite() {
  if (process.getuid && process.getuid() !== 0) return 'needs root (tgtd serves the data path as root)';
  if (!fs.existsSync('/usr/sbin/tgtd')) return 'tgtd not installed (/usr/sbin/tgtd)';
  for (const tool of ['iscsi-ls', 'iscsi-readcapacity16']) {
    if (spawnSync('sh', ['-c', `command -v ${tool}`]).status !== 0) return `${tool} not found (install libiscsi-bin)`;
  }
  return '';
}

// Follows the progress bar of a job to its end; answers the percentages seen on the way.
async function followBar(page, label) {
  const selector = `.progress.job[data-job="${label}"]`;
  await page.waitForSelector(selector);
  const seen = new Set();
  await waitFor(async () => {
    const s = await page.evaluate((sel) => {
      const bar = document.querySelector(sel);
      return { pct: bar.dataset.percent, state: bar.dataset.state || '', note: bar.querySelector('.note').textContent };
    }, selector);
    if (s.pct) seen.add(Number(s.pct));
    if (s.state === 'failed') throw new Error(`${label} failed: ${s.note}`);
    return s.state === 'done';
  }, `${label} to end`, 60000);
  assert.equal(await page.getAttribute(selector, 'data-percent'), '100');
  assert.equal(await page.evaluate((sel) => document.querySelector(`${sel} progress`).value, selector), 100);
  return [...seen].sort((a, b) => a - b);
}

// Starts kova-webapid on 127.0.0.1 with the page and answers its port.
async function startDaemon(dir, args, env) {
  const portFile = path.join(dir, 'port');
  const proc = spawn(DAEMON, ['--listen', '127.0.0.1:0', '--port-file', portFile, '--data-dir', dir,
    '--ui-dir', UI_DIR, ...args], { env, stdio: ['ignore', 'ignore', 'pipe'] });
  daemons.push(proc);
  proc.stderr.on('data', (d) => {
    daemonOutput += d.toString();
  });
  return Number(await waitFor(() => fs.existsSync(portFile) && fs.readFileSync(portFile, 'utf8').trim(),
    'the daemon to listen'));
}

async function stopDaemon(proc) {
  if (proc.exitCode !== null || proc.signalCode !== null) return;
  proc.kill('SIGTERM');
  await Promise.race([new Promise((r) => proc.once('exit', r)), new Promise((r) => setTimeout(r, 15000))]);
  if (proc.exitCode === null && proc.signalCode === null) proc.kill('SIGKILL');
}

const root = fs.mkdtempSync(path.join(os.tmpdir(), 'kova-ui-'));
const dataDir = path.join(root, 'data');
fs.mkdirSync(dataDir);
fs.mkdirSync(SHOTS, { recursive: true });
const passwordFile = path.join(root, 'password');
fs.writeFileSync(passwordFile, `${PASSWORD}\n`);

const daemons = [];
let browser = null;
let crossSite = null;
let daemonOutput = '';
let failed = false;
let currentPage = null;
let perf = null;

function stopPerf() {
  if (perf && perf.exitCode === null && perf.signalCode === null) perf.kill('SIGTERM');
  perf = null;
}

async function main() {
  // The account with a one-time code, made before the first start.
  execFileSync(DAEMON, ['account', 'add', ACCOUNT, '--password-file', passwordFile, '--data-dir', dataDir]);
  execFileSync(DAEMON, ['account', 'add', 'plain', '--password-file', passwordFile, '--data-dir', dataDir]);
  const otpOut = execFileSync(DAEMON, ['account', 'otp-enable', ACCOUNT, '--data-dir', dataDir]).toString();
  const secret = /secret: ([A-Z2-7=]+)/.exec(otpOut)[1];

  const initiatorMissing = missingInitiatorPrerequisite();
  const portalPort = initiatorMissing ? 0 : await freePort('127.0.0.1');
  const env = { ...process.env, KOVA_COPY_MAX_BYTES_PER_SEC: String(8 << 20) };
  if (initiatorMissing) env.KOVA_TGTD = 'off';
  else env.KOVA_ISCSI_PORTAL = `127.0.0.1:${portalPort}`;
  const port = await startDaemon(dataDir, ['--module', MODULE], env);
  const base = `http://127.0.0.1:${port}`;
  const volume1 = path.join(dataDir, 'volume1');

  step('the page is served with its types, caching and Content-Security-Policy');
  {
    const index = await fetch(`${base}/`);
    assert.equal(index.status, 200);
    assert.equal(index.headers.get('content-type'), 'text/html; charset=utf-8');
    assert.match(index.headers.get('content-security-policy'), /default-src 'none'; script-src 'self'/);
    assert.equal(index.headers.get('x-content-type-options'), 'nosniff');
    assert.equal(index.headers.get('cache-control'), 'no-cache');
    const etag = index.headers.get('etag');
    assert.ok(etag);
    assert.equal((await fetch(`${base}/`, { headers: { 'If-None-Match': etag } })).status, 304);
    assert.equal((await fetch(`${base}/app.js`)).headers.get('content-type'), 'text/javascript; charset=utf-8');
    const texts = await (await fetch(`${base}/error-texts.json`)).json();
    assert.equal(texts['18990503'], 'Invalid LUN name');
    assert.equal(texts['115'].startsWith('Refused'), true);
    // Raw paths, as sent (fetch would resolve the dots itself).
    const status = (p) => new Promise((resolve, reject) => {
      http.get({ host: '127.0.0.1', port, path: p }, (res) => {
        res.resume();
        resolve(res.statusCode);
      }).on('error', reject);
    });
    for (const bad of ['/../CMakeLists.txt', '/.hidden', '/%2e%2e/CMakeLists.txt', '/a//b.js', '/nothing.js', '/index.cmake'])
      assert.equal(await status(bad), 404, bad);
  }

  // A fresh profile of its own (--user-data-dir), as playwright-core gives it.
  browser = await chromium.launchPersistentContext(path.join(root, 'chromium'), {
    executablePath: CHROMIUM,
    headless: true,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync'],
    viewport: { width: 1280, height: 900 },
    acceptDownloads: true,
  });
  const context = browser;
  const page = await context.newPage();
  currentPage = page;
  // Console errors and uncaught exceptions of the page fail the test, except the browser's
  // own note of a refused request in the steps that provoke one.
  const consoleErrors = [];
  let refusalsExpected = false;
  page.on('console', (m) => {
    if (m.type() !== 'error') return;
    if (refusalsExpected && /Failed to load resource/.test(m.text())) return;
    consoleErrors.push(m.text());
  });
  page.on('pageerror', (e) => consoleErrors.push(String(e)));
  const shot = (name, p = page) => p.screenshot({ path: path.join(SHOTS, `${name}.png`), fullPage: true });

  step('sign in with account, password and one-time code');
  await page.goto(`${base}/`);
  await page.waitForSelector('form.signin');
  assert.equal(await page.evaluate(() => document.activeElement.id), 'account');
  await shot('signin');
  // A wrong password first: the error text is shown and what was typed stays.
  refusalsExpected = true;
  await page.fill('#account', ACCOUNT);
  await page.fill('#passwd', 'wrong');
  await page.click('form.signin button[type=submit]');
  await page.waitForFunction(() => document.querySelector('#signin-error').textContent.includes('110'));
  assert.equal(await page.inputValue('#account'), ACCOUNT);
  refusalsExpected = false;
  await page.fill('#passwd', PASSWORD);
  await page.fill('#otp', totp(secret));
  await page.click('form.signin button[type=submit]');
  await page.waitForSelector('#card-datapath .badge');
  const cookies = await context.cookies(`${base}/webapi/entry`);
  const sid = cookies.find((c) => c.name === 'sid');
  assert.ok(sid, 'the session cookie is set');
  assert.equal(sid.httpOnly, true);
  assert.equal(sid.sameSite, 'Strict');
  assert.equal(await page.evaluate(() => document.cookie), '', 'the page cannot read the session');
  await shot('overview-empty');

  step('make a LUN; a bad name is refused before sending and the form keeps what was typed');
  await page.click('#nav-luns');
  await page.waitForSelector('#lun-create');
  await page.fill('#lun-create [name=name]', 'bad name!');
  await page.fill('#lun-create [name=size]', '64M');
  await page.click('#lun-create button[type=submit]');
  await page.waitForFunction(() => document.querySelector('#lun-create .status').textContent.startsWith('Name:'));
  assert.equal(await page.inputValue('#lun-create [name=size]'), '64M');
  await page.fill('#lun-create [name=size]', 'ten');
  await page.fill('#lun-create [name=name]', 'web-lun');
  await page.click('#lun-create button[type=submit]');
  await page.waitForFunction(() => document.querySelector('#lun-create .status').textContent.startsWith('Size:'));
  await page.fill('#lun-create [name=size]', '64M');
  await page.click('#lun-create button[type=submit]');
  await page.waitForSelector('#luns [data-lun="web-lun"]');
  const created = await page.textContent('#lun-create .status');
  const lunUuid = /\(([0-9a-f-]{36})\)/.exec(created)[1];
  // The same name again: the service's error text, and the fields keep their values.
  await page.click('#lun-create button[type=submit]');
  await page.waitForFunction(() => document.querySelector('#lun-create .status').textContent.includes('18999101'));
  assert.match(await page.textContent('#lun-create .status'), /Another LUN already has this name/);
  assert.equal(await page.inputValue('#lun-create [name=name]'), 'web-lun');
  // Data in the LUN, so that its clone has something to copy (holes are not copied).
  const image = path.join(volume1, '@iscsi', `${lunUuid}.img`);
  const fd = fs.openSync(image, 'r+');
  fs.writeSync(fd, Buffer.alloc(16 << 20, 0x5a), 0, 16 << 20, 0);
  fs.fsyncSync(fd);
  fs.closeSync(fd);

  step('take a snapshot');
  await page.click('#luns [data-lun="web-lun"]');
  await page.waitForSelector('#snap-take');
  await page.fill('#snap-take [name=snapshot_name]', 'snap1');
  await page.click('#snap-take button[type=submit]');
  await page.waitForFunction(() => (document.querySelector('#snapshot-table') || {}).textContent?.includes('snap1'));

  step('clone the LUN and follow its progress bar to 100%');
  await page.fill('#lun-clone [name=dst_lun_name]', 'web-copy');
  await page.click('#lun-clone button[type=submit]');
  console.log(`   progress seen: ${(await followBar(page, 'Clone web-copy')).join(' ')}`);
  await page.waitForSelector('#luns [data-lun="web-copy"]');

  step('export the snapshot and import it back, each with its progress bar');
  await page.click('#snapshot-table button[aria-label="Export snap1"]');
  console.log(`   export progress seen: ${(await followBar(page, 'Export snap1')).join(' ')}`);
  await page.fill('#lun-import [name=exported_dir_path]', '/volume1/exports/web-lun-snap1');
  await page.fill('#lun-import [name=snapshot_name]', 'imported');
  await page.click('#lun-import button[type=submit]');
  console.log(`   import progress seen: ${(await followBar(page, 'Import into web-lun')).join(' ')}`);
  await page.waitForFunction(() => (document.querySelector('#snapshot-table') || {}).textContent?.includes('imported'));
  await shot('luns');

  step('make a target with CHAP, map the LUN');
  await page.click('#nav-targets');
  await page.waitForSelector('#target-create');
  await page.fill('#target-create [name=name]', 'web-target');
  await page.fill('#target-create [name=iqn]', 'iqn.2026-11.com.example:web');
  await page.selectOption('#target-create [name=auth_type]', '1');
  await page.fill('#target-create [name=user]', 'webuser');
  await page.fill('#target-create [name=password]', 'short');
  await page.click('#target-create button[type=submit]');
  await page.waitForFunction(() => document.querySelector('#target-create .status').textContent.startsWith('CHAP password'));
  // Without CHAP for the initiator below; the typed user stays in its (hidden) field.
  await page.selectOption('#target-create [name=auth_type]', '0');
  await page.click('#target-create button[type=submit]');
  await page.waitForSelector('#targets [data-target="web-target"]');
  await page.click('#targets [data-target="web-target"]');
  await page.waitForSelector('#target-map');
  await page.selectOption('#target-map [name=lun]', { label: 'web-lun' });
  await page.click('#target-map button[type=submit]');
  await page.waitForFunction(() => (document.querySelector('#mapped-luns') || {}).textContent?.includes('web-lun'));
  const enabled = await page.textContent('#targets tbody tr');
  if (!/enabled/.test(enabled)) {
    await page.click('#targets button[aria-label="Enable web-target"]');
    await page.waitForFunction(() => document.querySelector('#targets tbody tr').textContent.includes('enabled'));
  }
  await shot('targets');

  step('an initiator reads the LUN the page made');
  let lunUrl = '';
  if (initiatorMissing) {
    console.log(`   SKIPPED: ${initiatorMissing}`);
  } else {
    const portal = `127.0.0.1:${portalPort}`;
    const listing = await waitFor(() => {
      const r = spawnSync('iscsi-ls', ['-s', `iscsi://${portal}`], { encoding: 'utf8', timeout: 20000 });
      return r.status === 0 && r.stdout.includes('iqn.2026-11.com.example:web') ? r.stdout : null;
    }, 'iscsi-ls to list the target', 30000);
    const lun = /Lun:(\d+)\s+Type:DIRECT_ACCESS/.exec(listing);
    assert.ok(lun, `a disk in:\n${listing}`);
    const cap = spawnSync('iscsi-readcapacity16', [`iscsi://${portal}/iqn.2026-11.com.example:web/${lun[1]}`], { encoding: 'utf8', timeout: 20000 });
    assert.equal(cap.status, 0, cap.stderr);
    const size = /Total size:\s*(\d+)/.exec(cap.stdout);
    assert.ok(size, cap.stdout);
    assert.equal(Number(size[1]), 64 << 20, cap.stdout);
    console.log(`   iscsi-readcapacity16: LUN ${lun[1]} of ${size[1]} bytes`);
    lunUrl = `iscsi://${portal}/iqn.2026-11.com.example:web/${lun[1]}`;
  }

  step('the I/O chart');
  // With the initiator, iscsi-perf reads for a few seconds (stopped below by its pid), so that
  // the chart has something to plot.
  if (lunUrl) perf = spawn('iscsi-perf', ['-m', '4', lunUrl], { stdio: 'ignore' });
  await page.click('#nav-io');
  await page.waitForSelector('#io-charts svg.chart polyline.read');
  if (perf) {
    const readRate = () => page.evaluate(() => {
      const row = [...document.querySelectorAll('#io-stats tbody tr')].find((r) => r.children[0].textContent === 'web-lun');
      return row && row.children[1].textContent !== '0 B/s' ? row.children[1].textContent : '';
    });
    const seenRate = await waitFor(readRate, 'a read rate of web-lun', 20000).catch(() => '');
    console.log(`   read rate shown while iscsi-perf reads: ${seenRate || 'none'}`);
    await new Promise((r) => setTimeout(r, 2500));
  }
  await shot('io');
  stopPerf();

  step('filter and export the log');
  await page.click('#nav-log');
  await page.waitForSelector('#log-lines');
  await page.fill('#keyword', 'web-target');
  await page.click('#log-apply');
  await page.waitForFunction(() => {
    const rows = [...document.querySelectorAll('#log-lines tbody tr')];
    return rows.length > 0 && rows.every((r) => r.textContent.includes('web-target'));
  });
  await page.uncheck('#level-info');
  await page.click('#log-apply');
  // The target's lines are all of level info: none is left.
  await page.waitForFunction(() => document.querySelector('#log-status').textContent === '0 lines match' &&
    !document.querySelector('#log-lines tbody'));
  await page.check('#level-info');
  await page.click('#log-apply');
  await page.waitForSelector('#log-lines tbody tr');
  await shot('log');
  for (const format of ['csv', 'html']) {
    const [download] = await Promise.all([page.waitForEvent('download'), page.click(`#export-${format}`)]);
    assert.equal(download.suggestedFilename(), `iscsi-log.${format}`);
    const file = path.join(root, `export.${format}`);
    await download.saveAs(file);
    const text = fs.readFileSync(file, 'utf8');
    assert.ok(text.includes('web-target'), `${format} export holds the filtered lines`);
    if (format === 'csv') {
      const lines = text.trim().split(/\r?\n/).slice(1);
      assert.ok(lines.length > 0 && lines.every((l) => l.includes('web-target')), `only the filtered lines:\n${text}`);
    } else {
      assert.match(text, /<table/i);
    }
  }

  step('nodes and replications');
  await page.click('#nav-nodes');
  await page.waitForSelector('#nodes');
  await page.waitForSelector('#replications');
  await shot('nodes');

  step('overview with the new objects');
  await page.click('#nav-overview');
  await page.waitForSelector('#card-luns .figure');
  assert.equal(await page.textContent('#card-luns .figure'), '2');
  assert.equal(await page.textContent('#card-targets .figure'), '1');
  await shot('overview');

  step('keyboard: the views are reached with Tab and Enter');
  await page.evaluate(() => document.activeElement && document.activeElement.blur());
  await page.keyboard.press('Tab');
  await page.keyboard.press('Tab');
  assert.equal(await page.evaluate(() => document.activeElement.id), 'nav-luns');
  await page.keyboard.press('Enter');
  await page.waitForSelector('#lun-create');

  step('a phone-sized screen');
  await page.setViewportSize({ width: 390, height: 844 });
  await page.click('#nav-luns');
  await page.waitForSelector('#luns [data-lun="web-lun"]');
  const overflow = await page.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
  assert.ok(overflow <= 1, `no sideways scrolling on a phone (${overflow}px)`);
  await shot('luns-phone');
  await page.click('#nav-overview');
  await page.waitForSelector('#card-luns .figure');
  await shot('overview-phone');
  await page.setViewportSize({ width: 1280, height: 900 });
  const token = await page.evaluate(() => sessionStorage.getItem('kova-page-token'));

  step('a change from another site is refused');
  refusalsExpected = true;
  const evilPort = await freePort('127.0.0.2');
  crossSite = http.createServer((req, res) => {
    res.setHeader('Content-Type', 'text/html');
    res.end(`<!doctype html><form id="f" method="POST" action="${base}/webapi/entry">
      <input name="api" value="KOVA.Core.ISCSI.LUN"><input name="version" value="1"><input name="method" value="create">
      <input name="name" value="evil"><input name="type" value="THIN"><input name="location" value="/volume1">
      <input name="size" value="1048576"></form>`);
  });
  await new Promise((r) => crossSite.listen(evilPort, '127.0.0.2', r));
  const evil = await context.newPage();
  await evil.goto(`http://127.0.0.2:${evilPort}/`);
  await Promise.all([evil.waitForNavigation(), evil.evaluate(() => document.getElementById('f').submit())]);
  const answer = await evil.textContent('body');
  assert.match(answer, /"success":false/);
  await evil.close();
  // The same call with the cookie, as a browser that sent it anyway would: refused without
  // the page's token.
  const forged = await fetch(`${base}/webapi/entry`, {
    method: 'POST',
    headers: { Cookie: `sid=${sid.value}`, 'Content-Type': 'application/x-www-form-urlencoded' },
    body: 'api=KOVA.Core.ISCSI.LUN&version=1&method=create&name=evil&type=THIN&location=/volume1&size=1048576',
  });
  assert.equal(forged.status, 403);
  assert.deepEqual(await forged.json(), { success: false, error: { code: 115 } });
  const luns = await page.evaluate(async () => {
    const r = await fetch('/webapi/entry', { method: 'POST', headers: { 'X-Kova-Token': sessionStorage.getItem('kova-page-token') },
      body: JSON.stringify({ api: 'KOVA.Core.ISCSI.LUN', version: 1, method: 'list', params: {} }) });
    return (await r.json()).data.luns.map((l) => l.name);
  });
  assert.ok(!luns.includes('evil'), `no LUN was made from the other site: ${luns}`);

  step('sign out');
  await page.click('#signout');
  await page.waitForFunction(() => document.querySelector('#signin-error')?.textContent === 'You have signed out.');
  const after = await fetch(`${base}/webapi/entry`, {
    method: 'POST', headers: { Cookie: `sid=${sid.value}`, 'X-Kova-Token': token },
    body: JSON.stringify({ api: 'KOVA.Core.ISCSI.LUN', version: 1, method: 'list' }),
  });
  assert.equal((await after.json()).error.code, 106);
  await shot('signed-out');

  step('an ended session returns to sign-in with a message');
  await page.fill('#account', 'plain');
  await page.fill('#passwd', PASSWORD);
  await page.click('form.signin button[type=submit]');
  await page.waitForSelector('#card-datapath .badge');
  // A new password ends the account's sessions.
  execFileSync(DAEMON, ['account', 'passwd', 'plain', '--password-file', passwordFile, '--data-dir', dataDir]);
  await page.click('#nav-luns');
  await page.waitForFunction(() => /session has (ended|expired)/.test(document.querySelector('#signin-error')?.textContent || ''));
  await shot('session-ended');

  step('an expired session returns to sign-in with its own message');
  // A daemon whose sessions expire after 2 idle seconds, with the page's account alone.
  const shortDir = path.join(root, 'short');
  fs.mkdirSync(shortDir);
  execFileSync(DAEMON, ['account', 'add', 'plain', '--password-file', passwordFile, '--data-dir', shortDir]);
  const shortPort = await startDaemon(shortDir, ['--session-idle', '2'], { ...process.env, KOVA_TGTD: 'off' });
  await page.goto(`http://127.0.0.1:${shortPort}/#log`);
  await page.fill('#account', 'plain');
  await page.fill('#passwd', PASSWORD);
  await page.click('form.signin button[type=submit]');
  await page.waitForSelector('#log-filters');
  await new Promise((r) => setTimeout(r, 3500));
  await page.click('#log-apply');
  await page.waitForFunction(() => document.querySelector('#signin-error')?.textContent === 'Your session has expired. Please sign in again.');
  refusalsExpected = false;

  assert.deepEqual(consoleErrors, [], 'no console errors');
  const shots = fs.readdirSync(SHOTS).filter((f) => f.endsWith('.png'));
  console.log(`   ${shots.length} screenshots in ${SHOTS}`);
}

try {
  await main();
  console.log('PASSED');
} catch (err) {
  failed = true;
  console.error(`FAILED: ${err.stack || err}`);
  if (currentPage) {
    await currentPage.screenshot({ path: path.join(SHOTS, 'failure.png'), fullPage: true }).catch(() => {});
    console.error(`the page at the failure: ${path.join(SHOTS, 'failure.png')}`);
  }
  console.error(`daemon output (last 3000 characters):\n${daemonOutput.slice(-3000)}`);
} finally {
  stopPerf();
  if (browser) await browser.close().catch(() => {});
  if (crossSite) crossSite.close();
  for (const proc of daemons) await stopDaemon(proc);
  fs.rmSync(root, { recursive: true, force: true });
}
process.exit(failed ? 1 : 0);
