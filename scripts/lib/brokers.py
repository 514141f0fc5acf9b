"""A real broker with TLS and an access list, and clients of it, for tests and for scripts/fleet."""
import pathlib
import signal
import subprocess
import threading
import time
from typing import NamedTuple

from programs import Program, free_port, wait_until

PREFIX = "dw-hal-mux"

# What the package offers for the broker of a fleet.
EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "proxy" / "examples"


def settings(port, authority, access_list):
    """Those of the package, for this machine."""
    text = (EXAMPLES / "mosquitto.conf").read_text()
    for shipped, own in (("listener 8883\n", f"listener {port} 127.0.0.1\n"),
                         ("/etc/mosquitto/certs/", f"{authority}/"),
                         ("/etc/mosquitto/dw-hal-mux.acl\n", f"{access_list}\n")):
        assert shipped in text
        text = text.replace(shipped, own)
    return text


class Broker:
    """The one that the package's examples make; `readers` are those who may read everything."""

    def __init__(self, folder, authority, readers=(), further_access=""):
        self.port = free_port()
        self.file = folder / "mosquitto.conf"
        self.data = folder / "broker"
        self.data.mkdir()
        access_list = folder / "access.list"
        access_list.write_text((EXAMPLES / "mosquitto.acl").read_text() + further_access + "".join(
            f"user {name}\ntopic read #\ntopic read $SYS/#\n" for name in readers))
        self.file.write_text(settings(self.port, authority, access_list) + f"""
persistence true
persistence_location {self.data}/
sys_interval 5
user root
""")
        self.start()

    def start(self):
        self.program = Program("mosquitto", "-c", str(self.file), keep=1000)
        self.program.wait_for("running")

    def save_sessions(self):
        """So that a broker that is killed still knows who has subscribed."""
        saved = self.data / "mosquitto.db"
        saved.unlink(missing_ok=True)
        self.program.process.send_signal(signal.SIGUSR1)
        wait_until(saved.exists, "the broker's sessions on disk")

    def restart(self, pause):
        self.program.process.kill()
        self.program.process.wait()
        time.sleep(pause)
        self.start()

    def kill(self):
        self.program.kill()


class Message(NamedTuple):
    topic: str
    is_retained: bool
    correlation: str
    payload: str
    time: float


class BrokerClient:
    """A user of the broker, with a session that outlives its connection and that of the broker: what came to it."""

    def __init__(self, broker, authority, name, *topics):
        own = authority / "clients" / name
        self.name = name
        self.options = ["-V", "5", "-h", "localhost", "-p", str(broker.port), "--cafile",
                        str(authority / "authority.crt"), "--cert", f"{own}.crt", "--key", f"{own}.key"]
        self.messages = []
        wanted = [option for topic in topics for option in ("-t", topic)]
        # Told what it does, it says when it is subscribed: what others publish before does not come.
        self.command = ["stdbuf", "-oL", "mosquitto_sub", "-d", *self.options, "-i", f"{name}-reader", "-c", "-x",
                        "3600", "-q", "1", *wanted, "-F", "%t\t%r\t%D\t%p"]
        self.is_wanted = True
        self.is_subscribed = threading.Event()
        self.start()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()
        if topics:
            wait_until(self.is_subscribed.is_set, f"the subscription of {name}", 30.0)

    def start(self):
        self.subscriber = subprocess.Popen(self.command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True,
                                           bufsize=1)

    def _read(self):
        """It ends with its connection."""
        while True:
            for line in self.subscriber.stdout:
                self._take_line(line.rstrip("\n"))
            self.subscriber.stdout.close()
            self.subscriber.wait()
            time.sleep(0.1)
            if not self.is_wanted:
                return
            self.start()

    def _take_line(self, line):
        if line.startswith("Subscribed"):
            self.is_subscribed.set()
        elif "\t" in line:
            topic, retained, correlation, payload = line.split("\t", 3)
            self.take(Message(topic, retained == "1", correlation, payload, time.time()))

    def take(self, message):
        self.messages.append(message)

    def publish(self, topic, payload, *options, response_topic=None, correlation=None):
        """False if the broker did not take it."""
        properties = [("response-topic", response_topic), ("correlation-data", correlation)]
        words = [word for name, value in properties if value is not None for word in ("-D", "publish", name, value)]
        done = subprocess.run(["mosquitto_pub", *self.options, "-q", "1", "-t", topic, "-m", payload, *words, *options],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=30, check=False)
        return done.returncode == 0

    def of_topic(self, topic):
        """The payloads that came under a topic that ends so."""
        return [message.payload for message in list(self.messages) if message.topic.endswith(topic)]

    def wait_for(self, topic, count=1, deadline=30.0):
        wait_until(lambda: len(self.of_topic(topic)) >= count, f"{count} messages of {topic}", deadline)
        return self.of_topic(topic)

    def kill(self):
        self.is_wanted = False
        while self.reader.is_alive():
            self.subscriber.kill()
            self.reader.join(0.2)
