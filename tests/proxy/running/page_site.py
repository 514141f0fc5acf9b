"""A site with the page on, and Chromium that looks at it: people's words for what is found, touched and read there."""
import base64
import os
import pathlib
import sys
import tempfile
import unittest

# How a test ends that was skipped.
SKIPPED = 77

try:
    from selenium import webdriver
    from selenium.common.exceptions import StaleElementReferenceException, TimeoutException
    from selenium.webdriver.chrome.service import Service
    from selenium.webdriver.common.action_chains import ActionChains  # noqa: F401
    from selenium.webdriver.common.by import By
    from selenium.webdriver.common.keys import Keys  # noqa: F401
    from selenium.webdriver.support.wait import WebDriverWait
except ModuleNotFoundError as missing:
    print(f"SKIPPED: {missing}; scripts/setup --with-checks installs it")
    sys.exit(SKIPPED)

from web_site import PASSWORD, PageSite  # noqa: E402

DEADLINE = 40.0
CHROMIUM = "/usr/bin/chromium"
DRIVER = "/usr/bin/chromedriver"
PAGES = ("doors", "events", "cards", "audit", "wall")

# Chromium talks to this machine only, and to nobody on its own.
SWITCHES = ("--headless=new", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run", "--disable-sync",
            "--disable-extensions", "--disable-background-networking", "--disable-component-update",
            "--disable-default-apps", "--hide-scrollbars", "--force-color-profile=srgb",
            "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE localhost, EXCLUDE 127.0.0.1")


def quoted(text):
    """As a text of XPath, which knows no escapes."""
    return "concat(" + ", ".join(f'"{part}"' for part in text.replace('"', '"\'"\'"').split("'\"'")) + ', "")'


class Chromium:
    """Without a window, on a profile of its own. `width` and `height` are those of what the page gets, `home` the folder
    of the user who starts it."""

    def __init__(self, site, width=1280, height=900, language="en", binary=CHROMIUM, home=None):
        self.site = site
        self.profile = tempfile.TemporaryDirectory(prefix="mux-page-profile-", ignore_cleanup_errors=True)
        self.downloads = pathlib.Path(self.profile.name) / "downloads"
        self.downloads.mkdir()
        service = Service(DRIVER, env={**os.environ, "HOME": str(home)} if home else None)
        self.driver = webdriver.Chrome(service=service, options=self._options(language, binary))
        self.resize(width, height)
        self.tell("Browser.setDownloadBehavior", behavior="allow", downloadPath=str(self.downloads))

    def _options(self, language, binary):
        options = webdriver.ChromeOptions()
        options.binary_location = str(binary)
        # The authority of the site's certificates was made a moment ago, for this test.
        options.accept_insecure_certs = True
        # Its sandbox does not run as root, nor in a namespace of users.
        alone = ("--no-sandbox",) if os.getuid() == 0 or binary != CHROMIUM else ()
        for switch in SWITCHES + alone + (f"--accept-lang={language}", f"--user-data-dir={self.profile.name}"):
            options.add_argument(switch)
        return options

    def close(self):
        self.driver.quit()
        self.profile.cleanup()

    def tell(self, command, **arguments):
        return self.driver.execute_cdp_cmd(command, arguments)

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def resize(self, width, height, scale=1):
        self.tell("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=scale,
                  mobile=width < 600)

    def scheme(self, name):
        """"dark" or "light"."""
        self.tell("Emulation.setEmulatedMedia", features=[{"name": "prefers-color-scheme", "value": name}])

    def wait(self, condition, what, deadline=DEADLINE):
        """What the condition gives, as soon as it is something. The page may draw anew meanwhile."""
        waiting = WebDriverWait(self.driver, deadline, 0.05, [StaleElementReferenceException])
        try:
            return waiting.until(lambda _: condition())
        except TimeoutException:
            raise AssertionError(f"{what}: not within {deadline:.0f} s; the page says:\n{self.text()}") from None

    def text(self):
        return self.driver.find_element(By.TAG_NAME, "body").text

    def load(self, path="/"):
        self.driver.get(f"https://localhost:{self.site.web_port}{path}")

    def downloaded(self, name):
        """The only download's file, once it is whole: an empty one of its name stands beside the unfinished one first."""
        file = self.downloads / name
        self.wait(lambda: list(self.downloads.iterdir()) == [file], name)
        return file

    def go(self, page):
        """By the page's own links, to its heading."""
        if self.driver.current_url.endswith("#/wall"):
            self.element(".leave a").click()
        self.element(f"nav a[href='#/{page}']").click()
        self.wait(lambda: self.driver.find_elements(By.CSS_SELECTOR, f".{page}-page"), f"the page {page}")

    def elements(self, css, within=None):
        return (within or self.driver).find_elements(By.CSS_SELECTOR, css)

    def element(self, css, within=None):
        return self.wait(lambda: self.elements(css, within), css)[0]

    def named(self, name, within=None):
        """Buttons and links that have this name for people, as the browser tells it to those who cannot see."""
        hidden = f"contains(normalize-space(@aria-label), {quoted(name)})"
        path = f".//*[self::button or self::a][{hidden} or contains(normalize-space(.), {quoted(name)})]"
        found = (within or self.driver).find_elements(By.XPATH, path)
        return [one for one in found if one.is_displayed() and " ".join(one.accessible_name.split()) == name]

    def button(self, name, within=None):
        return self.wait(lambda: self.named(name, within), f'a button "{name}"')[0]

    def see_busy(self, name, busy):
        """The page draws what it knows with its next frame."""
        self.wait(lambda: self.button(name).get_attribute("aria-busy") == busy, f"{name} with aria-busy={busy}")

    def press(self, name, within=None):
        """On a phone, what lies under the bar of pages is scrolled to first."""
        button = self.button(name, within)
        self.run("arguments[0].scrollIntoView({block: 'center', behavior: 'instant'})", button)
        button.click()

    def control(self, label, within=None):
        """What stands under the label."""
        path = f".//label[normalize-space(.)={quoted(label)}]"
        found = self.wait(lambda: (within or self.driver).find_elements(By.XPATH, path), f'a field "{label}"')[0]
        name = found.get_attribute("for")
        return self.driver.find_element(By.ID, name) if name else found.find_element(By.TAG_NAME, "input")

    def fill(self, label, text, within=None):
        control = self.control(label, within)
        control.clear()
        control.send_keys(text)

    def choose(self, label, text):
        self.control(label).find_element(By.XPATH, f"./option[normalize-space(.)={quoted(text)}]").click()

    def see(self, text, within=None, deadline=DEADLINE):
        """Waits until it can be read: in all that `within` finds, or anywhere."""
        find = within or (lambda: self.driver.find_element(By.TAG_NAME, "body"))
        return self.wait(lambda: text in find().text, f'"{text}"', deadline)

    def door(self, name="Door 5"):
        path = f"//article[.//h3[normalize-space(.)={quoted(name)}]]"
        return self.wait(lambda: self.driver.find_elements(By.XPATH, path), f"the door {name}")[0]

    def doors(self):
        return [title.text for title in self.elements("article.door h3")]

    def dialog(self):
        return self.element("dialog[open]")

    def lines(self):
        """Texts of the live events, newest first. Lines that are scrolled out of sight are not drawn, but are there."""
        return self.run("return [...document.querySelectorAll('ol.lines > li.line')].map(line => line.textContent)")

    def log_in(self, user="anna", password=PASSWORD):
        self.fill("User", user)
        self.fill("Password", password)
        self.press("Log in")

    def is_logged_in(self):
        return bool(self.named("Log out"))

    def save(self, picture):
        """As its name ends: ".png", or ".webp", which is a fourth of it."""
        data = self.tell("Page.captureScreenshot", format=picture.suffix[1:], quality=80)["data"]
        picture.write_bytes(base64.b64decode(data))


class Looking(PageSite):
    """Tests with Chromium at the page."""

    def chromium(self, **arguments):
        browser = Chromium(self, **arguments)
        self.addCleanup(browser.close)
        browser.load()
        return browser

    def looking(self, user="anna", **arguments):
        """Logged in, on the page of doors, with what is there now."""
        browser = self.chromium(**arguments)
        browser.log_in(user)
        browser.wait(browser.doors, "doors")
        return browser


def run_tests():
    """Those that the command line names."""
    program = unittest.main(exit=False)
    result = program.result
    sys.exit(SKIPPED if result.wasSuccessful() and len(result.skipped) == result.testsRun else not result.wasSuccessful())
