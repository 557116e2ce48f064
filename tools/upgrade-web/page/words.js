// SPDX-License-Identifier: Apache-2.0
// Labels of states, and numbers for people.

/** What the run does. */
export const runPhases = {
  joining: "Following the upgrade",
  preparing: "Preparing",
  reading: "Reading versions",
  writing: "Writing",
  installing: "Installing the module's software",
  rebooting: "The device reboots",
  "set-version": "Storing the release number",
  ended: "Ended",
};

/** What a chip does. */
export const chipPhases = {
  waiting: "Waiting",
  reading: "Reading its version",
  entering: "Changing to its update mode",
  erasing: "Erasing",
  writing: "Writing",
  restarting: "Restarting",
};

/** How a chip ended: a sign that does not need colour, a class, and a label. */
export const chipResults = {
  updated: { sign: "✓", kind: "good", label: "Done" },
  "up-to-date": { sign: "–", kind: "", label: "Skipped: it runs this version" },
  "package-older": { sign: "–", kind: "", label: "Skipped: it runs a newer version" },
  "no-fit": { sign: "–", kind: "", label: "Skipped: no image fits this chip" },
  failed: { sign: "✕", kind: "bad", label: "Failed" },
  "not-reached": { sign: "!", kind: "caution", label: "Not reached" },
  unknown: { sign: "?", kind: "caution", label: "Not known" },
};

export const signatureStates = {
  none: "not signed",
  "not-checked": "present, not checked",
  trusted: "trusted",
  "unknown-key": "of a key that the module does not trust",
  wrong: "WRONG: not a signature of this package",
};

export function bytesText(bytes) {
  if (bytes < 1000) return `${bytes} bytes`;
  const units = ["kB", "MB", "GB", "TB"];
  let value = bytes / 1000;
  let unit = 0;
  while (value >= 999.5 && unit < units.length - 1) {
    value /= 1000;
    ++unit;
  }
  return `${value < 10 ? value.toFixed(1) : Math.round(value)} ${units[unit]}`;
}

const counted = (count, unit) => (count === 1 ? `1 ${unit}` : `${count} ${unit}s`);

export function durationText(seconds) {
  const whole = Math.max(0, Math.round(seconds));
  if (whole < 60) return counted(whole, "second");
  if (whole < 600 && whole % 60 !== 0) return `${Math.floor(whole / 60)} min ${whole % 60} s`;
  if (whole < 3600) return counted(Math.round(whole / 60), "minute");
  return `${Math.floor(whole / 3600)} h ${Math.round((whole % 3600) / 60)} min`;
}

/** A duration that is an estimate; `isWhole` is false when it takes at least that long. */
export function estimateText(seconds, isWhole) {
  const step = seconds < 60 ? 5 : seconds < 600 ? 10 : 60;
  const rounded = Math.max(step, Math.ceil(seconds / step) * step);
  return `${isWhole ? "about" : "at least"} ${durationText(rounded)}`;
}

export const chipsText = (count) => counted(count, "chip");

export const dateText = (utc) =>
  utc ? new Date(utc).toLocaleString([], { dateStyle: "medium", timeStyle: "short" }) : "never";

export const timeText = (utc) => (utc ? new Date(utc).toLocaleTimeString([], { hour12: false }) : "");

/** Model and release of a package. */
export const packageText = (one) => (one ? `${one.model}, release ${one.version ?? one.release}` : "not known");
