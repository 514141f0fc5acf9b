"""The playbook of the examples: YAML whose tasks each call one module of Ansible's own, for what the package installs."""
import pathlib
import unittest

import yaml

ROOT = pathlib.Path(__file__).resolve().parents[2]
PLAYS = yaml.safe_load((ROOT / "packaging" / "proxy" / "examples" / "roll-out.yml").read_text())


class RollOut(unittest.TestCase):
    def setUp(self):
        self.play, = PLAYS
        self.tasks = [*self.play["tasks"], *self.play["handlers"]]

    def test_each_task_calls_one_module(self):
        for task in self.tasks:
            self.assertEqual(len([key for key in task if key.startswith("ansible.builtin.")]), 1, task)

    def test_what_is_notified_is_a_handler(self):
        notified = {task["notify"] for task in self.tasks if "notify" in task}
        self.assertEqual(notified, {handler["name"] for handler in self.play["handlers"]})

    def test_the_unit_is_that_of_the_package(self):
        unit = self.play["handlers"][0]["ansible.builtin.systemd"]["name"].split("@")[0]
        self.assertTrue((ROOT / "packaging" / "systemd" / f"{unit}@.service").exists(), unit)


if __name__ == "__main__":
    unittest.main()
