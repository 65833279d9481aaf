"""Losing and regaining the daemons, and staying quiet while nothing happens."""

import time
import unittest

from desktop import KVS_REQUESTS, DesktopTest


def main_thread_ticks(pid):
    """utime + stime of a process's main thread, in clock ticks."""
    with open(f"/proc/{pid}/task/{pid}/stat") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return sum(map(int, fields[11:13]))


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
        request = next(f for f in self.wait_requests(KVS_REQUESTS, mark, 3) if f.name == "KvsStatusRequest")
        self.assertEqual(request.details, ' locale="C"')
        self.assertLess(request.when - dropped, 1.5, "asked the scan daemon again too late")
        self.assertPicture("green", "scan-daemon-back")

        self.sim.send("stop pdx")
        self.assertPicture("red", "management-gone", timeout=2)
        self.sim.send("stop kvs")
        mark, listening = self.sim.mark(), time.monotonic()
        self.sim.send("listen all")
        frames = self.wait_requests(since=mark, timeout=3)
        self.assertLess(max(f.when for f in frames) - listening, 1.5, "asked both daemons again too late")
        self.assertPicture("green", "daemons-back")

        # Connected and told nothing new, it sends nothing and uses no CPU: no busy loop is left over.
        mark, ticks = self.sim.mark(), main_thread_ticks(self.wardlet.pid)
        time.sleep(2)  # an absence: nothing may happen in this time
        self.assertEqual(self.sim.frames(mark), [])
        self.assertEqual(main_thread_ticks(self.wardlet.pid), ticks, "the main thread used CPU while idle")


if __name__ == "__main__":
    unittest.main()
