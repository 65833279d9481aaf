"""Losing and regaining the daemons, and staying quiet while nothing happens."""

import time
import unittest

from desktop import KVS_REQUESTS, DesktopTest


def main_thread_runtime(pid):
    """Nanoseconds a process's main thread has run: every wake-up adds to them."""
    with open(f"/proc/{pid}/task/{pid}/schedstat") as file:
        return int(file.read().split()[0])


class Reconnect(DesktopTest):
    def test_reconnect(self):
        # Heard from no daemon yet, the icon claims no protection.
        self.sim.send("stop all")
        self.assertTrue(self.sim.wait_line("pdx: stopped listening"))
        self.start_wardlet()
        self.assertPicture("red", "no-daemons")
        self.sim.send("listen all")
        self.wait_requests()
        self.assertPicture("green", "connected")

        mark, dropped = self.sim.mark(), time.monotonic()
        self.sim.send("drop kvs")
        self.assertPicture("red", "scan-daemon-dropped")
        frames = self.wait_requests(KVS_REQUESTS, mark, 3)
        self.assertLess(max(f.when for f in frames) - dropped, 1.5, "asked the scan daemon again too late")
        self.assertPicture("green", "scan-daemon-back")

        self.sim.send("stop pdx")
        self.assertPicture("red", "management-gone", timeout=2)
        self.sim.send("stop kvs")
        mark, listening = self.sim.mark(), time.monotonic()
        self.sim.send("listen all")
        frames = self.wait_requests(since=mark, timeout=3)
        self.assertLess(max(f.when for f in frames) - listening, 1.5, "asked both daemons again too late")
        self.assertPicture("green", "daemons-back")

        # Connected and told nothing new, it sends nothing and barely wakes up: no busy loop, no
        # polling is left over (polling costs milliseconds here; a stray X event, microseconds).
        mark, runtime = self.sim.mark(), main_thread_runtime(self.wardlet.pid)
        time.sleep(2)  # an absence: nothing may happen in this time
        self.assertEqual(self.sim.frames(mark), [])
        self.assertLess(main_thread_runtime(self.wardlet.pid) - runtime, 1_000_000, "the main thread kept waking up")


if __name__ == "__main__":
    unittest.main()
