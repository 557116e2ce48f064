// SPDX-License-Identifier: Apache-2.0
// Requests to the server, and the state that all views show.

export const state = {
  session: null,
  status: null,
  package: null,
  run: null,
  /** Whether the stream of events is open. */
  isLive: false,
};

const listeners = new Set();
const changed = new Set();
/** Events may come faster than a view can be shown. */
const betweenViews = 50;

/** Calls `listener` soon after changes of the state, with the name of each member once. */
export function onChange(listener) {
  listeners.add(listener);
}

export function change(name, value) {
  state[name] = value;
  if (changed.size === 0) setTimeout(showChanges, betweenViews);
  changed.add(name);
}

function showChanges() {
  const names = [...changed];
  changed.clear();
  for (const name of names) {
    for (const listener of listeners) listener(name);
  }
}

/** The server has no other document for a request that did not reach it. */
const unreachable = {
  id: "no-connection",
  text: "the server of this page cannot be reached",
  detail: "",
  advice: "Check the network and that the module is on, then try again.",
};

const patience = 20_000;
/** Events may come faster than answers. */
const mostAttempts = 5;

/** The document of a response; with `error` for one that failed in any way. */
export async function request(method, path, body) {
  const headers = method === "POST" ? { "X-CSRF-Token": state.session?.csrf_token ?? "" } : {};
  try {
    const response = await fetch(path, { method, headers, body, signal: AbortSignal.timeout(patience) });
    const document = await response.json();
    noteLogin(response.status, document);
    document.retry_after = Number(response.headers.get("Retry-After") ?? 0);
    return document;
  } catch {
    return { error: unreachable };
  }
}

export const get = (path) => request("GET", path);
export const post = (path, object) => request("POST", path, JSON.stringify(object));

/** A session that has ended leads to the login. */
export function noteLogin(status, document) {
  if (status === 401 && document.error?.id === "login-needed") {
    change("session", { ...state.session, password_needed: true, logged_in: false, csrf_token: "" });
  }
}

export async function loadSession() {
  const document = await get("/api/session");
  if (!document.error) change("session", document);
  return document;
}

/** Whether the server has answered. */
export async function loadPackage() {
  const document = await get("/api/package");
  if ("present" in document) change("package", document);
  return "present" in document;
}

/** The remaining time counts from when it was received. */
export const asReceived = (run) => ({ ...run, received: performance.now() });

/** An answer may arrive after events that are newer than it; then the server is asked again. */
export async function loadRun() {
  for (let attempt = 1; ; ++attempt) {
    const before = state.run;
    const document = await get("/api/run");
    if (document.error) return;
    if (state.run === before || attempt === mostAttempts) {
      change("run", asReceived(document));
      return;
    }
  }
}

/** Whether a run is active, as far as the page knows. */
export function isRunActive() {
  return ["preparing", "running", "restarting"].includes(state.run?.state);
}
