"""A site with the page on, and browsers of the tests' own: HTTP as it is on the wire."""
import http.client
import json
import ssl
import subprocess
import threading

from proxy_site import CERTIFICATES, PROGRAMS, Site, free_port, wait_until  # noqa: F401

PASSWORD = "correct horse battery"


class Browser:
    """What a browser does: keeps the cookie, sends the token and where a change comes from."""

    def __init__(self, site, certificate=None, source=None):
        self.site = site
        self.host = f"localhost:{site.web_port}"
        self.connection = http.client.HTTPSConnection("localhost", site.web_port, timeout=30,
                                                      context=site.context(certificate), source_address=source)
        self.cookie = None
        self.token = None

    def request(self, method, path, body=None, **headers):
        """Status, headers and body: what its JSON says, or bytes. A header that is None is left out."""
        usual = {"Host": self.host, "Cookie": self.cookie}
        if method != "GET":
            usual |= {"Origin": f"https://{self.host}", "X-Token": self.token, "Content-Type": "application/json"}
        usual |= {name.replace("_", "-"): value for name, value in headers.items()}
        text = body if body is None or isinstance(body, (bytes, str)) else json.dumps(body)
        self.connection.request(method, path, text, {name: value for name, value in usual.items() if value is not None})
        response = self.connection.getresponse()
        content = response.read()
        if response.headers["Set-Cookie"]:
            self.cookie = response.headers["Set-Cookie"].split(";")[0]
        is_json = response.headers["Content-Type"] == "application/json"
        return response.status, response.headers, json.loads(content) if is_json else content

    def get(self, path, **headers):
        return self.request("GET", path, **headers)

    def log_in(self, user=None, password=PASSWORD):
        """With the certificate without a user."""
        status, _, answer = self.request("POST", "/api/session", {"user": user, "password": password} if user else {})
        self.token = answer.get("token")
        return status, answer

    def order(self, operation="open", lock=5, gateway=1, **members):
        status, _, answer = self.request("POST", "/api/requests",
                                         {"operation": operation, "gateway": gateway, "lock": lock, **members})
        return status, answer

    def close(self):
        self.connection.close()


class Stream:
    """The events of "/api/live", read on a thread of its own."""

    def __init__(self, browser):
        self.connection = http.client.HTTPSConnection("localhost", browser.site.web_port, timeout=60,
                                                      context=browser.connection._context)
        self.connection.request("GET", "/api/live", headers={"Host": browser.host, "Cookie": browser.cookie})
        self.response = self.connection.getresponse()
        self.status = self.response.status
        self.events = []
        self.is_ended = False
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        name = None
        try:
            for line in self.response:
                field, _, value = line.decode().rstrip("\n").partition(": ")
                if field == "event":
                    name = value
                elif field == "data":
                    self.events.append((name, json.loads(value)))
        except (OSError, ValueError, ssl.SSLError, http.client.HTTPException):
            pass
        self.is_ended = True

    def of(self, name):
        return [data for event, data in list(self.events) if event == name]

    def rows(self, **members):
        """Those that came, since the page was opened or before, and have these members."""
        rows = [row for site in self.of("site")[:1] for row in site["rows"]] + [row for rows in self.of("rows")
                                                                               for row in rows]
        return [row for row in rows if all(row[name] == value for name, value in members.items())]

    def wait_for(self, name, count=1):
        wait_until(lambda: len(self.of(name)) >= count, f"{count} events {name}")
        return self.of(name)

    def wait_for_rows(self, count=1, **members):
        wait_until(lambda: len(self.rows(**members)) >= count, f"{count} rows with {members}")
        return self.rows(**members)

    def close(self):
        self.connection.close()
        self.response.close()


class PageSite(Site):
    """`reception` and `guest` have certificates, `anna` and `ben` passwords. Anna may do everything at lock 5 and is an
    auditor, Ben only open lock 6."""

    rules = Site.rules + [
        {"Clients": ["anna"], "Rights": ["open", "close", "open-close", "status", "access-denied", "whitelist",
                                         "events"], "Gateways": [1], "Locks": [5]},
        {"Clients": ["ben"], "Rights": ["open"], "Gateways": [1], "Locks": [6]},
    ]

    def setUp(self):
        self.web_port = free_port()
        super().setUp()

    def configuration(self):
        return {**super().configuration(), "Web": self.web()}

    def web(self, **changes):
        return {"Addresses": ["127.0.0.1", "::1"], "Port": self.web_port, "Users": str(self.folder / "users"),
                "Title": "Hall", "Auditors": ["anna"], **changes}

    def set_user(self, name, password=PASSWORD, *options):
        subprocess.run([PROGRAMS / "mux-proxy", "user", name, "--config", str(self.folder / "proxy.json"), *options],
                       input=password + "\n", text=True, check=True, stdout=subprocess.DEVNULL)

    def start_proxy(self, **changes):
        self.write_configuration(**changes)
        if not (self.folder / "users").exists():
            self.set_user("anna")
            self.set_user("ben")
        super().start_proxy(**changes)

    def browser(self, certificate=None, **arguments):
        browser = Browser(self, certificate, **arguments)
        self.addCleanup(browser.close)
        return browser

    def logged_in(self, user="anna"):
        browser = self.browser()
        self.assertEqual(browser.log_in(user)[0], 200)
        return browser

    def stream(self, browser):
        stream = Stream(browser)
        self.addCleanup(stream.close)
        stream.wait_for("site")
        return stream
