// SPDX-License-Identifier: Apache-2.0
// The view of a new package: choice, checks before the transfer, the transfer and its result.
import { change, isRunActive, loadPackage, noteLogin, onChange, state } from "./api.js";
import { acceptFiles, announce, byId, make, setText, show, showProblem } from "./dom.js";
import { bytesText, durationText, packageText } from "./words.js";

/** The server keeps as much free space for others. */
const spaceLeft = 1024 * 1024;
const signatureLimit = 64 * 1024;

let packageFile = null;
let signatureFile = null;
let transfer = null;

const isSignature = (file) => file.name.toLowerCase().endsWith(".minisig");
const problem = (text, advice = "") => ({ text, detail: "", advice });

function take(files) {
  if (transfer) return;
  const packages = files.filter((file) => !isSignature(file));
  const signatures = files.filter(isSignature);
  if (packages.length > 1 || signatures.length > 1) {
    showProblem(byId("choice-problem"), problem("choose one package, and one signature file at most"));
    return;
  }
  if (packages.length === 1) {
    // A signature belongs to one package.
    signatureFile = null;
    packageFile = packages[0];
  }
  if (signatures.length === 1) signatureFile = signatures[0];
  showResult("", null);
  showChoice();
}

function choiceProblem() {
  if (!packageFile) return signatureFile ? problem("choose the package of this signature, too") : null;
  const limit = state.package?.upload_limit;
  const free = state.package?.free;
  if (packageFile.size === 0) return problem("the file is empty");
  if (limit !== undefined && packageFile.size > limit) {
    return problem(`the file is larger than the server accepts: ${bytesText(packageFile.size)}, and the limit is ${bytesText(limit)}`,
      "Check that this is the right file.");
  }
  if (free !== undefined && packageFile.size + spaceLeft > free) {
    return problem(`the module has too little free space: ${bytesText(free)} for ${bytesText(packageFile.size)}`,
      "Delete files that are not needed from the folder of the package.");
  }
  if (signatureFile && signatureFile.size > signatureLimit) {
    return problem("the signature file is larger than 64 KiB", "Check that this is the right file.");
  }
  if (isRunActive() || state.status?.busy) {
    return problem("the device is being upgraded", "Wait for the end of the upgrade; then the package can be replaced.");
  }
  return null;
}

function showChoice() {
  const items = [packageFile, signatureFile].filter(Boolean).map((file) => {
    const kind = file === packageFile ? "Package" : "Signature";
    return make("li", {}, make("strong", {}, `${kind}: `), `${file.name}, ${bytesText(file.size)}`);
  });
  byId("chosen").replaceChildren(...items);
  const wrong = transfer ? null : choiceProblem();
  showProblem(byId("choice-problem"), wrong);
  byId("upload-start").disabled = !packageFile || Boolean(wrong) || Boolean(transfer);
}

function showResult(kind, error, text = "", findings = []) {
  const box = byId("upload-result");
  show(box, kind !== "");
  box.dataset.result = kind;
  show(byId("upload-next"), kind === "done");
  show(byId("upload-start"), kind !== "done");
  box.className = kind === "done" ? "success" : kind === "cancelled" ? "plainbox" : "problem";
  if (error) showProblem(box, error);
  else box.replaceChildren(make("strong", {}, text));
  if (kind === "refused") box.append(make("p", {}, `The module still has ${currentText()}.`));
  show(box, kind !== "");
  show(byId("upload-findings"), findings.length > 0);
  byId("upload-findings").replaceChildren(...findings.map(findingItem));
  if (kind !== "") box.focus();
}

function findingItem(finding) {
  const kind = finding.severity === "error" ? "Error" : "Warning";
  return make("li", {}, make("strong", {}, `${kind} at byte ${finding.offset}: `), finding.text);
}

function showFigures(loaded, total, begun) {
  const percent = total > 0 ? (100 * loaded) / total : 0;
  byId("upload-progress").value = percent;
  if (loaded >= total) {
    setText(byId("upload-figures"), "All bytes are sent. The module checks and stores the package.");
    announce("The module checks the package");
    return;
  }
  const seconds = (performance.now() - begun) / 1000;
  const rate = seconds > 0.5 ? loaded / seconds : 0;
  const left = rate > 0 ? `, ${bytesText(rate)} per second, ${durationText((total - loaded) / rate)} left` : "";
  setText(byId("upload-figures"), `${Math.floor(percent)} %: ${bytesText(loaded)} of ${bytesText(total)}${left}`);
}

/** XMLHttpRequest reports the progress of a transfer; fetch() does not. */
function send() {
  if (!packageFile || transfer || choiceProblem()) return;
  const parts = signatureFile ? [signatureFile, packageFile] : [packageFile];
  const query = signatureFile ? `?signature=${signatureFile.size}` : "";
  const body = new Blob(parts);
  const begun = performance.now();
  transfer = new XMLHttpRequest();
  transfer.open("POST", `/api/package${query}`);
  transfer.setRequestHeader("Content-Type", "application/octet-stream");
  transfer.setRequestHeader("X-CSRF-Token", state.session.csrf_token);
  transfer.responseType = "json";
  transfer.upload.addEventListener("progress", (event) => showFigures(event.loaded, body.size, begun));
  transfer.upload.addEventListener("load", () => {
    show(byId("upload-cancel"), false);
    showFigures(body.size, body.size, begun);
  });
  transfer.addEventListener("load", onAnswer);
  transfer.addEventListener("error", () => fail());
  transfer.addEventListener("abort", () => end("cancelled", null, "Cancelled. The package on the module is as it was."));
  transfer.send(body);
  showResult("", null);
  showFigures(0, body.size, begun);
  showTransfer(true);
  byId("upload-cancel").focus();
}

function showTransfer(isActive) {
  show(byId("upload-bar"), isActive);
  show(byId("upload-cancel"), isActive);
  byId("package-file").disabled = isActive;
  showChoice();
}

function onAnswer() {
  const { status, response } = transfer;
  if (!response) {
    fail();
    return;
  }
  noteLogin(status, response);
  if (response.error) {
    end("refused", response.error, "", response.findings ?? []);
    return;
  }
  change("package", response);
  packageFile = null;
  signatureFile = null;
  end("done", null, `The module has the new package: ${packageText(response)}.`, response.findings ?? []);
}

/** The connection was lost, and perhaps after the last byte. */
async function fail() {
  setText(byId("upload-figures"), "The transfer was interrupted. Asking the module for its package.");
  const isKnown = await loadPackage();
  const has = isKnown ? `The module has ${currentText()}.` : "Which package the module has is not known yet.";
  end("failed", problem("the transfer was interrupted",
    `${has}\nTry again. If it is interrupted again, check the network, and that no other page uploads a package.`));
}

async function end(kind, error, text = "", findings = []) {
  transfer = null;
  showTransfer(false);
  showResult(kind, error, text, findings);
  // The free space has changed, and after a lost connection the package is not known.
  await loadPackage();
}

function currentText() {
  const one = state.package;
  if (!one) return "a package that is not known yet";
  if (!one.present) return "no package";
  return one.model ? packageText(one) : "a file that is not a package";
}

function showCurrent() {
  const one = state.package;
  setText(byId("current-package"), currentText());
  const limit = one?.upload_limit ? ` At most ${bytesText(one.upload_limit)}; ${bytesText(one.free)} are free on the module.` : "";
  setText(byId("upload-limits"), `A package (.fwm), and its signature file (.minisig) if it has one.${limit}`);
}

export function startUpload() {
  acceptFiles(byId("package-file"), byId("drop-zone"), take);
  byId("upload-start").addEventListener("click", send);
  byId("upload-cancel").addEventListener("click", () => transfer?.abort());
  addEventListener("view", (event) => {
    if (event.detail === "package") loadPackage();
  });
  addEventListener("beforeunload", (event) => {
    if (transfer) event.preventDefault();
  });
  onChange((name) => {
    if (name === "package") showCurrent();
    if (["package", "status", "run"].includes(name)) showChoice();
  });
}
