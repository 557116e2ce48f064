# SPDX-License-Identifier: Apache-2.0
# Copyright: (c) The upgrade-agent maintainers
"""The record of a rollout: waves, and what happened to each module. Pure: times are passed in."""

from __future__ import annotations

# Outcomes of a module. The first two are complete when the health check has passed.
UPDATED = "updated"
UNCHANGED = "unchanged"
PREDICTED = "predicted"
FAILED = "failed"
UNREACHABLE = "unreachable"
INTERRUPTED = "interrupted"
NOT_STARTED = "not-started"
RUNNING = "running"
OUTCOMES = (
    UPDATED,
    UNCHANGED,
    PREDICTED,
    FAILED,
    UNREACHABLE,
    INTERRUPTED,
    RUNNING,
    NOT_STARTED,
)

# After these nothing of a module changes any more.
ENDED = (FAILED, UNREACHABLE)

FORM = 1
CHIP_KEYS = (
    "name",
    "chip_type",
    "chip_index",
    "decision",
    "version_before",
    "version_after",
    "version_package",
    "seconds",
    "retries",
    "problem",
)


def _module(name):
    return {
        "module": name,
        "wave": None,
        "outcome": NOT_STARTED,
        "healthy": None,
        "changed": False,
        "message": "",
        "step": "",
        "package": None,
        "package_sha256": "",
        "package_changed": False,
        "duration": None,
        "started": "",
        "finished": "",
        "chips": [],
    }


class Pace:
    """When the report may be written again. It grows with the number of modules, and Ansible does
    nothing else meanwhile. All times are seconds of the same clock."""

    # Writing takes at most one part in so many of the time.
    PARTS = 20

    def __init__(self):
        self._next = 0.0

    def allows(self, now):
        """Whether it is time to write."""
        return now >= self._next

    def written(self, begin, end):
        """The report was written between these times."""
        self._next = end + (self.PARTS - 1) * (end - begin)


class Rollout:
    """All modules of a rollout, in the order of the inventory."""

    def __init__(self, document=None):
        document = document or {}
        self._started = document.get("started", "")
        self._finished = ""
        self._check_mode = False
        self._waves = document.get("waves", [])
        self._modules = {entry["module"]: entry for entry in document.get("modules", [])}
        self._begun = False

    def begin_wave(self, time, batch, everyone, check_mode=False):
        """A wave begins. At the first one the modules of this run lose what an earlier run has of
        them; those of other modules are kept."""
        if not self._begun:
            self._begun = True
            self._check_mode = check_mode
            for name in everyone:
                self._modules[name] = _module(name)
            used = {entry["wave"] for entry in self._modules.values()}
            self._waves = [wave for wave in self._waves if wave["wave"] in used]
            if not self._waves or not self._started:
                self._started = time
        self._end_wave(time)
        number = max((wave["wave"] for wave in self._waves), default=0) + 1
        self._waves.append({"wave": number, "started": time, "finished": "", "modules": len(batch)})
        for name in batch:
            self._of(name)["wave"] = number

    def _of(self, name):
        return self._modules.setdefault(name, _module(name))

    def _end_wave(self, time):
        if self._waves and not self._waves[-1]["finished"]:
            self._waves[-1]["finished"] = time

    def step(self, name, step, time):
        """A task begins for a module."""
        entry = self._of(name)
        if entry["outcome"] in ENDED:
            return
        entry["step"] = step
        if entry["outcome"] == NOT_STARTED:
            entry.update(outcome=RUNNING, started=time)

    def packaged(self, name, result):
        """The package was put on a module, or was there already."""
        self._of(name).update(
            package=result.get("package"),
            package_sha256=result.get("sha256", ""),
            package_changed=bool(result.get("changed")),
        )

    def upgraded(self, name, result, time):
        """The run of a module ended without a failure."""
        predicted = result.get("outcome") == "predicted"
        outcome = PREDICTED if predicted else UPDATED if result.get("changed") else UNCHANGED
        self._run(name, result, outcome, time)

    def checked(self, name):
        """A module passed the health check after its run."""
        entry = self._of(name)
        if entry["outcome"] in (UPDATED, UNCHANGED):
            entry["healthy"] = True

    def failed(self, name, result, step, time):
        """A task failed for a module; the first failure counts."""
        entry = self._of(name)
        if entry["outcome"] in ENDED:
            return
        if entry["outcome"] in (UPDATED, UNCHANGED):
            entry["healthy"] = False
        self._run(name, result, FAILED, time)
        entry["step"] = step

    def unreachable(self, name, result, step, time):
        """ssh does not reach a module."""
        self._of(name).update(
            outcome=UNREACHABLE, message=str(result.get("msg", "")), step=step, finished=time
        )

    def _run(self, name, result, outcome, time):
        entry = self._of(name)
        entry.update(outcome=outcome, finished=time, message=str(result.get("msg", "")))
        if "chips" in result:
            entry.update(
                changed=bool(result.get("changed")),
                duration=result.get("duration"),
                package=result.get("package") or entry["package"],
                chips=[{key: chip.get(key) for key in CHIP_KEYS} for chip in result["chips"]],
            )

    def end(self, time):
        """The playbook ended: what still runs was stopped with its wave."""
        self._finished = time
        self._end_wave(time)
        for entry in self._modules.values():
            if entry["outcome"] == RUNNING:
                entry.update(outcome=INTERRUPTED, finished=time)

    def remaining(self):
        """The modules that are not complete, for the next run with --limit."""
        return [name for name, entry in self._modules.items() if not is_complete(entry)]

    def document(self):
        """The record as values for JSON."""
        modules = list(self._modules.values())
        return {
            "form": FORM,
            "started": self._started,
            "finished": self._finished,
            "check_mode": self._check_mode,
            "complete": bool(modules) and not self.remaining(),
            "counts": counts(modules),
            "waves": self._waves,
            "modules": modules,
        }


def is_complete(entry):
    """Whether a module needs nothing more."""
    return entry["outcome"] in (UPDATED, UNCHANGED) and entry["healthy"] is True


def counts(modules):
    """The number of modules for each outcome."""
    return {outcome: sum(entry["outcome"] == outcome for entry in modules) for outcome in OUTCOMES}


def table(document):
    """The rows of the CSV file, the names of the columns first: a row for each chip, and one for a
    module without chips."""
    columns = ["module", "wave", "outcome", "healthy", "model", "version", "duration", "message"]
    chip_columns = ["name", "chip_type", "chip_index", "decision", "version_before"]
    chip_columns += ["version_after", "seconds", "retries"]
    rows = [columns + ["chip", *chip_columns[1:]]]
    for entry in document["modules"]:
        package = entry["package"] or {}
        values = {**entry, "model": package.get("model"), "version": package.get("version")}
        for chip in entry["chips"] or [{}]:
            cells = [values[name] for name in columns] + [chip.get(name) for name in chip_columns]
            rows.append(["" if cell is None else cell for cell in cells])
    return rows
