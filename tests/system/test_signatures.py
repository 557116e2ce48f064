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


class SigningCase(agentcase.AgentCase):
    """A module with a key, and a release engineer who has it and another one."""

    key: signing.Key
    other: signing.Key
    signature: bytes

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.key = signing.Key("own")
        cls.other = signing.Key("other")
        cls.signature = cls.key.sign(GOOD)

    def setUp(self):
        super().setUp()
        signing.clean()
        self.runs = 0
        self.upgrades = 0

    def begin(self, **more):
        """The package is signed, and its key is the only one."""
        self.put_bytes(GOOD)
        signing.put(signing.SIGNATURE, self.signature)
        signing.install(self.key)
        return self.start(agentcase.chip("AUX", 1), mode=5, **more)

    def run_refused(self, client, *lines):
        """A run that ends with these lines before it sends anything."""
        client.send("UPGRADE||AUX,1,0")
        client.expect(
            texts.started(first=self.runs == 0) + texts.log(*lines) + texts.package_failed(),
        )
        self.runs += 1
        client.sync()

    def run_succeeds(self, client, line):
        client.send("UPGRADE||AUX,1,0")
        client.expect(
            texts.started(first=self.runs == 0)
            + texts.log(SUM_OK)
            + (texts.log(line) if line else [])
            + texts.read_chips(("AUX", "1.1.0" if self.upgrades else "1.0.0"))
            + texts.image("AUX", 0, 1, 300)
            + texts.finished(),
            40,
        )
        self.runs += 1
        self.upgrades += 1

    def listed(self, *lines):
        """The replies to GETFIRMWARELIST."""
        return (
            texts.log(SUM_OK, *lines)
            + texts.package_listed()[1:]
            + ["FIRMWARELIST||" + package.description([AUX])]
        )


class TestSignatures(SigningCase):
    def test_signed_package(self):
        client = self.begin()
        self.run_succeeds(client, right(self.key))
        self.assert_flash({(1, 0): AUX.data})
        client.ask("GETFIRMWARELIST", *self.listed(right(self.key)))
        # Without keys the signature does not matter.
        signing.remove(signing.KEYS)
        client.ask("GETFIRMWARELIST", *self.listed())
        self.run_succeeds(client, None)

    def test_bad_cases(self):
        """Signatures and packages that no key of the module can have signed."""
        line = signing.with_line
        good = self.signature
        forged_id = signing.flip(good.split(b"\n")[1], 5)
        id_bytes = bytearray.fromhex(self.key.id.rjust(16, "0"))
        id_bytes[-4] ^= 1
        cases = {
            "no signature": (GOOD, None, [SUM_OK, NOT_SIGNED]),
            "other key": (GOOD, self.other.sign(GOOD), [SUM_OK, unknown(self.other.id)]),
            "other file": (GOOD, self.key.sign(b"other"), [SUM_OK, WRONG]),
            "bit of the package": (GOOD[:99] + b"!" + GOOD[100:], good, []),
            "same CRC-32": (signing.same_crc(GOOD), good, [SUM_OK, WRONG]),
            "signature": (
                GOOD,
                line(good, 1, lambda text: signing.flip(text, 40)),
                [SUM_OK, WRONG],
            ),
            "key id": (
                GOOD,
                line(good, 1, lambda _: forged_id),
                [SUM_OK, unknown(f"{int(id_bytes.hex(), 16):X}")],
            ),
            "algorithm": (GOOD, line(good, 1, lambda text: signing.flip(text, 0)), [SUM_OK, WRONG]),
            "comment": (GOOD, line(good, 2, lambda text: text + b"!"), [SUM_OK, WRONG]),
            "global": (GOOD, line(good, 3, lambda text: signing.flip(text, 30)), [SUM_OK, WRONG]),
            "legacy": (GOOD, self.key.sign(GOOD, "old", "-l"), [SUM_OK, WRONG]),
            "truncated": (GOOD, good[:150], [SUM_OK, WRONG]),
            "empty": (GOOD, b"", [SUM_OK, WRONG]),
            "binary": (GOOD, bytes(range(256)) * 4, [SUM_OK, WRONG]),
        }
        client = self.begin()
        for name, (data, signature, lines) in cases.items():
            with self.subTest(name):
                self.put_bytes(data)
                signing.put(signing.SIGNATURE, signature)
                self.run_refused(client, *lines)
        self.put_bytes(GOOD)
        for name, make in signing.odd_files(good).items():
            with self.subTest(name):
                signing.remove(signing.SIGNATURE)
                make(signing.SIGNATURE)
                self.run_refused(client, SUM_OK, WRONG)
        self.assert_frames()
        self.assert_flash({})
        # As leniently as the program itself.
        signing.remove(signing.SIGNATURE)
        signing.put("/tmp/target", good.replace(b"\n", b"\r\n") + b"more\n")
        os.symlink("/tmp/target", signing.SIGNATURE)
        self.run_succeeds(client, right(self.key))

    def test_bad_keys(self):
        """One key file that cannot be used refuses everything, although the good key is there."""
        client = self.begin()
        bad = f"{signing.KEYS}/bad.pub"
        makers = {
            **signing.odd_files(self.other.public),
            "empty": lambda path: signing.put(path, b""),
            "text": lambda path: signing.put(path, b"not\na key\n"),
        }
        for name, make in makers.items():
            with self.subTest(name):
                signing.remove(bad)
                make(bad)
                self.run_refused(client, SUM_OK, unusable(bad))
        client.ask("GETFIRMWARELIST", *self.listed(unusable(bad)))
        signing.remove(bad)
        for name, make in signing.odd_files(self.key.public).items():
            if name == "folder":
                continue
            with self.subTest("keys: " + name):
                signing.remove(signing.KEYS)
                make(signing.KEYS)
                self.run_refused(client, SUM_OK, unusable(signing.KEYS))
        self.assert_frames()

    def test_many_keys_and_other_files(self):
        # Anyone can make a key with the id of another one.
        forged = self.other.with_id_of(self.key)
        client = self.begin()
        signing.install(*[self.other] * 50, forged, *[self.other] * 48, self.key)
        self.assertEqual(len(os.listdir(signing.KEYS)), 100)
        os.mkfifo(f"{signing.KEYS}/README")
        os.mkdir(f"{signing.KEYS}/old")
        self.run_succeeds(client, right(self.key))

    def test_keys_change_between_runs(self):
        client = self.begin()
        signing.install(self.other)
        self.run_refused(client, SUM_OK, unknown(self.key.id))
        signing.install(self.other, self.key)
        self.run_succeeds(client, right(self.key))
        signing.install()
        self.run_succeeds(client, None)

    def test_keys_change_during_a_run(self):
        """They are read at its start."""
        client = self.begin(faults=["late:word=block,type=1,block=0,delay=2000,count=once"])
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADELOG||'AUX' Enter 'F/W Update Mode' success.", 30)
        signing.install(self.other)
        signing.remove(signing.SIGNATURE)
        client.wait_for("UPGRADESUCCESS", 40)
        self.assert_flash({(1, 0): AUX.data})

    def test_every_state_of_publishing(self):
        """The signature is replaced first, then the package."""
        client = self.begin()
        new = package.build([OTHER])
        self.run_succeeds(client, right(self.key))
        signing.put(signing.SIGNATURE + ".new", self.key.sign(new))
        with open(agentcase.PACKAGE + ".new", "wb") as file:
            file.write(new)
        self.run_succeeds(client, right(self.key))
        os.replace(signing.SIGNATURE + ".new", signing.SIGNATURE)
        self.run_refused(client, SUM_OK, WRONG)
        os.replace(agentcase.PACKAGE + ".new", agentcase.PACKAGE)
        self.run_succeeds(client, right(self.key))
        self.assert_flash({(1, 0): OTHER.data})

    def test_upgrade_of_everything(self):
        client = self.begin()
        signing.remove(signing.SIGNATURE)
        for line in ("UPGRADEALL", "GETVERINF"):
            client.send(line)
            client.expect(
                texts.log(SUM_OK, NOT_SIGNED) + texts.status_lines("UPGRADEFAIL") + texts.closed("")
            )
            client.sync()
        self.assert_frames()
        signing.put(signing.SIGNATURE, self.signature)
        client.send("UPGRADEALL")
        client.wait_for("UPGRADESUCCESS", 40)
        self.assertEqual(client.lines.count("Connect success."), 1)

    def test_list(self):
        client = self.begin()
        signing.remove(signing.SIGNATURE)
        client.ask("GETFIRMWARELIST", *self.listed(NOT_SIGNED))
        signing.put(signing.SIGNATURE, b"")
        client.ask("GETFIRMWARELIST", *self.listed(WRONG))
        client.sync()
        self.assert_frames()

    def test_list_during_a_run_is_quiet(self):
        client = self.begin(faults=["late:word=block,type=1,block=0,delay=2000,count=once"])
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADELOG||'AUX' Enter 'F/W Update Mode' success.", 30)
        signing.remove(signing.SIGNATURE)
        client.send("GETFIRMWARELIST")
        client.wait_for("UPGRADESUCCESS", 40)
        self.assertIn("FIRMWARELIST||" + package.description([AUX]), client.lines)
        self.assertNotIn(texts.log(NOT_SIGNED)[0], client.lines)

    def test_log_has_verified_comments_only(self):
        client = self.begin()
        signing.put(
            signing.SIGNATURE, signing.with_line(self.signature, 2, lambda text: text + b" forged")
        )
        self.run_refused(client, SUM_OK, WRONG)
        signing.put(signing.SIGNATURE, self.key.sign(GOOD, "x" * 200))
        self.run_succeeds(client, right(self.key))
        signing.put(signing.SIGNATURE, self.key.sign(GOOD, 'a "quoted" \x1b[31mred\tx\u00e9'))
        self.run_succeeds(client, right(self.key))
        log = [one for one in self.agent.stderr().splitlines() if "event=signature_checked" in one]
        start = "agent.operations: event=signature_checked "
        self.assertEqual(
            log,
            [
                f"{start}result=refused key={self.key.id} reason=wrong_comment",
                f"{start}result=ok key={self.key.id} comment={'x' * 160}...",
                f"{start}result=ok key={self.key.id} "
                'comment="a \\"quoted\\" \\u001b[31mred\\tx\\u00e9"',
            ],
        )
        self.assertNotIn("forged", self.agent.stderr())
        self.assertNotIn("red", "".join(client.lines))
        self.assertIn(
            f'event=failure text="{WRONG}"',
            self.agent.stderr(),
        )


if __name__ == "__main__":
    agentcase.main()
