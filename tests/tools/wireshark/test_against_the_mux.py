"""What the dissector remarks, and what the running Mux makes of the same bytes."""
import concurrent.futures
import json
import os
import pathlib
import socket
import sys
import unittest

from capture import Capture
from dissection import DissectorTest, main
from frames import frame, message, packet

sys.path.append(str(pathlib.Path(__file__).resolve().parents[3] / "scripts" / "lib"))
from programs import Client, PlayError, Program, Silence, free_port

EXPERT = "_ws.expert.message"
ENDS, SILENT, ANSWERED = "ends the Mux", "is not answered", "is answered"
SILENCE_REMARKS = ("does not answer", "never answers", "ignores it")

LOCK = '"gatewayID":1,"lockID":5'
TEXTS = [
    "[]", "5", "null", '""', "", " ", "\0{}", "{", "{}", "{}\0x", '{"a":1e999}', '{"a":1e309}', '{"a":1e308}',
    '{"a":0.01e310}', '{"a":1e-999}', '{"a":1' + "0" * 308 + "}", '{"a":1' + "0" * 309 + "}", '{"a":"\\ud800"}',
    '{"Timestamp":9223372036854775807}', '{"Timestamp":9223372036854775808}', '{"Timestamp":1.5}',
    '{"Timestamp":"1.5"}', '{"Timestamp":-9223372036854775808}', '{"Timestamp":-9223372036854775809}',
    '{"MessageCode":2}', '{"MessageCode":2,"Data":[]}', '{"MessageCode":10.0}', '{"MessageCode":"10.0"}',
    '{"MessageCode":2147483647}', '{"MessageCode":2147483648}', '{"MessageCode":-2147483649}', '{"MessageCode":1e1}',
    '{"MessageCode":-0}', '{"MessageCode":3,"MessageCode":10.5}', '{"MessageCode":10}', '{"MessageCode":10,"Data":[]}',
    '{"MessageCode":10,"Data":{}}', '{"MessageCode":10,"Data":{"gatewayID":"1","lockID":null}}',
    '{"MessageCode":11,"Data":{"gatewayID":1}}', '{"MessageCode":12,"Data":{"lockID":5}}',
    '{"MessageCode":110,"Data":{"gatewayID":1,"lockID":5e0}}', '{"MessageCode":112,"Data":{}}',
    '{"MessageCode":13,"Data":{' + LOCK + "}}", '{"MessageCode":13,"Data":{' + LOCK + ',"duration":"x"}}',
    '{"MessageCode":113,"Data":{' + LOCK + ',"duration":-1}}',
    '{"MessageCode":113,"Data":{' + LOCK + ',"duration":4294967295}}',
    '{"MessageCode":113,"Data":{' + LOCK + ',"duration":4294967296}}', '{"MessageCode":21,"Data":{}}',
    '{"MessageCode":21,"Data":{"gatewayID":"1","lockID":1.5}}',
    '{"MessageCode":21,"Data":{"gatewayID":1,"lockID":1.5}}',
    '{"MessageCode":25,"Data":{"gatewayID":2147483648}}', '{"MessageCode":24,"Data":{"GatewayID":1,"lockID":5}}',
]

# What a gateway begins with; a frame of a card follows at once.
BEGINNINGS = {
    "nothing": b"",
    "a magic": bytes.fromhex("FE FD"),
    "a length of 16": bytes.fromhex("10 FE FD"),
    "other bytes": bytes.fromhex("AA BB CC"),
    "a frame of 17 bytes": bytes.fromhex("11 FE FD 0C 01 00 00 3F 00 00 00 01 00 00 00 05 02"),
    "a result of 17 bytes": bytes.fromhex("11 FE FD 0C 01 00 00 3F 00 00 00 01 00 00 00 05 00"),
    "a result of 18 bytes": bytes.fromhex("12 FE FD 0D 01 00 00 3F 00 00 00 01 00 00 00 05 00 03"),
    "a counter that goes on in the CRC": frame(0x00, bytes.fromhex("07 00 00"), reference=63),
    "a counter that ends behind the CRC": frame(0x00, bytes.fromhex("07 00"), reference=63),
    "a status that goes on in the CRC": frame(0x01, bytes(5), reference=63),
    "a status that ends behind the CRC": frame(0x01, bytes(4), reference=63),
    "a PIN that ends behind the CRC": frame(0x16, bytes.fromhex("01 02 03 04 05 06 07 03")),
    "an event without a payload": frame(0x11),
}
CARD = frame(0x0E, bytes.fromhex("01 02 03 04 05 06 07 01 AB"))
# Two frames together are taken up only when nothing has come for 11 seconds. Where the card is not to be heard, all of
# the deadline passes; where it is, a busy machine is given more.
SILENCE_DEADLINE = 20
HEARING_DEADLINE = 40


class AgainstTheMux(DissectorTest):
    """Runs the Mux without its dump tool: a crash is what many of these texts are for."""

    def start_mux(self, configuration):
        port = free_port()
        file = self.folder / f"{port}.json"
        file.write_text(json.dumps(configuration))
        mux = Program(os.environ["MUX_PROGRAM"], "--port", f"--port={port}", "--configFile", str(file), "--logFile",
                      str(self.folder / f"{port}.log"), "--debug", environment={**os.environ, "PATH": "/nonexistent"})
        self.addCleanup(self.end, mux)
        return mux, port

    @staticmethod
    def end(mux):
        mux.kill()
        mux.reader.join()
        mux.process.stdin.close()
        mux.process.stdout.close()


class Clients(AgainstTheMux):
    """Texts of clients."""

    def remarked(self):
        capture = Capture()
        for text in TEXTS:
            capture.connection(5555).to_server(packet(text))
        for row in self.rows(capture, [EXPERT]):
            remarks = row[EXPERT]
            silent = any(remark in remarks for remark in SILENCE_REMARKS)
            yield ENDS if "ends the Mux" in remarks else SILENT if silent else ANSWERED

    def made_of_it(self):
        mux = None
        for text in TEXTS:
            if mux is None or mux.process.poll() is not None:
                mux, port = self.start_mux({"Enabled": True, "Gateways": []})
                client = Client(port)
                self.addCleanup(client.close)
            yield self.made_of(text, mux, client)

    def made_of(self, text, mux, client):
        client.send(text)
        try:
            client.send(message(3, "behind it", {}))
            if client.receive()[1]["MessageID"] == "behind it":
                return SILENT
            self.assertEqual(client.receive()[1]["MessageID"], "behind it")
            return ANSWERED
        except (PlayError, OSError):  # the connection has ended, in one of several ways
            self.assertEqual(mux.process.wait(10), 255)
            return ENDS

    def test_each_text_is_what_its_remark_says(self):
        remarked, made_of_it = list(self.remarked()), list(self.made_of_it())
        self.assertEqual(list(zip(TEXTS, remarked)), list(zip(TEXTS, made_of_it)))
        self.assertEqual({ENDS, SILENT, ANSWERED}, set(remarked))


class Gateways(AgainstTheMux):
    """Bytes of gateways."""

    def hearing_remarked(self, beginning):
        capture = Capture()
        capture.connection(2101).from_server(beginning + CARD)
        return "the Mux reads nothing more of this gateway" not in self.rows(capture, [EXPERT])[0][EXPERT]

    def hears(self, beginning, deadline):
        """Whether the Mux still tells its client of the card."""
        with socket.create_server(("127.0.0.1", 0)) as listener:
            listener.settimeout(HEARING_DEADLINE)
            gateway = {"ID": 1, "IpAddress": "127.0.0.1", "Port": listener.getsockname()[1]}
            mux, port = self.start_mux({"Enabled": True, "Gateways": [gateway]})
            client = Client(port, deadline=deadline)
            connection, _ = listener.accept()
            mux.wait_for("Client with FD ")
            with connection:
                connection.sendall(beginning + CARD)
                try:
                    return client.receive()[1]["MessageCode"] == 51
                except Silence:
                    return False
                finally:
                    client.close()

    def test_behind_each_beginning_it_hears_what_the_remark_says(self):
        remarked = {name: self.hearing_remarked(beginning) for name, beginning in BEGINNINGS.items()}
        deadlines = [HEARING_DEADLINE if remark else SILENCE_DEADLINE for remark in remarked.values()]
        with concurrent.futures.ThreadPoolExecutor(len(BEGINNINGS)) as threads:
            heard = dict(zip(BEGINNINGS, threads.map(self.hears, BEGINNINGS.values(), deadlines)))
        self.assertEqual(remarked, heard)
        self.assertEqual({True, False}, set(heard.values()))


if __name__ == "__main__":
    main()
