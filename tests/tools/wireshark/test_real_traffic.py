"""What the running Mux, a simulated gateway and a client say to each other, as tshark shows it."""
import json
import os
import pathlib
import sys
import unittest

from capture import Capture
from dissection import DissectorTest, main
from frames import message
from recording import Recorder, Relay

sys.path.append(str(pathlib.Path(__file__).resolve().parents[3] / "scripts" / "lib"))
from programs import Client, Program, free_port

CLIENT_PORT, GATEWAY_PORT = 5555, 2101
LOCK = {"gatewayID": 1, "lockID": 5}
FIELDS = [
    "frame.number", "frame.protocols", "_ws.expert.message",
    "mux.code", "mux.message_id", "mux.success", "mux.rfid_data", "mux.response_in", "mux.response_time",
    "brenk.command", "brenk.device_address", "brenk.response.code", "brenk.event.rfid", "brenk.crc.status",
    "brenk.response_in", "brenk.response_time",
]


class RealTraffic(DissectorTest):
    """A client opens a lock, then a card is presented at its reader."""

    def start(self, *command):
        program = Program(*command)
        self.addCleanup(self.end, program)
        return program

    @staticmethod
    def end(program):
        program.kill()
        program.reader.join()
        program.process.stdin.close()
        program.process.stdout.close()

    def relay(self, recorder, target_port, shown_port):
        relay = Relay(recorder, target_port, shown_port)
        self.addCleanup(relay.close)
        return relay

    def start_gateway(self, recorder):
        simulator = self.start(os.environ["SIMULATOR_PROGRAM"], "--port", "0", "--locks", "5")
        simulator.wait_for("Listening on 127.0.0.1:")
        port = int(simulator.lines_with("Listening on")[0].rsplit(":", 1)[1])
        return simulator, self.relay(recorder, port, GATEWAY_PORT)

    # The Mux first asks the gateway twice for its sequence counter; a request in between would share its IDs.
    def start_mux(self, recorder, gateway_port):
        gateway = {"ID": 1, "Description": "Hall", "IpAddress": "127.0.0.1", "Port": gateway_port, "Devices": []}
        configuration = self.folder / "mux.json"
        configuration.write_text(json.dumps({"Enabled": True, "Gateways": [gateway]}))
        port = free_port()
        mux = self.start(os.environ["MUX_PROGRAM"], "--port", f"--port={port}", "--configFile", str(configuration),
                         "--logFile", str(self.folder / "mux.log"), "--debug")
        mux.wait_for("to state READY")
        mux.wait_for("Received new sequence number.", 2)
        return self.relay(recorder, port, CLIENT_PORT)

    def play(self, capture):
        recorder = Recorder(capture)
        simulator, gateway_relay = self.start_gateway(recorder)
        client_relay = self.start_mux(recorder, gateway_relay.port)
        client = Client(client_relay.port)
        self.addCleanup(client.close)
        client.send(message(10, "open", LOCK))
        self.assertEqual(client.receive()[1]["MessageCode"], 0)
        simulator.command("card 5 04A1B2C3")
        self.assertEqual(client.receive()[1]["MessageCode"], 51)

    def packets(self):
        """The packets with a message or a frame, by their number."""
        capture = Capture()
        self.play(capture)
        rows = self.rows(capture, FIELDS)
        self.assertEqual([row for row in rows if not {"mux", "brenk"} & set(row["frame.protocols"].split(":"))], [])
        self.assertEqual({row["_ws.expert.message"] for row in rows}, {""})
        return {row["frame.number"]: row for row in rows}

    def the_one(self, packets, **values):
        found = [row for row in packets.values()
                 if all(row[name.replace("__", ".")] == value for name, value in values.items())]
        self.assertEqual(len(found), 1, f"{values} in {packets}")
        return found[0]

    def assert_between(self, seconds, highest):
        self.assertGreaterEqual(float(seconds), 0)
        self.assertLess(float(seconds), highest)

    def test_a_request_is_shown_with_its_answer_on_both_sides_and_an_event_where_it_came_from(self):
        packets = self.packets()
        request = self.the_one(packets, mux__code="10", mux__message_id="open")
        answer = packets[request["mux.response_in"]]
        self.assertEqual((answer["mux.message_id"], answer["mux.success"]), ("open", "1"))
        frame = self.the_one(packets, brenk__command="0x0a", brenk__device_address="5")
        result = packets[frame["brenk.response_in"]]
        self.assertEqual((result["brenk.command"], result["brenk.response.code"]), ("0x00", "0"))
        self.assert_between(result["brenk.response_time"], float(answer["mux.response_time"]))
        self.the_one(packets, brenk__event__rfid="04a1b2c3")
        self.the_one(packets, mux__code="51", mux__rfid_data="04A1B2C3")
        self.assertEqual({row["brenk.crc.status"] for row in packets.values() if row["brenk.command"]}, {"1"})


if __name__ == "__main__":
    main()
