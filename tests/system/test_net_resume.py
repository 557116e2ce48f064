# SPDX-License-Identifier: Apache-2.0
"""An interrupted install of the module's own firmware is completed when the agent starts."""

import os

from tests.harness import agentcase, module, netcase, netimage, package, signing, wait
from tests.harness.blocksender import REFUSED

IMAGE = netimage.image()
ARCHIVE = IMAGE[netimage.HEAD_SIZE :]
UNPACKING, UNPACKED = "unpacking", "unpacked"


def marker(state=UNPACKING, kind="blocks", digest=None, signed="no", attempts=0):
    return (
        "upgrade-agent install 1\n"
        f"archive {digest or netimage.md5(ARCHIVE)}\n"
        f"version {b'1.23'.hex()}\n"
        f"kind {kind}\nsigned {signed}\nstate {state}\nattempts {attempts}\n"
    ).encode()


def resumed(state=UNPACKING, kind="blocks", attempt=1):
    return f"event=install_resumed version=1.23 kind={kind} state={state} attempt={attempt}"


def given_up(reason, state=UNPACKING):
    return f"event=install_given_up version=1.23 kind=blocks state={state} reason={reason}"


def postponed(reason, state=UNPACKING):
    return f"event=install_postponed version=1.23 kind=blocks state={state} reason={reason}"


NO_PACKAGE = "UPGRADELOG||Firmware file does not exist."
FINISHED = "event=install_finished version=1.23 result=success seconds=T"


class TestNetResume(netcase.NetCase):
    """The module after a power cut: a marker, and an archive or none."""

    def setUp(self):
        super().setUp()
        if os.path.isdir(os.path.dirname(signing.KEYS)):
            signing.clean()
        self.put(netimage.VERSION_FILE, b"1.00")
        self.put(netimage.ARCHIVE, ARCHIVE)

    @staticmethod
    def put(path, content):
        with open(path, "wb") as file:
            file.write(content)

    def assert_accepted(self):
        """An upgrade is possible as soon as the end of the install was logged, or soon after: it
        gets as far as the package, which is missing."""
        client = self.connect()

        def is_accepted():
            client.mark()
            client.send("UPGRADEORVALE1G||127.0.0.1")
            client.sync_among_others()
            return NO_PACKAGE in client.lines

        wait.until(is_accepted, 15, "accepted upgrade")

    def assert_left_alone(self, archive=ARCHIVE):
        """Nothing was run, nothing installed, and upgrades are accepted."""
        self.assertEqual(module.commands(), [])
        self.assert_module(archive, netcase.OLD_FILES, "1.00")
        self.assert_accepted()

    def test_blocks(self):
        self.put(netimage.MARKER, marker())
        self.start_agent()
        module.wait_for_command(module.REBOOT)
        self.assertEqual(module.commands(), [*module.ALL_AGAIN, module.REBOOT])
        self.assert_installed()
        self.assertIsNone(module.marker())
        self.assert_log(resumed(), FINISHED)

    def test_package(self):
        """The module is not rebooted, and upgrades are accepted afterwards."""
        self.put(netimage.MARKER, marker(kind="package"))
        self.start_agent()
        self.assert_log(resumed(kind="package"), FINISHED)
        self.assertEqual(module.commands(), module.ALL_AGAIN)
        self.assert_installed()
        self.assertIsNone(module.marker())
        self.assert_accepted()

    def test_remaining_steps(self):
        """The archive is gone, or another one was copied to the module since."""
        for archive in (None, b"another archive"):
            with self.subTest(archive=archive):
                module.clean(netcase.NEW_FILES)
                self.put(netimage.VERSION_FILE, b"1.00")
                if archive:
                    self.put(netimage.ARCHIVE, archive)
                self.put(netimage.MARKER, marker(UNPACKED))
                self.start_agent()
                module.wait_for_command(module.REBOOT)
                self.assertEqual(module.commands(), [*module.REMAINING[1:], module.REBOOT])
                self.assert_module(archive, netcase.NEW_FILES, "1.23")
                self.assert_log(resumed(UNPACKED), FINISHED)
                self.agent.kill()

    def test_busy_meanwhile(self):
        """Upgrades are refused in each way that the protocol has; everything else is served. The
        client gets no line of an install that it has not asked for."""
        module.hold(module.UNPACK)
        self.put(netimage.MARKER, marker())
        self.start_agent()
        module.wait_for_command(module.UNPACK)
        sender = self.sender()
        client = sender.client
        client.ask("UPGRADE||MAIN,0,0", netcase.BUSY)
        client.ask("UPGRADEORVALE1G||127.0.0.1", netcase.BUSY)
        client.ask("VERSION", "VERSION||1.15")
        sender.client.sync()
        sender.enter(REFUSED)
        sender.block(netimage.blocks(IMAGE)[0], REFUSED)
        self.assert_silent(sender, b"RebootDone")
        client.sync()
        client.mark()
        module.release()
        module.wait_for_command(module.REBOOT)
        client.ask("UPGRADE||MAIN,0,0", netcase.BUSY)
        self.assert_installed()

    def test_left_alone(self):
        """Each of these is reported, and removed."""
        other = b"another archive"
        cases = {
            "damaged": (marker()[:-1], ARCHIVE, "event=install_given_up reason=damaged"),
            "empty": (b"", ARCHIVE, "event=install_given_up reason=damaged"),
            "large": (b"x" * 100_000, ARCHIVE, "event=install_given_up reason=damaged"),
            "other archive": (marker(), other, given_up("archive_differs")),
            "shortened archive": (marker(), ARCHIVE[:-1], given_up("archive_differs")),
            "no archive": (marker(), None, given_up("no_archive")),
            "two attempts": (marker(attempts=2), ARCHIVE, given_up("attempts")),
            "two attempts, unpacked": (
                marker(UNPACKED, attempts=2),
                ARCHIVE,
                given_up("attempts", UNPACKED),
            ),
        }
        for name, (text, archive, line) in cases.items():
            with self.subTest(name):
                module.clean(netcase.OLD_FILES)
                self.put(netimage.VERSION_FILE, b"1.00")
                if archive is not None:
                    self.put(netimage.ARCHIVE, archive)
                self.put(netimage.MARKER, text)
                self.start_agent()
                self.assert_log(line)
                self.assertIsNone(module.marker())
                self.assert_left_alone(archive)
                self.agent.kill()

    def test_archive_without_a_marker(self):
        self.start_agent()
        self.assert_left_alone()
        self.assert_log()

    def test_two_attempts(self):
        """The power is cut each time while the archive is unpacked."""
        module.hold(module.UNPACK)
        self.put(netimage.MARKER, marker())
        for attempt in (1, 2):
            module.forget_commands()
            self.start_agent()
            module.wait_for_command(module.UNPACK)
            self.assertEqual(module.marker(), marker(attempts=attempt))
            self.assert_log(resumed(attempt=attempt))
            self.agent.cut_power()
        module.forget_commands()
        self.start_agent()
        self.assert_log(given_up("attempts"))
        self.assert_left_alone()
        self.assertIsNone(module.marker())

    def test_second_attempt_succeeds(self):
        module.hold(module.READ_ONLY)
        self.put(netimage.MARKER, marker())
        self.start_agent()
        module.wait_for_command(module.READ_ONLY)
        self.agent.cut_power()
        self.assertEqual(module.marker(), marker(UNPACKED, attempts=1))
        module.release()
        module.forget_commands()
        self.start_agent()
        module.wait_for_command(module.REBOOT)
        self.assertEqual(module.commands(), [*module.REMAINING[1:], module.REBOOT])
        self.assert_installed()
        self.assert_log(resumed(UNPACKED, attempt=2), FINISHED)

    def test_command_that_still_runs(self):
        """Only the agent was killed: its tar continues, and no second one runs beside it."""
        os.remove(netimage.ARCHIVE)
        module.hold(module.UNPACK)
        self.start_agent()
        self.sender().send_all(IMAGE)
        module.wait_for_command(module.UNPACK)
        self.agent.kill()
        self.start_agent()
        self.connect().ask("UPGRADE||MAIN,0,0", netcase.BUSY)
        self.assertEqual(module.commands(), module.INSTALL[:3])
        module.release()
        module.wait_for_command(module.REBOOT)
        self.assertEqual(module.commands(), [*module.INSTALL[:3], *module.ALL_AGAIN, module.REBOOT])
        self.assert_installed()

    def test_every_command_fails(self):
        """As in the install itself, the exit statuses are ignored."""
        self.put(netimage.MARKER, marker())
        self.start_agent(SANDBOX_SUDO_FAIL="mount tar rm reboot")
        module.wait_for_command(module.REBOOT)
        self.assertEqual(module.commands(), [*module.ALL_AGAIN, module.REBOOT])
        self.assert_module(ARCHIVE, netcase.OLD_FILES, "1.23")
        self.assertIsNone(module.marker())

    def test_marker_that_is_a_folder(self):
        """It cannot be removed, and does not keep the agent from working."""
        os.mkdir(netimage.MARKER)
        self.start_agent()
        self.assert_log("event=install_given_up reason=damaged")
        self.assert_left_alone()

    def test_keys(self):
        """Only an install of a signed package is completed."""
        signing.install(signing.Key("own"))
        self.put(netimage.MARKER, marker())
        self.start_agent()
        self.assert_log(given_up("not_signed"))
        self.assertIsNone(module.marker())
        self.assertEqual(module.commands(), [])
        self.assert_module(ARCHIVE, netcase.OLD_FILES, "1.00")

    def test_keys_and_a_marker_that_others_can_write(self):
        signing.install(signing.Key("own"))
        self.put(netimage.MARKER, marker(signed="yes"))
        os.chmod(netimage.MARKER, 0o664)
        self.start_agent()
        self.assert_log(given_up("not_signed"))
        self.assertEqual(module.commands(), [])

    def test_keys_and_a_signed_package(self):
        """The agent itself has written this marker."""
        key = signing.Key("own")
        signing.install(key)
        data = package.build([package.Image("NET", IMAGE, chip_type=32)])
        self.put_bytes(data)
        signing.put(signing.SIGNATURE, key.sign(data))
        module.hold(module.UNPACK)
        self.start_device(agentcase.chip("NET", 32, version="1.0"))
        self.start_agent()
        self.connect().send("UPGRADE||NET,32,0")
        module.wait_for_command(module.UNPACK, 60)
        self.agent.cut_power()
        self.assertEqual(module.marker(), marker(kind="package", signed="yes"))
        module.release()
        module.forget_commands()
        self.start_agent()
        self.assert_log(resumed(kind="package"), FINISHED)
        self.assertEqual(module.commands(), module.ALL_AGAIN)
        self.assert_installed()


if __name__ == "__main__":
    agentcase.main()
