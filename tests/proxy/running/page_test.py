"""The page as people use it, in a real Chromium."""
import unittest

from page_site import Looking
from proxy_site import wait_until


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


class Doors(Looking):
    def test_open(self):
        browser = self.looking()
        browser.press("Open, Door 5")
        browser.see("Done: the gateway has carried out the opening. Whether the door is open, nobody reports.",
                    browser.door)
        self.assertEqual(self.opened(), 1)


if __name__ == "__main__":
    unittest.main()
