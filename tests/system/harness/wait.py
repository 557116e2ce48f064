# SPDX-License-Identifier: Apache-2.0
"""Waiting for conditions instead of sleeping for a guess."""

import time


class TimeOut(AssertionError):
    """What was awaited did not come."""


def until(condition, seconds=10.0, what="a condition"):
    """Polls `condition` until it is true and returns its value."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise TimeOut(f"no {what} within {seconds} s")
        time.sleep(0.005)
