// The management page of the iSCSI service: sign-in, the navigation and the views.
import { login, logout, loadErrorTexts, errorText, onSessionEnd, signedIn, ApiError } from './api.js';
import { h, clear } from './dom.js';
import { overviewView } from './view-overview.js';
import { lunsView } from './view-luns.js';
import { targetsView } from './view-targets.js';
import { logView } from './view-log.js';
import { ioView } from './view-io.js';
import { nodesView } from './view-nodes.js';

const VIEWS = [
  { id: 'overview', title: 'Overview', render: overviewView },
  { id: 'luns', title: 'LUNs', render: lunsView },
  { id: 'targets', title: 'Targets', render: targetsView },
  { id: 'io', title: 'I/O', render: ioView },
  { id: 'log', title: 'Log', render: logView },
  { id: 'nodes', title: 'Nodes', render: nodesView },
];

const root = document.getElementById('app');
// What the shown view runs in the background (polls); stopped when the view changes.
let viewTimers = [];
let signInMessage = '';

// setInterval that the next view change stops.
export function every(ms, fn) {
  const id = setInterval(fn, ms);
  viewTimers.push(id);
  return id;
}

function stopTimers() {
  viewTimers.forEach(clearInterval);
  viewTimers = [];
}

function signInView() {
  stopTimers();
  const account = h('input', { id: 'account', name: 'account', autocomplete: 'username', required: true, maxlength: 128 });
  const passwd = h('input', { id: 'passwd', name: 'passwd', type: 'password', autocomplete: 'current-password', required: true, maxlength: 4096 });
  const otp = h('input', { id: 'otp', name: 'otp_code', inputmode: 'numeric', autocomplete: 'one-time-code', pattern: '[0-9]{6}', maxlength: 6, placeholder: '6 digits, if your account has one' });
  const status = h('p', { class: 'error', role: 'alert', id: 'signin-error' }, signInMessage);
  signInMessage = '';
  const button = h('button', { type: 'submit' }, 'Sign in');
  const form = h('form', { class: 'signin', 'aria-labelledby': 'signin-title' },
    h('h1', { id: 'signin-title' }, 'iSCSI service'),
    h('label', { for: 'account' }, 'Account'), account,
    h('label', { for: 'passwd' }, 'Password'), passwd,
    h('label', { for: 'otp' }, 'One-time code'), otp,
    status, button);
  form.addEventListener('submit', async (event) => {
    event.preventDefault();
    if (otp.value && !/^\d{6}$/.test(otp.value)) {
      status.textContent = 'The one-time code is 6 digits.';
      otp.focus();
      return;
    }
    button.disabled = true;
    status.textContent = '';
    try {
      await login(account.value, passwd.value, otp.value);
      if (!location.hash || location.hash === '#signin') location.hash = '#overview';
      else route();
    } catch (err) {
      status.textContent = errorText(err);
      (err instanceof ApiError && (err.code === 111 || err.code === 112) ? otp : passwd).focus();
    } finally {
      button.disabled = false;
    }
  });
  clear(root, h('main', { class: 'signin-page' }, form));
  account.focus();
}

function shell(current) {
  const nav = h('nav', { 'aria-label': 'Views' },
    VIEWS.map((v) => h('a', { href: `#${v.id}`, 'aria-current': v.id === current ? 'page' : null, id: `nav-${v.id}` }, v.title)));
  const signOut = h('button', { type: 'button', id: 'signout', class: 'link' }, 'Sign out');
  signOut.addEventListener('click', async () => {
    try {
      await logout();
    } catch (err) {
      // The session may be over already; the page signs out either way.
    }
    signInMessage = 'You have signed out.';
    signInView();
  });
  const main = h('main', { id: 'view', tabindex: '-1' });
  clear(root, h('header', {}, h('span', { class: 'brand' }, 'iSCSI service'), nav, signOut), main);
  return main;
}

async function route() {
  if (!signedIn()) {
    signInView();
    return;
  }
  stopTimers();
  const id = (location.hash || '#overview').slice(1);
  const view = VIEWS.find((v) => v.id === id) || VIEWS[0];
  const main = shell(view.id);
  document.title = `${view.title} - iSCSI service`;
  try {
    await view.render(main, { every });
  } catch (err) {
    main.append(h('p', { class: 'error', role: 'alert' }, errorText(err)));
  }
}

onSessionEnd((code) => {
  signInMessage = code === 114 ? 'Your session has expired. Please sign in again.' : 'Your session has ended. Please sign in again.';
  signInView();
});

window.addEventListener('hashchange', route);
loadErrorTexts().finally(route);

