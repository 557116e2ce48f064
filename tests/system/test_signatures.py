# SPDX-License-Identifier: Apache-2.0
"""Packages on a module that takes signed packages only: every bad case ends the run, with no frame
to the device."""

import os

from tests.harness import agentcase, package, signing, texts
from tests.harness.package import Image, image_bytes

AUX = Image("AUX", image_bytes(300, "aux"), chip_type=1)
OTHER = Image("AUX", image_bytes(300, "other"), chip_type=1)
GOOD = package.build([AUX])
SUM_OK = "Firmware file checksum ok."
NOT_SIGNED = "Firmware package is not signed, upgrade fail."
WRONG = "Firmware package signature error, upgrade fail."


def right(key):
    return f"Firmware package signature ok, key {key.id}."


def unknown(key_id):
    return f"Firmware package is signed by an unknown key {key_id}, upgrade fail."


def unusable(path):
    return f"Key file {path} cannot be used, upgrade fail."


class TestSignatures(agentcase.AgentCase):
    """A module with a key, and a release engineer who has it and another one."""

    def setUp(self):
        super().setUp()
        signing.clean()
        self.key, self.other = signing.Key("own"), signing.Key("other")
        self.signature = self.key.sign(GOOD)
        self.runs = self.upgrades = 0
        # The package is signed, and its key is the only one.
        self.put_bytes(GOOD)
        signing.put(signing.SIGNATURE, self.signature)
        signing.install(self.key)
        self.client = self.start(agentcase.chip("AUX", 1), mode=5)

    def run_refused(self, *lines):
        """A run that ends with these lines before it sends anything."""
        self.client.send("UPGRADE||AUX,1,0")
        self.client.expect(
            texts.started(first=self.runs == 0) + texts.log(*lines) + texts.package_failed(),
        )
        self.runs += 1
        self.client.sync()

    def run_succeeds(self, *lines):
        self.client.send("UPGRADE||AUX,1,0")
        self.client.expect(
            texts.started(first=self.runs == 0)
            + texts.log(SUM_OK, *lines)
            + texts.read_chips(("AUX", "1.1.0" if self.upgrades else "1.0.0"))
            + texts.image("AUX", 0, 1, 300)
            + texts.finished(),
            40,
        )
        self.runs += 1
        self.upgrades += 1

    def ask_list(self, *lines):
        """The replies to GETFIRMWARELIST."""
        self.client.ask(
            "GETFIRMWARELIST",
            *texts.log(SUM_OK, *lines),
            *texts.package_listed()[1:],
            "FIRMWARELIST||" + package.description([AUX]),
        )

    def test_signed_package(self):
        self.run_succeeds(right(self.key))
        self.assert_flash({(1, 0): AUX.data})
        self.ask_list(right(self.key))
        # Without keys the signature does not matter.
        signing.remove(signing.KEYS)
        self.ask_list()
        self.run_succeeds()

    def test_bad_cases(self):
        """Signatures and packages that no key of the module can have signed."""
        cases = {
            "no signature": (GOOD, None, [SUM_OK, NOT_SIGNED]),
            "other key": (GOOD, self.other.sign(GOOD), [SUM_OK, unknown(self.other.id)]),
            "other file": (GOOD, self.key.sign(b"other"), [SUM_OK, WRONG]),
            "bit of the package": (GOOD[:99] + b"!" + GOOD[100:], self.signature, []),
            "same CRC-32": (signing.same_crc(GOOD), self.signature, [SUM_OK, WRONG]),
            "empty": (GOOD, b"", [SUM_OK, WRONG]),
        }
        for name, (data, signature, lines) in cases.items():
            with self.subTest(name):
                self.put_bytes(data)
                signing.put(signing.SIGNATURE, signature)
                self.run_refused(*lines)
        self.put_bytes(GOOD)
        signing.remove(signing.SIGNATURE)
        os.mkfifo(signing.SIGNATURE)
        self.run_refused(SUM_OK, WRONG)
        self.assert_frames()
        # As leniently as the program itself.
        signing.remove(signing.SIGNATURE)
        signing.put("/tmp/target", self.signature.replace(b"\n", b"\r\n") + b"more\n")
        os.symlink("/tmp/target", signing.SIGNATURE)
        self.run_succeeds(right(self.key))

    def test_bad_keys(self):
        """One key file that cannot be used refuses everything, although the good key is there."""
        bad = f"{signing.KEYS}/bad.pub"
        signing.put(bad, b"not\na key\n")
        self.run_refused(SUM_OK, unusable(bad))
        self.ask_list(unusable(bad))
        for path in (bad, signing.KEYS):
            signing.remove(path)
            os.mkfifo(path)
            self.run_refused(SUM_OK, unusable(path))
        self.assert_frames()

    def test_keys_change_between_runs(self):
        signing.install(self.other)
        self.run_refused(SUM_OK, unknown(self.key.id))
        signing.install(self.other, self.key)
        self.run_succeeds(right(self.key))
        signing.install()
        self.run_succeeds()

    def test_every_state_of_publishing(self):
        """The signature is replaced first, then the package."""
        new = package.build([OTHER])
        self.run_succeeds(right(self.key))
        signing.put(signing.SIGNATURE, self.key.sign(new))
        self.run_refused(SUM_OK, WRONG)
        self.put_bytes(new)
        self.run_succeeds(right(self.key))
        self.assert_flash({(1, 0): OTHER.data})

    def test_log_has_verified_comments_only(self):
        lines = self.signature.split(b"\n")
        lines[2] += b" forged"
        signing.put(signing.SIGNATURE, b"\n".join(lines))
        self.run_refused(SUM_OK, WRONG)
        signing.put(signing.SIGNATURE, self.key.sign(GOOD, "x" * 200))
        self.run_succeeds(right(self.key))
        signing.put(signing.SIGNATURE, self.key.sign(GOOD, 'a "quoted" \x1b[31mred\tx\u00e9'))
        self.run_succeeds(right(self.key))
        log = self.agent.stderr()
        start = "agent.operations: event=signature_checked "
        self.assertEqual(
            [line for line in log.splitlines() if "event=signature_checked" in line],
            [
                f"{start}result=refused key={self.key.id} reason=wrong_comment",
                f"{start}result=ok key={self.key.id} comment={'x' * 160}...",
                f"{start}result=ok key={self.key.id} "
                'comment="a \\"quoted\\" \\u001b[31mred\\tx\\u00e9"',
            ],
        )
        self.assertNotIn("forged", log)
        self.assertNotIn("red", "".join(self.client.lines))
        self.assertIn(f'event=failure text="{WRONG}"', log)


if __name__ == "__main__":
    agentcase.main()
