"""One copy per user: a second start wakes the running copy and leaves."""

import os
import shutil
import subprocess
import time
import unittest

from desktop import WARDLET, DesktopTest, exit_status, read_file, wait_until


class SingleInstance(DesktopTest):
    def test_second_start_shows_the_running_copy(self):
        # An upgrade replaced the executable under the running copy: it is still the same program.
        program = os.path.join(self.tmp, "wardlet")
        shutil.copy(WARDLET, program)
        first = self.start_wardlet([program])
        self.wait_requests()  # connected: its search for a running copy is over
        os.remove(program)
        shutil.copy(WARDLET, program)

        # Options are answered before the check for a running copy, which they never reach.
        env = dict(self.env, WARDLET_SOCKET_SUFFIX=self.suffix)
        for option, status, answer in (("--help", 0, r"Usage: wardlet \[options\]"),
                                       ("--version", 0, r"^wardlet \d+\.\d+\.\d+\n$"),
                                       ("--bogus", 2, r"^wardlet: Unknown option 'bogus'\.\n$")):
            run = subprocess.run([program, option], env=env, capture_output=True, text=True, timeout=5)
            self.assertEqual(run.returncode, status, option)
            self.assertRegex(run.stdout if status == 0 else run.stderr, answer)
        self.assertFalse(self.windows("Trevanta"), "an option woke the running copy")

        # Qt's own options, such as a restored session's, are no mistake: that start goes on as any other.
        mark, started = self.sim.mark(), time.monotonic()
        second = self.start_wardlet([program, "-session", "1234_5"], log_name="second")
        self.assertEqual(exit_status(second, 3), 0)
        self.assertLess(time.monotonic() - started, 2, "the second start took its time")
        self.assertEqual(read_file(os.path.join(self.artefacts, "second.log")),
                         f"process {first.pid} is the running copy; asked it to show its window\n".encode())
        window = self.wait_window("Trevanta")
        self.assertNotIn("kvs: connected", self.sim.lines(mark), "the second start connected")

        # Open already and covered, the window comes on top and takes the keyboard focus on the next start.
        self.spawn(["xmessage", "-name", "cover", "-geometry", "2000x2000+0+0", "cover"], "cover")
        self.assertTrue(wait_until(lambda: self.run_tool("xdotool", "search", "--onlyvisible", "--name", "^cover$"), 3))
        panel = self.run_tool("xdotool", "search", "--class", "trayer").split()[0]
        self.run_tool("xdotool", "windowfocus", "--sync", panel)
        launch, descriptors = "launcher-1234_TIME5678", os.listdir(f"/proc/{first.pid}/fd")
        self.assertEqual(exit_status(self.start_wardlet([program], log_name="third", DESKTOP_STARTUP_ID=launch), 3), 0)
        self.assertTrue(wait_until(lambda: self.run_tool("xdotool", "getwindowfocus").strip() == window, 3),
                        "the status window did not take the focus")
        self.assertTrue(wait_until(lambda: (stacking := self.run_tool("xwininfo", "-root", "-children")).index(
            f"{int(window):#x} ") < stacking.index('"cover"'), 3), "the status window stays covered")  # topmost first
        # The window manager decides on the focus by the launch's startup id.
        self.assertTrue(wait_until(lambda: f'"{launch}"' in self.run_tool("xprop", "-id", window, "_NET_STARTUP_ID"), 3),
                        "the status window does not carry the launch's startup id")
        # The X connection that passed the id on is closed again.
        self.assertTrue(wait_until(lambda: len(os.listdir(f"/proc/{first.pid}/fd")) == len(descriptors), 3),
                        f"descriptors {descriptors} became {os.listdir(f'/proc/{first.pid}/fd')}")
        self.assertIsNone(first.poll())


if __name__ == "__main__":
    unittest.main()
