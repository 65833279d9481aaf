"""The end-to-end tests' base class. DesktopTest.setUp starts a private desktop (tools/desktop)
with the accessibility bus and the daemon simulator; a test then starts wardlet and reads back
what a user would see: the tray icon's pixels, windows by title, their widgets. Everything
started is gone when the test ends."""

import contextlib
import ctypes
import functools
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, os.pardir, os.pardir, "tools", "desktop"))
from private_desktop import (BUILD, HOME, ICON, KVS_REQUESTS, ROOT, STATUS_REQUESTS, WARDLET,  # noqa: E402,F401
                             Desktop, end_orphans, pgrep, program_turn, wait_until)

ARTEFACTS = os.environ.get("WARDLET_ARTEFACTS", os.path.join(BUILD, "tests", "e2e-artefacts"))
PYTHON = "/usr/bin/python3"  # Debian's, the one with pyatspi


def read_file(path):
    """The bytes of a file that may vanish meanwhile, as a process's files do; empty then."""
    with contextlib.suppress(OSError), open(path, "rb") as file:
        return file.read()
    return b""


def exit_status(process, timeout):
    try:
        return process.wait(timeout)
    except subprocess.TimeoutExpired:
        return f"still running {timeout} s later"


@functools.cache
def xpm_rgba(name):
    """A tray picture as 8-bit RGBA samples."""
    return subprocess.run(["/usr/bin/convert", os.path.join(ROOT, "images", f"tray_{name}.xpm"), "-depth", "8",
                           "rgba:-"], check=True, capture_output=True).stdout


def executable(pid):
    """The program a process runs, or None once it is gone: it may end between listing and looking."""
    with contextlib.suppress(OSError):
        return os.readlink(f"/proc/{pid}/exe")


class DesktopTest(unittest.TestCase):
    """A test on a fresh desktop of its own; self.sim is the daemon simulator, self.wardlet the program."""

    TRAY_AT_START = True

    def setUp(self):
        """Artefacts, a scratch directory, a desktop with an environment of the test's own, the simulator."""
        self.enterContext(program_turn())  # runs from other build trees wait their turn
        self.addCleanup(end_orphans)
        self.artefacts = os.path.join(ARTEFACTS, self._testMethodName)
        shutil.rmtree(self.artefacts, ignore_errors=True)
        os.makedirs(self.artefacts)
        self.tmp = tempfile.mkdtemp(prefix="wardlet-e2e-")
        self.addCleanup(shutil.rmtree, self.tmp, True)
        self.desktop = Desktop(self.tmp, self.addCleanup, self.artefacts)  # later processes end first
        self.env = self.desktop.env
        self.spawn, self.run_tool, self.tray_icons = self.desktop.spawn, self.desktop.run, self.desktop.tray_icons
        self.env["LC_ALL"] = "C"
        self.suffix = "-" + os.path.basename(self.tmp)  # names this test's daemon sockets
        self.wardlet, self.pids = None, []
        # A copy that ends before it read its wake-up file (by which a second start asks it to show
        # itself) leaves it behind. Registered before any process starts, this runs once all have ended.
        self.addCleanup(lambda: [os.remove(f) for f in (os.path.join(HOME, f".wardletNotify{pid}") for pid in self.pids)
                                 if os.path.exists(f)])
        self.start_desktop()
        self.sim = self.desktop.start_simulator(self.suffix, os.path.join(self.artefacts, "simulator.log"))

    def start_desktop(self):
        """An X display, a tray unless the test wants it later, a session bus and the accessibility bus."""
        self.desktop.start_x11()
        if self.TRAY_AT_START:
            self.desktop.start_trayer()
        self.env.update(self.desktop.start_session_bus())
        self.spawn(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"], "at-spi")
        self.assertTrue(wait_until(lambda: "boolean true" in self.run_tool(
            "dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus.NameHasOwner", "string:org.a11y.Bus"), 10), "no accessibility bus")

    def tearDown(self):
        self.screenshot("last")

    def start_wardlet(self, argv=(WARDLET,), log_name="wardlet", cwd=None, **env):
        """Starts a wardlet; it becomes self.wardlet unless one is running."""
        def others():  # what wardlet would take for a running copy of itself: the same executable
            return [pid for pid in pgrep("-U", str(os.getuid()), "wardlet") if pid not in self.pids
                    and executable(pid) == os.path.realpath(argv[0])
                    and self.suffix.encode() in read_file(f"/proc/{pid}/environ")]
        self.assertTrue(wait_until(lambda: not others(), 10),
                        f"processes {others()} run wardlet; it would take one for its running copy")
        # Its log lines go to its log file as well as to syslog.
        process = self.spawn(list(argv), log_name, cwd=cwd, stdin=subprocess.DEVNULL, env=dict(
            self.env, QT_ACCESSIBILITY="1", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1", QT_FORCE_STDERR_LOGGING="1",
            WARDLET_SOCKET_SUFFIX=self.suffix, **env))
        self.pids.append(process.pid)
        if not self.wardlet or self.wardlet.poll() is not None:
            self.wardlet = process
        return process

    def wait_requests(self, names=STATUS_REQUESTS, since=0, timeout=5):
        frames = self.sim.wait_frames(names, since, timeout)
        self.assertTrue(frames, f"not all of {names} arrived: {self.sim.lines(since)}")
        return frames

    def screenshot(self, name):
        self.desktop.screenshot(os.path.join(self.artefacts, name + ".png"))

    def picture(self):
        """Which tray picture the icon shows: shield, green, red, yellow or grey; None without icon."""
        icons = self.tray_icons()
        if not icons:
            return None
        x, y = icons[0]
        shown = subprocess.run(["/usr/bin/import", "-window", "root", "-crop", f"{ICON}x{ICON}+{x}+{y}",
                                "-depth", "8", "rgb:-"], env=self.env, capture_output=True).stdout
        # Transparent pixels show the panel, so only the picture's opaque ones count.
        for name in ("shield", "green", "red", "yellow", "grey"):
            rgba = xpm_rgba(name)
            if all(not rgba[4 * i + 3] or rgba[4 * i:4 * i + 3] == shown[3 * i:3 * i + 3] for i in range(ICON * ICON)):
                return name
        return "unknown"

    def assertPicture(self, name, state, timeout=3):
        seen = []
        wait_until(lambda: seen.append(self.picture()) or seen[-1] == name, timeout, 0.1)
        self.screenshot("icon-" + state)
        self.assertEqual(seen[-1], name, f"the tray icon's picture when {state}")

    def menu(self, key):
        # A freshly embedded icon may still move while the panel makes room for it, and a click
        # that lands before it settled opens nothing: click where the painted icon is now.
        self.assertTrue(wait_until(lambda: self.picture() not in (None, "unknown"), 5, 0.1), "no painted tray icon")
        self.desktop.menu(self.wardlet.pid, key)

    def windows(self, title=None):
        return self.desktop.windows(self.wardlet.pid, title)

    def wait_window(self, title, timeout=5):
        return (wait_until(lambda: self.windows(title), timeout) or self.fail(f'no window "{title}"'))[0]

    def close_window(self, window):
        """Asks a window to close, as a window manager's close button does (WM_DELETE_WINDOW)."""
        x11 = ctypes.CDLL("libX11.so.6")
        x11.XOpenDisplay.restype = ctypes.POINTER(ctypes.c_void_p)  # false when null, passed on as a pointer
        display = x11.XOpenDisplay(self.env["DISPLAY"].encode()) or self.fail("cannot open the display")
        protocols, delete = (x11.XInternAtom(display, name, 0) for name in (b"WM_PROTOCOLS", b"WM_DELETE_WINDOW"))
        # A ClientMessage as an XEvent's 24 longs on x86-64: type, serial, send_event, display, window,
        # message_type, format, then its data.
        event = (ctypes.c_long * 24)(33, 0, 0, 0, int(window), protocols, 32, delete)
        x11.XSendEvent(display, ctypes.c_ulong(int(window)), 0, ctypes.c_long(0), event)
        x11.XCloseDisplay(display)

    def wait_gone(self, title, timeout=3):
        self.assertTrue(wait_until(lambda: not self.windows(title), timeout), f'the window "{title}" stays')

    def atspi(self, title, *press):
        """Runs widgets.py on the shown window title and returns what it printed."""
        # A window xdotool already sees can take a moment more to appear on the accessibility bus,
        # and one that changes while it is read fails the reading: try again.
        runs = []
        wait_until(lambda: runs.append(subprocess.run([PYTHON, os.path.join(HERE, "widgets.py"), str(self.wardlet.pid),
                                                       title, *press], env=self.env, capture_output=True, text=True))
                   or not runs[-1].returncode, 3, 0.1)
        self.assertEqual(runs[-1].returncode, 0, f'cannot reach the widgets of "{title}": {runs[-1].stderr}')
        return runs[-1].stdout

    def widgets(self, title):
        return json.loads(self.atspi(title))

    def fields(self, title):
        """{caption: value} of a window's labels, each value being the label right of a "...:" caption."""
        widgets = self.widgets(title)
        labels = [w for w in widgets if w["role"] == "label"]
        boxes = {w["name"] for w in widgets if w["role"] == "panel"}
        result = {}
        for caption in (w for w in labels if w["name"].endswith(":")):
            middle = caption["y"] + caption["height"] / 2
            right = [w for w in labels if w["x"] > caption["x"] + caption["width"] / 2
                     and w["y"] <= middle <= w["y"] + w["height"]]
            value = min(right, key=lambda w: w["x"])["name"] if right else ""
            result[caption["name"]] = "" if value in boxes else value.strip()  # Qt names an empty label after its box
        return result

    def assertFields(self, title, expected, timeout=3):
        seen = {}
        wait_until(lambda: seen.update(self.fields(title)) or expected.items() <= seen.items(), timeout, 0.2)
        self.assertLessEqual(expected.items(), seen.items(), f'"{title}" shows {seen}')

    def buttons(self, title):
        """{name: enabled} of the window's push buttons."""
        return {w["name"]: w["enabled"] for w in self.widgets(title) if w["role"] == "push button"}

    def press(self, title, button):
        self.atspi(title, "--press", button)
