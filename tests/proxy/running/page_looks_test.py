"""What the page looks like on every screen, in every language and scheme, and for those who cannot see or point.

MUX_PAGE_PICTURES is a folder that gets pictures of the pages; without it none are made. scripts/demo --draw-page draws
those of docs/page.md. The rules of accessibility come from axe-core, which scripts/setup --with-checks installs into
build/axe; their test is skipped without it.
"""
import os
import pathlib
import unittest

from page_site import PAGES, ActionChains, Keys, Looking, run_tests
from proxy_site import ROOT
from web_site import PASSWORD

AXE = ROOT / "build" / "axe" / "node_modules" / "axe-core" / "axe.min.js"
TAGS = ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22aa", "best-practice"]
PICTURES = os.environ.get("MUX_PAGE_PICTURES")

HEADINGS = {"en": ("Doors", "Events", "Cards", "Audit", "Hall"),
            "de": ("Türen", "Ereignisse", "Karten", "Protokoll", "Hall")}


class Busy(Looking):
    """A site where something has happened at each door."""

    rules = Looking.rules + [{"Clients": ["anna"], "Rights": ["open", "close", "open-close", "status", "access-denied",
                                                              "whitelist", "events"], "Gateways": "all", "Locks": "all"}]
    names = {5: "Front door", 6: "Goods entrance", 7: "Server room"}

    @property
    def settings(self):
        return {lock: {"Name": name} for lock, name in self.names.items()}

    def setUp(self):
        super().setUp()
        anna = self.logged_in()
        for lock in self.names:
            self.simulator.command(f"flag {lock} bit6 on")
        self.simulator.command("flag 6 warning on")
        stream = self.stream(anna)
        for operation, lock in (("status", 5), ("open", 5), ("status", 6), ("open", 7)):
            anna.order(operation, lock)
        for lock, card in ((5, "04A1B2C3D4"), (6, "0411223344"), (5, "04A1B2C3D4"), (7, "0455667788")):
            self.simulator.command(f"card {lock} {card}")
        for lock, label in ((5, "Anna Bergmann"), (6, "Anna Bergmann"), (5, "Cleaning, key ring 2"), (6, "Ruth Okafor")):
            anna.order("whitelist-add", lock, card="04A1B2C3D4" if label[0] == "A" else f"0499{len(label):04X}",
                       label=label)
        # An answer that says no, at the door of the servers.
        self.simulator.command("fault force-result 8 1 lock 7")
        anna.order("status", 7)
        stream.wait_for_rows(4, kind="event")
        stream.wait_for_rows(9, kind="request")

    def go(self, browser, page):
        """To the page, when it has what there is to show."""
        browser.go(page)
        browser.element({"doors": "article.door", "events": "ol.lines time", "cards": "tbody tr", "audit": "tbody tr",
                         "wall": ".tile"}[page])

    def everywhere(self, browser):
        for page in PAGES:
            self.go(browser, page)
            yield page


class Screens(Busy):
    def assert_fits(self, browser, what):
        width, wanted = browser.run("return [innerWidth, document.documentElement.scrollWidth]")
        self.assertLessEqual(wanted, width, f"{what} at {width}: {self.too_wide(browser)}")

    def too_wide(self, browser):
        return browser.run("""return [...document.querySelectorAll('body *')]
            .filter(one => one.getBoundingClientRect().right > innerWidth + 1)
            .map(one => one.tagName + '.' + one.className).slice(0, 9)""")

    def test_keep_buttons_where_they_are(self):
        """Under a finger on its way, while something is under way at a door, and when it is answered."""
        browser = self.looking()
        before = self.buttons(browser)
        self.simulator.command("fault delay 1500 1 lock 5")
        browser.press("Open, Front door")
        browser.see("Under way: Open, since ", lambda: browser.door("Front door"))
        self.assertEqual(self.buttons(browser), before)
        browser.see("Done: the gateway has carried out the opening.", lambda: browser.door("Front door"))
        self.assertEqual(self.buttons(browser), before)

    def buttons(self, browser):
        return [browser.button(f"Close, {name}").rect for name in self.names.values()]

    def test_are_never_too_narrow(self):
        for language in ("en", "de"):
            browser = self.looking_in(language)
            for page in self.everywhere(browser):
                for width in (320, 375, 768, 1280, 1920):
                    browser.resize(width, 900)
                    self.assert_fits(browser, f"{page} in {language}")
                browser.resize(1280, 900)

    def looking_in(self, language):
        """The form has other words in each; its order is the same."""
        browser = self.chromium(language=language)
        user, password = browser.wait(lambda: len(found := browser.elements("form input")) == 2 and found, "the form")
        user.send_keys("anna")
        password.send_keys(PASSWORD + Keys.ENTER)
        browser.wait(browser.doors, "doors")
        return browser

    def test_speak_the_browsers_language_or_the_chosen_one(self):
        for language, other, name in (("en", "de", "Deutsch"), ("de", "en", "English")):
            browser = self.looking_in(language)
            for _ in range(2):
                self.assertEqual(browser.run("return document.documentElement.lang"), language)
                titles = [browser.element("h1").text for _ in self.everywhere(browser)]
                self.assertEqual(tuple(titles), HEADINGS[language])
                browser.go("doors")
                browser.press(name)
                language, name = other, {"de": "English", "en": "Deutsch"}[other]
                browser.wait(lambda: browser.run("return document.documentElement.lang") == language, language)
                other = {"de": "en", "en": "de"}[language]

    def test_follow_the_scheme_of_the_device(self):
        browser = self.looking()
        shades = {}
        for scheme in ("light", "dark"):
            browser.scheme(scheme)
            shades[scheme] = browser.run("return getComputedStyle(document.body).backgroundColor")
        brightness = {scheme: sum(map(int, shade.strip("rgba()").split(",")[:3])) for scheme, shade in shades.items()}
        self.assertGreater(brightness["light"], 600, shades)
        self.assertLess(brightness["dark"], 150, shades)

    def test_on_the_wall_tell_what_happens_without_a_touch(self):
        browser = self.looking(width=1920, height=1080)
        browser.go("wall")
        browser.see("Front door")

        def tile():
            return browser.element(".tile[data-door='1/7']")

        browser.see("refused", tile)
        self.simulator.command("card 7 0400C0FFEE")
        browser.see("*FFEE")
        self.assertEqual(self.client().ask(10, lock=7)["MessageCode"], 0)
        browser.see("Open: done", tile)
        self.assertEqual(browser.run("return document.documentElement.scrollHeight > innerHeight"), False)
        self.mux.kill()
        browser.see("Mux not reachable")


class Keyboard(Looking):
    def press(self, browser, *keys):
        ActionChains(browser.driver).send_keys(*keys).perform()

    def step_to(self, browser, name):
        """With the tab key, as far as it takes."""
        for _ in range(60):
            if " ".join(browser.driver.switch_to.active_element.accessible_name.split()) == name:
                return
            self.press(browser, Keys.TAB)
        self.fail(f'"{name}" is not reached')

    def has_visible_focus(self, browser):
        return browser.run("""const style = getComputedStyle(document.activeElement);
            return style.outlineStyle !== 'none' && parseFloat(style.outlineWidth) >= 2;""")

    def test_alone_logs_in_opens_a_door_and_logs_out(self):
        browser = self.chromium()
        browser.control("User")
        self.press(browser, "anna", Keys.TAB, PASSWORD, Keys.ENTER)
        browser.door()
        self.step_to(browser, "Open, Door 5")
        self.assertTrue(self.has_visible_focus(browser))
        self.press(browser, Keys.ENTER)
        browser.see("Done: the gateway has carried out the opening.", browser.door)
        # The focus is where it was, for those who go on.
        self.step_to(browser, "Open, Door 5")
        self.assertEqual(self.opened(), 1)
        browser.run("document.activeElement.blur()")
        self.step_to(browser, "Log out")
        self.press(browser, Keys.SPACE)
        browser.control("User")

    def test_alone_gives_access_and_leaves_the_dialog(self):
        browser = self.looking()
        browser.go("cards")
        self.simulator.command("card 5 04A1B2C3D4")
        browser.button("Give access, *C3D4")
        self.step_to(browser, "Give access, *C3D4")
        self.press(browser, Keys.ENTER)
        browser.dialog()
        self.press(browser, Keys.ENTER)
        browser.see("Done: the card is in the lock's list.", browser.dialog)
        self.press(browser, Keys.ESCAPE)
        browser.wait(lambda: not browser.elements("dialog"), "the dialog closed")


class Accessibility(Busy):
    def assert_clean(self, browser, what):
        browser.run("if (!window.axe) { %s }" % AXE.read_text())
        found = browser.driver.execute_async_script("""
            const done = arguments[arguments.length - 1];
            axe.run(document, {runOnly: {type: 'tag', values: arguments[0]}}).then(done, fault => done({fault: String(fault)}));
            """, TAGS)
        findings = [f"{one['id']}: {node['target']} {node['failureSummary']}" for one in found["violations"]
                    for node in one["nodes"]]
        self.assertEqual(findings, [], what)
        self.assertGreater(len(found["passes"]), 5)

    @unittest.skipUnless(AXE.exists(), f"axe-core is not in {AXE.parent}: run scripts/setup --with-checks")
    def test_has_no_findings(self):
        for width in (375, 1280):
            browser = self.chromium(width=width)
            browser.control("Password")
            self.each_scheme(browser, "log-in")
            browser.log_in()
            for page in self.everywhere(browser):
                self.each_scheme(browser, f"{page} at {width}")
            self.dialogs(browser)

    def each_scheme(self, browser, what):
        for scheme in ("dark", "light"):
            browser.scheme(scheme)
            self.assert_clean(browser, f"{what}, {scheme}")

    def dialogs(self, browser):
        browser.go("cards")
        for name in ("New card", "Import"):
            browser.press(name)
            self.each_scheme(browser, name)
            browser.press("Close", browser.dialog())
            browser.wait(lambda: not browser.elements("dialog"), "the dialog closed")


# Those of docs/page.md: name, page, width, height, pixels of the picture per pixel of the page, and scheme.
DOCUMENTED = (
    ("doors", "doors", 1280, 850, 1, "light"),
    ("doors-phone", "doors", 375, 760, 1.5, "dark"),
    ("events", "events", 1280, 660, 1, "light"),
    ("cards", "cards", 1280, 720, 1, "light"),
    ("audit", "audit", 1280, 760, 1, "light"),
    ("wall", "wall", 1280, 720, 1, "dark"),
)


@unittest.skipUnless(PICTURES, "MUX_PAGE_PICTURES names no folder for them")
class Pictures(Busy):
    def setUp(self):
        super().setUp()
        self.folder = pathlib.Path(PICTURES)
        self.folder.mkdir(parents=True, exist_ok=True)

    def test_of_the_documents(self):
        browser = self.looking()
        browser.press("Open, Front door")
        browser.see("Done: the gateway has carried out the opening.", lambda: browser.door("Front door"))
        for name, page, width, height, scale, scheme in DOCUMENTED:
            browser.resize(width, height, scale)
            browser.scheme(scheme)
            self.go(browser, page)
            browser.run("document.activeElement.blur()")
            browser.save(self.folder / f"page-{name}.webp")

    def test_of_each_page(self):
        for device, width, height in (("desktop", 1280, 800), ("phone", 375, 760)):
            browser = self.chromium(width=width, height=height)
            browser.control("Password")
            browser.save(self.folder / f"log-in-{device}.png")
            browser.log_in()
            for page in self.everywhere(browser):
                browser.save(self.folder / f"{page}-{device}.png")
            browser.go("cards")
            browser.press("Give access, *C3D4")
            browser.dialog()
            browser.save(self.folder / f"give-access-{device}.png")
        browser = self.looking(width=1920, height=1080)
        browser.scheme("dark")
        browser.go("wall")
        browser.see("Front door")
        browser.save(self.folder / "wall-dark.png")


if __name__ == "__main__":
    run_tests()
