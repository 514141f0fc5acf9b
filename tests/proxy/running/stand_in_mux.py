"""A stand-in for the Mux that speaks its client protocol: events at any rate, an ACK to each request."""
import json
import socket
import struct
import threading
import time


class StandInMux:
    """One connection at a time: that of the proxy."""

    def __init__(self, port):
        self.server = socket.create_server(("127.0.0.1", port))
        self.connection = None
        self.is_ended = False
        self.sent = 0
        self.asked = 0
        self.lock = threading.Lock()
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while not self.is_ended:
            try:
                self.connection, _ = self.server.accept()
            except OSError:
                return
            self._read(self.connection)

    def _read(self, connection):
        received = b""
        while chunk := connection.recv(65536):
            received += chunk
            while len(received) >= 2 and len(received) >= (length := struct.unpack("<H", received[:2])[0]):
                self._answer(json.loads(received[6:length]))
                received = received[length:]

    def _answer(self, request):
        self.asked += 1
        self._send({"MessageID": request["MessageID"], "MessageCode": 0, "Data": {"Success": True, "ErrorCode": 0}})

    def _send(self, message):
        with self.lock:
            self.connection.sendall(json.dumps({"Timestamp": int(time.time()), **message}).encode())

    def raise_events(self, rate, seconds, locks):
        """So many cards a second, at the locks in turn, evenly over each tenth of a second."""
        begun = time.monotonic()
        while (elapsed := time.monotonic() - begun) < seconds:
            while self.sent < rate * elapsed:
                self._send({"MessageID": f"lockEventMessage-{int(time.time())}", "MessageCode": 51,
                            "Data": {"gatewayID": 1, "lockID": locks[self.sent % len(locks)],
                                     "timestamp": time.strftime("%H:%M:%S %d-%m-%Y"),
                                     "RFIDData": f"04{self.sent % 0x1000000:06X}"}})
                self.sent += 1
            time.sleep(0.02)

    def close(self):
        self.is_ended = True
        self.server.close()
        if self.connection is not None:
            self.connection.close()
