# SPDX-License-Identifier: Apache-2.0
"""What check mode predicts."""

import unittest

from ansible_collections.upgrade_agent.fleet.plugins.module_utils import forecast


def entry(name, chip_type, version, quantity=1):
    return {"chip": name, "chip_type": chip_type, "chip_quantity": quantity, "version": version}


def known(*versions):
    return [
        {"name": "", "chip_type": number, "chip_index": 0, "version": version}
        for number, version in enumerate(versions)
    ]


ENTRIES = [entry("MAIN", 0, "1.10.0"), entry("AUX 1", 1, "1.0.3", quantity=2)]


class FromVersions(unittest.TestCase):
    def decisions(self, entries, rows, mode, versions):
        chips = forecast.from_versions(entries, rows, mode, versions)
        return [(chip["name"], chip["chip_index"], chip["decision"]) for chip in chips]

    def test_decisions(self):
        for version, mode, decision in (
            ("1.9.9", 2, "would-write"),
            ("1.10.0", 2, "up-to-date"),
            ("1.10", 2, "up-to-date"),
            ("2.0.0", 2, "package-older"),
            ("", 2, "unknown"),
            ("x", 2, "unknown"),
            ("2.0.0", 5, "would-write"),
        ):
            got = self.decisions(ENTRIES[:1], [], mode, known(version))
            self.assertEqual(got, [("MAIN", 0, decision)], version)

    def test_every_chip_of_the_package(self):
        got = self.decisions(ENTRIES, [], 2, known("1.0.0", "1.0.3"))
        self.assertEqual(
            got, [("MAIN", 0, "would-write"), ("AUX 1", 0, "up-to-date"), ("AUX 1", 1, "unknown")]
        )

    def test_rows(self):
        got = self.decisions(ENTRIES, ["AUX 1,1,1", "MAIN"], 2, known("1.0.0"))
        self.assertEqual(got, [("AUX 1", 1, "unknown"), ("MAIN", 0, "would-write")])

    def test_several_images_of_one_type(self):
        entries = [entry("MAIN", 0, "1.2.0"), entry("MAIN", 0, "1.4.0")]
        for version, decision in (("1.1.0", "would-write"), ("1.3.0", "unknown")):
            got = self.decisions(entries, [], 2, known(version))
            self.assertEqual(got, [("MAIN", 0, decision)])

    def test_what_is_not_known_may_change(self):
        for version, writes in (("1.0.0", True), ("", True), ("1.10.0", False)):
            chips = forecast.from_versions(ENTRIES[:1], [], 2, known(version))
            self.assertEqual(forecast.writes(chips), writes)

    def test_summary(self):
        for versions, text in (
            (
                ("1.0.0", "1.0.3"),
                "1 of 3 chips would be written, and the versions of 1 are not known.",
            ),
            ((), "0 of 3 chips would be written, and the versions of 3 are not known."),
        ):
            chips = forecast.from_versions(ENTRIES, [], 2, known(*versions))
            self.assertEqual(forecast.summary(chips), text)


class FromPlan(unittest.TestCase):
    def test_rows_of_fwm_plan(self):
        rows: list[tuple[str, str, dict]] = [
            ("MAIN,0,0,1,1,65,1,1,9", "updated", {"image": {"version": "1.2.0"}}),
            ("AUX,1,0,2,1,65,1,0,3", "up-to-date", {}),
            ("KEY,2,0,,,,,,", "failed", {}),
        ]
        document = {
            "rows": [
                {"row": row, "name": row.split(",")[0], "result": result, **more}
                for row, result, more in rows
            ]
        }
        chips = forecast.from_plan(document)
        self.assertEqual(
            [(chip["decision"], chip["version_before"], chip["version_after"]) for chip in chips],
            [
                ("would-write", "1.1.9", "1.2.0"),
                ("up-to-date", "1.0.3", "1.0.3"),
                ("failed", "", ""),
            ],
        )


class Packages(unittest.TestCase):
    def test_model_and_version_in_both_forms(self):
        want: dict = {"model": "HX-8", "version": "1.0.5"}
        listed = {"package": {**want, "images": ENTRIES}}
        self.assertEqual(forecast.package_of(listed), want)
        self.assertEqual(forecast.entries_of(listed), ENTRIES)
        file = {"model": "HX-8", "release": "1.0.5", "list": ENTRIES}
        self.assertEqual(forecast.package_of(file), want)
        self.assertEqual(forecast.entries_of(file), ENTRIES)


if __name__ == "__main__":
    unittest.main()
