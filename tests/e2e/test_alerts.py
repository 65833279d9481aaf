"""The alert viewer: alerts from the scan daemon, expanded from their template, kept in order.
Which alert it keeps in view, its buttons' states, stepping back and closing: its unit test."""

import unittest

from desktop import DesktopTest

FORMAT = r'alert now "Threat ~N found in ~F\r\nAction: ~A" '
FIRST = FORMAT + "N=Test-File F=/tmp/x A=Quarantined"
SECOND = FORMAT + "N=Other-File F=/tmp/y A=Deleted"
FIRST_TEXT = ["Threat Test-File found in /tmp/x", "Action: Quarantined"]
SECOND_TEXT = ["Threat Other-File found in /tmp/y", "Action: Deleted"]


class Alerts(DesktopTest):
    def shown(self, title):
        """The lines of the viewer's text, once the viewer has title."""
        self.wait_window(title)
        return next(w["text"] for w in self.widgets(title) if w["role"] == "text").splitlines()

    def test_alerts(self):
        self.start_wardlet()
        self.wait_requests()
        self.sim.send(FIRST)
        self.assertEqual(self.shown("Mireval - Alert 1 of 1"), FIRST_TEXT)
        self.sim.send(SECOND)
        self.press("Mireval - Alert 1 of 2", ">>")
        self.assertEqual(self.shown("Mireval - Alert 2 of 2"), SECOND_TEXT)


if __name__ == "__main__":
    unittest.main()
