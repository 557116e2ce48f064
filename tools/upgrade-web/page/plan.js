// SPDX-License-Identifier: Apache-2.0
// The view of a new upgrade: chips, mode, and the confirmation.
import { get, isRunActive, loadRun, onChange, post, state } from "./api.js";
import { byId, make, setText, show, showProblem } from "./dom.js";
import { bytesText, chipsText, estimateText, packageText } from "./words.js";

let plan = null;
let estimate = null;
let turn = 0;

const boxes = () => [...document.querySelectorAll(".chip-check")];
const chosen = () => boxes().filter((box) => box.checked);
const mode = () => (byId("mode-5").checked ? 5 : 2);

function chipRow(chip, number) {
  const id = `chip-${number}`;
  const box = make("input", { type: "checkbox", className: "chip-check", value: chip.request, id, checked: true });
  const size = "image_size" in chip ? bytesText(chip.image_size) : "size not known";
  return make("tr", {},
    make("td", { className: "check" }, box),
    make("td", {}, make("label", { htmlFor: id }, chip.label),
      make("span", { className: "sub" }, size)),
    make("td", { className: "version" }, chip.new_version || "not known"),
    make("td", { className: "number" }, estimateText(chip.seconds, true).replace("about ", "")));
}

/** Reads the plan of all chips; what the user has chosen stays as it is. */
async function load() {
  const answer = await get("/api/plan?mode=2");
  const key = (one) => JSON.stringify([one?.package, one?.chips]);
  const isNew = key(answer) !== key(plan);
  plan = answer.error ? null : answer;
  showProblem(byId("upgrade-problem"), answer.error);
  show(byId("upgrade-form"), Boolean(plan));
  if (!plan) return;
  if (isNew) {
    setText(byId("plan-package"), packageText(plan.package));
    byId("chips").replaceChildren(...plan.chips.map(chipRow));
  }
  update();
}

/** The duration of what is chosen now; the newest question counts. */
async function update() {
  const rows = chosen().map((box) => box.value);
  const all = byId("chips-all");
  all.checked = rows.length > 0 && rows.length === boxes().length;
  all.indeterminate = rows.length > 0 && !all.checked;
  estimate = null;
  showStart();
  if (rows.length === 0) return;
  const mine = ++turn;
  const query = new URLSearchParams([["mode", mode()], ...rows.map((row) => ["row", row])]);
  const answer = await get(`/api/plan?${query}`);
  if (mine !== turn || answer.error) return;
  estimate = answer;
  showStart();
}

function durationSentence() {
  const time = estimateText(estimate.seconds, estimate.seconds_is_whole);
  return mode() === 5 ? `It takes ${time}.` : `It takes ${time} if every chosen chip is written, and less if some are skipped.`;
}

function whyNot() {
  if (isRunActive()) return "An upgrade is active.";
  if (state.status?.busy) return "The module is busy with an upgrade.";
  if (chosen().length === 0) return "No chip is chosen.";
  return "";
}

function showStart() {
  const reason = whyNot();
  const button = byId("upgrade-start");
  button.disabled = Boolean(reason) || !estimate;
  const count = chosen().length;
  setText(button, count > 0 ? `Upgrade ${chipsText(count)}` : "Upgrade");
  setText(byId("upgrade-estimate"), reason || (estimate ? durationSentence() : ""));
}

function confirmStart(event) {
  event.preventDefault();
  if (!estimate || whyNot()) return;
  const isForced = mode() === 5;
  const what = isForced ? "every image is written" : "only newer images are written";
  setText(byId("confirm-what"), `${packageText(plan.package)}, ${chipsText(chosen().length)}: ${what}.`);
  setText(byId("confirm-duration"), durationSentence());
  show(byId("confirm-forced"), isForced);
  byId("confirm").showModal();
  byId("confirm-cancel").focus();
}

async function start() {
  const rows = chosen().map((box) => box.value);
  byId("confirm").close();
  byId("upgrade-start").disabled = true;
  const answer = await post("/api/run", { mode: mode(), rows, confirmed: true });
  showProblem(byId("upgrade-problem"), answer.error);
  if (answer.error) {
    showStart();
    byId("upgrade-problem").scrollIntoView();
    return;
  }
  await loadRun();
  location.hash = "run";
}

export function startPlan() {
  byId("chips-all").addEventListener("change", (event) => {
    for (const box of boxes()) box.checked = event.target.checked;
    update();
  });
  byId("chips").addEventListener("change", update);
  for (const id of ["mode-2", "mode-5"]) byId(id).addEventListener("change", update);
  byId("upgrade-form").addEventListener("submit", confirmStart);
  byId("confirm-cancel").addEventListener("click", () => byId("confirm").close());
  byId("confirm-start").addEventListener("click", start);
  addEventListener("view", (event) => {
    if (event.detail === "upgrade") load();
  });
  onChange((name) => {
    if (name === "status" || name === "run") showStart();
    if (name === "package" && !byId("view-upgrade").hidden) load();
    if (name === "run" && isRunActive() && byId("confirm").open) byId("confirm").close();
  });
}
