// The web API as the page speaks it: JSON calls to /webapi/entry with the session in the
// HttpOnly cookie and the page's anti-forgery token in a header, login and logout at
// /webapi/auth, and the texts of every error code from error-texts.json.

const TOKEN_KEY = 'kova-page-token';
const API_PREFIX = 'KOVA.Core.ISCSI.';
let texts = null;
let sessionEndHandler = () => {};

export class ApiError extends Error {
  constructor(code, detail) {
    super(`Error ${code}`);
    this.code = code;
    this.detail = detail;
  }
}

// Codes that mean the session is gone: the page goes back to sign-in.
export const SESSION_CODES = new Set([106, 114]);

export function onSessionEnd(handler) {
  sessionEndHandler = handler;
}

export function signedIn() {
  return !!sessionStorage.getItem(TOKEN_KEY);
}

export async function loadErrorTexts() {
  if (!texts) {
    const reply = await fetch('error-texts.json', { cache: 'no-cache' });
    texts = reply.ok ? await reply.json() : {};
  }
  return texts;
}

// "CODE: text" for an error, with the details the service gave.
export function errorText(err) {
  if (!(err instanceof ApiError)) return String(err && err.message ? err.message : err);
  const text = (texts && texts[String(err.code)]) || 'Unknown error';
  let detail = '';
  if (typeof err.detail === 'string') detail = ` (${err.detail})`;
  else if (err.detail && typeof err.detail === 'object') detail = ` (${JSON.stringify(err.detail)})`;
  return `${text} [${err.code}]${detail}`;
}

async function readEnvelope(reply) {
  let body;
  try {
    body = await reply.json();
  } catch {
    throw new ApiError(100, `HTTP ${reply.status}`);
  }
  if (body && body.success) return body.data;
  const code = body && body.error ? body.error.code : 100;
  throw new ApiError(code, body && body.error ? body.error.detail : undefined);
}

function headers() {
  return { 'Content-Type': 'application/json', 'X-Kova-Token': sessionStorage.getItem(TOKEN_KEY) || '' };
}

function request(api, method, params) {
  return fetch('/webapi/entry', {
    method: 'POST',
    headers: headers(),
    credentials: 'same-origin',
    cache: 'no-store',
    body: JSON.stringify({ api: API_PREFIX + api, version: 1, method, params: params || {} }),
  });
}

function endIfSessionGone(err) {
  if (err instanceof ApiError && SESSION_CODES.has(err.code)) {
    sessionStorage.removeItem(TOKEN_KEY);
    sessionEndHandler(err.code);
  }
  throw err;
}

// Calls api.method (api without its prefix: 'LUN', 'Target', ...); answers "data".
export async function call(api, method, params) {
  let reply;
  try {
    reply = await request(api, method, params);
  } catch (e) {
    throw new ApiError(100, 'the service cannot be reached');
  }
  return readEnvelope(reply).catch(endIfSessionGone);
}

// A method that writes its own body (the log export): answers a Blob.
export async function callRaw(api, method, params) {
  const reply = await request(api, method, params);
  const failed = reply.headers.get('X-WebAPI-Error');
  if (failed) throw new ApiError(Number(failed));
  if ((reply.headers.get('Content-Type') || '').startsWith('application/json')) {
    await readEnvelope(reply).catch(endIfSessionGone);
  }
  return reply.blob();
}

export async function login(account, passwd, otpCode) {
  const body = { method: 'login', account, passwd };
  if (otpCode) body.otp_code = otpCode;
  const reply = await fetch('/webapi/auth', {
    method: 'POST',
    headers: { 'Content-Type': 'application/json', 'X-Kova-Cookie': '1' },
    credentials: 'same-origin',
    cache: 'no-store',
    body: JSON.stringify(body),
  });
  const data = await readEnvelope(reply);
  sessionStorage.setItem(TOKEN_KEY, data.token);
}

export async function logout() {
  try {
    const reply = await fetch('/webapi/auth', {
      method: 'POST',
      headers: { ...headers(), 'X-Kova-Cookie': '1' },
      credentials: 'same-origin',
      body: JSON.stringify({ method: 'logout' }),
    });
    await readEnvelope(reply);
  } finally {
    sessionStorage.removeItem(TOKEN_KEY);
  }
}
