// SPDX-License-Identifier: Apache-2.0
// The live view of a run, and its summary.
import { isRunActive, onChange, state } from "./api.js";
import { announce, byId, make, sentence, setText, show } from "./dom.js";
import { chipPhases, chipResults, dateText, durationText, estimateText, packageText, runPhases, timeText } from "./words.js";

let shownRun = "";
let lastMessage = null;
let wasActive = false;
let saidPhase = "";
let wasSilent = false;

/** Seconds. */
const lateAnswer = 10;

/** The elements of one chip, which change in place. */
function chipItem(row) {
  const part = (tag, className, properties = {}) => make(tag, { className, ...properties });
  const item = make("li", {},
    part("span", "sign", { ariaHidden: "true" }),
    make("div", { className: "head" }, part("span", "chip-name"), part("span", "chip-versions"), part("span", "chip-state")),
    part("progress", "", { max: 100, hidden: true }),
    part("p", "chip-why", { hidden: true }));
  item.dataset.row = row;
  return item;
}

const skipped = ["up-to-date", "package-older", "no-fit"];

function versionsText(chip) {
  if (skipped.includes(chip.result)) return chip.old_version;
  if (chip.old_version && chip.new_version && chip.old_version !== chip.new_version) {
    return `${chip.old_version} → ${chip.new_version}`;
  }
  return chip.old_version || (chip.new_version ? `→ ${chip.new_version}` : "");
}

/** What the chip runs when the run has ended. */
function runsNow(chip, run) {
  if (chip.result === "updated") {
    if (!chip.new_version) return "Its new version was not seen.";
    return run.document?.rebooted ? `It runs ${chip.new_version} now.` : `${chip.new_version} is written; it runs after the next restart.`;
  }
  if ([...skipped, "not-reached"].includes(chip.result) && chip.old_version) {
    return `It runs ${chip.old_version}.`;
  }
  return "What it runs now is not known.";
}

/** After its version was read a chip waits for its turn. */
function isWaiting(chip, run) {
  return !chip.phase || chip.phase === "waiting" || (chip.phase === "reading" && run.phase !== "reading");
}

function stateText(chip, run) {
  if (chip.phase === "finished") {
    const known = chipResults[chip.result];
    return known ? known.label : chip.result;
  }
  const text = chipPhases[isWaiting(chip, run) ? "waiting" : chip.phase] ?? chip.phase;
  return chip.phase === "writing" && chip.percent !== null ? `${text}, ${Math.floor(chip.percent)} %` : text;
}

function whyText(chip, run) {
  const parts = [];
  if (chip.phase === "finished" && chip.error) {
    parts.push(sentence(chip.error.text), chip.error.advice);
  }
  if (run.state === "ended") parts.push(runsNow(chip, run));
  if (chip.retries > 0) parts.push(chip.retries === 1 ? "1 retry." : `${chip.retries} retries.`);
  return parts.join(" ");
}

function showChip(item, chip, run) {
  const [sign, head, bar, why] = item.children;
  const [name, versions, text] = head.children;
  const result = chip.phase === "finished" ? chipResults[chip.result] : null;
  const isActive = chip.phase !== "finished" && !isWaiting(chip, run);
  setText(sign, result ? result.sign : isActive ? "▸" : "○");
  sign.className = `sign ${result ? result.kind : ""}`;
  setText(name, chip.label || chip.name);
  setText(versions, versionsText(chip));
  const wasFinished = text.textContent === "" || item.dataset.result !== undefined;
  setText(text, stateText(chip, run));
  if (result) item.dataset.result = chip.result;
  if (result && !wasFinished) announce(`${name.textContent}: ${text.textContent}`);
  text.className = `chip-state ${result ? result.kind : ""}`;
  show(bar, chip.phase === "writing" && chip.percent !== null);
  if (!bar.hidden) {
    bar.value = chip.percent;
    bar.setAttribute("aria-label", `Writing ${chip.label || chip.name}`);
  }
  setText(why, whyText(chip, run));
  show(why, why.textContent !== "");
}

function showChips(run) {
  const list = byId("run-chips");
  const chips = run.chips ?? [];
  show(byId("run-chips-card"), chips.length > 0);
  while (list.children.length > chips.length) list.lastElementChild.remove();
  chips.forEach((chip, row) => {
    if (!chip) return;
    while (list.children.length <= row) list.append(chipItem(list.children.length));
    showChip(list.children[row], chip, run);
  });
}

function messageItem(message) {
  const text = make("span", { className: message.error ? "is-error" : "" }, message.error ? `✕ ${message.text}` : message.text);
  return make("li", {}, make("time", { dateTime: message.time }, timeText(message.time)), text,
    message.explanation ? make("span", { className: "why" }, message.explanation) : null);
}

/** Adds what is new; the log follows its end unless the user has scrolled it. */
function showLog(messages) {
  const log = byId("run-log");
  show(byId("log-details"), messages.length > 0);
  const last = messages[messages.length - 1] ?? null;
  if (last === lastMessage) return;
  const isAtEnd = log.scrollHeight - log.scrollTop - log.clientHeight < 40;
  // Only the last messages are kept: the first ones leave the log, too.
  const known = messages.lastIndexOf(lastMessage) + 1;
  if (known === 0) log.replaceChildren();
  log.append(...messages.slice(known).map(messageItem));
  while (log.children.length > messages.length) log.firstElementChild.remove();
  lastMessage = last;
  if (isAtEnd) log.scrollTop = log.scrollHeight;
}

function phaseText(run) {
  if (run.state === "preparing") return "Preparing";
  if (run.state === "restarting") return "The module restarts with the device; waiting for its agent";
  return runPhases[run.phase] ?? "Preparing";
}

function secondsLeft(run) {
  const since = (performance.now() - (run.received ?? performance.now())) / 1000;
  return Math.max(0, (run.seconds_left ?? 0) - since);
}

function showTime() {
  const { run } = state;
  if (!isRunActive()) return;
  const left = secondsLeft(run);
  const isKnown = run.state === "running" && left > 0 && !isSilent(run.wait);
  setText(byId("run-left"), isKnown ? `${estimateText(left, run.seconds_left_is_whole)} left` : "");
}

/** Some answers take seconds; a device that had to be asked again has a problem. */
const isSilent = (wait) => Boolean(wait?.attempt) && (wait.attempt > 1 || wait.waited >= lateAnswer);

function waitText(wait) {
  if (isSilent(wait)) {
    return `The device does not answer: attempt ${wait.attempt} of ${wait.attempts}. Check its power and its cable to the ` +
      `network module. If it stays silent, this step fails in ${durationText(wait.gives_up_in)}.`;
  }
  const what = wait.attempt ? "for an answer of the device" : wait.limit ? "for the device to restart" : "for a message of the agent";
  return `Waiting ${what}: ${durationText(wait.waited)}${wait.limit ? ` of at most ${durationText(wait.limit)}` : ""}.`;
}

function showWait(wait) {
  const strip = byId("run-wait");
  show(strip, Boolean(wait));
  strip.className = isSilent(wait) ? "notice warn" : "note";
  if (wait) setText(strip, waitText(wait));
  if (isSilent(wait) && !wasSilent) announce(waitText(wait));
  wasSilent = isSilent(wait);
}

function showProgress(run) {
  show(byId("run-live"), isRunActive());
  if (!isRunActive()) return;
  const phase = phaseText(run);
  setText(byId("run-phase"), phase);
  if (phase !== saidPhase) announce(phase);
  saidPhase = phase;
  byId("run-progress").value = run.percent ?? 0;
  setText(byId("run-percent"), `${Math.floor(run.percent ?? 0)} %`);
  showWait(run.wait);
  showTime();
}

function titleOf(document) {
  if (document.result === "done") return ["Upgrade complete", "✓", "good"];
  if (document.result === "nothing-to-do") return ["Nothing to write", "–", "neutral"];
  if (!("mcus" in document)) return ["The upgrade did not start", "✕", "bad"];
  if (["connection-lost", "interrupted"].includes(document.result)) return ["The outcome is not known", "?", "bad"];
  return ["Upgrade failed", "✕", "bad"];
}

const isOpen = (chip) => ["failed", "not-reached", "unknown"].includes(chip?.result);

function showSummary(run) {
  const document = run.state === "ended" ? run.document : null;
  const summary = byId("run-summary");
  show(summary, Boolean(document));
  if (!document) return;
  const [title, sign, kind] = titleOf(document);
  summary.dataset.result = document.result;
  summary.className = `card summary is-${kind}`;
  setText(byId("summary-title"), title);
  setText(byId("summary-sign"), sign);
  const { error } = document;
  const reason = error ? sentence(error.detail ? `${error.text}: ${error.detail}` : error.text) : "";
  const summaryText = document.summary === `${title}.` ? "" : document.summary;
  setText(byId("summary-text"), [summaryText, reason].filter(Boolean).join(" "));
  const advice = document.likely_state ? [...document.likely_state] : error ? [error.advice] : [];
  const warnings = (document.warnings ?? []).map((warning) => sentence(warning.text));
  const isPartial = kind === "bad" && !document.likely_state && run.chips.some((chip) => isOpen(chip));
  if (isPartial) advice.push("Upgrade again with the mode \"Only newer images\": it writes what is missing and skips what is done.");
  byId("summary-advice").replaceChildren(...[...advice, ...warnings].filter(Boolean).map((line) => make("li", {}, line)));
  show(byId("summary-again"), kind === "bad");
}

function factsText(run) {
  const mode = { 2: "only newer images", 5: "every image" }[run.mode];
  const begun = run.started ? `started ${dateText(run.started)}` : "";
  return [run.package ? packageText(run.package) : "", mode, begun].filter(Boolean).join(", ");
}

function showRun() {
  const { run } = state;
  if (!run) return;
  const isNone = run.state === "none";
  show(byId("run-none"), isNone);
  show(byId("run-content"), !isNone);
  if (isNone) return;
  const key = `${run.id} ${run.started}`;
  if (key !== shownRun) byId("run-chips").replaceChildren();
  shownRun = key;
  show(byId("run-origin"), Boolean(run.foreign));
  setText(byId("run-facts"), factsText(run));
  showProgress(run);
  showSummary(run);
  showChips(run);
  showLog(run.messages ?? []);
  if (wasActive && !isRunActive()) onEnded();
  wasActive = isRunActive();
}

/** The end must not be missed. */
function onEnded() {
  saidPhase = "";
  announce(`${byId("summary-title").textContent}. ${byId("summary-text").textContent}`);
  if (byId("view-run").hidden) return;
  byId("run-summary").focus();
  byId("run-summary").scrollIntoView({ block: "nearest" });
}

export function startRun() {
  onChange((name) => {
    if (name === "run") showRun();
  });
  setInterval(showTime, 1_000);
  const showLogEnd = () => (byId("run-log").scrollTop = byId("run-log").scrollHeight);
  byId("log-details").addEventListener("toggle", showLogEnd);
  addEventListener("view", showLogEnd);
}
