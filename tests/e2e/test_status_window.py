"""The status window: opened from the tray menu, showing what the daemons report, live."""

import unittest

from desktop import DesktopTest, exit_status, wait_until

TITLE = "Trevanta"
CONTACT = 1800000000  # the management server's last contact, as the simulator reports it

STATE = ["versions 9.1.2 6.0.1 13.05", "defs-date 2 1 2027 12", "vg 1", "running 1", "scan 4", "update-allowed 1",
         f"server online 192.0.2.7 {CONTACT}", "group Research", 'location "Lab 3"', "policy PN-7"]

EXPECTED = {"Program:": "9.1.2", "Scan Engine:": "6.0.1", "Version:": "2 Jan 2027 rev. 12",
            "Vigilon:": "Enabled", "Scan:": "Done", "Server:": "192.0.2.7", "Group:": "Research",
            # in the user's zone (TZ=CET-1 below), not in UTC
            "Last Connected:": "Fri Jan 15 09:00:00 2027",
            "Location:": "Lab 3", "Policy Serial Number:": "PN-7"}


class StatusWindow(DesktopTest):
    def test_status_window(self):
        self.sim.send(*STATE)
        self.start_wardlet(TZ="CET-1")
        self.menu("t")
        self.wait_window(TITLE)
        self.assertFields(TITLE, EXPECTED)
        self.assertTrue(self.buttons(TITLE)["Novarel"], "the update button is disabled")

        self.sim.send("group Sales", "location-none", "vg 0", "scan 8", "versions 9.2 6.1 13.06", "defs-date 3 1 2027 13",
                      "policy PN-8", f"server online 192.0.2.7 {CONTACT + 3600}")
        self.assertFields(TITLE, {"Group:": "Sales", "Location:": "", "Vigilon:": "Disabled", "Scan:": "Scanning files",
                                  "Program:": "9.2", "Scan Engine:": "6.1", "Version:": "3 Jan 2027 rev. 13",
                                  "Policy Serial Number:": "PN-8", "Last Connected:": "Fri Jan 15 10:00:00 2027"})
        self.sim.send("stop kvs")
        self.assertTrue(wait_until(lambda: not self.buttons(TITLE)["Novarel"], 3), "the update button stays enabled")
        self.sim.send("server offline")
        self.assertFields(TITLE, {"Server:": "Offline"})

        self.press(TITLE, "Close")
        self.wait_gone(TITLE)
        self.assertIsNone(self.wardlet.poll(), "closing the window ended the program")
        self.menu("t")
        self.wait_window(TITLE)
        self.assertFields(TITLE, {"Group:": "Sales", "Server:": "Offline"})

        self.menu("e")
        self.assertEqual(exit_status(self.wardlet, 2), 0, "Exit in the tray menu")


if __name__ == "__main__":
    unittest.main()
