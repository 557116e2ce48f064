# SPDX-License-Identifier: Apache-2.0
"""What fwm plans, against what upgrade-console sees of the same run with the real agent and a
simulated device, inside the sandbox."""

import dataclasses
import json
import os
import re

from tests.harness import agentcase, command, framelist, netcase, netimage
from tests.harness.agentcase import chip
from tests.harness.package import Image, image_bytes

DONE, FAILED, USAGE, NOTHING, _, _, _, REFUSED = range(8)
MAIN = Image("MAIN", image_bytes(700, "main"))
AUX = Image("AUX", image_bytes(600, "aux"), chip_type=1)
FPGA = Image("FPGA", image_bytes(300, "fpga"), chip_type=17)
UPDATED, CURRENT, OLDER = "updated", "up-to-date", "package-older"
NO_FIT, FAILS, UNREACHED = "no-fit", "failed", "not-reached"


def without_image(image):
    """The package has an entry for the chip, and a record of no bytes."""
    return dataclasses.replace(image, data=b"")


class TestRuns(netcase.NetCase):
    """Each test states the outcome; the plan and the run must both have it."""

    def run_json(self, program, *arguments):
        done = command.run(os.environ[program], *arguments, timeout=250)
        return done.returncode, json.loads(done.stdout), done.stderr

    def agree(
        self,
        status,
        results,
        chips,
        images,
        mode=2,
        rows=(),
        request_all=False,
        module=(),
        package=None,
        **device,
    ):
        """`rows` are those of a rows file: they state what the chips would answer. `module` are
        the results of chips whose image the device itself does not get."""
        self.put_package(*images, **(package or {}))
        self.start_device(*chips, virtual_version=77, **device)
        self.start_agent()
        options = ["--request-all"] * request_all + ["--mode", str(mode)]
        if rows:
            with open("/tmp/rows", "w", encoding="ascii") as file:
                file.write("\n".join(rows))
            chips_of_plan = ["--rows", "/tmp/rows"]
        else:
            chips_of_plan = ["--device", self.simulator.device_file]
        plan_status, plan, words = self.run_json(
            "FWM_PROGRAM", "plan", "--json", agentcase.PACKAGE, *chips_of_plan, *options
        )
        self.assertEqual(
            (plan_status, [row["result"] for row in plan.get("rows", [])]), (status, results), words
        )
        chosen = [",".join(row.split(",")[:3]) for row in rows]
        run_status, run, words = self.run_json(
            "UPGRADE_CONSOLE",
            *"--timeout 15 --json upgrade".split(),
            *options,
            *["--yes"] * (mode == 5),
            *chosen,
        )
        self.assertEqual(run_status, status, words)
        # A client that refuses the rows names no MCU.
        if results and status != USAGE:
            self.assertEqual([re.sub("[ _]", "-", mcu["result"]) for mcu in run["mcus"]], results)
        state = self.simulator.status()
        self.assertEqual(
            sum(part["images_written"] for part in state["chips"]) + len(module),
            plan.get("would_write", 0),
        )
        self.assertEqual(state["virtual_version"], plan.get("virtual_version") or 77)

    def test_newer_same_and_older(self):
        """The main MCU is not the first row of this package."""
        self.agree(
            DONE,
            [CURRENT, OLDER, UPDATED, UPDATED],
            [
                chip("MAIN"),
                chip("AUX", 1, 0, version="1.1.0"),
                chip("AUX", 1, 1, version="1.10.0"),
                chip("FPGA", 17, version="1.0"),
            ],
            [Image("AUX", AUX.data, 1, quantity=2), MAIN, FPGA],
        )

    def test_numbering_by_quantity(self):
        self.agree(
            DONE,
            [UPDATED, UPDATED, CURRENT],
            [
                chip("MAIN", 0, 1, bootcode=True),
                chip("AUX", 1, 3),
                chip("FPGA", 17, 1, version="1.1"),
            ],
            [MAIN, Image("AUX", AUX.data, 1, quantity=3), FPGA],
            request_all=True,
        )

    def test_nothing_newer(self):
        self.agree(
            NOTHING,
            [CURRENT, NO_FIT],
            [chip("MAIN", version="1.1.0"), chip("AUX", 1, pcb_version=2)],
            [MAIN, AUX],
        )

    def test_mode_5(self):
        """Neither the model nor any version is compared."""
        self.agree(
            DONE,
            [UPDATED, NO_FIT, UPDATED],
            [
                chip("MAIN", version="9.0.0"),
                chip("AUX", 1, speciality="B"),
                chip("FPGA", 17, version="9.0"),
            ],
            [MAIN, AUX, FPGA],
            mode=5,
            package={"model": "HX-9"},
        )

    def test_main_mcu_in_its_bootcode(self):
        """It has its turn first, and its version does not count."""
        self.agree(
            DONE,
            [CURRENT, UPDATED],
            [chip("MAIN", bootcode=True, version="9.0.0"), chip("AUX", 1, version="1.1.0")],
            [AUX, MAIN],
        )
        frames = self.simulator.host_frames()
        self.assertLess(
            frames.index(framelist.image(0, 0, len(MAIN.data))[0]),
            frames.index(framelist.version(1)),
        )

    def test_fpga_without_image(self):
        self.agree(
            FAILED, [UPDATED, FAILS], [chip("MAIN"), chip("FPGA", 17)], [MAIN, without_image(FPGA)]
        )

    def test_missing_chip(self):
        self.agree(FAILED, [UPDATED, FAILS], [chip("MAIN")], [MAIN, AUX])

    def test_missing_main_mcu(self):
        """The package's rows, from zero, on a device of the other numbering."""
        self.agree(FAILED, [FAILS, UNREACHED], [chip("MAIN", 0, 1), chip("AUX", 1, 1)], [MAIN, AUX])

    def test_request_of_the_other_numbering(self):
        self.agree(FAILED, [FAILS], [chip("MAIN")], [MAIN], request_all=True)

    def test_no_chips_in_the_package(self):
        self.agree(NOTHING, [], [chip("MAIN")], [])

    def test_no_chips_in_the_package_by_quantity(self):
        self.agree(NOTHING, [], [chip("MAIN", 0, 1)], [], request_all=True)

    def test_wrong_model(self):
        self.agree(
            REFUSED,
            [UNREACHED, UNREACHED],
            [chip("MAIN"), chip("AUX", 1)],
            [MAIN, AUX],
            package={"model": "HX-9"},
        )

    def test_invalid_product_information(self):
        self.agree(
            FAILED,
            [UNREACHED, UNREACHED],
            [chip("MAIN", product_information=False), chip("AUX", 1)],
            [AUX, MAIN],
        )

    def test_old_package(self):
        self.agree(REFUSED, [], [chip("MAIN")], [MAIN], package={"package_version": 5})

    def test_row_that_the_package_lacks(self):
        self.agree(
            USAGE,
            [UNREACHED, NO_FIT],
            [chip("MAIN"), chip("KEY", 2)],
            [MAIN],
            rows=("MAIN,0,0,1,1,65,1,0,0", "KEY,2,0,1,1,65,1,0,0"),
        )

    def test_chosen_rows(self):
        self.agree(
            DONE,
            [UPDATED],
            [chip("MAIN"), chip("AUX", 1)],
            [MAIN, AUX],
            rows=("AUX,1,0,1,1,65,1,0,0",),
        )

    def test_image_of_the_module(self):
        self.agree(
            DONE,
            [UPDATED, CURRENT],
            [chip("NET", 32, version="1.22"), chip("MAIN", version="1.1.0")],
            [netimage.in_package(netimage.image()), MAIN],
            module=("NET",),
        )

    def test_damaged_image_of_the_module(self):
        good = netimage.image()
        self.agree(
            FAILED,
            [FAILS, UPDATED],
            [chip("NET", 32, version="1.22"), chip("MAIN")],
            [netimage.in_package(good[:-1] + bytes([good[-1] ^ 1])), MAIN],
        )


if __name__ == "__main__":
    agentcase.main()
