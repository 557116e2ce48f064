# SPDX-License-Identifier: Apache-2.0
"""An interrupted install of the module's own firmware is completed when the agent starts."""

from tests.harness import agentcase, module, netcase, netimage, package, signing, texts, wait
from tests.harness.blocksender import REFUSED

IMAGE = netimage.image()
ARCHIVE = IMAGE[netimage.HEAD_SIZE :]
UNPACKING, UNPACKED = "unpacking", "unpacked"


def marker(state=UNPACKING, kind="blocks", signed="no", attempts=0):
    return (
        "upgrade-agent install 1\n"
        f"archive {netimage.md5(ARCHIVE)}\n"
        f"version {b'1.23'.hex()}\n"
        f"kind {kind}\nsigned {signed}\nstate {state}\nattempts {attempts}\n"
    ).encode()


def resumed(state=UNPACKING, kind="blocks", attempt=1):
    return f"event=install_resumed version=1.23 kind={kind} state={state} attempt={attempt}"


def given_up(reason, event="given_up"):
    return f"event=install_{event} version=1.23 kind=blocks state=unpacking reason={reason}"


NO_PACKAGE = "UPGRADELOG||Firmware file does not exist."
FINISHED = "event=install_finished version=1.23 result=success seconds=T"


class TestNetResume(netcase.NetCase):
    """The module after a power cut: a marker, and an archive or none."""

    def begin(self, text, archive=ARCHIVE, files=None, held=None):
        """A module with version 1.00 and these files is switched on; one command is held."""
        module.clean(files or netcase.OLD_FILES)
        module.put(netimage.VERSION_FILE, b"1.00")
        if archive is not None:
            module.put(netimage.ARCHIVE, archive)
        module.put(netimage.MARKER, text)
        if held:
            module.hold(held)
        self.start_agent()

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
        self.begin(marker())
        self.assert_reboots(*module.ALL_AGAIN)
        self.assert_installed()
        self.assertIsNone(module.marker())
        self.assert_log(resumed(), FINISHED)

    def test_package(self):
        """The module is not rebooted, and upgrades are accepted afterwards."""
        self.begin(marker(kind="package"))
        self.assert_log(resumed(kind="package"), FINISHED)
        self.assertEqual(module.commands(), module.ALL_AGAIN)
        self.assert_installed()
        self.assertIsNone(module.marker())
        self.assert_accepted()

    def test_remaining_steps(self):
        """The archive is gone, or another one was copied to the module since."""
        for archive in (None, b"another archive"):
            with self.subTest(archive=archive):
                self.begin(marker(UNPACKED), archive, netcase.NEW_FILES)
                self.assert_reboots(*module.REMAINING[1:])
                self.assert_module(archive, netcase.NEW_FILES, "1.23")
                self.assert_log(resumed(UNPACKED), FINISHED)
                self.agent.kill()

    def test_busy_meanwhile(self):
        """Upgrades are refused in each way that the protocol has; everything else is served. The
        client gets no line of an install that it has not asked for."""
        self.begin(marker(), held=module.UNPACK)
        module.wait_for_command(module.UNPACK)
        sender = self.sender()
        client = sender.client
        client.ask("UPGRADE||MAIN,0,0", texts.BUSY)
        client.ask("UPGRADEORVALE1G||127.0.0.1", texts.BUSY)
        client.ask("VERSION", "VERSION||1.15")
        sender.client.sync()
        sender.enter(REFUSED)
        sender.block(netimage.blocks(IMAGE)[0], REFUSED)
        self.assert_silent(sender, b"RebootDone")
        client.sync()
        client.mark()
        module.release()
        module.wait_for_command(module.REBOOT)
        client.ask("UPGRADE||MAIN,0,0", texts.BUSY)
        self.assert_installed()

    def test_left_alone(self):
        """Each of these is reported, and removed."""
        damaged = "event=install_given_up reason=damaged"
        cases = {
            "damaged": (marker()[:-1], ARCHIVE, damaged),
            "large": (b"x" * 100_000, ARCHIVE, damaged),
            "other archive": (marker(), b"another archive", given_up("archive_differs")),
            "no archive": (marker(), None, given_up("no_archive")),
            "two attempts": (marker(attempts=2), ARCHIVE, given_up("attempts")),
        }
        for name, (text, archive, line) in cases.items():
            with self.subTest(name):
                self.begin(text, archive)
                self.assert_log(line)
                self.assertIsNone(module.marker())
                self.assert_left_alone(archive)
                self.agent.kill()

    def test_two_attempts(self):
        """The power is cut each time while the archive is unpacked."""
        self.begin(marker(), held=module.UNPACK)
        for attempt in (1, 2):
            module.wait_for_command(module.UNPACK)
            self.assertEqual(module.marker(), marker(attempts=attempt))
            self.assert_log(resumed(attempt=attempt))
            self.agent.cut_power()
            module.forget_commands()
            self.start_agent()
        self.assert_log(given_up("attempts"))
        self.assert_left_alone()
        self.assertIsNone(module.marker())

    def test_command_that_still_runs(self):
        """Only the agent was killed: its tar continues, and no second one runs beside it."""
        module.hold(module.UNPACK)
        self.start_agent()
        self.sender().send_all(IMAGE)
        module.wait_for_command(module.UNPACK)
        self.agent.kill()
        self.start_agent()
        self.connect().ask("UPGRADE||MAIN,0,0", texts.BUSY)
        self.assertEqual(module.commands(), module.INSTALL[:3])
        module.release()
        self.assert_reboots(*module.INSTALL[:3], *module.ALL_AGAIN)
        self.assert_installed()

    def test_keys_and_a_signed_package(self):
        """The agent itself has written this marker."""
        key = signing.Key("own")
        signing.install(key)
        data = package.build([package.Image("NET", IMAGE, chip_type=32)])
        self.put_bytes(data)
        signing.put(signing.SIGNATURE, key.sign(data))
        module.hold(module.UNPACK)
        self.start(netcase.CHIP).send("UPGRADE||NET,32,0")
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
