# SPDX-License-Identifier: Apache-2.0
"""One worker of the soak test, inside its sandbox: one agent, which executes run after run.

Run numbers come in on standard input; each is answered with one line of JSON.
"""

import contextlib
import dataclasses
import json
import os
import random
import shutil
import sys
import time

from tests.harness import agentcase, module, netimage, package, texts, wait
from tests.harness.agent import Agent
from tests.harness.console import Console
from tests.harness.simulator import Simulator
from tests.soak import scenario as scenarios
from tests.soak import verdict
from tests.soak.agentlog import LOGGING, AgentLog

POLL = 0.05
# The permitted growth after a worker's first runs, measured while the agent is idle.
WARM_UP = 3
MEMORY_GROWTH = 4 * 1024 * 1024


class Worker:
    """The agent with its descriptors and memory while it was idle."""

    def __init__(self, seed, quick=False, details=False):
        self.seed = seed
        self.quick = quick
        self.details = details
        self.agent = Agent(**LOGGING)
        self.agent.wait_until_it_listens()
        self.descriptors = None
        self.memory = []

    def perform(self, number):
        """The run of that number."""
        return self.perform_scenario(scenarios.make(self.seed, number, self.quick))

    def perform_scenario(self, run):
        """One run and the checks after it."""
        started = time.monotonic()
        report = {"run": run.run}
        performance = Performance(self.agent, run)
        try:
            performance.play()
            report["rows"] = performance.verdict()
            self.check_rest(performance)
        except (verdict.Violation, AssertionError, OSError) as error:
            report["violation"] = f"{type(error).__name__}: {error}"
            report["evidence"] = performance.evidence()
        finally:
            if self.details:
                report["evidence"] = performance.evidence()
            performance.close()
        report.update(
            seconds=round(time.monotonic() - started, 1),
            status=performance.status(),
            faults=[fault.split(":")[0] for fault in performance.struck],
            events=performance.done,
            memory=self.memory[-1:],
            growth=self.growth(),
            descriptors=self.agent.descriptors() if self.agent.alive else None,
        )
        return report

    def check_rest(self, performance):
        """The agent is idle, and neither its descriptors nor its memory have grown."""
        client = Console()
        with contextlib.closing(client):
            client.sync_among_others()
            client.mark()
            client.send("UPGRADE||")
            # All of it, or the next run's client would get the rest.
            wait.until(
                lambda: texts.BUSY in client.lines
                or any(line.endswith(" port is disconnected.") for line in client.lines),
                10,
                "answer to a request without rows",
            )
            if texts.BUSY in client.lines:
                raise verdict.Violation("the run has ended and the agent is still busy")
        performance.close()
        if self.descriptors is None:
            self.descriptors = self.agent.descriptors()
        wait.until(
            lambda: self.agent.descriptors() <= self.descriptors,
            5,
            f"return to {self.descriptors} descriptors",
        )
        self.memory.append(self.agent.memory())
        if self.growth() > MEMORY_GROWTH:
            raise verdict.Violation(f"memory has grown by {self.growth()} bytes: {self.memory}")

    def growth(self):
        """Bytes since the warm-up."""
        return self.memory[-1] - self.memory[WARM_UP - 1] if len(self.memory) > WARM_UP else 0


class Performance:
    """One run: its device, its clients and its events."""

    simulator: Simulator  # set when it is started

    def __init__(self, agent, run):
        self.agent = agent
        self.run = run
        self.random = random.Random(run.run)
        self.clients = []
        self.done = []
        self.struck = []
        self.log = AgentLog(agent)
        self.built = {}
        self.trace = []
        module.clean()
        self.put_package()

    # What the run is made of.

    def put_package(self):
        """The package of the scenario, good or not."""
        with contextlib.suppress(FileNotFoundError):
            os.remove(agentcase.PACKAGE)
        if self.run.package == "missing":
            return
        images = [self.build(image) for image in self.run.images]
        content = package.build(
            images,
            model="HX-9" if self.run.package == "model" else "HX-8",
            package_version=5 if self.run.package == "version" else 6,
        )
        if self.run.package == "checksum":
            content = content[:-1] + bytes([content[-1] ^ 1])
        agentcase.AgentCase.put_bytes(content)

    def build(self, image):
        """An image as the package builder takes it."""
        if image.chip_type == scenarios.NET:
            archive = netimage.archive(netimage.FILES)
            content = netimage.with_head(archive, digest=None if image.good else "0" * 32)
            return netimage.in_package(content, image.name)
        content = package.image_bytes(image.size, image.seed)
        self.built[image.seed] = content
        return image.packed(content)

    def start_device(self):
        """A new device on the line, which is empty."""
        # pylint: disable=protected-access
        agentcase.AgentCase._drain_line()
        shutil.rmtree("/tmp/device", ignore_errors=True)
        device = agentcase.device(*self.run.chips, **self.run.device)
        self.simulator = Simulator(
            os.environ["DEVICE_SIMULATOR"],
            "/tmp/device",
            device,
            ("--fd", str(agentcase.MASTER)),
            self.run.faults,
            ("--seed", str(self.run.run % 1_000_000)),
            (agentcase.MASTER,),
        )

    def connect(self):
        client = Console()
        self.clients.append(client)
        return client

    # How it goes.

    def play(self):
        """Asks for the upgrade, lets everything happen at its time, waits for the end."""
        self.start_device()
        client = self.connect()
        client.send(f"UPGRADEMODE||{self.run.mode}")
        client.wait_for(f"UPGRADELOG||Set UPGRADEMODE to {self.run.mode}")
        client.send(self.run.request)
        started = time.monotonic()
        events = sorted(self.run.events, key=lambda event: event.seconds)
        limit = 3 * self.run.cost + 120
        while not self.ended():
            seconds = time.monotonic() - started
            if seconds > limit:
                raise verdict.Violation(f"the run has not ended after {limit:.0f} s")
            if events and events[0].seconds <= seconds:
                self.happen(events.pop(0))
            time.sleep(POLL)
        self.settle()

    def ended(self):
        self.log.read()
        return bool(self.log.statuses)

    def settle(self):
        """Waits for the lines after the end."""
        client = self.connect()
        client.sync_among_others()
        wait.until(
            lambda: not self.log.read()
            or self.log.messages[-1][0].endswith(" port is disconnected."),
            10,
            "closed link",
        )
        client.sync_among_others()
        self.log.read()

    def happen(self, event):
        """Performs and records one event."""
        getattr(self, "on_" + event.kind.replace("-", "_"))(event.argument)
        self.done.append(event.kind)

    def on_noise(self, count):
        """Random bytes; those that do not fit into the line's buffer are lost."""
        with contextlib.suppress(BlockingIOError):
            os.write(agentcase.MASTER, self.random.randbytes(int(count)))

    def on_unplug(self, _):
        self.simulator.control("link off")

    def on_plug(self, _):
        self.simulator.control("link on")

    def on_reset(self, _):
        """The client of the run disconnects; another one connects."""
        self.clients.pop(0).close(reset=True)
        self.connect().sync_among_others()

    def on_close(self, _):
        self.clients.pop(0).close()
        self.connect()

    def on_take_over(self, _):
        self.connect().sync_among_others()

    def on_busy(self, _):
        """Without a row, so that no run starts if the current one has just ended."""
        self.connect().send("UPGRADE||")

    def on_list(self, argument):
        client = self.connect()
        for _ in range(int(argument) % 20):
            client.send("GETFIRMWARELIST")

    def foreign_package(self):
        """For the same chips, with other images. No run may take it, so its checksum is wrong."""
        images = self.run.images
        content = package.build(
            [image.packed(package.image_bytes(image.size, "foreign")) for image in images]
        )
        return content[:-1] + bytes([content[-1] ^ 1])

    def on_replace(self, _):
        """As docs/use/operations.md has it: renamed into place."""
        agentcase.AgentCase.put_bytes(self.foreign_package())

    def on_overwrite(self, _):
        """In place, against that page: the run fails when it reads on."""
        with open(agentcase.PACKAGE, "r+b") as file:
            file.write(self.foreign_package())
            file.truncate()

    def on_nonsense(self, argument):
        noise = random.Random(argument).randbytes(int(argument) % 3000)
        self.connect().send_raw(noise.replace(b"UPGRADE", b"") + b"\r\n")

    # The result.

    def verdict(self):
        return verdict.check(self.run, self.log, self.simulator, self.built)

    def status(self):
        return self.log.statuses[-1:]

    def evidence(self):
        """All that is known of the run, for the one who looks for the reason."""
        self.stop_device()
        return {
            "scenario": dataclasses.asdict(self.run),
            "done": self.done,
            "messages": [" | ".join(one) for one in self.log.read()[-200:]],
            "trace": self.trace,
            "alive": self.agent.alive,
            "processor_seconds": self.agent.processor_seconds() if self.agent.alive else None,
        }

    def stop_device(self):
        """Ends the device and keeps what it saw."""
        if not hasattr(self, "simulator"):
            return
        self.struck = [text for kind, text in self.simulator.trace() if kind == "fault"]
        with open(self.simulator.trace_file, encoding="utf-8") as file:
            self.trace = [line[:120] for line in file.read().splitlines()[-80:]]
        self.simulator.stop()
        self.simulator.forget()

    def close(self):
        """Ends the device and the clients."""
        self.stop_device()
        while self.clients:
            self.clients.pop().close()


def main():
    """Arguments: the seed; "quick" for short runs only, "details" for all evidence of each run."""
    worker = Worker(sys.argv[1], "quick" in sys.argv[2:], "details" in sys.argv[2:])
    for line in sys.stdin:
        report = worker.perform(int(line))
        print(json.dumps(report), flush=True)
        if "violation" in report:
            break
    worker.agent.kill()


if __name__ == "__main__":
    main()
