# SPDX-License-Identifier: Apache-2.0
"""What must hold after every run, whatever went wrong in it."""

from tests.harness import module, netimage, package
from tests.soak import scenario as scenarios

WRITTEN, FAILED, NOT_NEWER = "1", "2", "3"
SUCCESS = "6"


class Violation(Exception):
    """The run broke a promise."""


def check(run, log, simulator, built):
    """Raises a Violation; `built` has the bytes of each image by its seed. Returns
    {name: "written" | "failed" | "skipped"} of the rows."""
    statuses = log.statuses
    if not statuses:
        raise Violation("the run has no end")
    succeeded = statuses[-1] == SUCCESS
    if run.package != "good" and succeeded:
        raise Violation(f"success with a package of kind {run.package}")
    outcome = {name: _row_outcome(log, name, succeeded) for name, _, _ in run.rows}
    for chip in run.chips:
        check_chip(run, chip, outcome.get(chip["name"]), simulator, built)
    if run.expected is not None:
        check_expected(run, log)
        if not succeeded:
            raise Violation(f"nothing went wrong, but the run ended with {statuses}")
    return outcome


def _row_outcome(log, name, succeeded):
    results = log.results(name)
    written = WRITTEN in results
    if written != (f"Write firmware '{name}' success." in log.lines) and name != "NET":
        raise Violation(f"{name}: result {results} does not fit the lines to the client")
    if written:
        return "written"
    if NOT_NEWER in results or f"No suitable firmware for '{name}'" in "\n".join(log.lines):
        return "skipped"
    if FAILED in results or not succeeded:
        return "failed"
    raise Violation(f"{name}: the run succeeded and says nothing of this row")


def check_chip(run, chip, outcome, simulator, built):
    """Every image that was reported as written, or that the chip regards as complete, equals its
    source, byte for byte. A chip that was not requested is unchanged."""
    name = chip["name"]
    fitting = scenarios.fitting_images(chip, run.images)
    if chip["chip_type"] == scenarios.NET:
        if outcome == "written":
            check_module(name, fitting[0])
        return
    place = (chip["chip_type"], chip["chip_index"])
    state = simulator.chip(*place)
    complete = state["images_written"] > 0 and not state["half_written"]
    if outcome is None and state["flash_bytes"]:
        raise Violation(f"{name} was written and is in no row")
    if outcome != "written" and not complete:
        return
    if not fitting:
        raise Violation(f"{name} was written, but no image is for it")
    flash = simulator.flash(*place) or b""
    wanted = package.expected_flash(built[fitting[0].seed])
    if flash != wanted:
        first = next(
            (at for at, (a, b) in enumerate(zip(flash, wanted)) if a != b),
            min(len(flash), len(wanted)),
        )
        raise Violation(
            f"{name} was reported as {outcome}, the chip says {state}, and its flash "
            f"({len(flash)} bytes) differs from the image ({len(wanted)} bytes with "
            f"padding) from byte {first} on"
        )


def check_module(name, image):
    """The files of the NET image are on the module's disk."""
    if not image.good:
        raise Violation(f"{name} was reported as written in spite of its digest")
    files = module.files()
    for path, content in netimage.FILES.items():
        if files.get(path) != content:
            raise Violation(f"{name} was reported as written, but {path} is not there")
    if module.version() != b"1.23":
        raise Violation(f"{name} was reported as written, but the version is {module.version()}")


def check_expected(run, log):
    """A run without troubles comes to what the rules say."""
    for name, result in run.expected.items():
        if log.results(name) != [result]:
            raise Violation(
                f"nothing went wrong, but {name} got {log.results(name)} instead of " f"{result}"
            )
