// SPDX-License-Identifier: Apache-2.0
// The stream of events: keeps state.status and state.run as the server has them.
import { change, get, loadPackage, loadRun, loadSession, state } from "./api.js";

/** As many as the document of a run has. */
const mostMessages = 500;
/** A stream that is silent this long is checked: a network that was cut reports nothing. */
const silence = 20_000;
const betweenChecks = 5_000;
const betweenTries = 3_000;

let source = null;
let lastSign = 0;
let wasOpen = false;
let isChecking = false;
let retry = 0;

function changeRun(members) {
  change("run", { ...state.run, ...members, received: performance.now() });
}

function changeChip(event) {
  const { event: _, time: __, ...members } = event;
  const chips = [...(state.run?.chips ?? [])];
  chips[event.row] = { label: event.name, percent: null, ...chips[event.row], ...members };
  changeRun({ chips, wait: null });
}

/** Of a run that this page did not see beginning or ending, the server has the whole document. */
function changeStatus(status) {
  change("status", status);
  if (status.run.id !== state.run?.id || status.run.state !== state.run?.state) loadRun();
}

const handlers = {
  snapshot: (event) => {
    change("status", event.status);
    change("run", { ...event.run, received: performance.now() });
    loadPackage();
  },
  status: (event) => changeStatus(event.status),
  package: () => loadPackage(),
  run: (event) =>
    change("run", {
      id: event.id,
      state: "running",
      foreign: event.foreign,
      mode: event.mode,
      package: event.package,
      started: event.started,
      phase: "preparing",
      percent: 0,
      seconds: 0,
      seconds_left: 0,
      wait: null,
      chips: event.chips,
      messages: [],
      document: null,
      received: performance.now(),
    }),
  phase: (event) => changeRun({ phase: event.phase, wait: null }),
  chip: changeChip,
  retry: changeChip,
  progress: (event) => {
    const { percent, seconds, seconds_left, seconds_left_is_whole } = event;
    const chips = [...(state.run?.chips ?? [])];
    if (chips[event.row] && "chip_percent" in event) {
      chips[event.row] = { ...chips[event.row], percent: event.chip_percent };
    }
    changeRun({ percent, seconds, seconds_left, seconds_left_is_whole, chips, wait: null });
  },
  wait: (event) => changeRun({ wait: event }),
  message: (event) => changeRun({ messages: [...(state.run?.messages ?? []), event].slice(-mostMessages) }),
  restarting: () => changeRun({ state: "restarting" }),
  result: (event) => change("run", { ...event.run, received: performance.now() }),
};

function open() {
  source?.close();
  clearTimeout(retry);
  lastSign = performance.now();
  source = new EventSource("/api/events");
  source.addEventListener("open", onOpen);
  for (const [name, handle] of Object.entries(handlers)) {
    source.addEventListener(name, (message) => {
      lastSign = performance.now();
      handle(JSON.parse(message.data));
    });
  }
  source.addEventListener("error", onError);
}

/** A server that was restarted has other tokens. */
function onOpen() {
  lastSign = performance.now();
  change("isLive", true);
  if (wasOpen) loadSession();
  wasOpen = true;
}

/** The browser comes back by itself after a lost connection, but not after a refusal. */
async function onError() {
  change("isLive", false);
  if (source.readyState !== EventSource.CLOSED) return;
  await loadSession();
  clearTimeout(retry);
  if (state.session?.logged_in) retry = setTimeout(open, betweenTries);
}

async function check() {
  if (!source || isChecking || document.hidden || performance.now() - lastSign < silence) return;
  isChecking = true;
  const status = await get("/api/status");
  isChecking = false;
  if (!source) return;
  if (status.error) {
    change("isLive", false);
    return;
  }
  const wasLost = !state.isLive;
  lastSign = performance.now();
  changeStatus(status);
  if (wasLost) open();
}

export function startLive() {
  if (!source) open();
}

export function stopLive() {
  clearTimeout(retry);
  source?.close();
  source = null;
  change("isLive", false);
}

setInterval(check, betweenChecks);
for (const name of ["online", "pageshow"]) addEventListener(name, () => (lastSign = Math.min(lastSign, performance.now() - silence)));
document.addEventListener("visibilitychange", () => {
  if (document.hidden) return;
  lastSign = Math.min(lastSign, performance.now() - silence);
  check();
});
