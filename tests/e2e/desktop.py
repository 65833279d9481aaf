"""A private desktop for wardlet's end-to-end tests.

DesktopTest.setUp starts an X display with a tray host, a session bus, the accessibility bus and
the daemon simulator; a test then starts wardlet and reads back what a user would see: the tray
icon's pixels, windows by title, their widgets. Everything started is gone when the test ends.
"""

import collections
import ctypes
import fcntl
import json
import os
import pwd
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(os.path.dirname(HERE))
BUILD = os.path.join(ROOT, "build", "qt6")
WARDLET = os.path.abspath(os.environ.get("WARDLET_BIN", os.path.join(BUILD, "wardlet")))
SIMULATOR = os.environ.get("WARDLET_SIM", os.path.join(BUILD, "tools", "wardlet-daemon-sim"))
ARTEFACTS = os.environ.get("WARDLET_ARTEFACTS", os.path.join(BUILD, "tests", "e2e-artefacts"))
PYTHON = "/usr/bin/python3"  # Debian's, the one with pyatspi
HOME = pwd.getpwuid(os.getuid()).pw_dir  # where wardlet looks: the password database
ICON = 22

KVS_REQUESTS = ["KvsStatusRequest", "KvsVersionsRequest", "KvsScanStatusRequest"]
PDX_REQUESTS = ["PdxServerStatusRequest", "PdxGroupRequest", "PdxConnectedTimeRequest",
                "PdxLocationRequest", "PdxPolicyNumberRequest"]
STATUS_REQUESTS = KVS_REQUESTS + PDX_REQUESTS

Frame = collections.namedtuple("Frame", "when channel name details")
FRAME = re.compile(r"^(kvs|pdx) <- seq=\d+ (\S+)(.*)$")
TREE_LINE = re.compile(r'^(\s+)0x[0-9a-f]+ (?:".*"|\(has no name\)): \((.*)\)\s+'
                       r'(\d+)x(\d+)\+-?\d+\+-?\d+\s+\+(-?\d+)\+(-?\d+)')
PANEL = '"panel" "trayer"'
# Open to every user (a compositor may run as another), and with no service directories.
SESSION_BUS = """<busconfig><type>session</type><listen>unix:dir={}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/>
<allow receive_sender="*"/></policy></busconfig>"""

# Orphans of what we start (the accessibility bus's own daemons) come back to us, so the end of
# a test can find and end them too.
ctypes.CDLL(None).prctl(36, 1, 0, 0, 0)  # PR_SET_CHILD_SUBREAPER
# A run ended by ctest still takes its desktop down on the way out.
signal.signal(signal.SIGTERM, lambda number, frame: sys.exit(1))


def wait_until(predicate, timeout, interval=0.05):
    """Polls predicate until it returns something true or timeout seconds pass; returns its last value."""
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value or time.monotonic() >= deadline:
            return value
        time.sleep(interval)


def read_line(stream, timeout):
    ready, _, _ = select.select([stream], [], [], timeout)
    return ready and stream.readline().strip()


def read_file(path):
    """The bytes of a file that may vanish meanwhile, as a process's files do; empty then."""
    try:
        with open(path, "rb") as file:
            return file.read()
    except OSError:
        return b""


def pgrep(*options):
    return [int(pid) for pid in subprocess.run(["pgrep", *options], capture_output=True, text=True).stdout.split()]


def end_orphans():
    """Kills and reaps whatever of our descendants outlived its parent."""
    while orphans := pgrep("-P", str(os.getpid())):
        for pid in orphans:
            try:
                os.kill(pid, signal.SIGKILL)
                os.waitpid(pid, 0)
            except (ProcessLookupError, ChildProcessError):
                pass


def stop(process):
    if process.stdin:
        process.stdin.close()
    process.terminate()  # does nothing once it has ended
    try:
        process.wait(5)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def exit_status(process, timeout):
    try:
        return process.wait(timeout)
    except subprocess.TimeoutExpired:
        return f"still running {timeout} s later"


def wake_up_file(pid):
    """The file by which a second start asks copy pid to show itself."""
    return os.path.join(HOME, f".wardletNotify{pid}")


class Simulator:
    """The daemon simulator: commands go to its standard input, its log is kept line by line."""

    def __init__(self, process, log):
        self.process, self._log, self._lines = process, log, []
        self._lock = threading.Lock()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        with self.process.stdout, self._log:
            for line in self.process.stdout:
                with self._lock:
                    self._lines.append((time.monotonic(), line.rstrip("\n")))
                self._log.write(line)
                self._log.flush()

    def send(self, *commands):
        self.process.stdin.write("".join(command + "\n" for command in commands))
        self.process.stdin.flush()

    def mark(self):
        """A position in the log; later reads can start from it."""
        with self._lock:
            return len(self._lines)

    def lines(self, since=0):
        with self._lock:
            return [line for _, line in self._lines[since:]]

    def frames(self, since=0):
        with self._lock:
            entries = self._lines[since:]
        return [Frame(when, *match.groups()) for when, match in
                ((when, FRAME.match(line)) for when, line in entries) if match]

    def wait_line(self, text, since=0, timeout=5):
        return wait_until(lambda: text in self.lines(since), timeout)

    def wait_frames(self, names, since=0, timeout=5):
        """Waits until every one of names arrived after since; returns the frames so far, or None."""
        return wait_until(lambda: (frames := self.frames(since)) and set(names) <= {f.name for f in frames}
                          and frames, timeout)


class DesktopTest(unittest.TestCase):
    """A test on a fresh desktop of its own; self.sim is the daemon simulator, self.wardlet the program."""

    _pictures = None
    TRAY_AT_START = True

    def setUp(self):
        self.prepare()
        self.start_x11_desktop()
        self.start_simulator()

    def prepare(self):
        """Artefacts, a scratch directory and an environment of the test's own."""
        # One wardlet per user is the program's own rule, so runs from other build trees wait their
        # turn: the lock is on the home directory, where the wake-up files go.
        turn = os.open(HOME, os.O_RDONLY)
        self.addCleanup(os.close, turn)
        fcntl.flock(turn, fcntl.LOCK_EX)
        self.addCleanup(end_orphans)
        self.artefacts = os.path.join(ARTEFACTS, self._testMethodName)
        shutil.rmtree(self.artefacts, ignore_errors=True)
        os.makedirs(self.artefacts)
        self.tmp = tempfile.mkdtemp(prefix="wardlet-e2e-")
        self.addCleanup(shutil.rmtree, self.tmp, True)
        self.settings_file = os.path.join(self.tmp, "config", "trevanta.example", "wardlet.conf")
        os.makedirs(os.path.dirname(self.settings_file))
        os.mkdir(os.path.join(self.tmp, "runtime"), 0o700)
        self.env = {key: value for key, value in os.environ.items()
                    if not key.startswith(("QT_", "DBUS_", "WARDLET_", "XDG_", "LC_", "WAYLAND_", "SWAY"))
                    and key not in ("DISPLAY", "LANG", "LANGUAGE", "DESKTOP_STARTUP_ID")}
        self.env.update(XDG_CONFIG_HOME=os.path.join(self.tmp, "config"), LC_ALL="C",
                        XDG_RUNTIME_DIR=os.path.join(self.tmp, "runtime"))
        self.suffix = "-" + os.path.basename(self.tmp)  # names this test's daemon sockets
        self.wardlet, self.pids = None, []
        # A copy that ends before it read its wake-up file leaves it behind. Registered before any
        # process starts, this runs once all have ended.
        self.addCleanup(lambda: [os.remove(f) for f in map(wake_up_file, self.pids) if os.path.exists(f)])

    def start_x11_desktop(self):
        """An X display, a tray unless the test wants it later, a session bus and the accessibility bus."""
        read_end, write_end = os.pipe()
        self.spawn(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1024x768x24", "-nolisten", "tcp"],
                   "xvfb", pass_fds=(write_end,))
        os.close(write_end)
        with os.fdopen(read_end) as numbers:
            self.env["DISPLAY"] = ":" + (read_line(numbers, 10) or self.fail("Xvfb reported no display"))
        if self.TRAY_AT_START:
            self.start_trayer()
        self.start_session_bus()
        self.spawn(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"], "at-spi")
        self.assertTrue(wait_until(lambda: "boolean true" in self.run_tool(
            "dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus.NameHasOwner", "string:org.a11y.Bus"), 10), "no accessibility bus")

    def start_session_bus(self):
        """A session bus of this test's own that starts no services: a notification server, say,
        runs only where a test starts one."""
        with open(os.path.join(self.tmp, "bus.conf"), "w") as conf:
            conf.write(SESSION_BUS.format(self.tmp))
        bus = self.spawn(["dbus-daemon", "--config-file", conf.name, "--nofork", "--print-address=1"], "dbus",
                         stdout=subprocess.PIPE, text=True)
        self.env["DBUS_SESSION_BUS_ADDRESS"] = read_line(bus.stdout, 10) or self.fail("no session bus")
        bus.stdout.close()

    def start_simulator(self):
        self.sim = Simulator(self.spawn([SIMULATOR, "--suffix", self.suffix], None, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, bufsize=1),
                             open(os.path.join(self.artefacts, "simulator.log"), "w"))
        self.assertTrue(self.sim.wait_line("pdx: listening on @Calvorin-PdxIPC" + self.suffix),
                        "the simulator does not listen")

    def tearDown(self):
        self.screenshot("last")

    def start_trayer(self):
        # On a busy machine trayer now and then gives up on a display that has just come up.
        for attempt in range(3):
            trayer = self.spawn(["trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
                                 "--height", "24", "--SetDockType", "true", "--transparent", "false"],
                                f"trayer{time.monotonic_ns()}")
            if wait_until(lambda: trayer.poll() is not None or any(w[1] == PANEL for w in self.tree()), 10) \
                    and trayer.poll() is None:
                return trayer
        self.fail("trayer shows no panel")

    def spawn(self, argv, log_name, **options):
        if log_name:
            log = open(os.path.join(self.artefacts, log_name + ".log"), "w")
            self.addCleanup(log.close)
            options = dict(dict(stdout=log, stderr=log), **options)
        process = subprocess.Popen(argv, env=options.pop("env", self.env), **options)
        self.addCleanup(stop, process)  # later ones end first: wardlet before its desktop
        return process

    def start_wardlet(self, argv=(WARDLET,), log_name="wardlet", cwd=None, **env):
        """Starts a wardlet; it becomes self.wardlet unless one is running."""
        def others():  # what wardlet would take for a running copy of itself: the same executable
            return [pid for pid in pgrep("-U", str(os.getuid()), "wardlet") if pid not in self.pids
                    and os.path.realpath(f"/proc/{pid}/exe") == os.path.realpath(argv[0])
                    and self.suffix.encode() in read_file(f"/proc/{pid}/environ")]
        self.assertTrue(wait_until(lambda: not others(), 10),
                        f"processes {others()} run wardlet; it would take one for its running copy")
        process = self.spawn(list(argv), log_name, cwd=cwd, stdin=subprocess.DEVNULL, env=dict(
            self.env, QT_ACCESSIBILITY="1", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
            WARDLET_SOCKET_SUFFIX=self.suffix, **env))
        self.pids.append(process.pid)
        if not self.wardlet or self.wardlet.poll() is not None:
            self.wardlet = process
        return process

    def wait_requests(self, names=STATUS_REQUESTS, since=0, timeout=5):
        frames = self.sim.wait_frames(names, since, timeout)
        self.assertTrue(frames, f"not all of {names} arrived: {self.sim.lines(since)}")
        return frames

    def run_tool(self, *argv):
        return subprocess.run(argv, env=self.env, capture_output=True, text=True).stdout

    def screenshot(self, name):
        self.run_tool("/usr/bin/import", "-window", "root", os.path.join(self.artefacts, name + ".png"))

    # --- the tray icon -------------------------------------------------------------------------

    def tree(self):
        """(depth, WM_CLASS as printed, width, height, x, y) of every X window."""
        # xwininfo gives up when a window goes away while it walks the tree; a moment later the
        # tree is whole again.
        result = wait_until(lambda: (run := subprocess.run(["xwininfo", "-root", "-tree"], env=self.env,
                                                           capture_output=True, text=True)).returncode == 0
                            and run, 2) or self.fail("xwininfo cannot read the window tree")
        return [(len(m[1]), m[2], *map(int, m.groups()[2:]))
                for m in map(TREE_LINE.match, result.stdout.splitlines()) if m]

    def tray_icons(self):
        """(x, y) of every wardlet icon inside trayer's panel."""
        icons, panel = [], None
        for depth, wm_class, width, height, x, y in self.tree():
            if wm_class == PANEL or panel is not None and depth <= panel:
                panel = depth if wm_class == PANEL else None
            elif panel is not None and "wardlet" in wm_class and (width, height) == (ICON, ICON):
                icons.append((x, y))
        return icons

    def picture(self):
        """Which tray picture the icon shows: shield, green, red, yellow or grey; None without icon."""
        icons = self.tray_icons()
        if not icons:
            return None
        if DesktopTest._pictures is None:
            DesktopTest._pictures = {name: subprocess.run(
                ["/usr/bin/convert", os.path.join(ROOT, "images", f"tray_{name}.xpm"), "-depth", "8", "rgba:-"],
                check=True, capture_output=True).stdout for name in ("shield", "green", "red", "yellow", "grey")}
        x, y = icons[0]
        shown = subprocess.run(["/usr/bin/import", "-window", "root", "-crop", f"{ICON}x{ICON}+{x}+{y}",
                                "-depth", "8", "rgb:-"], env=self.env, capture_output=True).stdout
        # Transparent pixels show the panel, so only the picture's opaque ones count.
        for name, rgba in DesktopTest._pictures.items():
            if all(not rgba[4 * i + 3] or rgba[4 * i:4 * i + 3] == shown[3 * i:3 * i + 3] for i in range(ICON * ICON)):
                return name
        return "unknown"

    def assertPicture(self, name, state, timeout=3):
        seen = []
        wait_until(lambda: seen.append(self.picture()) or seen[-1] == name, timeout, 0.1)
        self.screenshot("icon-" + state)
        self.assertEqual(seen[-1], name, f"the tray icon's picture when {state}")

    def menu(self, key):
        """Opens the tray menu with a right click on the icon and picks the item by its mnemonic."""
        # A freshly embedded icon may still move while the panel makes room for it, and a click
        # that lands before it settled opens nothing: click where the painted icon is now.
        self.assertTrue(wait_until(lambda: self.picture() not in (None, "unknown"), 5, 0.1), "no painted tray icon")
        before = set(self.windows())
        for _ in range(3):
            x, y = self.tray_icons()[0]
            # A second click on the same spot with no motion in between opens no menu; coming in afresh does.
            self.run_tool("xdotool", "mousemove", "0", "0", "mousemove", str(x + ICON // 2), str(y + ICON // 2),
                          "click", "3")
            # The menu grabs the keyboard once it is shown; a key before that goes nowhere.
            if wait_until(lambda: set(self.windows()) - before, 2):
                break
        else:
            self.fail("no tray menu")
        self.run_tool("xdotool", "key", key)

    # --- windows and widgets -------------------------------------------------------------------

    def windows(self, title=None):
        return self.run_tool("xdotool", "search", "--all", "--onlyvisible", "--pid", str(self.wardlet.pid),
                             *(["--name", f"^{re.escape(title)}$"] if title else ["--class", "wardlet"])).split()

    def wait_window(self, title, timeout=5):
        return (wait_until(lambda: self.windows(title), timeout) or self.fail(f'no window "{title}"'))[0]

    def close_window(self, window):
        """Asks a window to close, as a window manager's close button does (WM_DELETE_WINDOW)."""
        x11 = ctypes.CDLL("libX11.so.6")
        x11.XOpenDisplay.restype, x11.XOpenDisplay.argtypes = ctypes.c_void_p, [ctypes.c_char_p]
        x11.XInternAtom.restype = ctypes.c_ulong
        x11.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
        x11.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long, ctypes.c_void_p]
        x11.XCloseDisplay.argtypes = [ctypes.c_void_p]

        class ClientMessage(ctypes.Structure):  # padded to the size of an XEvent
            _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                        ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                        ("format", ctypes.c_int), ("data", ctypes.c_long * 5), ("pad", ctypes.c_long * 16)]
        display = x11.XOpenDisplay(self.env["DISPLAY"].encode()) or self.fail("cannot open the display")
        event = ClientMessage(type=33, window=int(window),
                              message_type=x11.XInternAtom(display, b"WM_PROTOCOLS", 0), format=32)
        event.data[0] = x11.XInternAtom(display, b"WM_DELETE_WINDOW", 0)
        x11.XSendEvent(display, int(window), 0, 0, ctypes.byref(event))
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
