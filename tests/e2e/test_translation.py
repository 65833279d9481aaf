"""The installed program in German, started from a directory without any translation file."""

import os
import subprocess
import unittest

from desktop import DesktopTest


class Translation(DesktopTest):
    def test_installed_program_speaks_german(self):
        dest = os.path.join(self.tmp, "dest")
        subprocess.run(["cmake", "--install", os.environ["WARDLET_BUILD"], "--prefix", "/usr"], check=True,
                       capture_output=True, env=dict(os.environ, DESTDIR=dest))
        empty = os.path.join(self.tmp, "empty")
        os.mkdir(empty)
        self.sim.send("vg 1", "running 1", "scan 8", "server offline")
        # de_AT has no file of its own: the German one serves it.
        self.start_wardlet([os.path.join(dest, "usr", "bin", "wardlet")], cwd=empty, LC_ALL="de_AT.UTF-8")
        self.wait_requests()
        self.menu("t")  # "&Trevanta öffnen"
        self.wait_window("Trevanta")
        self.assertFields("Trevanta", {"Programm:": "8.2.0", "Vigilon:": "Eingeschaltet", "Prüfung:": "Prüft Dateien",
                                       "Server:": "Offline", "Richtlinien-Seriennummer:": "PN-0042"})
        self.assertIn("Schließen", self.buttons("Trevanta"))
        self.screenshot("german-status-window")


if __name__ == "__main__":
    unittest.main()
