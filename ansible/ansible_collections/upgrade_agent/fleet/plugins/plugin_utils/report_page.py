# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""The HTML page of a report: one file without scripts, fonts or images from elsewhere."""

from __future__ import annotations

from datetime import datetime
from html import escape

from ansible_collections.upgrade_agent.fleet.plugins.plugin_utils import rollout

LABELS = {
    rollout.UPDATED: "updated",
    rollout.UNCHANGED: "up to date",
    rollout.PREDICTED: "predicted",
    rollout.FAILED: "failed",
    rollout.UNREACHABLE: "unreachable",
    rollout.INTERRUPTED: "interrupted",
    rollout.RUNNING: "running",
    rollout.NOT_STARTED: "not started",
}
# What a person has to look at.
PROBLEMS = (rollout.FAILED, rollout.UNREACHABLE, rollout.INTERRUPTED)

# Of the chart, in pixels.
WIDTH = 960
RESULTS = 150  # where the results begin
RESULTS_WIDTH = 240
TIMES = 440  # where the durations begin
TIMES_WIDTH = WIDTH - TIMES - 24
HEAD = 30
ROW = 48
AXIS = 30
BAR = 20
TICK_SECONDS = (1, 5, 10, 30, 60, 120, 300, 600, 1800, 3600, 7200)
TICKS = 6

STYLE = """
:root { color-scheme: light dark; --text: #1c2126; --soft: #5a646e; --line: #d5dade;
  --page: #ffffff; --updated: #2e7d32; --unchanged: #7d8f9b; --predicted: #1565c0;
  --failed: #c62828; --unreachable: #d9730d; --interrupted: #8e24aa; --running: #00838f;
  --not-started: #c3cad0; }
@media (prefers-color-scheme: dark) { :root { --text: #e6e9ec; --soft: #9aa5af;
  --line: #3a424a; --page: #14181c; --updated: #58b25d; --unchanged: #8fa1ad;
  --predicted: #5c9ded; --failed: #ef6461; --unreachable: #f2994a; --interrupted: #c77ddb;
  --running: #4dbfcb; --not-started: #4d565e; } }
body { font: 15px/1.45 system-ui, sans-serif; color: var(--text); background: var(--page);
  max-width: 1040px; margin: 2em auto; padding: 0 1.5em; }
h1 { font-size: 1.5em; margin: 0; } h2 { font-size: 1.15em; margin: 2em 0 .6em; }
p.times { color: var(--soft); margin: .2em 0 1em; }
p.verdict { font-size: 1.1em; border-left: 5px solid; padding: .4em .8em; margin: 1em 0; }
ul.counts { list-style: none; padding: 0; display: flex; flex-wrap: wrap; gap: .4em 1.6em; }
ul.counts b { font-size: 1.3em; }
.key { display: inline-block; width: .8em; height: .8em; border-radius: 2px; margin-right: .4em; }
svg { width: 100%; height: auto; font: 13px system-ui, sans-serif; }
svg text { fill: var(--text); } svg .soft { fill: var(--soft); }
svg line { stroke: var(--line); }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; width: 100%; font-size: .93em; }
th, td { text-align: left; vertical-align: top; padding: .45em .7em .45em 0;
  border-bottom: 1px solid var(--line); }
th { color: var(--soft); font-weight: 600; } th.number { text-align: right; }
td.number { text-align: right; white-space: nowrap; }
td.chips { white-space: nowrap; font-variant-numeric: tabular-nums; }
td.outcome, td.module { white-space: nowrap; } td.message { min-width: 16em; }
""" + "".join(
    f".{name} {{ color: var(--{name}); }} .fill-{name} {{ fill: var(--{name}); "
    f"background: var(--{name}); }}\n"
    for name in rollout.OUTCOMES
)


def duration_text(seconds):
    """Minutes and seconds, or hours with them; empty if it is not known."""
    if seconds is None:
        return ""
    minutes, rest = divmod(int(round(seconds)), 60)
    hours, minutes = divmod(minutes, 60)
    return f"{hours}:{minutes:02}:{rest:02}" if hours else f"{minutes}:{rest:02}"


def between(begin, end):
    """The seconds between two times; None if one of them is not known."""
    try:
        parts = [datetime.strptime(text, "%Y-%m-%dT%H:%M:%SZ") for text in (begin, end)]
    except ValueError:
        return None
    return (parts[1] - parts[0]).total_seconds()


def plural(number, noun):
    """A number with its noun."""
    return f"{number} {noun}" if number == 1 else f"{number} {noun}s"


def _key(outcome):
    return f'<span class="key fill-{outcome}"></span>'


def _title(document):
    packages = {
        f"{entry['package']['model']} {entry['package']['version']}"
        for entry in document["modules"]
        if entry["package"]
    }
    kind = "Prediction for a rollout" if document["check_mode"] else "Rollout"
    return f"{kind} of {' and '.join(sorted(packages))}" if packages else kind


def verdict(document):
    """(outcome for the colour, sentence) of the whole rollout."""
    total = len(document["modules"])
    counts = document["counts"]
    problems = {name: counts[name] for name in PROBLEMS if counts[name]}
    open_modules = counts[rollout.NOT_STARTED]
    unchecked = sum(
        entry["outcome"] in (rollout.UPDATED, rollout.UNCHANGED) and not entry["healthy"]
        for entry in document["modules"]
    )
    if document["check_mode"]:
        writes = sum(entry["changed"] for entry in document["modules"])
        return rollout.PREDICTED, f"Check mode: {plural(writes, 'module')} of {total} may change."
    if problems:
        listed = ", ".join(f"{number} {LABELS[name]}" for name, number in problems.items())
        rest = f", {plural(open_modules, 'module')} not started" if open_modules else ""
        rest += f", {plural(unchecked, 'module')} without a health check" if unchecked else ""
        return next(iter(problems)), f"Not complete: {listed} of {plural(total, 'module')}{rest}."
    if document["complete"]:
        return rollout.UPDATED, f"Complete: {plural(total, 'module')}, all healthy."
    if not document["finished"]:
        return rollout.RUNNING, "Not finished: the rollout runs, or its controller was stopped."
    return rollout.INTERRUPTED, "Not complete: some modules have not passed the health check."


def _counts(document):
    items = "".join(
        f"<li>{_key(name)}<b>{number}</b> {LABELS[name]}</li>"
        for name, number in document["counts"].items()
        if number
    )
    return f'<ul class="counts">{items}</ul>'


def _tick_step(longest):
    fitting = [step for step in TICK_SECONDS if longest / step <= TICKS]
    return (
        fitting[0] if fitting else TICK_SECONDS[-1] * (int(longest / TICK_SECONDS[-1] / TICKS) + 1)
    )


def _axis(longest, scale, height):
    parts = []
    step = _tick_step(longest)
    for number in range(int(longest // step) + 1):
        x = TIMES + number * step * scale
        parts.append(
            f'<line x1="{x:.1f}" y1="{HEAD}" x2="{x:.1f}" y2="{height - AXIS + 4}"/>'
            f'<text class="soft" x="{x:.1f}" y="{height - 10}" text-anchor="middle">'
            f"{duration_text(number * step)}</text>"
        )
    return "".join(parts)


def _wave_results(modules, top):
    """The results of a wave: one bar, divided by the outcomes."""
    parts = []
    x = float(RESULTS)
    for outcome in rollout.OUTCOMES:
        number = sum(entry["outcome"] == outcome for entry in modules)
        if not number:
            continue
        width = RESULTS_WIDTH * number / len(modules)
        parts.append(
            f'<rect class="fill-{outcome}" x="{x:.1f}" y="{top}" width="{max(width - 1, 1):.1f}" '
            f'height="{BAR}" rx="2"><title>{number} {LABELS[outcome]}</title></rect>'
        )
        x += width
    return "".join(parts)


def _wave_durations(modules, top, scale):
    """A mark for the duration of each module of a wave."""
    return "".join(
        f'<rect class="fill-{entry["outcome"]}" x="{TIMES + entry["duration"] * scale - 1.5:.1f}" '
        f'y="{top}" width="3" height="{BAR}" rx="1.5" opacity="0.8"><title>'
        f"{escape(entry['module'])}: {duration_text(entry['duration'])}, "
        f"{LABELS[entry['outcome']]}</title></rect>"
        for entry in modules
        if entry["duration"]
    )


def _wave(wave, modules, top, scale):
    """One wave: its name, its results and its durations."""
    took = duration_text(between(wave["started"], wave["finished"]))
    details = plural(len(modules), "module") + (f", {took}" if took else "")
    return (
        f'<text x="0" y="{top + 8}" font-weight="600">Wave {wave["wave"]}</text>'
        f'<text class="soft" x="0" y="{top + 25}">{details}</text>'
        + _wave_results(modules, top)
        + _wave_durations(modules, top, scale)
    )


def chart(document):
    """The chart: for each wave its results and the durations of its runs."""
    waves = [
        (wave, [entry for entry in document["modules"] if entry["wave"] == wave["wave"]])
        for wave in document["waves"]
    ]
    waves = [(wave, modules) for wave, modules in waves if modules]
    if not waves:
        return ""
    longest = max((entry["duration"] or 0 for entry in document["modules"]), default=0) or 1
    scale = TIMES_WIDTH / longest
    height = HEAD + ROW * len(waves) + AXIS
    rows = "".join(
        _wave(wave, modules, HEAD + number * ROW + 12, scale)
        for number, (wave, modules) in enumerate(waves)
    )
    return (
        f'<svg viewBox="0 0 {WIDTH} {height}" role="img" '
        'aria-label="Results and durations of each wave">'
        f'<text class="soft" x="{RESULTS}" y="16">Results</text>'
        f'<text class="soft" x="{TIMES}" y="16">Duration of each run, minutes and seconds</text>'
        f"{_axis(longest, scale, height)}{rows}</svg>"
    )


def _chip_text(chip):
    before = chip["version_before"] or "?"
    after = chip["version_after"] or "?"
    versions = before if before == after else f"{before} → {after}"
    decision = chip["decision"].replace("-", " ")
    return f"{escape(chip['name'])} {escape(versions)}, {escape(decision)}"


def _row(entry):
    outcome = entry["outcome"]
    state = LABELS[outcome]
    if entry["healthy"] is False:
        state += ", not healthy"
    message = "" if outcome in (rollout.UPDATED, rollout.UNCHANGED) else entry["message"]
    step = f"{entry['step']}: " if outcome in PROBLEMS and entry["step"] else ""
    chips = "<br>".join(_chip_text(chip) for chip in entry["chips"])
    return (
        f'<tr><td class="module">{escape(entry["module"])}</td>'
        f'<td class="number">{entry["wave"] or ""}</td>'
        f'<td class="outcome">{_key(outcome)}{state}</td><td class="chips">{chips}</td>'
        f'<td class="number">{duration_text(entry["duration"])}</td>'
        f'<td class="message">{escape(step + message)}</td></tr>'
    )


def _table(entries):
    rows = "".join(_row(entry) for entry in entries)
    return (
        '<div class="scroll"><table><thead><tr><th>Module</th><th class="number">Wave</th>'
        '<th>Result</th><th>Chips</th><th class="number">Duration</th><th>Message</th></tr></thead>'
        f"<tbody>{rows}</tbody>"
        "</table></div>"
    )


def page(document):
    """The whole page."""
    title = escape(_title(document))
    colour, sentence = verdict(document)
    took = duration_text(between(document["started"], document["finished"]))
    times = f"Started {document['started']}" + (
        f", finished {document['finished']}, took {took}" if document["finished"] else ""
    )
    problems = [entry for entry in document["modules"] if entry["outcome"] in PROBLEMS]
    attention = f"<h2>Modules with a problem</h2>{_table(problems)}" if problems else ""
    return (
        '<!doctype html>\n<html lang="en"><head><meta charset="utf-8">'
        '<meta name="viewport" content="width=device-width, initial-scale=1">'
        f"<title>{title}</title><style>{STYLE}</style></head><body>\n"
        f'<h1>{title}</h1><p class="times">{times}</p>\n'
        f'<p class="verdict {colour}">{escape(sentence)}</p>\n{_counts(document)}\n'
        f"<h2>Waves</h2>{chart(document)}\n{attention}\n"
        f"<h2>All modules</h2>{_table(document['modules'])}\n</body></html>\n"
    )
