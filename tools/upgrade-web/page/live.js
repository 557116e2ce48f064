// SPDX-License-Identifier: Apache-2.0
// The stream of events: keeps state.status and state.run as the server has them. A browser opens few
// connections to one server (six with HTTP/1.1), so a page that is hidden has no stream and asks.
import { asReceived, change, get, loadPackage, loadRun, loadSession, state } from "./api.js";

/** As many as the document of a run has. */
const mostMessages = 500;
/** A stream that is silent this long is checked: a network that was cut reports nothing. */
const silence = 20_000;
const betweenChecks = 5_000;
const betweenTries = 3_000;
/** A page that is hidden this long closes its stream. */
const hiddenTime = 5_000;
const betweenQuestions = 15_000;
/** While the agent waits for the device there is an event each second, but not in the first 3 s after
 *  a retry; the end of a wait has no event. */
const waitTime = 5_000;

let isStarted = false;
let source = null;
let lastSign = 0;
let wasOpen = false;
let isChecking = false;
let retry = 0;
let hide = 0;
let question = 0;
let waitEnd = 0;

function changeRun(members) {
  change("run", { ...state.run, ...members });
}

function changeChip(event) {
  const { event: _, time: __, ...members } = event;
  const chips = [...(state.run?.chips ?? [])];
  chips[event.row] = { label: event.name, percent: null, ...chips[event.row], ...members };
  changeRun({ chips });
}

/** Of a run that this page did not see beginning or ending, the server has the whole document. */
function changeStatus(status) {
  change("status", status);
  if (status.run.id !== state.run?.id || status.run.state !== state.run?.state) loadRun();
}

function endWaitLater() {
  clearTimeout(waitEnd);
  waitEnd = setTimeout(() => changeRun({ wait: null }), waitTime);
}

const handlers = {
  snapshot: (event) => {
    change("status", event.status);
    change("run", asReceived(event.run));
    if (event.run.wait) endWaitLater();
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
    }),
  phase: (event) => changeRun({ phase: event.phase, wait: null }),
  chip: (event) => {
    changeChip(event);
    changeRun({ wait: null });
  },
  // The device is still silent.
  retry: changeChip,
  progress: (event) => {
    const { percent, seconds, seconds_left, seconds_left_is_whole } = event;
    const chips = [...(state.run?.chips ?? [])];
    if (chips[event.row] && "chip_percent" in event) {
      chips[event.row] = { ...chips[event.row], percent: event.chip_percent };
    }
    changeRun(asReceived({ percent, seconds, seconds_left, seconds_left_is_whole, chips, wait: null }));
  },
  wait: (event) => {
    changeRun({ wait: event });
    endWaitLater();
  },
  message: (event) => changeRun({ messages: [...(state.run?.messages ?? []), event].slice(-mostMessages) }),
  restarting: () => changeRun({ state: "restarting" }),
  result: (event) => change("run", event.run),
};

function open() {
  source?.close();
  clearTimeout(retry);
  clearInterval(question);
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
  if (source && state.session?.logged_in) retry = setTimeout(open, betweenTries);
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

/** Without a stream: only what the title of the page and the end of a run need. */
function rest() {
  clearTimeout(retry);
  source?.close();
  source = null;
  clearInterval(question);
  question = setInterval(loadRun, betweenQuestions);
  loadRun();
}

export function startLive() {
  isStarted = true;
  if (document.hidden) rest();
  else if (!source) open();
}

export function stopLive() {
  isStarted = false;
  for (const timer of [retry, hide, question]) clearTimeout(timer);
  source?.close();
  source = null;
  change("isLive", false);
}

setInterval(check, betweenChecks);
for (const name of ["online", "pageshow"]) addEventListener(name, () => (lastSign = Math.min(lastSign, performance.now() - silence)));
document.addEventListener("visibilitychange", () => {
  clearTimeout(hide);
  if (!isStarted) return;
  if (document.hidden) {
    hide = setTimeout(rest, hiddenTime);
    return;
  }
  if (!source) {
    // The first event of a new stream is the whole state.
    open();
    return;
  }
  lastSign = Math.min(lastSign, performance.now() - silence);
  check();
});
