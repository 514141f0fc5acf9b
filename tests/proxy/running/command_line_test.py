"""The program's help, its manual and what bash offers name the same options."""
import re
import subprocess
import unittest

from proxy_site import PROGRAMS, ROOT

COMMANDS = ("rights", "user", "audit")


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def options_of(*command):
    found = re.findall(r"^ +(?:-h,)?(--[a-z]+)", output(PROGRAMS / "mux-proxy", *command, "--help"), re.MULTILINE)
    return set(found)


def offers(*words):
    script = (f"source {ROOT}/packaging/completion/mux-proxy; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _mux_proxy; "
              "printf '%s\\n' \"${COMPREPLY[@]}\"")
    return set(output("bash", "-c", script, "bash", "mux-proxy", *words).split())


class CommandLine(unittest.TestCase):
    def test_bash_offers_the_options_of_each_command(self):
        self.assertEqual(offers(""), options_of() | set(COMMANDS))
        for command in COMMANDS:
            self.assertEqual(offers(command, ""), options_of(command) | {"--config"}, command)
        self.assertEqual(offers("audit", "--lock", "5", "--c"), {"--config", "--client", "--csv"})
        self.assertEqual(offers("audit", "--kind", "e"), {"event"})

    def test_the_manual_names_every_option(self):
        manual = (ROOT / "packaging" / "man" / "mux-proxy.8").read_text()
        for option in options_of().union(*map(options_of, COMMANDS)):
            self.assertRegex(manual, rf"Fl {option[1:]}\b", option)

    def test_reads_the_examples_of_its_package(self):
        for file, client, rights in (("proxy.json", "reception", "open, .*events"),
                                     ("proxy-mqtt.json", "centre", "open, close, open-close, status")):
            example = ROOT / "packaging" / "proxy" / "examples" / file
            found = output(PROGRAMS / "mux-proxy", "rights", "--config", example, "--client", client)
            self.assertRegex(found, f"^gateways all, locks all: {rights}\n$")


if __name__ == "__main__":
    unittest.main()
