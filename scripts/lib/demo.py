#!/usr/bin/env python3
"""The steps of scripts/demo: python3 scripts/lib/demo.py BUILD_FOLDER.

Starts the gateway simulator and the Mux from the build folder, plays two clients and checks every answer.
"""
import json
import pathlib
import signal
import subprocess
import sys
import tempfile
import time

from programs import Client, PlayError, Program, free_port

LOCK = 5
CARD = "04A1B2C3"


class Demo:
    def __init__(self):
        self.step_number = 0
        self.programs = []

    def start_program(self, *command):
        self.programs.append(Program(*command))
        return self.programs[-1]

    def start_site(self, build, folder):
        """Starts the simulator and the Mux; returns the ports of both."""
        self.simulator = self.start_program(build / "gateway-simulator", "--port", "0", "--locks", str(LOCK))
        self.simulator.wait_for("Listening on 127.0.0.1:")
        gateway_port = int(self.simulator.lines_with("Listening on")[0].rsplit(":", 1)[1])
        configuration = {"Enabled": True, "Gateways": [
            {"ID": 1, "Description": "Hall", "IpAddress": "127.0.0.1", "Port": gateway_port,
             "Devices": [{"Name": "Front door", "ID": LOCK}]}]}
        config_file = folder / "mux.json"
        config_file.write_text(json.dumps(configuration))
        port = free_port()
        self.mux = self.start_program(build / "dw-hal-mux-brenk", "--port", f"--port={port}", "--configFile",
                                      str(config_file), "--logFile", str(folder / "mux.log"), "--debug")
        return gateway_port, port

    def start(self, build, folder):
        gateway_port, port = self.start_site(build, folder)
        self.clients = [Client(port), Client(port)]
        print(f"The gateway simulator plays gateway 1 with lock {LOCK} on port {gateway_port}, "
              f"the Mux listens on port {port}, two clients are connected.")
        self.wait_for_quiet_gateway()

    def wait_for_quiet_gateway(self):
        """The Mux first asks the gateway twice for its sequence counter; a request in between would share its IDs."""
        self.mux.wait_for("to state READY")
        self.mux.wait_for("Received new sequence number.", 2)
        print("The gateway is READY.")

    def heading(self, text):
        self.step_number += 1
        print(f"\n{self.step_number}. {text}")

    def request(self, what, code, expected_code, expected_data, **data):
        self.heading(what)
        message_id = f"demo-{self.step_number}"
        text = json.dumps({"Timestamp": int(time.time()), "MessageID": message_id, "MessageCode": code, "Data": data},
                          separators=(",", ":"))
        print(f"   client -> Mux   {text}")
        self.clients[0].send(text)
        answer_text, answer = self.clients[0].receive()
        print(f"   client <- Mux   {answer_text}")
        wanted = (message_id, expected_code, expected_data)
        got = (answer.get("MessageID"), answer.get("MessageCode"), answer.get("Data"))
        if got != wanted:
            raise PlayError(f"{what}: expected {wanted}, got {got}")

    def present_card(self):
        self.heading(f"Present card {CARD} at the reader of lock {LOCK}: both clients are told")
        self.simulator.command(f"card {LOCK} {CARD}")
        events = []
        for number, client in enumerate(self.clients, 1):
            text, event = client.receive()
            print(f"   client {number} <- Mux {text}")
            events.append(event)
        data = events[0].get("Data", {})
        if events[0] != events[1] or events[0].get("MessageCode") != 51 or data.get("RFIDData") != CARD:
            raise PlayError(f"Card event: not the same event with the card at both clients: {events}")

    def run(self):
        lock = {"gatewayID": 1, "lockID": LOCK}
        success = {"Success": True, "ErrorCode": 0}
        status = {"BatteryStatus": 3, "QoS": 3, "MechanicalActive": False, "BatteryWarningLevel": False,
                  "BatteryAlarmLevel": False, "ScandinavianFireMode": False, "ReaderConnected": False}
        self.request("Read the status of the lock", 12, 0, status, **lock)
        self.request("Open the lock", 10, 0, success, **lock)
        self.request("Close the lock", 11, 0, success, **lock)
        self.request("Open the lock and close it again after 5", 13, 0, {}, **lock, duration=5)
        self.request(f"Add card {CARD} to the whitelist of the lock", 21, 0, {}, **lock, setupNumber=0, options=1,
                     cardData=CARD, isUIDCard=True)
        self.present_card()
        self.request("Answer the event: open the lock and close it again after 5", 113, 0, {}, **lock, duration=5)
        self.request("Ask for a gateway that is not configured: refused", 10, 1,
                     {"ErrorCode": 0, "Message": "Error in request"}, gatewayID=9, lockID=LOCK)
        self.stop()
        print("\nThe Mux and the simulator are stopped. All steps are as they should be.")

    def stop(self):
        self.mux.stop(signal.SIGQUIT, 0)
        self.simulator.stop(signal.SIGTERM, 0)

    def kill(self):
        for program in self.programs:
            program.kill()


def play(demo, build):
    """Plays a demo; returns the exit status."""
    with tempfile.TemporaryDirectory(prefix="mux-demo-") as folder:
        try:
            demo.start(build, pathlib.Path(folder))
            demo.run()
        except (PlayError, OSError, subprocess.SubprocessError) as error:
            print(f"\ndemo failed: {error}", file=sys.stderr)
            return 1
        finally:
            demo.kill()
    return 0


if __name__ == "__main__":
    sys.exit(play(Demo(), pathlib.Path(sys.argv[1]).resolve()))
