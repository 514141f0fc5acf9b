"""The package as its users see it."""

import inspect
import os
import tomllib
import unittest

import support
import dwmux

PYTHON = support.ROOT / "python"


class PackageTest(unittest.TestCase):
    def test_its_version_is_that_of_the_mux(self):
        self.assertEqual(dwmux.__version__, os.environ["MUX_VERSION"])

    def test_its_project_file_names_what_is_there(self):
        project = tomllib.loads((PYTHON / "pyproject.toml").read_text())
        self.assertEqual(project["tool"]["setuptools"]["dynamic"]["version"]["attr"], "dwmux.__version__")
        for package, files in project["tool"]["setuptools"]["package-data"].items():
            for file in files:
                self.assertTrue((PYTHON / "src" / package / file).exists(), file)

    def test_everything_public_has_a_text_for_help(self):
        for name in dwmux.__all__:
            thing = getattr(dwmux, name)
            if name == "Happening":
                continue
            self.assertTrue(thing.__doc__ and not thing.__doc__.startswith(name + "("), name)
            for method_name, method in inspect.getmembers(thing, inspect.isfunction):
                if not method_name.startswith("_") and method.__module__.startswith("dwmux"):
                    self.assertTrue(method.__doc__, f"{name}.{method_name}")

    def test_both_clients_can_do_the_same(self):
        def signatures(client):
            return {name: str(inspect.signature(method)).split(" -> ")[0]
                    for name, method in inspect.getmembers(client, inspect.isfunction)
                    if not name.startswith("_") or name == "__init__"}

        self.assertEqual(signatures(dwmux.Client), signatures(dwmux.AsyncClient))


if __name__ == "__main__":
    unittest.main()
