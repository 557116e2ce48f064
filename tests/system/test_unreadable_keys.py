# SPDX-License-Identifier: Apache-2.0
"""Keys and signatures that the agent, an ordinary user, may not read."""

import os

from tests.harness import agentcase, package, signing, texts
from tests.harness.package import Image, image_bytes

GOOD = package.build([Image("AUX", image_bytes(300, "aux"), chip_type=1)])
SUM_OK = "Firmware file checksum ok."


class TestUnreadableKeys(agentcase.AgentCase):
    def test_permissions(self):
        signing.clean()
        key = signing.Key("own")
        signing.install(key)
        self.put_bytes(GOOD)
        signing.put(signing.SIGNATURE, key.sign(GOOD))
        client = self.start(agentcase.chip("AUX", 1), mode=5)
        cases = {
            f"{signing.KEYS}/0.pub": f"{signing.KEYS}/0.pub",
            signing.KEYS: signing.KEYS,
            os.path.dirname(signing.KEYS): signing.KEYS,
            signing.SIGNATURE: None,
        }
        for number, (path, reported) in enumerate(cases.items()):
            mode = os.stat(path).st_mode & 0o777
            os.chmod(path, 0)
            client.send("UPGRADE||AUX,1,0")
            client.expect(
                texts.started(first=number == 0)
                + texts.log(
                    SUM_OK,
                    f"Key file {reported} cannot be used, upgrade fail."
                    if reported
                    else "Firmware package signature error, upgrade fail.",
                )
                + texts.package_failed()
            )
            os.chmod(path, mode)
        self.assert_frames()
        client.send("UPGRADE||AUX,1,0")
        client.wait_for("UPGRADESUCCESS", 40)


if __name__ == "__main__":
    agentcase.main()
