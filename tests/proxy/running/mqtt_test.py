"""The site on a real broker: what it tells, what it is asked, and what becomes of both when parts of it fail."""
import base64
import json
import signal
import subprocess
import time
import unittest

import jsonschema

from proxy_site import NOT_ALLOWED, NOT_VALID, OPEN, PROGRAMS, ROOT, STATUS, Site, result, wait_until

from brokers import EXAMPLES, PREFIX, Broker, BrokerClient

SITE = "hall"
NOT_FRESH, NOT_SIGNED = -7, -8
LOCK = f"{PREFIX}/{SITE}/gateway/1/lock/5"


def schema(name):
    return jsonschema.Draft4Validator(json.loads((ROOT / "docs" / "schema" / f"mqtt-{name}.schema.json").read_text()))


SCHEMAS = {name: schema(name) for name in ("event", "result", "state", "reply", "command", "signed-command")}


def violations(name, payload):
    return [f"{name}: {error.message}: {payload}" for error in SCHEMAS[name].iter_errors(json.loads(payload))]


class ReadingClient(BrokerClient):
    """Checks what sites publish by its schema."""

    def __init__(self, *arguments):
        self.violations, self.checked = [], set()
        super().__init__(*arguments)

    def take(self, message):
        name = "reply" if "/reply/" in message.topic else message.topic.split("/")[-1]
        if name in SCHEMAS:
            self.checked.add(name)
            self.violations += violations(name, message.payload)
        super().take(message)


class BrokerSite(Site):
    """`reception` and `guest` ask by the broker, and read everything there."""

    clients = ("reception", "guest", "visitor", SITE)
    settings = {}
    further_access = ""

    def setUp(self):
        self.broker = None
        super().setUp()

    def configuration(self):
        own = self.authority / "clients" / SITE
        return {**super().configuration(), "Mqtt": {
            "Host": "localhost", "Port": self.broker.port, "Authority": str(self.authority / "authority.crt"),
            "Certificate": f"{own}.crt", "Key": f"{own}.key", "Site": SITE, **self.settings}}

    def start_proxy(self, **changes):
        if self.broker is None:
            self.broker = Broker(self.folder, self.authority, ["reception", "guest"], self.further_access)
            self.addCleanup(lambda: self.broker.kill())
            self.centre = self.broker_client("reception", f"{PREFIX}/#")
        before = len(self.centre.of_topic("/status"))
        super().start_proxy(**changes)
        wait_until(lambda: "online" in self.centre.of_topic("/status")[before:], "the site online", 60)

    def broker_client(self, name, *topics):
        client = ReadingClient(self.broker, self.authority, name, *topics)
        self.addCleanup(lambda: self.assertEqual(client.violations, []))
        self.addCleanup(client.kill)
        return client

    def command(self, name="reception", lock=5, iat=None, options=(), response_topic=None, correlation=None, **claims):
        client = self.centre if name == "reception" else self.broker_client(name)
        claims = {"iat": time.time() if iat is None else iat, **claims}
        self.assertTrue(client.publish(
            f"{PREFIX}/{SITE}/gateway/1/lock/{lock}/command/{name}",
            json.dumps({key: value for key, value in claims.items() if value != "none"}), *options,
            response_topic=response_topic, correlation=correlation))

    def answers(self, count=1, name="reception"):
        return [json.loads(payload) for payload in self.centre.wait_for(f"/reply/{name}", count)]

    def events(self, count):
        return [json.loads(payload) for payload in self.centre.wait_for("/event", count)]

    def results(self, count=1):
        return [json.loads(payload) for payload in self.centre.wait_for("/result", count)]

    def assert_refused(self, code, count=1, name="reception"):
        """The last answer, and that nothing moved."""
        answer = self.answers(count, name)[-1]
        self.assertEqual(answer["errorCode"], code, answer)
        self.assertEqual(self.opened(), 0)
        return answer


class ToldToTheBroker(BrokerSite):
    def test_a_card_is_an_event_of_its_lock(self):
        self.simulator.command("card 5 04A1B2C3")
        event = self.events(1)[0]
        self.assertEqual({key: event[key] for key in ("event_type", "card")}, {"event_type": "card", "card": "*B2C3"})
        self.assertAlmostEqual(event["time"] / 1000, time.time(), delta=30)
        self.assertEqual(self.centre.of_topic(f"{LOCK}/event"), [json.dumps(event, separators=(",", ":"))])

    def test_whole_cards_are_told_if_the_file_says_so(self):
        changes = self.configuration()
        self.restart_proxy(Audit={**changes["Audit"], "WholeCards": True}, Mqtt={**changes["Mqtt"], "WholeCards": True})
        self.simulator.command("card 5 04A1B2C3")
        self.assertEqual(self.events(1)[0]["card"], "04A1B2C3")

    def test_pins_never_leave(self):
        self.simulator.command("pin 5 31415926")
        self.assertEqual(self.events(1)[0]["event_type"], "pin")
        self.simulator.command("card 5 04A1B2C3")
        self.events(2)
        self.assertNotIn("3141", "".join(message.payload for message in self.centre.messages))
        self.assertNotIn("33313431", "".join(message.payload for message in self.centre.messages))

    def test_what_clients_of_the_tls_port_do_is_told_too(self):
        self.assertEqual(result(self.client().ask(OPEN)), 0)
        self.assertEqual(result(self.client("guest").ask(OPEN)), NOT_ALLOWED)
        told = [(row["client"], row["operation"], row["result"], row["errorCode"]) for row in self.results(2)]
        self.assertEqual(sorted(told), [("guest", "open", "not-allowed", -1), ("reception", "open", "ack", 0)])

    def test_the_state_is_kept_by_the_broker(self):
        self.simulator.command("battery 5 2 1")
        self.assertEqual(result(self.client("guest").ask(STATUS)), 0)
        self.centre.wait_for(f"{LOCK}/state")
        later = self.broker_client("guest", f"{LOCK}/state")
        state = json.loads(later.wait_for("/state")[0])
        self.assertEqual(later.checked, {"state"})
        self.assertTrue(later.messages[0].is_retained)
        self.assertEqual((state["battery_warning"], state["battery_alarm"]), (False, False), state)

    def test_the_broker_says_when_the_site_is_away(self):
        self.proxy.stop(signal.SIGTERM, 0)
        wait_until(lambda: self.centre.of_topic("/status")[-1] == "offline", "offline after the end")
        self.start_proxy()
        self.proxy.process.kill()
        wait_until(lambda: self.centre.of_topic("/status")[-1] == "offline", "offline after a crash")


class AskedByTheBroker(BrokerSite):
    def test_a_command_opens_the_door_and_is_answered(self):
        self.command(operation="open", response_topic=f"{PREFIX}/{SITE}/reply/reception/desk", correlation="17")
        self.centre.wait_for("/reply/reception/desk")
        message = next(message for message in self.centre.messages if "/reply/" in message.topic)
        answer = json.loads(message.payload)
        self.assertEqual((message.correlation, answer["result"], answer["operation"], answer["lock"]),
                         ("17", "ack", "open", 5))
        self.assertEqual(self.opened(), 1)
        row = next(row for row in self.wait_for_rows(1, "--kind", "request"))
        self.assertEqual((row["client"], row["address"], row["operation"], row["result"]),
                         ("reception", "mqtt", "open", "ack"))

    def test_a_status_comes_with_its_answer(self):
        self.command(operation="status")
        self.assertEqual(self.answers()[0]["result"], "ack")
        self.assertIn("status", self.answers()[0])

    def test_a_gateways_refusal_is_that_of_the_tls_port(self):
        self.command(operation="open", lock=99)
        answer = self.answers()[0]
        self.assertEqual((answer["result"], answer["errorCode"]), ("nack", result(self.client().ask(OPEN, lock=99))))

    def test_who_asks_has_the_rights_of_its_name(self):
        self.command("guest", operation="open")
        self.assert_refused(NOT_ALLOWED, name="guest")

    def test_who_may_read_nothing_else_reads_its_answers(self):
        visitor = self.broker_client("visitor", f"{PREFIX}/#")
        self.command("visitor", operation="open")
        self.assert_refused(NOT_ALLOWED, name="visitor")
        visitor.wait_for("/reply/visitor")
        self.assertEqual({message.topic for message in visitor.messages}, {f"{PREFIX}/{SITE}/reply/visitor"})

    def test_nobody_asks_under_anothers_name(self):
        guest = self.broker_client("guest")
        guest.publish(f"{LOCK}/command/reception", json.dumps({"operation": "open", "iat": time.time()}))
        self.command("guest", operation="open")
        self.assert_refused(NOT_ALLOWED, name="guest")
        self.assertEqual(self.centre.of_topic("/reply/reception"), [])

    def test_what_is_not_fresh_is_refused(self):
        for count, claims in enumerate(({"iat": "none"}, {"iat": time.time() - 31}, {"iat": time.time() + 40}), 1):
            self.command(operation="open", **claims)
            self.assert_refused(NOT_FRESH, count)
        self.command(operation="open", options=["-r"])
        self.assert_refused(NOT_FRESH, 4)
        rows = self.wait_for_rows(4, "--client", "reception", "--kind", "request")
        self.assertEqual({(row["result"], row["errorCode"]) for row in rows}, {("not-fresh", NOT_FRESH)})

    def test_a_retained_command_opens_nothing_when_the_site_comes_back(self):
        self.proxy.stop(signal.SIGTERM, 0)
        self.command(operation="open", options=["-r"])
        self.start_proxy()
        self.assert_refused(NOT_FRESH)

    def test_what_was_asked_while_the_site_was_away_is_not_done(self):
        self.proxy.stop(signal.SIGTERM, 0)
        self.command(operation="open")
        self.start_proxy()
        self.command(operation="status")
        self.assertEqual([answer["operation"] for answer in self.answers()], ["status"])
        self.assertEqual(self.opened(), 0)

    def test_what_is_none_of_a_command_is_not_valid(self):
        for count, claims in enumerate(({"operation": "explode"}, {}, {"operation": "open-close", "duration": "x"}), 1):
            self.command(**claims)
            self.assert_refused(NOT_VALID, count)

    def test_an_answer_goes_nowhere_else(self):
        self.command(operation="open", response_topic=f"{LOCK}/command/reception")
        self.assert_refused(NOT_VALID)
        self.assertEqual(len(self.centre.of_topic("/command/reception")), 1)


class PartsThatFail(BrokerSite):
    def test_events_wait_for_the_broker_and_come_in_order(self):
        self.simulator.command("card 5 04A10000")
        self.events(1)
        self.broker.save_sessions()
        self.broker.program.process.kill()
        self.broker.program.process.wait()
        for number in range(1, 4):
            self.simulator.command(f"card 5 04A1000{number}")
        wait_until(lambda: len(self.audit("--kind", "event")) == 4, "four events in the audit", 60)
        self.proxy.process.kill()
        self.broker.start()
        self.start_proxy()
        wait_until(lambda: len({event["id"] for event in self.events(4)}) == 4, "all events at the centre", 60)
        cards = list(dict.fromkeys(event["card"] for event in self.events(4)))
        self.assertEqual(cards, ["*0000", "*0001", "*0002", "*0003"])

    def test_a_broker_that_is_halted_delays_no_client(self):
        self.broker.program.process.send_signal(signal.SIGSTOP)
        started = time.monotonic()
        for _ in range(3):
            self.assertEqual(result(self.client().ask(OPEN)), 0)
        self.assertLess(time.monotonic() - started, 20)
        self.broker.program.process.send_signal(signal.SIGCONT)
        self.assertEqual(len(self.results(3)), 3)

    def test_a_broker_that_refuses_the_site_is_told_of(self):
        self.restart_proxy_without_wait(Mqtt={**self.configuration()["Mqtt"], "Certificate": "", "Key": ""})

    def restart_proxy_without_wait(self, **changes):
        self.proxy.stop(signal.SIGTERM, 0)
        changes["Mqtt"] = {key: value for key, value in changes["Mqtt"].items() if value}
        Site.start_proxy(self, **changes)
        self.proxy.wait_for("broker")
        self.assertEqual(result(self.client().ask(OPEN)), 0)


class SignedCommands(BrokerSite):
    def start_proxy(self, **changes):
        if self.broker is None:
            done = subprocess.run([PROGRAMS / "muxctl", "new-key", self.folder / "key.json", "--kid", "reception"],
                                  check=True, stdout=subprocess.PIPE, text=True)
            (self.folder / "keys.json").write_text(json.dumps({"keys": [json.loads(done.stdout)]}))
            self.settings = {"CommandKeys": str(self.folder / "keys.json")}
        super().start_proxy(**changes)
        self.started = time.time()

    def signed(self, operation, lock=5, site=SITE):
        done = subprocess.run([PROGRAMS / "muxctl", "sign", operation, "--gateway", "1", "--lock", str(lock),
                               "--audience", site, "--signing-key", self.folder / "key.json"], check=True,
                              stdout=subprocess.PIPE, text=True)
        claims = base64.urlsafe_b64decode(done.stdout.split(".")[1] + "==")
        self.assertEqual([*violations("command", claims), *violations("signed-command", claims)], [])
        return done.stdout

    def send(self, printed, lock=5):
        """As the manual of muxctl does."""
        subprocess.run(["mosquitto_pub", *self.centre.options, "-l", "-t",
                        f"{PREFIX}/{SITE}/gateway/1/lock/{lock}/command/reception"], input=printed, text=True, check=True)

    def test_only_what_is_signed_opens_the_door(self):
        self.command(operation="open")
        self.assert_refused(NOT_SIGNED)

        def is_opened():
            count = len(self.answers())
            self.send(self.signed("open"))
            return self.answers(count + 1)[-1]["result"] == "ack"

        wait_until(is_opened, "a signed command done, which is refused right after the start")

    def test_a_replay_opens_nothing(self):
        wait_until(lambda: time.time() > self.started + 6, "an end of the time right after the start")
        token = self.signed("open")
        self.send(token)
        self.assertEqual(self.answers(1)[0]["result"], "ack")
        self.send(token)
        self.assertEqual(self.answers(2)[1]["errorCode"], NOT_SIGNED)
        self.assertEqual(self.opened(), 1)
        row = self.wait_for_rows(1, "--result", "not-signed")[0]
        self.assertEqual((row["client"], row["address"], row["errorCode"]), ("reception", "mqtt", NOT_SIGNED))

    def test_a_reload_takes_new_keys_but_does_not_do_without(self):
        self.write_configuration(Mqtt={key: value for key, value in self.configuration()["Mqtt"].items()
                                       if key != "CommandKeys"})
        self.reload()
        self.command(operation="open")
        self.assert_refused(NOT_SIGNED)
        other = subprocess.check_output([PROGRAMS / "muxctl", "new-key", self.folder / "other.json", "--kid", "guest"],
                                        text=True)
        (self.folder / "keys.json").write_text(f'{{"keys": [{other}]}}')
        self.reload(2)
        self.send(self.signed("open"))
        self.assert_refused(NOT_SIGNED, 2)

    def test_what_is_for_others_is_refused(self):
        self.send(self.signed("open", site="another"))
        self.assert_refused(NOT_SIGNED, 1)
        self.send(self.signed("open", lock=6))
        self.assert_refused(NOT_SIGNED, 2)


class FoundByHomeAssistant(BrokerSite):
    """With the lines at the end of the access list, which are comments there."""

    clients = (*BrokerSite.clients, "home-assistant")
    settings = {"Discovery": {}}
    further_access = (EXAMPLES / "mosquitto.acl").read_text().split("# With Home Assistant", 1)[1].split("\n#\n", 1)[1]
    further_access = further_access.replace("# ", "")

    def test_locks_are_found_and_take_commands(self):
        home = self.broker_client("home-assistant", "homeassistant/#")
        lock = json.loads(home.wait_for("/g1-l5-lock/config")[0])
        home.publish("homeassistant/status", "online")
        home.wait_for("/g1-l5-lock/config", 2)
        home.publish(lock["command_topic"], json.dumps({"operation": "open", "iat": time.time()}))
        self.assert_refused(NOT_ALLOWED, name="home-assistant")


if __name__ == "__main__":
    unittest.main()
