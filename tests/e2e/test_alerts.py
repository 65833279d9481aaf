"""The alert viewer: alerts from the scan daemon, expanded from their template, kept in order.
Stepping back and closing are the viewer's own unit test."""

import unittest

from desktop import DesktopTest

FORMAT = r'alert now "Threat ~N found in ~F\r\nAction: ~A" '
FIRST = FORMAT + "N=Test-File F=/tmp/x A=Quarantined"
SECOND = FORMAT + "N=Other-File F=/tmp/y A=Deleted"
FIRST_TEXT = ["Threat Test-File found in /tmp/x", "Action: Quarantined"]
SECOND_TEXT = ["Threat Other-File found in /tmp/y", "Action: Deleted"]


class Alerts(DesktopTest):
    def shown(self, title):
        """The lines of the viewer's text and {button: enabled}, once the viewer has title."""
        self.wait_window(title)
        widgets = self.widgets(title)
        text = next(w["text"] for w in widgets if w["role"] == "text")
        return text.splitlines(), {w["name"]: w["enabled"] for w in widgets if w["role"] == "push button"}

    def test_alerts(self):
        self.start_wardlet()
        self.wait_requests()
        self.sim.send(FIRST)
        self.assertEqual(self.shown("Mireval - Alert 1 of 1"), (FIRST_TEXT, {"<<": False, ">>": False}))

        # A second alert keeps the first in view.
        self.sim.send(SECOND)
        self.assertEqual(self.shown("Mireval - Alert 1 of 2"), (FIRST_TEXT, {"<<": False, ">>": True}))
        self.press("Mireval - Alert 1 of 2", ">>")
        self.assertEqual(self.shown("Mireval - Alert 2 of 2"), (SECOND_TEXT, {"<<": True, ">>": False}))


if __name__ == "__main__":
    unittest.main()
