"""The tray icon: embedded in the notification area, its picture telling the protection state."""

import time
import unittest

from desktop import DesktopTest, wait_until


class TrayStates(DesktopTest):
    def assertSetting(self, line):
        def saved():
            with open(self.settings_file) as file:
                return line in file.read().splitlines()
        self.assertTrue(wait_until(saved, 2), f"the settings file lacks {line}")

    def test_tray_states(self):
        # Hidden last time, but the scan daemon says to show the icon, and it has the last word.
        with open(self.settings_file, "w") as file:
            file.write("[Wardlet]\nShowIcon=false\n")
        self.sim.send("vg 0", "status")
        self.assertTrue(self.sim.wait_line("vg 0"))
        self.start_wardlet()
        self.assertTrue(wait_until(self.tray_icons, 5), "no wardlet icon inside the tray")
        self.assertPicture("red", "scanner-disabled")
        self.assertEqual(len(self.tray_icons()), 1)
        self.assertSetting("ShowIcon=true")

        for commands, picture, state in [(["vg 1", "running 1", "server online 10.0.0.1 now"], "green", "online"),
                                         (["server offline"], "yellow", "offline"),
                                         (["selfmanaged"], "shield", "self-managed"),
                                         (["running 0"], "red", "not-running"),
                                         (["running 1"], "shield", "running-again")]:
            self.sim.send(*commands)
            self.assertPicture(picture, state)

        self.sim.send("show-icon 0")
        self.assertTrue(wait_until(lambda: not self.tray_icons(), 3), "the icon stays")
        self.assertSetting("ShowIcon=false")
        self.sim.send("show-icon 1")
        self.assertPicture("shield", "shown-again")
        self.assertSetting("ShowIcon=true")


class LateTray(DesktopTest):
    """A notification area that comes after the program, as autostart often has it, and restarts."""

    TRAY_AT_START = False

    def test_icon_is_embedded_in_a_late_and_a_restarted_tray(self):
        self.sim.send("vg 1", "running 1", "server online 10.0.0.1 now")
        self.start_wardlet()
        started = time.monotonic()
        self.wait_requests()
        time.sleep(max(0.0, started + 3 - time.monotonic()))
        trayer = self.start_trayer()
        self.assertPicture("green", "late-tray", timeout=2)

        trayer.kill()
        trayer.wait()
        self.assertTrue(wait_until(lambda: not self.tray_icons(), 5), "the icon outlives its tray")
        self.start_trayer()
        self.assertPicture("green", "restarted-tray", timeout=2)
        self.assertEqual(len(self.tray_icons()), 1)


if __name__ == "__main__":
    unittest.main()
