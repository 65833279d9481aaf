"""Signals: SIGUSR2 asks the daemons again a second later, SIGTERM ends the program."""

import os
import signal
import time
import unittest

from desktop import STATUS_REQUESTS, DesktopTest, exit_status


class Signals(DesktopTest):
    def test_signals(self):
        self.start_wardlet()
        self.wait_requests()
        # However many arrive at once, wake-ups make one round of requests a second later, and no window.
        for _ in range(1000):
            os.kill(self.wardlet.pid, signal.SIGUSR2)
        mark, sent = self.sim.mark(), time.monotonic()
        delay = min(f.when for f in self.wait_requests(since=mark, timeout=3)) - sent
        self.assertTrue(0.8 <= delay <= 1.6, f"asked again after {delay:.2f} s")
        time.sleep(1.5)  # an absence: no second round may follow
        self.assertCountEqual([f.name for f in self.sim.frames(mark)], STATUS_REQUESTS)
        self.assertFalse(self.windows("Trevanta"), "a window opened")

        # SIGINT takes the same way through the signal bridge, whose unit test covers it.
        self.wardlet.send_signal(signal.SIGTERM)
        self.assertEqual(exit_status(self.wardlet, 2), 0)


if __name__ == "__main__":
    unittest.main()
