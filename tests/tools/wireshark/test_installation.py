"""The dissector's ports, the ways of loading it, and what its guide tells to type."""
import pathlib
import re
import shutil
import unittest

from capture import Capture
from dissection import DissectorTest, main
from frames import frame, message, packet

GUIDE = pathlib.Path(__file__).resolve().parents[3] / "docs" / "dissector.md"
PLUGINS = ".local/lib/wireshark/plugins"


class Ports(DissectorTest):
    """The TCP ports on which the protocols are looked for."""

    def setUp(self):
        super().setUp()
        self.capture = Capture()

    def protocols(self, clients, gateways, *arguments, script=None):
        """Which protocol is shown on each port of a client and of a gateway."""
        for port in clients:
            self.capture.connection(port).to_server(packet(message(10, "a1", {"gatewayID": 1, "lockID": 5})))
        for port in gateways:
            self.capture.connection(port).from_server(frame(0x00, b"\0"))
        options = {} if script is None else {"script": script}
        shown = self.tshark(self.capture, "-T", "fields", "-e", "frame.protocols", *arguments, **options)
        return [line.split(":")[4:5] for line in shown.splitlines()]

    def test_without_preferences_they_are_5555_and_2101(self):
        self.assertEqual(self.protocols([5555, 5556], [2101, 2102]), [["mux"], ["data"], ["brenk"], ["data"]])

    def test_a_preference_may_name_others_in_place_of_them(self):
        self.assertEqual(
            self.protocols([6000, 6011, 5555], [7001, 2101], "-o", "mux.ports:6000,6010-6019", "-o",
                           "brenk.ports:7000-7001"),
            [["mux"], ["mux"], ["data"], ["brenk"], ["data"]])

    def test_a_preference_may_name_none(self):
        self.assertEqual(self.protocols([5555], [2101], "-o", "mux.ports:", "-o", "brenk.ports:"), [["data"], ["data"]])

    def test_a_port_may_be_decoded_as_the_protocol_for_once(self):
        self.assertEqual(self.protocols([8001], [8002], "-d", "tcp.port==8001,mux", "-d", "tcp.port==8002,brenk"),
                         [["mux"], ["brenk"]])

    def test_it_can_be_copied_into_the_folder_for_plugins(self):
        plugins = self.folder / PLUGINS
        plugins.parent.mkdir(parents=True)
        shutil.copytree(self.folder / "dissector", plugins)
        self.assertEqual(self.protocols([5555], [2101], script="-n"), [["mux"], ["brenk"]])

    def test_it_can_be_loaded_from_the_folder_in_which_it_is(self):
        shutil.copytree(self.folder / "dissector", self.folder, dirs_exist_ok=True)
        self.assertEqual(self.protocols([5555], [2101], script="-Xlua_script:mux.lua"), [["mux"], ["brenk"]])


class Guide(DissectorTest):
    """docs/dissector.md"""

    def matches(self, display_filter):
        capture = Capture()
        client, gateway = capture.connection(5555), capture.connection(2101)
        client.to_server(packet(message(10, "open", {"gatewayID": 1, "lockID": 5})))
        gateway.to_server(frame(0x0A, bytes(4), reference=3))
        gateway.from_server(frame(0x00, b"\x08", reference=3)[:-1] + b"?")
        client.from_server(message(1, "open", {"ErrorCode": 0, "Message": ""}).encode())
        gateway.to_server(frame(0x05, reference=4))
        client.to_server(packet("{}"))
        client.to_server(packet("[]"))
        return [int(row["frame.number"]) for row in self.rows(capture, ["frame.number"], ["-Y", display_filter])]

    def blocks(self):
        """The indented blocks of the chapter about one request, each as its lines without indentation."""
        chapter = GUIDE.read_text().split("## What a request looks like")[1].split("## ")[0]
        paragraphs = [part.strip("\n").splitlines() for part in chapter.split("\n\n")]
        return [[line.strip() for line in part] for part in paragraphs if part and part[0].startswith("    ")]

    def times(self, packet_list):
        return [float(line.split()[1]) for line in packet_list]

    # The frames are those of docs/gateway-protocol.md and their likes.
    def the_request(self, times):
        capture = Capture()
        gateway, client = capture.connection(2101), capture.connection(5555)
        lock = {"gatewayID": 1, "lockID": 5}
        card = {**lock, "timestamp": "17:22:8 20-11-2026", "RFIDData": "04A1B2C3"}
        refresh = frame(0x01, reference=1, counter=1, address=256)
        counter = frame(0x00, bytes.fromhex("07 00 00 03 E8"), reference=1, counter=1, address=256)
        packets = [
            (gateway.to_server, refresh), (gateway.from_server, counter),
            (gateway.to_server, refresh), (gateway.from_server, counter),
            (client.to_server, packet(message(10, "open", lock))),
            (gateway.to_server, frame(0x0A, bytes(4), reference=3, counter=1001)),
            (gateway.from_server, frame(0x00, b"\0", reference=3, counter=1001)),
            (client.from_server, message(0, "open", {"Success": True, "ErrorCode": 0}, 1795195328).encode()),
            (gateway.from_server, frame(0x0E, bytes.fromhex("01 02 03 04 05 06 07 04 04 A1 B2 C3"), reference=0)),
            (client.from_server, message(51, "lockEventMessage-1795195328", card, 1795195328).encode()),
        ]
        for (send, data), at in zip(packets, times, strict=True):
            send(data, at)
        return capture

    def test_a_request_looks_as_it_says(self):
        (command, *packet_list), *details = self.blocks()
        self.assertTrue(command.startswith("$ tshark -X lua_script:tools/wireshark/mux.lua -r "))
        capture = self.the_request(self.times(packet_list))
        shown = [" ".join(line.split()) for line in self.tshark(capture).splitlines()]
        self.assertEqual(shown, [" ".join(line.split()) for line in packet_list])

        shown = [line.strip() for line in self.tshark(capture, "-O", "mux,brenk").splitlines()]
        self.assertEqual(len(details), 3)
        for block in details:
            first = shown.index(block[0])
            whole = [line for line in block if line != "..."]
            self.assertEqual(shown[first:first + len(whole)], whole)

    def test_its_filters_find_what_it_says(self):
        rows = re.findall(r"^\| [^|]+ \| (`.*`) \|$", GUIDE.read_text().split("## Filters")[1], re.MULTILINE)
        filters = [text.replace("\\|", "|") for row in rows for text in re.findall("`([^`]+)`", row)]
        self.assertEqual([self.matches(each) for each in filters],
                         [[1, 4], [2, 3, 5], [5], [6, 7], [3, 4], [3, 4], [3], [7], [3, 7]])


if __name__ == "__main__":
    main()
