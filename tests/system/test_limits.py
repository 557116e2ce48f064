# SPDX-License-Identifier: Apache-2.0
"""Input beyond the limits: memory stays bounded, the answer is clear, the agent continues."""

import contextlib
import os
import resource
import select
import socket
import struct
import threading
import time
import zlib

from tests.harness import agentcase, console, module, netcase, netimage, package, texts, wait
from tests.harness.package import Image, image_bytes

MIB = 1024 * 1024
AUX = Image("AUX", image_bytes(700, "aux"), chip_type=1)
REQUEST = "UPGRADE||AUX,1,0"
UNKNOWN = "UPGRADELOG||Unknow command."
UNREAD_REPLIES = "a client does not read its replies"
CHECKSUM_OK = texts.log("Firmware file checksum ok.")


class LimitsCase(agentcase.AgentCase):
    """An idle agent, and one client that only asks for the version."""

    def begin(self, **environment):
        self.start_agent(**environment)
        self.client = self.connect()
        # Through the engine, so that both threads are up.
        self.client.ask("UPGRADE||", *texts.closed(""))
        self.before = self.agent.memory()

    def socket(self):
        """A client that reads nothing by itself."""
        plain = socket.create_connection(("127.0.0.1", console.PORT), 10)
        self.stack.callback(plain.close)
        return plain

    def assert_grown_less(self, size):
        """What the agent holds beyond what it held at the start; nothing under a sanitizer."""
        self.assertLess((self.agent.memory() - self.before) / MIB, size / MIB)

    def assert_back(self, size=4 * MIB):
        """Memory that was needed for a while is given back a second after."""
        wait.until(lambda: self.agent.memory() - self.before < size, 10, "memory given back")
        load = self._testMethodName.removeprefix("test_").replace("_", " ")
        sizes = (self.before, self.agent.peak_memory(), self.agent.memory())
        at_rest, peak, after = (f"{size / MIB:.1f} MiB" for size in sizes)
        print(f"memory with {load}: peak {peak}, {after} afterwards, {at_rest} before")

    def assert_serves(self):
        self.client.mark()
        self.client.send("VERSION")
        self.client.wait_for("VERSION||1.15")

    def assert_upgrades(self):
        """A whole upgrade by another client."""
        self.put_package(AUX)
        self.start_device(agentcase.chip("AUX", 1))
        other = self.connect()
        other.send(REQUEST)
        other.wait_for("UPGRADESUCCESS", 60)
        self.assert_flash({(1, 0): AUX.data})


class TestClients(LimitsCase):
    """Clients without number or manners."""

    def test_two_thousand_clients(self):
        """All are connected at the same time, all are served, and then all are gone, twice."""
        count = 2000
        limit = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
        if limit != resource.RLIM_INFINITY and limit < count + 200:
            self.skipTest(f"only {limit} descriptors may be open here")
        resource.setrlimit(resource.RLIMIT_NOFILE, (limit, limit))
        self.begin()
        descriptors = self.agent.descriptors()
        for _ in range(2):
            sockets = [self.socket() for _ in range(count)]
            for one in sockets:
                one.sendall(b"VERSION\r\n")
            for one in sockets:
                self.assertEqual(one.recv(100), b"VERSION||1.15\r\n")
            self.assert_serves()
            self.assertEqual(self.agent.descriptors(), descriptors + count)
            self.assert_grown_less(32 * MIB)
            for one in sockets:
                one.close()
            wait.until(lambda: self.agent.descriptors() == descriptors, 30, "closed sockets")
            self.assert_serves()
            self.assert_back()

    def ask_on(self, sockets, request):
        """Asks until the agent has dropped every client; returns the most memory it held."""
        for one in sockets:
            one.setblocking(False)
        most = 0

        def all_dropped():
            nonlocal most
            most = max(most, self.agent.memory() - self.before)
            for one in list(sockets):
                try:
                    one.send(request)
                except BlockingIOError:
                    continue
                except ConnectionError:
                    sockets.remove(one)
            return not sockets

        wait.until(all_dropped, 120, "end of the clients that read nothing")
        return most

    def check_unread(self, count, request, limit):
        """The agent drops all clients, and holds not much more than the limit meanwhile."""
        self.begin()
        descriptors = self.agent.descriptors()
        most = self.ask_on([self.socket() for _ in range(count)], request)
        self.assertLess(most / MIB, limit / MIB + 8)
        self.assert_serves()
        self.assertEqual(self.agent.stderr().count(UNREAD_REPLIES), count)
        self.assertEqual(self.agent.descriptors(), descriptors)
        self.assert_back()

    def test_unread_replies(self):
        """A client asks for long replies and takes none."""
        self.put_package(text='{"model":"HX-8","version":"1","chips":[],"x":"%s"}' % ("y" * 60_000))
        self.check_unread(1, b"GETFIRMWARELIST\r\n" * 50, 16 * MIB)

    def test_unread_replies_to_short_requests(self):
        """One read brings a hundred thousand requests."""
        self.check_unread(1, b"x\r" * 100_000, 16 * MIB)

    def test_unread_replies_of_twenty_clients(self):
        """Together they may leave no more unread than four of them alone."""
        self.put_package(text='{"model":"HX-8","version":"1","chips":[],"x":"%s"}' % ("y" * 60_000))
        self.check_unread(20, b"GETFIRMWARELIST\r\n" * 50, 64 * MIB)

    def test_half_closed_client(self):
        """It asks, closes its side and takes nothing: too little to be dropped for its size."""
        self.put_package(text='{"model":"HX-8","version":"1","chips":[],"x":"%s"}' % ("y" * 60_000))
        self.begin()
        descriptors = self.agent.descriptors()
        half = self.socket()
        half.sendall(b"GETFIRMWARELIST\r\n" * 200)
        half.shutdown(socket.SHUT_WR)
        begin = time.monotonic()
        wait.until(lambda: self.agent.descriptors() > descriptors, what="connection")
        wait.until(lambda: self.agent.descriptors() == descriptors, 90, "end of the connection")
        self.assertGreater(time.monotonic() - begin, 55)
        self.assertNotIn(UNREAD_REPLIES, self.agent.stderr())
        self.assert_serves()
        self.assert_back()

    def test_fifty_endless_lines(self):
        """Three megabytes each; the longest lines are given up first, short ones never."""
        self.begin()
        short = self.connect()
        short.send_raw(b"VER")
        clients = [self.connect() for _ in range(50)]
        for _ in range(3 * 16):
            for client in clients:
                client.send_raw(b"z" * 65_536)
        for client in clients:
            client.wait_for(UNKNOWN, 60)
        self.assert_grown_less(128 * MIB)
        short.send_raw(b"SION\r\n")
        short.expect(["VERSION||1.15"])
        for client in clients:
            client.mark()
            client.send_raw(b"\rVERSION\r\n")
            client.wait_for("VERSION||1.15")
        for client in clients:
            client.close()
        self.assert_serves()
        self.assert_back()


def allow_descriptors(agent, count=None):
    """From now on the agent may have so many open; without a number, as many as at its start."""
    hard = resource.prlimit(agent.popen.pid, resource.RLIMIT_NOFILE)[1]
    resource.prlimit(
        agent.popen.pid, resource.RLIMIT_NOFILE, (hard if count is None else count, hard)
    )


def allow_no_descriptor_more(agent):
    """The next one that it opens would be one too many."""
    folder = f"/proc/{agent.popen.pid}/fd"
    allow_descriptors(
        agent, next(number for number in range(1000) if not os.path.lexists(f"{folder}/{number}"))
    )


def allow_no_thread_more(agent):
    """Small things still fit into memory, a stack of 8 MiB does not."""
    with open(f"/proc/{agent.popen.pid}/statm", encoding="ascii") as file:
        size = int(file.read().split()[0]) * os.sysconf("SC_PAGE_SIZE")
    resource.prlimit(agent.popen.pid, resource.RLIMIT_AS, (size + 2 * MIB, size + 2 * MIB))


def skip_with_type_checks(test):
    """The type checks of UndefinedBehaviorSanitizer open a pipe to find out whether memory can be
    read, and report false errors without a descriptor."""
    if "undefined" in os.environ.get("AGENT_SANITIZE", ""):
        test.skipTest("the sanitizer needs a descriptor")


class TestDescriptors(LimitsCase):
    """Fewer descriptors than there is use for."""

    def assert_rests(self):
        """No loop burns the processor."""
        before = self.agent.processor_seconds()
        time.sleep(3)  # the time over which the processor is watched
        self.assertLess(self.agent.processor_seconds() - before, 0.3)

    def test_more_clients_than_descriptors(self):
        """Further clients wait, without being refused and without a busy loop, until one leaves."""
        self.begin()
        allow_descriptors(self.agent, 144)  # 128 are kept for other uses
        served = [self.connect() for _ in range(15)]
        for client in served:
            client.sync()
        waiting = [self.connect() for _ in range(40)]
        for client in waiting:
            client.send("VERSION")
        wait.until(lambda: "no more clients are accepted for now: 16" in self.agent.stderr())
        self.assert_rests()
        self.assertEqual(b"".join(client.raw for client in waiting), b"")
        self.assert_serves()
        for client in served:
            client.sync()
        while served or waiting:
            for client in served:
                client.close()
            served, waiting = waiting[:15], waiting[15:]
            for client in served:
                client.expect(["VERSION||1.15"])
        self.assert_serves()
        self.assert_upgrades()

    def test_no_descriptor_left(self):
        """Nothing can be opened: every operation reports it, and works again later."""
        skip_with_type_checks(self)
        self.put_package(AUX)
        self.begin()
        allow_no_descriptor_more(self.agent)
        new = self.connect()
        new.send("VERSION")
        wait.until(lambda: "cannot accept a client" in self.agent.stderr())
        self.assert_rests()
        self.assertEqual(self.agent.stderr().count("cannot accept a client"), 1)
        self.client.ask(
            "GETFIRMWARELIST",
            *texts.status_lines("UPGRADEFAIL") * 2,
            "FIRMWARELIST||ERROR:Faild to open firmware file.",
            *texts.closed("") * 2,
        )
        self.client.send(REQUEST)
        self.client.wait_for(
            "UPGRADELOG||ttyS2 connect failed, serial port is occupied or does not exist"
        )
        self.client.wait_for("UPGRADEFAIL")
        self.assertEqual(new.raw, b"")
        allow_descriptors(self.agent)
        new.expect(["VERSION||1.15"])
        self.client.sync_among_others()
        self.assert_upgrades()


class TestInstall(netcase.NetCase):
    """The module's own upgrade where nothing can be opened."""

    def test_install_without_descriptors(self):
        """The digest cannot be taken, so nothing is unpacked; later all goes well."""
        skip_with_type_checks(self)
        self.start_agent()
        sender = self.sender()
        sender.client.ask("UPGRADE||", *texts.closed(""))
        image = netimage.image()
        (last,) = sender.begin(image)
        sender.client.mark()
        allow_no_descriptor_more(self.agent)
        sender.send(last)
        sender.client.expect(texts.log("NET package checksum error."))
        self.assertEqual(module.commands(), [])
        self.assertEqual(module.files(), netcase.OLD_FILES)
        allow_descriptors(self.agent)
        sender.send_all(image)
        self.finish_blocks(sender.client)

    def test_install_without_a_thread(self):
        """Without address space for its stack the lines still come one by one."""
        self.start_agent()
        if not self.agent.memory():
            self.skipTest("the agent's memory is not its own here")
        sender = self.sender()
        sender.client.ask("UPGRADE||", *texts.closed(""))
        (last,) = sender.begin(netimage.image())
        sender.client.mark()
        module.hold(module.UNPACK)
        allow_no_thread_more(self.agent)
        sender.send(last)
        sender.client.expect(texts.net_blocks_installed()[:3])
        module.wait_for_command(module.UNPACK)
        # The console waits for the commands, and is served after them.
        other = self.connect()
        other.send("VERSION")
        module.release()
        sender.client.expect(texts.net_blocks_installed()[3:] + texts.net_reboots())
        other.expect(["VERSION||1.15"])
        self.assert_reboots(*module.INSTALL)
        self.assert_installed()


class TestPackages(LimitsCase):
    """Packages that claim more than they have, or are unusually large."""

    def listing(self, reply, *before):
        self.client.ask("GETFIRMWARELIST", *before, f"FIRMWARELIST||{reply}")
        self.assert_grown_less(24 * MIB)

    def listings(self, old_form, bare):
        """Both old forms have the length of the description in four bytes."""
        error = texts.log("Data struct error!")
        self.put_bytes(package.with_checksum(old_form))
        self.listing("", *CHECKSUM_OK, *texts.log("Firmware package version: 2"), *error)
        self.put_bytes(bare)
        self.listing("", *texts.log("Firmware package version: 6"), *error)
        self.assert_upgrades()

    def test_description_of_four_gigabytes(self):
        self.begin()
        claim = b"\xff\xff\xff\xff" + package.description([AUX]).encode()
        self.listings(b"MTU\0\2" + claim, b"MTU\0\6" + claim)

    def test_description_of_sixty_megabytes(self):
        """It is all there, and good JSON."""
        self.begin()
        text = (
            package.description([AUX])
            .replace('"chips"', '"notes":[%s],"chips"' % ",".join(['{"a":"bcdef"}'] * 4_300_000))
            .encode()
        )
        self.assertGreater(len(text), 60_000_000)
        long = struct.pack("<I", len(text)) + text + AUX.record()
        self.listings(b"MTU\0\2" + long, b"MTU\0\6" + long)

    def test_image_too_long_for_memory(self):
        """Its record is right, and so is the checksum; the file is mostly a hole."""
        size = 300 * MIB
        self.begin()
        head = package.body(package.description([AUX]), [])
        record = AUX.record()
        head += record[:8] + struct.pack("<I", size)
        crc = zlib.crc32(head)
        for _ in range(size // MIB):
            crc = zlib.crc32(bytes(MIB), crc)
        with open(agentcase.PACKAGE, "wb") as file:
            file.write(format(crc, "x").encode().ljust(8, b"\0") + head)
            file.truncate(8 + len(head) + size)
        self.start_device(agentcase.chip("AUX", 1))
        self.client.send(REQUEST)
        self.client.expect(
            texts.begun(("AUX", "1.0.0"))
            + texts.decided("1.1.0", "greater", "AUX", "1.0.0")
            + texts.not_in_records("AUX")
            + texts.finished(written=False),
            60,
        )
        self.assert_grown_less(24 * MIB)
        self.assertIn(f"an image is too long: {size} bytes", self.agent.stderr())
        self.assert_upgrades()

    def test_net_image_is_streamed(self):
        """While its digest is taken, all of it is on the disk and none of it in memory."""
        size = 64 * MIB
        module.clean()
        module.hold(module.MD5SUM)
        self.put_package(netimage.in_package(netimage.with_head(os.urandom(size), digest="0" * 32)))
        self.start_device(netcase.CHIP)
        self.begin(SANDBOX_SUDO_HOLD=module.HOLD)
        self.client.ask("UPGRADEMODE||5", "UPGRADELOG||Set UPGRADEMODE to 5")
        self.client.send("UPGRADE||NET,32,0")
        module.wait_for_command(module.MD5SUM)
        self.assertEqual(os.path.getsize(netimage.ARCHIVE), size)
        self.assert_grown_less(8 * MIB)
        module.release()
        self.client.wait_for("UPGRADESUCCESS", 60)


class TestGarbage(LimitsCase):
    """The line carries arbitrary bytes."""

    def pour(self, total, done):
        """Writes noise; it is not read while no run has the line open."""
        noise = os.urandom(65_536)
        with contextlib.suppress(OSError):
            while total > 0 and not done.is_set():
                if select.select([], [agentcase.MASTER], [], 0.1)[1]:
                    total -= os.write(agentcase.MASTER, noise)
        self.left = total

    def test_one_gigabyte(self):
        """As many runs as it takes, and then one that goes well."""
        total = 50 * MIB if wait.SLOWNESS != 1 else 1024 * MIB
        self.put_package(AUX)
        self.start_device(agentcase.chip("AUX", 1), faults=["silent"])
        self.begin()
        done = threading.Event()
        thread = threading.Thread(target=self.pour, args=(total, done))
        self.stack.callback(done.set)
        thread.start()
        most = 0
        while thread.is_alive():
            self.client.mark()
            self.client.send(REQUEST)
            self.client.wait_for("UPGRADEFAIL", 60)
            most = max(most, self.agent.memory() - self.before)
        thread.join()
        self.assertLessEqual(self.left, 0)
        self.assertLess(most, 8 * MIB)
        self.assert_serves()
        self.assert_upgrades()


if __name__ == "__main__":
    agentcase.main()
