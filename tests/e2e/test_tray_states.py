"""The tray icon: embedded in the notification area, its picture telling the protection state."""

import os
import time
import unittest

from desktop import DesktopTest, read_file, wait_until


class TrayStates(DesktopTest):
    """A notification area that comes after the program, as autostart often has it, and restarts."""

    TRAY_AT_START = False

    def test_tray_states(self):
        # Hidden last time, but the scan daemon says to show the icon, and it has the last word.
        settings = os.path.join(self.tmp, "config", "trevanta.example", "wardlet.conf")
        os.makedirs(os.path.dirname(settings))
        with open(settings, "w") as file:
            file.write("[Wardlet]\nShowIcon=false\n")
        self.sim.send("vg 0", "status")
        self.assertTrue(self.sim.wait_line("vg 0"))
        self.start_wardlet()
        started = time.monotonic()
        self.wait_requests()
        # Said at the bus's first answer, not after asking it again and again.
        self.assertTrue(wait_until(lambda: b"no notification area yet" in read_file(
            os.path.join(self.artefacts, "wardlet.log")), 1), "no word that the tray is missing")
        time.sleep(max(0.0, started + 3 - time.monotonic()))
        trayer = self.desktop.start_trayer()
        self.assertPicture("red", "late-tray", timeout=2)

        self.sim.send("vg 1", "running 1", "server online 10.0.0.1 now")
        self.assertPicture("green", "online")
        self.sim.send("running 0")
        self.assertPicture("red", "not-running")

        trayer.kill()
        trayer.wait()
        self.assertTrue(wait_until(lambda: not self.tray_icons(), 5), "the icon outlives its tray")
        self.desktop.start_trayer()
        self.assertPicture("red", "restarted-tray", timeout=2)
        self.sim.send("show-icon 0")
        self.assertTrue(wait_until(lambda: not self.tray_icons(), 3), "the icon stays")
        self.sim.send("show-icon 1")
        self.assertPicture("red", "shown-again")
        self.assertEqual(len(self.tray_icons()), 1)


if __name__ == "__main__":
    unittest.main()
