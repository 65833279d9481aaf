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
        self.sim.send("vg 1", "running 1", "scan 8", "server offline")
        # de_AT has no file of its own: the German one serves it.
        self.start_wardlet([os.path.join(dest, "usr", "bin", "wardlet")], cwd=self.tmp, LC_ALL="de_AT.UTF-8")
        self.wait_requests()
        self.menu("t")  # "&Trevanta öffnen"
        self.wait_window("Trevanta")
        # The daemons' states in words; the window's unit test covers its own captions.
        self.assertFields("Trevanta", {"Vigilon:": "Eingeschaltet", "Prüfung:": "Prüft Dateien", "Server:": "Offline"})


if __name__ == "__main__":
    unittest.main()
