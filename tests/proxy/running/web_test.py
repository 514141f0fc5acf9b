"""The page's server: what it serves, who may log in, what is refused."""
import gzip
import json
import signal
import socket
import ssl
import threading
import time
import unittest

from proxy_site import NO_ANSWER, NOT_ALLOWED, STATUS, certificates, result, wait_until
from web_site import PASSWORD, PageSite

POLICY = ("default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
          "base-uri 'none'; form-action 'none'; frame-ancestors 'none'")


class Files(PageSite):
    def test_are_served_compressed_and_kept_by_the_browser(self):
        browser = self.browser()
        size = 0
        for path, kind in (("/", "text/html"), ("/page.js", "text/javascript"), ("/page.css", "text/css"),
                           ("/icon.svg", "image/svg+xml")):
            status, headers, body = browser.get(path)
            self.assertEqual((status, headers["Content-Encoding"]), (200, "gzip"), path)
            self.assertTrue(headers["Content-Type"].startswith(kind), headers["Content-Type"])
            self.assertGreater(len(gzip.decompress(body)), 0)
            size += len(body)
            status, again, body = browser.get(path, If_None_Match=headers["ETag"])
            self.assertEqual((status, body), (304, b""), path)
            self.assertEqual(again["ETag"], headers["ETag"])
        self.assertLess(size, 60_000)

    def test_load_and_run_nothing_else(self):
        browser = self.browser()
        for path in ("/", "/page.js", "/api/session", "/nothing"):
            _, headers, _ = browser.get(path)
            self.assertEqual(headers["Content-Security-Policy"], POLICY, path)
            self.assertEqual(headers["X-Content-Type-Options"], "nosniff", path)
            self.assertEqual(headers["Referrer-Policy"], "no-referrer", path)
        self.assertEqual(browser.get("/api/session")[1]["Cache-Control"], "no-store")
        page = gzip.decompress(browser.get("/")[2]).decode()
        self.assertNotIn("<script>", page)
        self.assertNotIn("style=", page)
        self.assertNotIn("http", page.replace("http-equiv", ""))

    def test_are_all_there_is(self):
        browser = self.browser()
        for path in ("/../proxy.json", "/%2e%2e/proxy.json", "/page.js/..", "//page.js", "/page.js%00", "/etc/passwd",
                     "/api", "/api/session/", "/API/session", "/%zz", "/%4", "/page.jsx"):
            status, _, answer = browser.get(path)
            self.assertIn((status, answer["error"]), ((404, "not-found"), (400, "not-valid")), path)
        self.assertEqual(browser.request("POST", "/page.js", {})[0], 405)
        self.assertEqual(browser.request("PUT", "/api/session", {})[0], 405)


class LogIn(PageSite):
    def test_with_a_password(self):
        browser = self.browser()
        status, _, answer = browser.get("/api/session")
        self.assertEqual((status, answer), (401, {"error": "no-session", "certificate": False, "passwords": True,
                                                  "title": "Hall"}))
        status, _, answer = browser.request("POST", "/api/session", {"user": "anna", "password": PASSWORD})
        self.assertEqual(status, 200)
        self.assertEqual({**answer, "token": ""}, {"user": "anna", "token": "", "title": "Hall", "auditor": True,
                                                   "by": "password"})
        self.assertEqual(browser.get("/api/session")[2], answer)
        wait_until(lambda: [row for row in self.audit("--client", "anna") if row["operation"] == "logged-in"], "its row")

    def test_with_a_certificate(self):
        browser = self.browser("reception")
        self.assertTrue(browser.get("/api/session")[2]["certificate"])
        status, answer = browser.log_in()
        self.assertEqual((status, answer["user"], answer["by"]), (200, "reception", "certificate"))
        self.assertEqual(browser.order(lock=7)[1]["result"], "ack")
        self.assertEqual(self.opened(7), 1)

    def test_has_a_cookie_that_scripts_and_other_sites_do_not_get(self):
        _, headers, _ = self.browser().request("POST", "/api/session", {"user": "anna", "password": PASSWORD})
        name, *attributes = headers["Set-Cookie"].split("; ")
        self.assertRegex(name, "^__Host-session=[A-Za-z0-9_-]{43}$")
        self.assertEqual(attributes, ["Path=/", "Secure", "HttpOnly", "SameSite=Strict"])

    def test_needs_the_right_password_of_a_user(self):
        browser = self.browser()
        for user, password in (("anna", "wrong password"), ("nobody", PASSWORD), ("anna", ""), ("reception", PASSWORD)):
            self.assertEqual(browser.log_in(user, password), (401, {"error": "wrong-password"}))
        self.assertEqual(browser.request("POST", "/api/session", {})[2], {"error": "no-certificate"})
        for body in ("", "[]", "{", '{"user":"anna"}', '{"user":1,"password":2}', '"anna"'):
            self.assertEqual(browser.request("POST", "/api/session", body)[0], 400, body)

    def test_is_locked_after_wrong_passwords(self):
        browser = self.browser()
        for _ in range(5):
            self.assertEqual(browser.log_in("anna", "wrong password")[0], 401)
        status, answer = browser.log_in("anna")
        self.assertEqual((status, answer["error"]), (429, "locked-out"))
        self.assertGreater(answer["seconds"], 30)
        self.assertEqual(browser.log_in("ben")[0], 200)

    def test_by_a_certificate_that_was_revoked_is_over(self):
        certificates(self.authority, "client", "leaver")
        browser = self.browser("leaver")
        self.assertEqual(browser.log_in()[0], 200)
        stream = self.stream(browser)
        certificates(self.authority, "revoke", "leaver")
        self.reload()
        wait_until(lambda: stream.is_ended, "the end of its stream")
        with self.assertRaises((ssl.SSLError, OSError)):
            self.browser("leaver").get("/api/session")
            self.browser("leaver").get("/api/session")

    def test_of_a_user_who_was_removed_is_over(self):
        browser = self.logged_in("ben")
        stream = self.stream(browser)
        self.set_user("ben", "", "--remove")
        self.reload()
        wait_until(lambda: stream.is_ended, "the end of the stream")
        self.assertEqual(browser.get("/api/session")[0], 401)
        self.assertEqual(browser.log_in("ben")[0], 401)

    def test_ends_when_one_logs_out(self):
        browser = self.logged_in()
        stream = self.stream(browser)
        self.assertEqual(browser.request("DELETE", "/api/session")[0], 204)
        wait_until(lambda: stream.is_ended, "the end of the stream")
        self.assertEqual(browser.get("/api/cards")[2], {"error": "no-session"})

    def test_has_its_row_whoever_else_logs_in(self):
        reception = self.browser("reception")
        answers = [reception.log_in()[0] for _ in range(40)]
        self.assertEqual((answers[:30], set(answers[32:])), ([200] * 30, {429}))
        self.logged_in("anna")
        wait_until(lambda: [row for row in self.audit("--client", "anna") if row["operation"] == "logged-in"], "her row")


class Refusals(PageSite):
    def test_without_a_session_nothing_is_shown_or_done(self):
        browser = self.browser()
        for path in ("/api/live", "/api/cards", "/api/cards.csv", "/api/audit", "/api/audit.csv"):
            status, _, answer = browser.get(path)
            self.assertEqual((status, answer), (401, {"error": "no-session"}), path)
        self.assertEqual(browser.order(), (401, {"error": "no-session"}))
        browser.cookie = "__Host-session=" + "A" * 43
        self.assertEqual(browser.order(), (401, {"error": "no-session"}))
        self.assertEqual(self.opened(), 0)

    def test_a_request_that_another_site_made_is_not_done(self):
        browser = self.logged_in()
        for headers in ({"Origin": "https://evil.example"}, {"Origin": None}, {"Origin": "null"},
                        {"Sec_Fetch_Site": "cross-site"}, {"X_Token": None}, {"X_Token": ""}, {"X_Token": "A" * 43}):
            status, _, answer = browser.request("POST", "/api/requests",
                                                {"operation": "open", "gateway": 1, "lock": 5}, **headers)
            self.assertEqual((status, answer), (403, {"error": "forged"}), headers)
        status, _, _ = browser.request("POST", "/api/requests", {"operation": "open", "gateway": 1, "lock": 5},
                                       Content_Type="text/plain")
        self.assertEqual(status, 400)
        other = self.browser()
        self.assertEqual(other.request("POST", "/api/session", {"user": "anna", "password": PASSWORD},
                                       Origin="https://evil.example")[0], 403)
        self.assertEqual(self.opened(), 0)

    def test_the_token_of_another_session_is_none(self):
        anna, ben = self.logged_in("anna"), self.logged_in("ben")
        anna.token, ben.token = ben.token, anna.token
        self.assertEqual(anna.order(), (403, {"error": "forged"}))

    def test_a_session_of_a_certificate_is_no_other_browsers(self):
        browser = self.browser("reception")
        browser.log_in()
        thief = self.browser()
        thief.cookie, thief.token = browser.cookie, browser.token
        self.assertEqual(thief.order(), (401, {"error": "no-session"}))

    def test_what_is_not_allowed_is_not_done_and_is_a_row(self):
        ben = self.logged_in("ben")
        status, answer = ben.order(lock=5)
        self.assertEqual((status, answer["result"], answer["errorCode"]), (200, "not-allowed", NOT_ALLOWED))
        self.assertEqual(ben.order("whitelist-add", lock=5, event=1), (403, {"error": "not-allowed"}))
        self.assertEqual(ben.get("/api/audit")[2], {"error": "not-allowed"})
        rows = self.wait_for_rows(1, "--client", "ben", "--kind", "request")
        self.assertEqual([(row["result"], row["address"]) for row in rows], [("not-allowed", "web 127.0.0.1")])
        self.assertEqual(self.opened(), 0)

    def test_orders_that_are_none(self):
        anna = self.logged_in()
        for body in ("", "[]", "{", '{"operation":"open"}', '{"operation":"explode","gateway":1,"lock":5}',
                     '{"operation":"open-close","gateway":1,"lock":5}',
                     '{"operation":"open-close","gateway":1,"lock":5,"duration":256}',
                     '{"operation":"open-close","gateway":1,"lock":5,"duration":0}',
                     '{"operation":"open","gateway":"1","lock":5}', '{"operation":"open","gateway":1,"lock":5e9}',
                     '{"operation":"open","gateway":1,"lock":5,"lock":6}',
                     '{"operation":"whitelist-add","gateway":1,"lock":5}',
                     '{"operation":"whitelist-add","gateway":1,"lock":5,"event":99}',
                     '{"operation":"whitelist-add","gateway":1,"lock":5,"entry":99}',
                     '{"operation":"whitelist-add","gateway":1,"lock":5,"card":"4"}',
                     json.dumps({"operation": "whitelist-add", "gateway": 1, "lock": 5, "card": "04", "label": "x" * 999})):
            self.assertEqual(self.refusal_of(anna, body), (400, "not-valid"), body)
        self.assertEqual(self.opened(), 0)

    def refusal_of(self, browser, body):
        """Refusals cost so much that the next one has to wait."""
        answers = [(429, None)]

        def ask():
            status, _, answer = browser.request("POST", "/api/requests", body)
            answers.append((status, answer["error"]))
            return status != 429

        wait_until(ask, "an answer")
        return answers[-1]

    def test_of_what_is_too_long(self):
        anna = self.logged_in()
        self.assertEqual(anna.request("POST", "/api/requests", "x" * 5000)[0], 413)
        anna = self.logged_in()
        self.assertEqual(anna.get("/", X_Long="x" * 9000)[0], 431)
        anna = self.logged_in()
        self.assertEqual(anna.get("/" + "x" * 9000)[0], 431)

    def test_headers_that_are_slow_are_cut_off(self):
        raw = self.raw()
        raw.sendall(b"GET / HTTP/1.1\r\nHost: localhost\r\n")
        begun = time.monotonic()
        for _ in range(40):
            try:
                raw.sendall(b"X: y\r\n")
            except OSError:
                break
            raw.settimeout(0.5)
            try:
                if raw.recv(1) == b"":
                    break
            except TimeoutError:
                pass
            except OSError:
                break
        self.assertLess(time.monotonic() - begun, 15)

    def test_text_that_is_not_http(self):
        for text in (b"\r\n\r\n\x00\xff\r\n\r\n", b"GET /\r\n\r\n", b"MUXM\r\n\r\n", b"GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\n",
                     b"POST /api/session HTTP/1.1\r\nTransfer-Encoding: chunked\r\nContent-Length: 3\r\n\r\nabc"):
            raw = self.raw()
            raw.sendall(text)
            answer = b""
            while chunk := raw.recv(4096):
                answer += chunk
            self.assertTrue(answer.startswith(b"HTTP/1.1 400 "), answer[:100])
        self.assertEqual(self.browser().get("/")[0], 200)

    def test_who_takes_no_answers_is_cut_off(self):
        """One after the other: what comes all at once is too much to read anyway."""
        raw = self.raw()
        with self.assertRaises(OSError):
            for _ in range(1500):
                raw.sendall(b"GET /page.js HTTP/1.1\r\nHost: x\r\n\r\n")
                time.sleep(0.003)
        self.assertEqual(self.browser().get("/")[0], 200)

    def test_strangers_make_room_for_others(self):
        plain = [socket.create_connection(("127.0.0.1", self.web_port), 20) for _ in range(210)]
        for connection in plain:
            self.addCleanup(connection.close)
        self.assertEqual(self.logged_in().order()[1]["result"], "ack")

    def test_refused_orders_are_few(self):
        browser = self.browser("guest")
        browser.log_in()
        answers = [browser.order()[0] for _ in range(40)]
        self.assertIn(429, answers)
        self.assertLess(len(self.audit("--client", "guest", "--kind", "request")), 20)

    def test_formulas_in_names_are_none_in_the_download(self):
        self.browser().log_in('=HYPERLINK("http://x","y")', "wrong password")
        wait_until(lambda: [row for row in self.audit() if row["operation"] == "log-in-refused"], "its row")
        text = self.logged_in().get("/api/audit.csv")[2].decode()
        self.assertIn('"\'=HYPERLINK(""http://x"",""y"")"', text)

    def test_of_heads_and_of_requests_without_a_host(self):
        for text, status in ((b"HEAD / HTTP/1.1\r\nHost: x\r\n\r\n", b"405"), (b"GET / HTTP/1.1\r\n\r\n", b"400")):
            raw = self.raw()
            raw.sendall(text)
            self.assertEqual(raw.recv(4096).split(b" ")[1], status)

    def raw(self):
        plain = socket.create_connection(("127.0.0.1", self.web_port), 20)
        raw = self.context(None).wrap_socket(plain, server_hostname="localhost")
        self.addCleanup(raw.close)
        return raw


class Doors(PageSite):
    def test_each_sees_what_it_may(self):
        anna, ben = self.stream(self.logged_in("anna")), self.stream(self.logged_in("ben"))
        doors = anna.of("site")[0]["doors"]
        self.assertEqual([(door["lock"], door["name"], door["gateway"]) for door in doors], [(5, "Door 5", 1)])
        self.assertEqual(doors[0]["rights"], ["open", "close", "open-close", "status", "access-denied", "whitelist",
                                              "events"])
        doors = ben.of("site")[0]["doors"]
        self.assertEqual([(door["lock"], door["rights"]) for door in doors], [(6, ["open"])])
        self.simulator.command("card 5 04A1B2C3D4")
        self.simulator.command("card 6 04A1B2C3D4")
        row, = anna.wait_for_rows(kind="event")
        self.assertEqual((row["operation"], row["lock"], row["card"], row["cardEvent"]), ("card", 5, "*C3D4", True))
        self.assertEqual(ben.rows(kind="event"), [])

    def test_open_and_everyone_sees_that_they_did(self):
        anna = self.logged_in()
        stream, reception = self.stream(anna), self.browser("reception")
        reception.log_in()
        other = self.stream(reception)
        status, answer = anna.order()
        self.assertEqual((status, answer["result"], answer["errorCode"]), (200, "ack", 0))
        self.assertEqual(self.opened(), 1)
        row, = stream.wait_for_rows(kind="request")
        self.assertEqual((row["operation"], row["result"], row["client"]), ("open", "ack", "anna"))
        row, = other.wait_for_rows(kind="request")
        self.assertIsNone(row["client"])
        wait_until(lambda: [busy["busy"] for busy in stream.of("busy")][-1:] == [[]], "nothing under way")
        rows = self.wait_for_rows(1, "--client", "anna", "--kind", "request")
        self.assertEqual([(row["operation"], row["address"]) for row in rows], [("open", "web 127.0.0.1")])

    def test_have_their_last_event_and_result_after_a_restart(self):
        self.logged_in().order("close")
        self.simulator.command("card 5 04A1B2C3D4")
        wait_until(lambda: self.audit("--kind", "event"), "the event's row")
        self.wait_for_rows(1, "--kind", "request")
        self.restart_proxy()
        door, = self.stream(self.logged_in()).of("site")[0]["doors"]
        self.assertEqual((door["lastResult"]["operation"], door["lastEvent"]["card"]), ("close", "*C3D4"))
        self.assertIsNone(door["battery"])

    def test_tell_their_battery_when_asked(self):
        anna = self.logged_in()
        stream = self.stream(anna)
        status, answer = anna.order("status")
        self.assertEqual((status, answer["result"]), (200, "ack"))
        battery = stream.wait_for("battery")[0]
        self.assertEqual(battery["battery"]["battery"], answer["status"]["battery"])

    def test_of_a_mux_that_ends_meanwhile_have_no_answer(self):
        anna = self.logged_in()
        stream = self.stream(anna)
        self.simulator.command("fault silence always lock 5")
        answers = []
        asking = threading.Thread(target=lambda: answers.append(anna.order()))
        asking.start()
        self.simulator.wait_for("OPEN_LOCK lock 5")
        wait_until(lambda: [busy for busy in stream.of("busy") if busy["busy"]], "the order under way")
        self.mux.kill()
        asking.join(30)
        self.assertEqual((answers[0][1]["result"], answers[0][1]["errorCode"]), ("no-answer", NO_ANSWER))
        wait_until(lambda: stream.of("health")[-1]["mux"] is False, "the Mux away")

    def test_do_not_open_for_a_browser_that_has_gone(self):
        self.mux.kill()
        self.proxy.wait_for("The connection to the Mux was lost")
        anna = self.logged_in()
        anna.connection.request("POST", "/api/requests", json.dumps({"operation": "open", "gateway": 1, "lock": 5}), {
            "Host": anna.host, "Cookie": anna.cookie, "X-Token": anna.token, "Origin": f"https://{anna.host}",
            "Content-Type": "application/json"})
        wait_until(lambda: self.audit("--kind", "request"), "the request's row")
        anna.connection.sock.close()
        anna.connection.close()
        rows = self.wait_for_rows(1, "--kind", "request")
        self.assertEqual([row["result"] for row in rows], ["dropped"])

    def test_asked_before_the_proxy_ends_have_their_answer(self):
        self.simulator.command("fault silence always lock 5")
        anna = self.logged_in()
        answers = []
        asking = threading.Thread(target=lambda: answers.append(anna.order()))
        asking.start()
        self.simulator.wait_for("OPEN_LOCK lock 5")
        self.proxy.stop(signal.SIGTERM, 0)
        asking.join(30)
        self.assertEqual((answers[0][0], answers[0][1]["result"]), (200, "no-answer"))

    def test_change_with_the_rights(self):
        ben = self.logged_in("ben")
        stream = self.stream(ben)
        self.write_configuration(Rules=self.rules + [
            {"Clients": ["ben"], "Rights": ["status"], "Gateways": [1], "Locks": [7]}])
        self.reload()
        doors = stream.wait_for("site", 2)[1]["doors"]
        self.assertEqual([door["lock"] for door in doors], [6, 7])

    def test_health_names_what_is_there(self):
        stream = self.stream(self.logged_in())
        wait_until(lambda: stream.of("health") and stream.of("health")[-1]["mux"], "the Mux")
        health = stream.of("health")[-1]
        self.assertEqual([gateway["gateway"] for gateway in health["gateways"]], [1])
        self.assertIsNone(health["broker"])
        wait_until(lambda: stream.of("health")[-1]["audit"]["free"], "the free space")
        self.assertEqual(set(stream.of("health")[-1]["certificates"]), {"server", "authority", "revocation-list"})


class Cards(PageSite):
    def present(self, stream, data="04A1B2C3D4", lock=5):
        self.simulator.command(f"card {lock} {data}")
        return stream.wait_for_rows(operation="card", lock=lock)[-1]

    def test_just_presented_get_access_and_lose_it(self):
        anna = self.logged_in()
        row = self.present(self.stream(anna))
        self.assertEqual(anna.order("whitelist-add", event=row["n"], label="Anna's badge")[1]["result"], "ack")
        wait_until(lambda: anna.get("/api/cards")[2]["cards"], "the card in the list")
        card, = anna.get("/api/cards")[2]["cards"]
        self.assertEqual((card["card"], card["label"], card["client"], card["lock"]), ("*C3D4", "Anna's badge", "anna", 5))
        _, headers, text = anna.get("/api/cards.csv")
        self.assertEqual(text.decode().splitlines()[0], "gateway,lock,card,label,client,time")
        self.assertTrue(text.decode().splitlines()[1].startswith("1,5,04A1B2C3D4,Anna's badge,anna,"))
        self.assertEqual(headers["Content-Disposition"], 'attachment; filename="cards.csv"')
        self.assertEqual(self.logged_in("ben").get("/api/cards")[2], {"cards": []})
        self.assertEqual(anna.order("whitelist-remove", entry=card["entry"])[1]["result"], "ack")
        wait_until(lambda: not anna.get("/api/cards")[2]["cards"], "an empty list")

    def test_removed_by_others_leave_the_list(self):
        anna = self.logged_in()
        self.assertEqual(anna.order("whitelist-add", card="04A1B2C3D4")[1]["result"], "ack")
        wait_until(lambda: anna.get("/api/cards")[2]["cards"], "the card in the list")
        self.assertEqual(result(self.client().ask(22)), 0)
        wait_until(lambda: not anna.get("/api/cards")[2]["cards"], "an empty list")

    def test_are_in_the_list_though_the_browser_has_gone(self):
        self.simulator.command("fault delay 1500")
        anna = self.logged_in()
        anna.connection.request("POST", "/api/requests", json.dumps({
            "operation": "whitelist-add", "gateway": 1, "lock": 5, "card": "04A1B2C3D4", "label": "Anna"}), {
            "Host": anna.host, "Cookie": anna.cookie, "X-Token": anna.token, "Origin": f"https://{anna.host}",
            "Content-Type": "application/json"})
        self.simulator.wait_for("lock 5")
        anna.connection.sock.close()
        anna.connection.close()
        rows = self.wait_for_rows(1, "--kind", "request")
        self.assertEqual([row["result"] for row in rows], ["ack"])
        other = self.logged_in()
        wait_until(lambda: other.get("/api/cards")[2]["cards"], "the card in the list")
        self.assertEqual(other.get("/api/cards")[2]["cards"][0]["label"], "Anna")

    def test_of_the_last_moment_are_in_the_list(self):
        anna = self.logged_in()
        for number in range(10):
            self.assertEqual(anna.order("whitelist-add", card=f"04A1B2C3{number:02}")[1]["result"], "ack")
        self.restart_proxy()
        self.assertEqual(len(self.logged_in().get("/api/cards")[2]["cards"]), 10)

    def test_that_are_refused_are_not_in_the_list(self):
        anna = self.logged_in()
        self.mux.kill()
        self.proxy.wait_for("The connection to the Mux was lost")
        self.assertEqual(anna.order("whitelist-add", card="04A1B2C3D4")[1]["result"], "mux-away")
        self.assertEqual(anna.get("/api/cards")[2]["cards"], [])


class Audit(PageSite):
    def test_is_searched_in_pages(self):
        anna = self.logged_in()
        for operation in ("open", "close", "open"):
            anna.order(operation)
        self.client("guest").ask(STATUS)
        self.wait_for_rows(4, "--kind", "request")
        first = anna.get("/api/audit?kind=request&limit=2")[2]
        self.assertEqual([(row["operation"], row["client"]) for row in first["rows"]], [("status", "guest"),
                                                                                       ("open", "anna")])
        second = anna.get(f"/api/audit?kind=request&limit=2&before={first['before']}")[2]
        self.assertEqual([row["operation"] for row in second["rows"]], ["close", "open"])
        third = anna.get(f"/api/audit?kind=request&limit=2&before={second['before']}")[2]
        self.assertEqual(third, {"rows": [], "before": None})
        since = first["rows"][0]["time"]
        later = anna.get(f"/api/audit?kind=request&since={since}&client=guest&lock=5&gateway=1&result=ack")[2]["rows"]
        self.assertEqual([row["operation"] for row in later], ["status"])
        self.assertEqual(anna.get(f"/api/audit?kind=request&until={since - 60000}")[2]["rows"], [])

    def test_downloads_as_csv(self):
        anna = self.logged_in()
        anna.order()
        self.wait_for_rows(1, "--kind", "request")
        lines = anna.get("/api/audit.csv?kind=request")[2].decode().splitlines()
        self.assertEqual(lines[0], "id,time,kind,client,address,operation,gateway,lock,card,result,errorCode,"
                                   "milliseconds,remark")
        self.assertIn(",request,anna,web 127.0.0.1,open,1,5,,ack,0,", lines[1])

    def test_refuses_questions_that_are_none(self):
        anna = self.logged_in()
        for query in ("limit=0", "limit=501", "limit=x", "since=x", "since=-1", "gateway=1.5", "lock=99999999999",
                      "before=1", "before=x.y", "until=999999999999999999999"):
            status, _, answer = anna.get(f"/api/audit?{query}")
            self.assertEqual((status, answer["error"]), (400, "not-valid"), query)


class Off(PageSite):
    def test_without_its_section(self):
        self.proxy.stop(signal.SIGTERM, 0)
        self.configuration = lambda: {name: value for name, value in PageSite.configuration(self).items() if name != "Web"}
        self.start_proxy()
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.1", self.web_port), 5)


if __name__ == "__main__":
    unittest.main()
