# SPDX-License-Identifier: Apache-2.0
"""The messages to a service manager: whole transcripts of the notify socket."""

import contextlib
import glob
import os
import pathlib
import re
import signal
import time

from tests.harness import agentcase, module, netcase, netimage, texts, wait
from tests.harness.agent import Agent
from tests.harness.notify import Manager
from tests.harness.package import Image, image_bytes

SOCKET = "/tmp/notify"
MAIN = Image("MAIN", image_bytes(3000, "main"))
AUX = Image("AUX", image_bytes(1024, "aux"), chip_type=1, mcu_type=2)
KEY = Image("KEY", image_bytes(300, "key"), chip_type=2, mcu_type=3, version=(1, 0, 0))
IDLE = "Idle, listening on port 35353."
READY = f"READY=1\nSTATUS={IDLE}"
FEED = "WATCHDOG=1"
STOPPING = "STOPPING=1\nSTATUS=Stopping."


def status(text):
    return f"STATUS={text}"


def activity(text, percent):
    return status(f"Upgrading: {text}, {percent} %")


def writing(name, position, rows, size, percent):
    """One image: a message each time that the whole percentage is another one."""
    messages = [activity(f"writing {name}", percent)]
    for figure in [0, *texts.block_percents(size)]:
        overall = int((position * 100 + figure) / rows)
        if overall not in (percent, 100):
            percent = overall
            messages.append(activity(f"writing {name}", percent))
    return messages, percent


class TestService(netcase.NetCase):
    """One agent each, which finds its socket in the environment."""

    def start_agent(self, address=SOCKET, **environment):
        self.manager = Manager(address)
        self.stack.callback(self.manager.close)
        return super().start_agent(NOTIFY_SOCKET=address, **environment)

    def wakeups(self):
        """How often the agent's threads have gone to sleep."""
        states = glob.glob(f"/proc/{self.agent.popen.pid}/task/*/status")
        switches = rb"^voluntary_ctxt_switches:\s*(\d+)"
        return sum(int(re.findall(switches, module.content(path), re.M)[0]) for path in states)

    def settle(self):
        """Waits until the agent has done what it was asked."""
        last = [0]

        def rests():
            before, last[0] = last[0], self.wakeups()
            time.sleep(0.2)
            return before == last[0]

        wait.until(rests, what="resting agent")

    @staticmethod
    def inherited(command):
        """The variables of the service manager that a running command has."""
        wanted = command.split()[1:]
        for process in glob.glob("/proc/[0-9]*"):
            with contextlib.suppress(OSError):
                if pathlib.Path(process, "cmdline").read_text().split("\0")[2:-1] == wanted:
                    variables = pathlib.Path(process, "environ").read_text().split("\0")
                    return [one for one in variables if one.startswith(("NOTIFY", "WATCHDOG"))]
        raise AssertionError(f"{command!r} does not run")

    def test_upgrade(self):
        client = self.start(
            agentcase.chip("MAIN"),
            agentcase.chip("AUX", 1, 0, mcu_type=2),
            agentcase.chip("KEY", 2, 0, mcu_type=3),
            images=(MAIN, AUX, KEY),
            options=("--baud", "57600"),
        )
        client.send("UPGRADE||MAIN,0,0||AUX,1,0||KEY,2,0")
        client.wait_for("UPGRADESUCCESS", 60)
        main, percent = writing("MAIN", 0, 3, 3000, 0)
        aux, percent = writing("AUX", 1, 3, 1024, percent)
        self.manager.wait_for(status(f"{IDLE} The last upgrade succeeded."))
        reading = [activity(f"reading {name}", 0) for name in ("MAIN", "AUX", "KEY")]
        upgrade = (
            [activity("reading the device", 0)]
            + reading
            + reading
            + main
            + aux
            + [activity("restarting the device", percent)]
        )
        self.assertEqual(
            self.manager.messages(),
            [READY, *upgrade, status(f"{IDLE} The last upgrade succeeded.")],
        )
        self.assertGreater(len(main), 8)

        # Up to date now, and then without a package.
        self.manager.forget()
        client.mark()
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADESUCCESS", 60)
        os.remove(agentcase.PACKAGE)
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADEFAIL", count=2)
        self.agent.stop()
        self.manager.wait_for(STOPPING)
        self.assertEqual(
            self.manager.messages(),
            [
                activity("reading the device", 0),
                activity("reading AUX", 0),
                activity("restarting the device", 0),
                status(f"{IDLE} The last upgrade succeeded."),
                activity("reading the device", 0),
                status(f"{IDLE} The last upgrade failed."),
                STOPPING,
            ],
        )
        self.assertEqual(self.manager.senders(), {self.agent.popen.pid})

    def test_abstract_socket_and_signals(self):
        for number in (signal.SIGTERM, signal.SIGINT):
            agent = self.start_agent("@upgrade-agent-test")
            self.manager.wait_for(READY)
            agent.popen.send_signal(number)
            self.assertEqual(agent.popen.wait(10), -number)
            self.manager.wait_for(STOPPING)
            self.assertEqual(self.manager.messages(), [READY, STOPPING])
            self.manager.close()

    def test_port_is_taken(self):
        """No readiness, and no end either."""
        super().start_agent()
        manager = Manager("/tmp/second")
        self.stack.callback(manager.close)
        second = self.keep(Agent(NOTIFY_SOCKET=manager.address, WATCHDOG_USEC="200000"))
        manager.wait_for(FEED, count=2)
        self.assertEqual(
            manager.messages()[0],
            status("Not listening on port 35353: The bound address is already in use."),
        )
        self.assertEqual(set(manager.messages()[1:]), {FEED})
        self.assertTrue(second.alive)

    def test_watchdog(self):
        """Fed twice in its time by an idle agent."""
        start = time.monotonic()
        self.start_agent(WATCHDOG_USEC="400000")
        self.manager.wait_for(FEED, count=6)
        # At once, and from then on each 200 ms.
        self.assertGreater(time.monotonic() - start, 0.95)
        self.assertEqual(set(self.manager.messages()), {READY, FEED})

    def test_watchdog_of_another_process(self):
        self.start_agent(WATCHDOG_USEC="20000", WATCHDOG_PID="1")
        client = self.connect()
        client.sync()
        time.sleep(0.5)
        self.assertEqual(self.manager.messages(), [READY])

    def test_watchdog_while_the_engine_is_blocked(self):
        """The module's own image, whose unpacking is held: the limit is longer, and there are no
        watchdog messages. No command inherits the agent's variables and sockets."""
        client = self.start(
            netcase.CHIP,
            images=(netimage.in_package(netimage.image()),),
            mode=5,
            environment={"WATCHDOG_USEC": "200000"},
        )
        module.hold(module.UNPACK)
        client.send("UPGRADE||NET,32,0")
        module.wait_for_command(module.UNPACK)
        installing = activity("installing the network module's firmware", 0)
        unlimited, limit = "WATCHDOG_USEC=1800000000", "WATCHDOG_USEC=200000"
        self.manager.wait_for(f"{installing}\n{unlimited}")
        self.assertEqual(self.inherited(module.UNPACK), [])

        client.send("VERSION")
        client.wait_for("VERSION||1.15")  # the main thread turns
        self.manager.forget()
        time.sleep(1)
        self.assertEqual(self.manager.messages(), [])

        module.release()
        client.wait_for("UPGRADESUCCESS", 40)
        self.manager.wait_for(FEED, count=3)
        self.assertEqual(
            [message for message in self.manager.messages() if "USEC" in message], [limit]
        )

    def test_at_rest(self):
        """Without a watchdog the agent never wakes up, with and without a service manager."""
        if "thread" in os.environ.get("AGENT_SANITIZE", ""):
            self.skipTest("ThreadSanitizer has a background thread, which wakes up")
        for has_manager in (False, True):
            if has_manager:
                self.start_agent()
            else:
                super().start_agent()
            self.connect().sync()
            self.settle()
            before = self.wakeups()
            time.sleep(2)
            self.assertEqual(self.wakeups(), before)
            self.agent.kill()


if __name__ == "__main__":
    agentcase.main()
