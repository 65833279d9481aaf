"""The update tool: started from the status window, a failed run shown to the user and reported."""

import os
import unittest

from desktop import DesktopTest, wait_until

TITLE = "Trevanta"


class UpdateTool(DesktopTest):
    def test_failed_run(self):
        # Found below the install directory the suite's configuration names, the tool fails when told to go.
        tool = os.path.join(self.tmp, "install", "calvorin_antivirus", "qelnrwrap")
        os.makedirs(os.path.dirname(tool))
        config = os.path.join(self.tmp, "Calvorin.conf")
        with open(config, "w") as file:
            file.write(f"InstallDir = {self.tmp}/install\n")
        go = os.path.join(self.tmp, "go")
        with open(tool, "w") as file:
            file.write(f"#!/bin/sh\nwhile [ ! -e '{go}' ]; do sleep 0.05; done\nexit 3\n")
        os.chmod(tool, 0o755)
        self.start_wardlet(WARDLET_CONFIG_FILE=config)
        self.wait_requests()
        self.menu("t")
        self.wait_window(TITLE)

        self.assertTrue(wait_until(lambda: self.buttons(TITLE).get("Novarel"), 3), self.buttons(TITLE))
        self.press(TITLE, "Novarel")
        # While the tool runs, the button says so and takes no second press.
        self.assertTrue(wait_until(lambda: self.buttons(TITLE).get("Novarel is running") is False, 3),
                        self.buttons(TITLE))
        open(go, "w").close()
        self.wait_window("Warning")
        self.assertIn("Novarel failed", [w["name"] for w in self.widgets("Warning") if w["role"] == "label"])
        self.press("Warning", "OK")
        frames = self.wait_requests(["PdxUpdateResult"])
        self.assertEqual([f.details for f in frames if f.name == "PdxUpdateResult"], [" result=1"])


if __name__ == "__main__":
    unittest.main()
