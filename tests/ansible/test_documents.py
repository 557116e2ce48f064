# SPDX-License-Identifier: Apache-2.0
"""What a task reports of a document of upgrade-console."""

import unittest

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import documents

from tests.ansible import samples

BUSY = {"id": "busy", "text": "the device is busy", "advice": "Wait.", "detail": "run of pc7"}


class UpgradeResult(unittest.TestCase):
    def test_changed_only_if_an_image_was_written(self):
        for results, changed in (
            (["updated"], True),
            (["updated", "up-to-date"], True),
            (["up-to-date", "package-older", "no-fit"], False),
            (["failed", "not-reached"], False),
            (["failed", "updated"], True),
            (["unknown"], False),
        ):
            chips = [samples.chip("MCU", number, word) for number, word in enumerate(results)]
            got = documents.upgrade_result(samples.upgrade(0, "done", chips))
            self.assertEqual((got["changed"], len(got["chips"])), (changed, len(chips)), results)

    def test_firmware_of_the_module_is_a_change(self):
        document = samples.upgrade(0, "done", [], net_version="1.23")
        self.assertTrue(documents.upgrade_result(document)["changed"])

    def test_status_decides_about_failure(self):
        for status, result, failed in (
            (0, "done", False),
            (3, "nothing-to-do", False),
            (1, "failed", True),
            (2, "usage", True),
            (4, "busy", True),
            (5, "cannot-connect", True),
            (6, "connection-lost", True),
            (7, "package-refused", True),
            (9, "not-trusted", True),
        ):
            error = None if status in (0, 3) else samples.LOST
            document = samples.upgrade(status, result, [], error=error)
            got = documents.upgrade_result(document)
            self.assertEqual((got["failed"], got["outcome"]), (failed, result), result)

    def test_versions_after_the_run(self):
        for result, after in (
            ("updated", "1.1.0"),
            ("up-to-date", "1.0.0"),
            ("package-older", "1.0.0"),
            ("not-reached", "1.0.0"),
            ("failed", ""),
            ("unknown", ""),
        ):
            document = samples.upgrade(0, "done", [samples.chip("MAIN", 0, result)])
            chip = documents.upgrade_result(document)["chips"][0]
            self.assertEqual((chip["decision"], chip["version_after"]), (result, after))

    def test_failure_has_cause_and_advice_of_the_run_and_of_each_chip(self):
        chips = [samples.chip("MAIN", 0, "updated"), samples.chip("AUX", 1, "failed")]
        error = {"id": "x", "text": "Not every chip is written", "advice": "Look.", "detail": ""}
        got = documents.upgrade_result(samples.upgrade(1, "failed", chips, error=error))
        self.assertEqual(
            got["msg"],
            "Not every chip is written. Look. AUX (1,0): an image could not be written, after "
            "three attempts. Leave the device on and run the upgrade again.",
        )

    def test_cause_that_is_the_same_for_the_run_and_its_chips_is_there_once(self):
        chips = [samples.chip("AUX", 1, "failed"), samples.chip("FPGA", 17, "failed")]
        document = samples.upgrade(1, "failed", chips, error=samples.PROBLEM)
        self.assertEqual(
            documents.upgrade_result(document)["msg"],
            "AUX (1,0), FPGA (17,0): an image could not be written, after three attempts. Leave "
            "the device on and run the upgrade again.",
        )

    def test_refusal_before_the_run(self):
        got = documents.upgrade_result(samples.refused(4, "busy", BUSY))
        self.assertEqual((got["failed"], got["changed"], got["chips"]), (True, False, []))
        self.assertEqual(got["msg"], "the device is busy: run of pc7. Wait.")
        self.assertEqual(got["problem"], BUSY)

    def test_result_that_was_derived_after_a_restart(self):
        chips = [samples.chip("MAIN", 0, "updated")]
        document = samples.upgrade(0, "done", chips, verdict_seen=False)
        got = documents.upgrade_result(document)
        self.assertEqual((got["failed"], got["verdict_seen"]), (False, False))

    def test_difference(self):
        chips = [samples.chip("MAIN", 0, "updated"), samples.chip("AUX 1", 1, "failed")]
        got = documents.upgrade_diff(
            documents.upgrade_result(samples.upgrade(1, "failed", chips))["chips"]
        )
        self.assertEqual(got["before"], "MAIN (0,0) 1.0.0\nAUX 1 (1,0) 1.0.0\n")
        self.assertEqual(got["after"], "MAIN (0,0) 1.1.0\nAUX 1 (1,0) not known\n")


class State(unittest.TestCase):
    def test_of_a_module_that_answers(self):
        got = documents.state_of(samples.status(busy=True))
        self.assertEqual((got["reachable"], got["busy"], got["problem"]), (True, True, None))

    def test_of_a_module_that_does_not(self):
        got = documents.state_of(samples.unreachable())
        self.assertEqual((got["reachable"], got["busy"]), (False, None))
        self.assertEqual(got["problem"]["id"], "no-sign-of-life")


if __name__ == "__main__":
    unittest.main()
