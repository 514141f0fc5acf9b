"""Records what goes over TCP connections, without the privileges that capturing needs: as a relay between the two."""
import contextlib
import socket
import threading
import time


class Recorder:
    """Puts what its relays pass on into a capture, with the time at which it came."""

    def __init__(self, capture):
        self.capture = capture
        self.start = time.monotonic()
        self.lock = threading.Lock()

    def connection(self, port):
        with self.lock:
            return self.capture.connection(port)

    def record(self, add, data):
        with self.lock:
            add(data, at=time.monotonic() - self.start)


class Relay:
    """Listens on a free port and passes each connection on to `target_port`; a daemon thread for each direction.

    The capture shows the connections on `shown_port`.
    """

    def __init__(self, recorder, target_port, shown_port):
        self.recorder, self.target_port, self.shown_port = recorder, target_port, shown_port
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.port = self.listener.getsockname()[1]
        self.sockets = []
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        with contextlib.suppress(OSError):
            while True:
                near, _ = self.listener.accept()
                far = socket.create_connection(("127.0.0.1", self.target_port))
                self.sockets += [near, far]
                connection = self.recorder.connection(self.shown_port)
                for source, sink, add in ((near, far, connection.to_server), (far, near, connection.from_server)):
                    threading.Thread(target=self._pump, args=(source, sink, add), daemon=True).start()

    def _pump(self, source, sink, add):
        with contextlib.suppress(OSError):
            while data := source.recv(65536):
                self.recorder.record(add, data)
                sink.sendall(data)
            sink.shutdown(socket.SHUT_WR)

    def close(self):
        for each in [self.listener, *self.sockets]:
            with contextlib.suppress(OSError):
                each.shutdown(socket.SHUT_RDWR)
            each.close()
