# SPDX-License-Identifier: Apache-2.0
"""Waiting for conditions instead of sleeping for a guess."""

import os
import time

# A sanitizer or a wrapper such as valgrind makes a program many times as slow.
_SLOWED = os.environ.get("AGENT_SANITIZE") or os.environ.get("AGENT_WRAPPER")
# So does an emulated processor, whose build tree says how many times.
SLOWNESS = 4 if _SLOWED else float(os.environ.get("AGENT_TIME_FACTOR") or 1)
# The limits in the tests are for a machine with nothing else to do. A busy one takes longer, and as
# every wait ends on its condition, more patience takes time only when a test fails.
PATIENCE = 4 * SLOWNESS


class TimeOut(AssertionError):
    """What was awaited did not come."""


def until(condition, seconds=15.0, what="a condition"):
    """Polls `condition` until it is true and returns its value."""
    seconds *= PATIENCE
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise TimeOut(f"no {what} within {seconds:g} s")
        time.sleep(0.005)
