"""The update tool: started from the status window, its outcome reported to both daemons."""

import os
import unittest

from desktop import DesktopTest, wait_until

TITLE = "Trevanta"


class UpdateTool(DesktopTest):
    def test_update_tool(self):
        # The tool is found below the install directory the suite's configuration file names.
        install = os.path.join(self.tmp, "install")
        tool = os.path.join(install, "calvorin_antivirus", "qelnrwrap")
        os.makedirs(os.path.dirname(tool))
        config = os.path.join(self.tmp, "Calvorin.conf")
        with open(config, "w") as file:
            file.write(f"InstallDir = {install}\nOther = /nowhere\n")
        go = os.path.join(self.tmp, "go")
        self.start_wardlet(WARDLET_CONFIG_FILE=config)
        self.wait_requests()
        self.menu("t")
        self.wait_window(TITLE)

        for status, kvs_told in ((0, True), (3, False)):
            with open(tool, "w") as file:
                file.write(f"#!/bin/sh\nwhile [ ! -e '{go}' ]; do sleep 0.05; done\nrm '{go}'\nexit {status}\n")
            os.chmod(tool, 0o755)
            self.assertTrue(wait_until(lambda: self.buttons(TITLE).get("Novarel"), 3), self.buttons(TITLE))
            mark = self.sim.mark()
            self.press(TITLE, "Novarel")
            # While the tool runs, the button says so and takes no second press.
            self.assertTrue(wait_until(lambda: self.buttons(TITLE).get("Novarel is running") is False, 3),
                            self.buttons(TITLE))
            open(go, "w").close()
            if status:
                self.wait_window("Warning")
                self.assertIn("Novarel failed", [w["name"] for w in self.widgets("Warning") if w["role"] == "label"])
                self.press("Warning", "OK")
                self.wait_gone("Warning")
            frames = self.wait_requests(["PdxUpdateResult"] + ["KvsUpdateDone"] * kvs_told, mark)
            self.assertEqual([f.details for f in frames if f.name == "PdxUpdateResult"], [f" result={int(bool(status))}"])
            self.assertEqual("KvsUpdateDone" in [f.name for f in frames], kvs_told)


if __name__ == "__main__":
    unittest.main()
