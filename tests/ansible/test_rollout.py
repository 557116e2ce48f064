# SPDX-License-Identifier: Apache-2.0
"""The record of a rollout, from the events of its tasks."""

import unittest

from ansible_collections.upgrade_agent.fleet.plugins.plugin_utils import rollout

NAMES = ["m1", "m2", "m3", "m4"]
PACKAGE = {"model": "HX-8", "version": "1.0.5"}
CHIP = {"name": "MAIN", "chip_type": 0, "chip_index": 0, "decision": "updated"}


def run(**more):
    result = {"changed": True, "chips": [CHIP], "duration": 9.5, "package": PACKAGE, "msg": ""}
    return {**result, **more}


def begun(*names):
    """A rollout of one wave."""
    record = rollout.Rollout()
    record.begin_wave("t", names, names)
    return record


def complete(record, name):
    record.step(name, "Upgrade", "t")
    record.packaged(name, {"package": PACKAGE, "sha256": "ab", "changed": True})
    record.upgraded(name, run(), "t")
    record.checked(name)


def outcomes(record):
    return {entry["module"]: entry["outcome"] for entry in record.document()["modules"]}


class Rollout(unittest.TestCase):
    def stopped(self):
        """A rollout whose second wave fails."""
        record = rollout.Rollout()
        record.begin_wave("t1", NAMES[:1], NAMES)
        complete(record, "m1")
        record.begin_wave("t2", NAMES[1:3], NAMES)
        record.step("m2", "Upgrade", "t")
        record.step("m3", "Upgrade", "t")
        record.failed("m2", run(changed=False, msg="no answer"), "Upgrade", "t")
        record.end("t3")
        return record

    def test_outcomes_of_a_stopped_rollout(self):
        record = self.stopped()
        self.assertEqual(
            outcomes(record),
            {"m1": "updated", "m2": "failed", "m3": "interrupted", "m4": "not-started"},
        )
        document = record.document()
        self.assertFalse(document["complete"])
        self.assertEqual(
            [(wave["wave"], wave["started"], wave["finished"]) for wave in document["waves"]],
            [(1, "t1", "t2"), (2, "t2", "t3")],
        )
        self.assertEqual([entry["wave"] for entry in document["modules"]], [1, 2, 2, None])
        self.assertEqual(sum(document["counts"].values()), len(NAMES))

    def test_remaining_is_everything_that_is_not_complete(self):
        self.assertEqual(self.stopped().remaining(), NAMES[1:])

    def test_continued_rollout_keeps_what_was_complete(self):
        record = rollout.Rollout(self.stopped().document())
        record.begin_wave("t4", NAMES[1:], NAMES[1:])
        for name in NAMES[1:]:
            complete(record, name)
        record.end("t5")
        document = record.document()
        self.assertTrue(document["complete"])
        self.assertEqual(record.remaining(), [])
        self.assertEqual([entry["wave"] for entry in document["modules"]], [1, 2, 2, 2])
        self.assertEqual([wave["started"] for wave in document["waves"]], ["t1", "t4"])
        self.assertEqual((document["started"], document["finished"]), ("t1", "t5"))

    def test_complete_needs_the_health_check(self):
        record = begun("m1")
        record.upgraded("m1", run(), "t")
        self.assertEqual(record.remaining(), ["m1"])
        record.checked("m1")
        self.assertEqual(record.remaining(), [])

    def test_failed_health_check_keeps_the_chips(self):
        record = begun("m1")
        record.upgraded("m1", run(), "t")
        record.failed("m1", {"msg": "busy"}, "Check", "t")
        entry = record.document()["modules"][0]
        self.assertEqual((entry["outcome"], entry["healthy"]), ("failed", False))
        self.assertEqual((entry["step"], len(entry["chips"]), entry["changed"]), ("Check", 1, True))

    def test_first_failure_counts(self):
        record = begun("m1", "m2")
        record.failed("m1", {"msg": "the cause"}, "Upgrade", "t")
        record.unreachable("m2", {"msg": "no route"}, "Copy", "t")
        for name in ("m1", "m2"):
            record.step(name, "End", "t")
            record.failed(name, {"msg": "the rollout ends"}, "End", "t")
        got = [(entry["step"], entry["message"]) for entry in record.document()["modules"]]
        self.assertEqual(got, [("Upgrade", "the cause"), ("Copy", "no route")])

    def test_outcome_of_each_result(self):
        for result, outcome in (
            (run(), "updated"),
            (run(changed=False), "unchanged"),
            (run(outcome="predicted"), "predicted"),
        ):
            record = begun("m1")
            record.upgraded("m1", result, "t")
            self.assertEqual(outcomes(record), {"m1": outcome})
        record.unreachable("m1", {"msg": "no route"}, "Reach", "t")
        self.assertEqual(outcomes(record), {"m1": "unreachable"})

    def test_table_has_a_row_for_each_chip(self):
        rows = rollout.table(self.stopped().document())
        self.assertEqual([row[0] for row in rows], ["module", *NAMES])
        self.assertEqual(rows[1][4:9], ["HX-8", "1.0.5", 9.5, "", "MAIN"])
        self.assertEqual({len(row) for row in rows}, {len(rows[0])})

    def test_writing_takes_a_twentieth_of_the_time(self):
        pace = rollout.Pace()
        self.assertTrue(pace.allows(100.0))
        pace.written(100.0, 101.0)
        self.assertFalse(pace.allows(119.9))
        self.assertTrue(pace.allows(120.0))


if __name__ == "__main__":
    unittest.main()
