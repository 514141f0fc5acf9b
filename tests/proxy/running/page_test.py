"""The page as people use it, in a real Chromium."""
import signal
import unittest

from page_site import Keys, Looking
from proxy_site import wait_until

EVERYTHING = ["open", "close", "open-close", "status", "access-denied", "whitelist", "events"]
NOBODY_REPORTS = "Whether the door is {}, nobody reports."


class LogIn(Looking):
    def test_by_password_and_out_again(self):
        browser = self.chromium()
        browser.log_in(password="wrong password")
        browser.see("User or password is wrong.", lambda: browser.element("[role=alert]"))
        self.assertEqual(browser.control("Password").get_attribute("value"), "")
        browser.log_in()
        browser.door()
        browser.press("Log out")
        browser.control("Password")
        self.assertNotIn("Door 5", browser.text())
        browser.load("/#/events")
        browser.control("Password")
        wait_until(lambda: [row for row in self.audit("--client", "anna") if row["operation"] == "logged-out"], "its row")

    def test_tells_how_long_a_user_is_locked_out(self):
        browser = self.chromium()
        for _ in range(5):
            browser.log_in(password="wrong password")
            browser.see("User or password is wrong.")
        browser.log_in()
        browser.see("Too many tries. Try again in ")
        self.assertFalse(browser.is_logged_in())


class Two(Looking):
    """Both may open lock 6; Ben nothing else."""

    rules = Looking.rules + [{"Clients": ["anna"], "Rights": EVERYTHING, "Gateways": [1], "Locks": [6]}]

    def test_users_see_their_doors_and_each_other_where_they_may(self):
        anna, ben = self.looking("anna"), self.looking("ben")
        self.assertEqual((anna.doors(), ben.doors()), (["Door 5", "Door 6"], ["Door 6"]))
        for name in ("Open", "Close", "Open for 5 s", "Deny", "Status"):
            self.assertEqual((len(anna.named(f"{name}, Door 6")), len(ben.named(f"{name}, Door 6"))),
                             (1, int(name == "Open")), name)
        anna.press("Open, Door 6")
        ben.see("Open: done", lambda: ben.door("Door 6"))
        self.assertNotIn("anna", ben.text())
        ben.press("Open, Door 6")
        anna.see("by ben)", lambda: anna.door("Door 6"))
        self.assertEqual(self.opened(6), 2)
        self.assertEqual((len(anna.named("Audit")), len(ben.named("Audit"))), (1, 0))


class Doors(Looking):
    def test_are_opened_and_closed_and_the_answer_claims_no_more(self):
        browser = self.looking()
        for count, (operation, name, said) in enumerate((
                ("open", "Open", "Done: the gateway has carried out the opening. " + NOBODY_REPORTS.format("open")),
                ("close", "Close", "Done: the gateway has carried out the closing. " + NOBODY_REPORTS.format("closed")),
                ("access-denied", "Deny", "Done: the lock has signalled that access is denied.")), 1):
            browser.press(f"{name}, Door 5")
            browser.see(said, browser.door)
            row = self.wait_for_rows(count, "--kind", "request")[-1]
            self.assertEqual((row["operation"], row["client"], row["result"]), (operation, "anna", "ack"))
        self.assertEqual(self.opened(), 1)
        self.assertNotIn("is open.", browser.text())

    def test_are_opened_for_as_long_as_wanted(self):
        browser = self.looking()
        browser.press("Longer, Door 5")
        browser.press("Open for 6 s, Door 5")
        browser.see("Done: the gateway has carried out the timed opening.", browser.door)
        request, = self.simulator.lines_with("OPEN_CLOSE_LOCK lock 5")
        self.assertTrue(request.endswith("payload 06"), request)

    def test_take_typed_seconds(self):
        browser = self.looking()
        browser.press("Change the seconds to stay open: 5, Door 5")
        field = browser.element("input[type=number]")
        self.assertEqual(field.accessible_name, "Seconds to stay open, Door 5")
        field.send_keys("300")
        browser.button("Open for 255 s, Door 5")
        field.send_keys(Keys.CONTROL + "a")
        field.send_keys("12" + Keys.ENTER)
        self.wait_for_seconds(browser, 12)
        self.assertEqual(browser.elements("input[type=number]"), [])
        browser.driver.switch_to.active_element.send_keys(Keys.ARROW_UP)
        self.wait_for_seconds(browser, 13)
        browser.driver.switch_to.active_element.send_keys(Keys.ENTER)
        browser.element("input[type=number]").send_keys("99" + Keys.ESCAPE)
        self.wait_for_seconds(browser, 13)
        browser.driver.switch_to.active_element.send_keys(Keys.ARROW_DOWN)
        browser.press("Open for 12 s, Door 5")
        browser.see("Done: the gateway has carried out the timed opening.", browser.door)
        request, = self.simulator.lines_with("OPEN_CLOSE_LOCK lock 5")
        self.assertTrue(request.endswith("payload 0C"), request)

    def wait_for_seconds(self, browser, seconds):
        """And that the button for them has the focus."""
        name = f"Change the seconds to stay open: {seconds}, Door 5"
        browser.wait(lambda: browser.driver.switch_to.active_element.accessible_name == name, name)

    def test_tell_their_battery(self):
        self.simulator.command("battery 5 1 1")
        browser = self.looking()
        browser.see("not known", browser.door)
        browser.press("Status, Door 5")
        browser.see("Done: the lock has reported its status.", browser.door)
        browser.see("resistance too high, at least 80 %", browser.door)
        self.simulator.command("flag 5 alarm on")
        browser.press("Status, Door 5")
        browser.see("alarm, ", browser.door)

    def test_show_what_is_under_way_and_take_no_second_touch(self):
        self.simulator.command("fault delay 2500 1 lock 5")
        browser, other = self.looking(), self.looking()
        browser.press("Open, Door 5")
        browser.see_busy("Open, Door 5", "true")
        browser.press("Open, Door 5")
        browser.see("Under way: Open, since ", browser.door)
        other.see("Under way: Open, since ", other.door)
        browser.press("Open, Door 5")
        browser.see("Done: the gateway has carried out the opening.", browser.door)
        browser.see_busy("Open, Door 5", "false")
        other.see("Open: done", other.door)
        self.assertNotIn("Under way", other.door().text)
        self.assertEqual(self.opened(), 1)
        self.assertEqual(len(self.audit("--kind", "request")), 1)

    def test_tell_why_nothing_was_done(self):
        self.simulator.command("fault force-result 8 1 lock 5")
        browser = self.looking()
        browser.press("Status, Door 5")
        browser.see("Refused: the gateway has no route to this lock. Nothing was done.", browser.door)
        self.mux.kill()
        browser.see("Mux not reachable")
        browser.press("Open, Door 5")
        browser.see("Not sent: the Mux cannot be reached. Nothing was done.", browser.door)
        self.assertEqual(self.opened(), 0)

    def test_tell_when_nobody_knows_what_was_done(self):
        self.simulator.command("fault silence always lock 5")
        browser = self.looking()
        browser.press("Open, Door 5")
        browser.see("No answer. The door may have moved.", browser.door)
        browser.see("Open: no answer", browser.door)


class Events(Looking):
    def present(self, browser, lock=5, data="04A1B2C3D4"):
        self.simulator.command(f"card {lock} {data}")
        browser.wait(lambda: any(data[-4:] in line for line in browser.lines()), f"the card {data}")

    def test_come_as_they_happen_and_are_filtered(self):
        browser = self.looking()
        browser.go("events")
        self.present(browser)
        self.present(browser, data="0411223344")
        self.simulator.command("card 6 04FFFFFFFF")
        self.simulator.command("pin 5 1234")
        browser.wait(lambda: len(browser.lines()) == 3, "three lines")
        pin, second, first = browser.lines()
        self.assertIn("PIN entered", pin)
        self.assertIn("*3344", second)
        self.assertIn("Card presented", first)
        # Neither digits that are secret nor a door that is none of her business.
        self.assertNotIn("1234", pin)
        self.assertNotIn("FFFF", browser.text())
        browser.choose("Kind", "PIN entered")
        browser.wait(lambda: browser.lines() == [pin], "the PIN alone")
        browser.choose("Kind", "All kinds")
        browser.fill("Text", "3344")
        browser.wait(lambda: browser.lines() == [second], "the second card alone")
        self.present(browser, data="0455663344")
        browser.wait(lambda: len(browser.lines()) == 2, "what comes and matches")

    def test_wait_while_the_page_is_paused(self):
        browser = self.looking()
        browser.go("events")
        browser.press("Pause")
        self.simulator.command("card 5 04A1B2C3D4")
        browser.see("Paused. 1 newer line waits.")
        self.assertEqual(browser.lines(), [])
        browser.press("Continue")
        browser.wait(lambda: len(browser.lines()) == 1, "its line")


class Cards(Looking):
    rules = Two.rules

    def cards_at(self, lock=5):
        before = self.simulator.count("")
        self.simulator.command(f"cards {lock}")
        wait_until(lambda: self.simulator.count("") > before, "the lock's list")
        return list(self.simulator.lines)[before:]

    def test_just_presented_get_access_in_two_touches_and_lose_it(self):
        browser = self.looking()
        browser.go("cards")
        self.simulator.command("card 5 04A1B2C3D4")
        browser.press("Give access, *C3D4")
        browser.press("Give access", browser.dialog())
        browser.see("Done: the card is in the lock's list.", browser.dialog)
        browser.press("Close", browser.dialog())
        browser.see("*C3D4", lambda: browser.element("table"))
        self.assertIn("04A1B2C3D4", " ".join(self.cards_at()))
        browser.press("Take away, *C3D4")
        browser.press("Take away", browser.dialog())
        browser.see("Done: the card is no longer in the lock's list.", browser.dialog)
        browser.press("Close", browser.dialog())
        browser.see("No card was entered yet.")
        self.assertNotIn("04A1B2C3D4", " ".join(self.cards_at()))

    def test_are_given_several_doors_under_a_name(self):
        browser = self.looking()
        browser.go("cards")
        browser.press("New card")
        dialog = browser.dialog()
        browser.press("Give access", dialog)
        browser.see("Enter hexadecimal digits, two a byte.", browser.dialog)
        browser.fill("Card's data", "04 a1 b2 c3", dialog)
        browser.press("Give access", dialog)
        browser.see("Choose at least one door.", browser.dialog)
        for box in browser.elements("input[type=checkbox]", dialog):
            box.click()
        browser.fill("Name", "Zoë's badge", dialog)
        browser.press("Give access", dialog)
        browser.see("Door 6: Done: the card is in the lock's list.", browser.dialog)
        browser.press("Close", dialog)
        browser.wait(lambda: len(browser.elements("tbody tr")) == 2, "both entries")
        browser.fill("Find a card", "zoë door 6")
        browser.see("1 of 2 entries")

    def test_leave_as_a_file_and_come_back_from_it(self):
        browser = self.looking()
        anna = self.logged_in()
        self.assertEqual(anna.order("whitelist-add", card="04A1B2C3D4", label='The "Boss"')[1]["result"], "ack")
        browser.go("cards")
        browser.see('The "Boss"')
        browser.press("Export")
        file = browser.downloaded("cards.csv")
        header, row = file.read_text().splitlines()
        self.assertEqual(header, "gateway,lock,card,label,client,time")
        self.assertTrue(row.startswith('1,5,04A1B2C3D4,"The ""Boss""",'), row)
        file.write_text(f"{header}\n{row}\n1,6,04A1B2C3D4,Deputy\n1,6,04A1B,Odd digits\n")
        browser.press("Import")
        browser.control("File", browser.dialog()).send_keys(str(file))
        browser.see("2 cards to send, 1 line not usable.", browser.dialog)
        browser.see("the card is not hexadecimal with two digits a byte", browser.dialog)
        browser.press("Send", browser.dialog())
        browser.see("All 2 done.", browser.dialog)
        browser.see("in the list already", browser.dialog)
        browser.press("Close", browser.dialog())
        browser.see("Deputy", lambda: browser.element("table"))


class Audit(Looking):
    def rows(self, browser):
        return [row.text for row in browser.elements("tbody tr")]

    def test_is_searched_and_downloaded(self):
        self.assertEqual(self.logged_in("ben").order(lock=6)[1]["result"], "ack")
        browser = self.looking()
        browser.press("Open, Door 5")
        browser.see("Open: done", browser.door)
        self.wait_for_rows(2, "--kind", "request")
        browser.go("audit")
        browser.wait(lambda: len(self.rows(browser)) > 2, "its rows")
        self.assertTrue(any("Logged in" in row for row in self.rows(browser)), self.rows(browser))
        browser.fill("Client", "ben")
        browser.choose("Kind", "Request")
        browser.press("Search")
        browser.wait(lambda: len(self.rows(browser)) == 1, "Ben's request")
        row, = self.rows(browser)
        self.assertIn("ben", row)
        self.assertIn("done", row)
        browser.press("Download as CSV")
        file = browser.downloaded("audit.csv")
        self.assertEqual(len(file.read_text().splitlines()), 2)
        self.assertIn("ben", file.read_text().splitlines()[1])

    def test_is_for_auditors_only(self):
        browser = self.looking("ben")
        browser.load("/#/audit")
        browser.see("Only auditors may read the audit.")
        self.assertEqual(browser.elements("table"), [])


class Health(Looking):
    """The page is never loaded anew: it finds back by itself."""

    def looking(self, *arguments, **options):
        browser = super().looking(*arguments, **options)
        browser.run("window.isThatOfBefore = true")
        self.addCleanup(lambda: self.assertTrue(browser.run("return window.isThatOfBefore === true")))
        return browser

    def strip(self, browser):
        return lambda: browser.element("[aria-label=Health]")

    def test_tells_that_the_mux_is_away_and_back(self):
        browser = self.looking()
        self.mux.kill()
        browser.see("Mux not reachable", self.strip(browser))
        self.start_mux()
        browser.wait(lambda: "Mux not reachable" not in self.strip(browser)().text, "the Mux again")
        browser.press("Open, Door 5")
        browser.see("Done: the gateway has carried out the opening.", browser.door)

    def test_a_mux_that_ends_in_the_middle_of_an_opening(self):
        self.simulator.command("fault silence always lock 5")
        browser = self.looking()
        browser.press("Open, Door 5")
        self.simulator.wait_for("OPEN_LOCK lock 5")
        browser.see("Under way: Open, since ", browser.door)
        self.mux.kill()
        browser.see("No answer. The door may have moved.", browser.door)
        browser.see("Mux not reachable", self.strip(browser))

    def test_what_is_old_is_marked_while_the_proxy_is_away(self):
        browser = self.looking()
        browser.press("Open, Door 5")
        browser.see("Open: done", browser.door)
        self.proxy.kill()
        browser.see("Connection lost since ", lambda: browser.element("[role=alert]"))
        browser.see("old: as of ", browser.door)
        browser.press("Open, Door 5")
        browser.see("The connection to the proxy broke before the answer came. The door may have moved.", browser.door)
        self.assertEqual(self.opened(), 1)
        self.start_proxy()
        browser.see("Your session has ended. Log in again.")
        self.assertNotIn("Door 5", browser.text())
        browser.log_in()
        browser.see("Open: done", browser.door)
        self.assertNotIn("old: as of", browser.text())

    def test_a_proxy_that_ends_in_the_middle_of_an_opening(self):
        self.simulator.command("fault silence always lock 5")
        browser = self.looking()
        browser.press("Open, Door 5")
        self.simulator.wait_for("OPEN_LOCK lock 5")
        self.proxy.process.send_signal(signal.SIGKILL)
        browser.see("The connection to the proxy broke before the answer came. The door may have moved.", browser.door)


if __name__ == "__main__":
    unittest.main()
