// SPDX-License-Identifier: Apache-2.0
// The view of the module: its agent, its package and the last runs.
import { get, isRunActive, onChange, state } from "./api.js";
import { byId, make, setText, show, showProblem } from "./dom.js";
import { bytesText, dateText, durationText, packageText, signatureStates } from "./words.js";

function showAgent() {
  const { status } = state;
  if (!status) return;
  const reach = status.reachable === null ? "not asked yet" : status.reachable ? "reachable" : "not reachable";
  setText(byId("agent-reachable"), reach);
  setText(byId("agent-version"), status.agent_version || "not known");
  setText(byId("agent-busy"), !status.reachable ? "not known" : status.busy || isRunActive() ? "busy with an upgrade" : "idle");
  setText(byId("agent-address"), `${status.host}, port ${status.port}`);
  setText(byId("agent-checked"), dateText(status.checked));
  showProblem(byId("agent-problem"), status.problem);
}

export function signatureText(signature) {
  if (!signature) return "not known";
  const text = signatureStates[signature.state] ?? signature.state;
  const key = signature.key ? `, key ${signature.key}` : "";
  const comment = signature.verified && signature.trusted_comment ? `: ${signature.trusted_comment}` : "";
  return text + key + comment;
}

function imageRow(image) {
  const name = image.name || "without a name";
  const about = image.net ? "network module" : `chip type ${image.chip_type}`;
  return make("tr", {},
    make("th", { scope: "row" }, name, make("span", { className: "sub" }, about)),
    make("td", { className: "version" }, image.net?.version ?? image.version),
    make("td", { className: "number" }, bytesText(image.size)));
}

function showPackage() {
  const one = state.package;
  if (!one) return;
  show(byId("package-none"), !one.present);
  show(byId("package-facts"), one.present && "checksum" in one);
  const isUsable = one.present && !one.error;
  show(byId("go-upgrade"), isUsable);
  showProblem(byId("package-problem"), one.error ?? (one.present ? state.status?.package_problem : null));
  if (!one.present || !one.checksum) return;
  setText(byId("package-model"), one.model || "not known");
  setText(byId("package-release"), one.release || "not known");
  setText(byId("package-size"), bytesText(one.size));
  setText(byId("package-checksum"), one.checksum.matches ? `ok (${one.checksum.stored})` : "WRONG");
  setText(byId("package-signature"), signatureText(one.signature));
  byId("package-images").tBodies[0].replaceChildren(...(one.images ?? []).map(imageRow));
}

function historyRow(run) {
  const isGood = run.exit === 0;
  const isNothing = run.result === "nothing-to-do";
  const sign = isGood ? "✓" : isNothing ? "–" : "✕";
  const kind = isGood ? "good" : isNothing ? "" : "bad";
  const what = run.summary || run.error?.text || run.result;
  const who = run.foreign ? "another client" : run.mode === 5 ? "every image" : "only newer images";
  return make("tr", {},
    make("td", {}, dateText(run.started), make("span", { className: "sub" }, packageText(run.package)),
      make("span", { className: "sub" }, who)),
    make("td", {}, make("span", { className: `sign ${kind}`, ariaHidden: "true" }, sign), what,
      make("span", { className: "sub" }, `${run.result}, ${durationText(run.seconds)}`)));
}

async function loadHistory() {
  const document = await get("/api/history");
  if (document.error) return;
  show(byId("history"), document.runs.length > 0);
  show(byId("history-empty"), document.runs.length === 0);
  byId("history").tBodies[0].replaceChildren(...document.runs.map(historyRow));
}

export function startModule() {
  let lastEnded = "";
  onChange((name) => {
    if (name === "status" || name === "run") showAgent();
    if (name === "status" || name === "package") showPackage();
    const ended = state.run?.state === "ended" ? `${state.run.id} ${state.run.started}` : "";
    if (name === "run" && ended !== lastEnded) {
      lastEnded = ended;
      if (ended) loadHistory();
    }
  });
  addEventListener("view", (event) => {
    if (event.detail === "module") loadHistory();
  });
}
