// SPDX-License-Identifier: Apache-2.0
// Which view is shown, the login, and what all views have in common.
import { isRunActive, loadSession, onChange, post, state } from "./api.js";
import { byId, make, setText, show, showProblem } from "./dom.js";
import { startEdid } from "./edid.js";
import { startLive, stopLive } from "./live.js";
import { startModule } from "./module.js";
import { startPlan } from "./plan.js";
import { startRun } from "./run.js";
import { startUpload } from "./upload.js";
import { durationText } from "./words.js";

const views = ["module", "package", "upgrade", "run", "edid"];
const title = "Firmware upgrade";
let current = "";

function viewWanted() {
  if (!state.session?.logged_in) return "login";
  const name = location.hash.slice(1);
  return views.includes(name) ? name : isRunActive() ? "run" : "module";
}

/** Shows the view of the address; its title gets the focus when the user has changed it. */
function showView(moveFocus) {
  const name = viewWanted();
  if (name === current) return;
  const isFirst = current === "";
  current = name;
  for (const one of [...views, "login"]) show(byId(`view-${one}`), one === name);
  for (const one of views) {
    if (one === name) byId(`nav-${one}`).setAttribute("aria-current", "page");
    else byId(`nav-${one}`).removeAttribute("aria-current");
  }
  showHead();
  dispatchEvent(new CustomEvent("view", { detail: name }));
  if (name === "login") byId("login-password").focus();
  else if (moveFocus && !isFirst) byId(`title-${name}`).focus();
  if (moveFocus && !isFirst) scrollTo(0, 0);
}

function headState() {
  if (isRunActive()) return ["Upgrading", "caution"];
  const { status } = state;
  if (!state.isLive || !status || status.reachable === null) return ["Unknown", ""];
  if (!status.reachable) return ["Not reachable", "bad"];
  return status.busy ? ["Busy", "caution"] : ["Ready", "good"];
}

function showHead() {
  const isIn = Boolean(state.session?.logged_in);
  show(byId("nav"), isIn);
  show(byId("log-out"), isIn && state.session.password_needed);
  const [text, kind] = isIn ? headState() : ["", ""];
  setText(byId("agent-state"), text);
  byId("agent-state").className = `pill ${kind}`;
  const heading = current ? byId(`title-${current}`).textContent : "";
  const percent = isRunActive() ? `${Math.floor(state.run.percent)} % – ` : "";
  document.title = `${percent}${heading} – ${title}`;
  showNotice(isIn);
}

function showNotice(isIn) {
  const notice = byId("run-notice");
  const isShown = isIn && isRunActive() && current !== "run";
  if (isShown && notice.hidden) {
    const who = state.run.foreign ? "Another client upgrades the device. " : "The device is being upgraded. ";
    notice.replaceChildren(who, make("a", { href: "#run" }, "Show the run"));
  }
  show(notice, isShown);
}

/** A short interruption is not worth a message. */
const graceTime = 1_500;
let lostTimer = 0;

function showConnection() {
  const strip = byId("connection");
  const isLost = Boolean(state.session?.logged_in) && !state.isLive && state.status !== null;
  clearTimeout(lostTimer);
  if (!isLost) {
    show(strip, false);
    return;
  }
  lostTimer = setTimeout(() => {
    const more = isRunActive() ? " The upgrade goes on without this page." : "";
    setText(strip, `Connection lost, retrying.${more}`);
    show(strip, true);
  }, graceTime);
}

async function logIn(event) {
  event.preventDefault();
  const field = byId("login-password");
  byId("login-submit").disabled = true;
  const answer = await post("/api/login", { password: field.value });
  byId("login-submit").disabled = false;
  field.value = "";
  const problem = answer.error;
  if (problem && answer.retry_after) {
    problem.advice = `Wait ${durationText(answer.retry_after)}, then try again.`;
  }
  showProblem(byId("login-problem"), problem);
  if (problem) field.focus();
  else await loadSession();
}

async function logOut() {
  await post("/api/logout", {});
  // Nothing of the device stays in the page.
  location.reload();
}

let wasIn = false;

function onSession() {
  show(byId("login-note"), wasIn);
  wasIn ||= state.session.logged_in;
  if (state.session.logged_in) startLive();
  else stopLive();
  showView(true);
}

let hasRun = false;

onChange((name) => {
  if (name === "session") onSession();
  if (name === "isLive") showConnection();
  // Only a page that was opened without a view leads to the run that is active.
  if (name === "run" && !location.hash && current === "module" && isRunActive() && !hasRun) showView(false);
  if (name === "run") hasRun = true;
  showHead();
});
addEventListener("hashchange", () => showView(true));
byId("login-form").addEventListener("submit", logIn);
byId("log-out").addEventListener("click", logOut);
// A file that misses its place must not replace the page.
for (const name of ["dragover", "drop"]) addEventListener(name, (event) => event.preventDefault());
for (const start of [startModule, startUpload, startPlan, startRun, startEdid]) start();

async function begin() {
  const session = await loadSession();
  show(byId("connection"), Boolean(session.error));
  if (!session.error) return;
  setText(byId("connection"), "The server cannot be reached, retrying.");
  setTimeout(begin, 3_000);
}
begin();
