// SPDX-License-Identifier: Apache-2.0
// The report of an EDID dump.
import { request } from "./api.js";
import { acceptFiles, byId, make, show, showProblem } from "./dom.js";

/** Of a dump, in bytes, as the server takes it. */
const limit = 16 * 1024;

const parts = [
  ["Identification", "identification"],
  ["Timings", "timings"],
  ["Extension", "extension"],
];

const clean = (text) => text.replaceAll("\r\n", "\n").trim();

async function send(dump) {
  const answer = await request("POST", "/api/edid", dump);
  showProblem(byId("edid-problem"), answer.error);
  const report = byId("edid-report");
  show(report, !answer.error);
  if (answer.error) return;
  const sections = parts.filter(([, name]) => answer[name])
    .flatMap(([title, name]) => [make("h3", {}, title), make("pre", {}, clean(answer[name]))]);
  const notes = answer.warnings.map((warning) => make("p", { className: "note" }, `Note: ${warning.text}.`));
  report.replaceChildren(...notes, ...sections,
    make("h3", {}, "Lines of the report"), make("pre", {}, clean(answer.lines.join(""))));
  report.focus();
}

function take(files) {
  if (files.length === 0) return;
  if (files.length > 1 || files[0].size > limit) {
    showProblem(byId("edid-problem"), { text: "this is not an EDID dump: choose one file of 16 KiB at most", detail: "", advice: "" });
    show(byId("edid-report"), false);
    return;
  }
  send(files[0]);
}

export function startEdid() {
  acceptFiles(byId("edid-file"), byId("edid-drop"), take);
  byId("edid-form").addEventListener("submit", (event) => {
    event.preventDefault();
    send(byId("edid-text").value);
  });
}
