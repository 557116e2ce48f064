// SPDX-License-Identifier: Apache-2.0
// Elements of the document. Texts become text nodes, never markup.

export const byId = (id) => document.getElementById(id);

/** An element with properties, such as className, and children: elements or texts. */
export function make(tag, properties = {}, ...children) {
  const element = Object.assign(document.createElement(tag), properties);
  element.append(...children.filter((child) => child !== null && child !== ""));
  return element;
}

/** Sets a text only when it differs, so that a screen reader does not repeat it. */
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

export function show(element, isShown) {
  element.hidden = !isShown;
}

/** A problem as all documents have it: what is wrong, what exactly, and what to do. */
export function showProblem(element, problem) {
  show(element, Boolean(problem));
  if (!problem) {
    element.replaceChildren();
    return;
  }
  const what = sentence(problem.detail ? `${problem.text}: ${problem.detail}` : problem.text);
  element.replaceChildren(make("strong", {}, what), ...paragraphs(problem.advice));
}

export function paragraphs(text) {
  return (text || "").split("\n").filter(Boolean).map((line) => make("p", {}, line));
}

/** A text of the server begins in lower case and has no full stop. */
export function sentence(text) {
  const whole = text.charAt(0).toUpperCase() + text.slice(1);
  return /[.!?]$/.test(whole) ? whole : `${whole}.`;
}

/** Reads a text to users of a screen reader. */
export function announce(text) {
  setText(byId("announcer"), text);
}

/** Calls `take` with the files that are chosen with the input or dropped on the element. */
export function acceptFiles(input, zone, take) {
  input.addEventListener("change", () => {
    take([...input.files]);
    input.value = "";
  });
  for (const name of ["dragenter", "dragover"]) {
    zone.addEventListener(name, (event) => {
      event.preventDefault();
      zone.classList.add("over");
    });
  }
  zone.addEventListener("dragleave", (event) => {
    if (!zone.contains(event.relatedTarget)) zone.classList.remove("over");
  });
  zone.addEventListener("drop", (event) => {
    event.preventDefault();
    zone.classList.remove("over");
    take([...event.dataTransfer.files]);
  });
}
