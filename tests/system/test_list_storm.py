# SPDX-License-Identifier: Apache-2.0
"""One client asks for thousands of lists of a large package; another one does not notice."""

import os
import statistics
import time

from tests.harness import agentcase, console, wait
from tests.harness.package import Image, image_bytes

MIB = 1024 * 1024
LISTS = 2000
LARGE = Image("LARGE", image_bytes(MIB, "large") * 64, chip_type=1)
REQUEST = b"GETFIRMWARELIST\r\n"
REPLY = b"FIRMWARELIST||{"
# A request waits at most for the list that is being made. The others are for the moments between
# the agent's clock and this program's.
MOST_LISTS_BETWEEN = 2


class Storm(console.Console):
    """A client that records the time of each list."""

    def __init__(self):
        self.times = []
        self._tail = b""
        super().__init__()

    def _take(self, got):
        got = self._tail + got
        self.times += [time.monotonic()] * got.count(REPLY)
        self._tail = got[1 - len(REPLY) :]

    def lists_between(self, start, end):
        return sum(start < moment < end for moment in self.times)


class TestListStorm(agentcase.AgentCase):
    """The package is touched all the time, so that each list has to check all of it."""

    def setUp(self):
        super().setUp()
        self.put_package(LARGE)
        self.start_agent()
        self.other = self.connect()
        self.repeat(lambda: os.utime(agentcase.PACKAGE), 0.002)

    def storm(self):
        storm = Storm()
        self.stack.callback(storm.close)
        return storm

    def heartbeat(self):
        """When it was sent, and when it was answered."""
        begin = time.monotonic()
        self.other.sync()
        return begin, time.monotonic()

    def assert_answered_in_between(self, storms):
        """Without turns of the loop a heartbeat would wait for all the lists of a read. Counted in
        lists, for times also measure how busy the machine is."""
        for storm in storms:
            storm.send_raw(REQUEST * LISTS)
        wait.until(lambda: all(storm.times for storm in storms), 60, "first lists")
        beats = [self.heartbeat() for _ in range(15)]
        self.assertLess(max(len(storm.times) for storm in storms), LISTS, "the storm is over")
        between = [sum(storm.lists_between(*beat) for storm in storms) for beat in beats]
        self.assertLessEqual(statistics.median(between), MOST_LISTS_BETWEEN, between)

    def test_heartbeats_of_another_client(self):
        self.assert_answered_in_between([self.storm()])

    def test_several_storms(self):
        """The lists of all clients together leave the same gaps."""
        self.assert_answered_in_between([self.storm() for _ in range(4)])

    def test_storm_that_leaves(self):
        """What it has not got by then is not made."""
        storm = self.storm()
        storm.send_raw(REQUEST * LISTS)
        wait.until(lambda: storm.times, 60, "first list")
        descriptors = self.agent.descriptors()
        storm.close()
        wait.until(lambda: self.agent.descriptors() < descriptors, 30, "end of the connection")
        self.heartbeat()
        used = self.agent.processor_seconds()
        time.sleep(1)  # the time over which the processor is watched
        self.assertLess(self.agent.processor_seconds() - used, 0.3)


if __name__ == "__main__":
    agentcase.main()
