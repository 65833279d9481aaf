"""A private desktop for end-to-end tests of wardlet.

Desktop() starts an X display with a tray host, a session bus, the accessibility bus, the daemon
simulator and wardlet, and reads back what a user would see: the tray icon's pixels, the tray
menu, windows by title and their widgets. Everything it started is gone when the with-block ends.
"""

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
import traceback

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
_BUILD = os.path.join(ROOT, "build", "qt6")
WARDLET = os.environ.get("WARDLET_BIN", os.path.join(_BUILD, "wardlet"))
SIMULATOR = os.environ.get("WARDLET_SIM", os.path.join(_BUILD, "tools", "wardlet-daemon-sim"))
ARTEFACTS = os.environ.get("WARDLET_ARTEFACTS", os.path.join(_BUILD, "tests", "e2e-artefacts"))
PYTHON = "/usr/bin/python3"  # the one that has Debian's pyatspi
WIDGETS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "widgets.py")
ICON_SIZE = 22

FRAME = re.compile(r"^(kvs|pdx) <- seq=(\d+) (\S+)(.*)$")

# Orphans of what we start (the accessibility bus's own daemons) come back to us, so teardown
# can find and end them too.
_PR_SET_CHILD_SUBREAPER = 36
ctypes.CDLL(None, use_errno=True).prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)


def wait_until(predicate, timeout, interval=0.05):
    """Polls predicate until it returns something true or timeout seconds pass; returns its last value."""
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value or time.monotonic() >= deadline:
            return value
        time.sleep(interval)


def _read_line(stream, timeout):
    """One line from a pipe, or "" when none came within timeout."""
    ready, _, _ = select.select([stream], [], [], timeout)
    return stream.readline() if ready else ""


class Frame:
    def __init__(self, when, channel, seq, name, details):
        self.when, self.channel, self.seq, self.name, self.details = when, channel, seq, name, details

    def __repr__(self):
        return f"{self.channel} seq={self.seq} {self.name}{self.details}"


class Simulator:
    """The daemon simulator: commands go to its standard input, its log is kept line by line."""

    def __init__(self, suffix, env, log_path):
        self.process = subprocess.Popen([SIMULATOR, "--suffix", suffix], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, env=env,
                                        text=True, bufsize=1)
        self._log = open(log_path, "w")
        self._lines = []
        self._lock = threading.Lock()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _read(self):
        for line in self.process.stdout:
            with self._lock:
                self._lines.append((time.monotonic(), line.rstrip("\n")))
            self._log.write(line)
            self._log.flush()

    def send(self, *commands):
        for command in commands:
            self.process.stdin.write(command + "\n")
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
        frames = []
        for when, line in entries:
            match = FRAME.match(line)
            if match:
                frames.append(Frame(when, match[1], int(match[2]), match[3], match[4]))
        return frames

    def wait_line(self, text, since=0, timeout=5):
        return wait_until(lambda: text in self.lines(since), timeout)

    def wait_frames(self, names, since=0, timeout=5):
        """Waits until every one of names has arrived after since; returns the frames so far."""
        def arrived():
            frames = self.frames(since)
            return frames if set(names) <= {frame.name for frame in frames} else None
        return wait_until(arrived, timeout)

    def close(self):
        try:
            self.send("quit")
            self.process.stdin.close()
        except BrokenPipeError:
            pass  # it has ended already


KVS_REQUESTS = ["KvsStatusRequest", "KvsVersionsRequest", "KvsScanStatusRequest"]
PDX_REQUESTS = ["PdxServerStatusRequest", "PdxGroupRequest", "PdxConnectedTimeRequest",
                "PdxLocationRequest", "PdxPolicyNumberRequest"]
STATUS_REQUESTS = KVS_REQUESTS + PDX_REQUESTS


class TreeWindow:
    """One line of xwininfo -tree: nesting depth, WM_CLASS as printed, size, position on screen."""

    def __init__(self, depth, wm_class, width, height, x, y):
        self.depth, self.wm_class, self.width, self.height, self.x, self.y = depth, wm_class, width, height, x, y


_TREE_LINE = re.compile(r'^(\s+)0x[0-9a-f]+ (?:".*"|\(has no name\)): \((.*)\)\s+'
                        r'(\d+)x(\d+)\+-?\d+\+-?\d+\s+\+(-?\d+)\+(-?\d+)')


def _load_reference_icons():
    """The tray pictures as RGBA, to tell which one the tray shows."""
    icons = {}
    for name in ("shield", "green", "red", "yellow", "grey"):
        path = os.path.join(ROOT, "images", f"tray_{name}.xpm")
        icons[name] = subprocess.run(["/usr/bin/convert", path, "-depth", "8", "rgba:-"],
                                     check=True, capture_output=True).stdout
    return icons


class _ClientMessage(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong),
                ("message_type", ctypes.c_ulong), ("format", ctypes.c_int),
                ("data", ctypes.c_long * 5), ("pad", ctypes.c_long * 12)]  # XEvent is 24 longs


class Desktop:
    """with Desktop("name") as desktop: ... wardlet runs on a fresh desktop of its own."""

    _count = 0
    _icons = None

    def __init__(self, name, settings=None, start_wardlet=True):
        Desktop._count += 1
        self.name = name
        self.settings = settings
        self.start_wardlet = start_wardlet
        self.suffix = f"-e2e{os.getpid()}-{Desktop._count}"
        self.artefacts = os.path.join(ARTEFACTS, name)
        self._processes = []
        self._logs = []
        self.simulator = None
        self.wardlet = None
        self._wardlet_pids = []

    # --- start and stop -------------------------------------------------------------------------

    def __enter__(self):
        # One wardlet per user is the program's own rule, so runs from other build trees or
        # sessions wait their turn: the lock is on the home directory, where the wake-up files go.
        self._turn = os.open(_home(), os.O_RDONLY)
        fcntl.flock(self._turn, fcntl.LOCK_EX)
        shutil.rmtree(self.artefacts, ignore_errors=True)
        os.makedirs(self.artefacts)
        self.tmp = tempfile.mkdtemp(prefix="wardlet-e2e-")
        try:
            self._start()
        except BaseException:
            self._stop()
            raise
        return self

    def __exit__(self, error_type, error, trace):
        if error_type is not None and self.display:
            self.screenshot("failure")
        self._stop()
        return False

    def _spawn(self, argv, log_name, **options):
        log = open(os.path.join(self.artefacts, log_name), "w")
        self._logs.append(log)
        options.setdefault("stdout", log)
        process = subprocess.Popen(argv, stderr=log, env=options.pop("env", self.env), **options)
        self._processes.append(process)
        return process

    def _start(self):
        self.display = None
        self.env = {key: value for key, value in os.environ.items()
                    if not key.startswith(("QT_", "DBUS_", "WARDLET_", "XDG_", "LC_"))
                    and key not in ("DISPLAY", "LANG", "LANGUAGE")}
        self.config_home = os.path.join(self.tmp, "config")
        settings_dir = os.path.join(self.config_home, "trevanta.example")
        os.makedirs(settings_dir)
        self.settings_file = os.path.join(settings_dir, "wardlet.conf")
        if self.settings is not None:
            with open(self.settings_file, "w") as file:
                file.write(self.settings)
        runtime_dir = os.path.join(self.tmp, "runtime")
        os.mkdir(runtime_dir, 0o700)
        self.env.update(XDG_CONFIG_HOME=self.config_home, XDG_RUNTIME_DIR=runtime_dir, LC_ALL="C")

        read_end, write_end = os.pipe()
        self._spawn(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1024x768x24",
                     "-nolisten", "tcp"], "xvfb.log", pass_fds=(write_end,))
        os.close(write_end)
        with os.fdopen(read_end) as numbers:
            number = _read_line(numbers, 10).strip()
        assert number, "Xvfb reported no display"
        self.display = ":" + number
        self.env["DISPLAY"] = self.display

        trayer = self._spawn(["trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
                              "--height", "24", "--SetDockType", "true", "--transparent", "false"], "trayer.log")
        if not wait_until(self._panel, 10):
            with open(os.path.join(self.artefacts, "trayer.log")) as log:
                raise AssertionError(f"trayer shows no panel on {self.display} (exit status {trayer.poll()}): "
                                     + log.read())

        bus = self._spawn(["dbus-daemon", "--session", "--nofork", "--print-address=1"], "dbus.log",
                          stdout=subprocess.PIPE, text=True)
        address = _read_line(bus.stdout, 10).strip()
        assert address, "dbus-daemon reported no address"
        self.env["DBUS_SESSION_BUS_ADDRESS"] = address

        self._spawn(["/usr/libexec/at-spi-bus-launcher", "--launch-immediately"], "at-spi.log")
        assert wait_until(lambda: self._bus_has("org.a11y.Bus"), 10), "no accessibility bus"

        self.simulator = Simulator(self.suffix, self.env, os.path.join(self.artefacts, "simulator.log"))
        self._processes.append(self.simulator.process)
        assert self.simulator.wait_line("pdx: listening on @Calvorin-PdxIPC" + self.suffix), \
            "the simulator does not listen"

        self.wardlet_env = dict(self.env, QT_ACCESSIBILITY="1", QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1",
                                WARDLET_SOCKET_SUFFIX=self.suffix)
        if self.start_wardlet:
            self.wardlet = self.spawn_wardlet()

    def spawn_wardlet(self, argv=None, cwd=None, log_name="wardlet.log"):
        """Starts a wardlet (the first one started becomes desktop.wardlet's usual subject)."""
        def others():
            return [pid for pid in wardlet_processes() if pid not in self._wardlet_pids]
        assert wait_until(lambda: not others(), 10), \
            f"processes {others()} of this user have wardlet in their names; a new wardlet would take one for itself"
        process = self._spawn(argv or [WARDLET], log_name, env=self.wardlet_env, cwd=cwd,
                              stdin=subprocess.DEVNULL)
        self._wardlet_pids.append(process.pid)
        return process

    def _bus_has(self, name):
        reply = subprocess.run(["dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus",
                                "/org/freedesktop/DBus", "org.freedesktop.DBus.NameHasOwner",
                                "string:" + name], env=self.env, capture_output=True, text=True)
        return "boolean true" in reply.stdout

    def _stop(self):
        if self.simulator:
            self.simulator.close()
        # Our own program first, so it does not see its display or daemons go away.
        for process in reversed(self._processes):
            if process.poll() is None:
                process.terminate()
            try:
                process.wait(5)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
        _end_orphans()
        # A copy that died before it could read its wake-up file leaves it behind.
        for pid in self._wardlet_pids:
            if os.path.exists(wake_up_file(pid)):
                os.remove(wake_up_file(pid))
        for log in self._logs:
            log.close()
        shutil.rmtree(self.tmp, ignore_errors=True)
        os.close(self._turn)

    # --- X windows -------------------------------------------------------------------------------

    def run(self, *argv, check=True):
        return subprocess.run(argv, env=self.env, check=check, capture_output=True, text=True).stdout

    def tree(self):
        # xwininfo gives up when a window goes away while it walks the tree; a moment later the
        # tree is whole again.
        def listing():
            result = subprocess.run(["xwininfo", "-root", "-tree"], env=self.env, capture_output=True, text=True)
            return result.stdout if result.returncode == 0 else None
        text = wait_until(listing, 2)
        assert text, "xwininfo cannot read the window tree"
        windows = []
        for line in text.splitlines():
            match = _TREE_LINE.match(line)
            if match:
                windows.append(TreeWindow(len(match[1]), match[2], *map(int, match.groups()[2:])))
        return windows

    def _panel(self):
        return any(window.wm_class == '"panel" "trayer"' for window in self.tree())

    def tray_icons(self):
        """(x, y) of every wardlet icon embedded in trayer's panel."""
        icons = []
        panel_depth = None
        for window in self.tree():
            if window.wm_class == '"panel" "trayer"':
                panel_depth = window.depth
            elif panel_depth is not None and window.depth <= panel_depth:
                panel_depth = None
            elif (panel_depth is not None and window.wm_class == '"wardlet" "wardlet"'
                  and (window.width, window.height) == (ICON_SIZE, ICON_SIZE)):
                icons.append((window.x, window.y))
        return icons

    def tray_icon(self):
        icons = self.tray_icons()
        return icons[0] if icons else None

    def icon_pixels(self):
        x, y = self.tray_icon()
        return subprocess.run(["/usr/bin/import", "-window", "root", "-crop", f"{ICON_SIZE}x{ICON_SIZE}+{x}+{y}",
                               "-depth", "8", "rgb:-"], env=self.env, check=True, capture_output=True).stdout

    def icon_picture(self):
        """Which tray picture the icon shows: shield, green, red, yellow or grey; None without icon."""
        if not self.tray_icon():
            return None
        if Desktop._icons is None:
            Desktop._icons = _load_reference_icons()
        pixels = self.icon_pixels()

        def mismatches(rgba):
            # Transparent pixels show the panel, so only the picture's opaque ones count.
            return sum(1 for i in range(ICON_SIZE * ICON_SIZE)
                       if rgba[4 * i + 3] and rgba[4 * i:4 * i + 3] != pixels[3 * i:3 * i + 3])
        name, count = min(((name, mismatches(rgba)) for name, rgba in Desktop._icons.items()),
                          key=lambda entry: entry[1])
        return name if count == 0 else f"unknown ({name}, {count} pixels differ)"

    def wait_picture(self, name, timeout=5):
        """Waits until the icon shows picture name; returns the picture it showed last."""
        seen = []
        wait_until(lambda: seen.append(self.icon_picture()) or seen[-1] == name, timeout, 0.1)
        return seen[-1]

    def screenshot(self, name):
        path = os.path.join(self.artefacts, name + ".png")
        subprocess.run(["/usr/bin/import", "-window", "root", path], env=self.env, capture_output=True)
        return path

    def menu(self, key):
        """Opens the tray menu with a right click on the icon and picks the item by its mnemonic."""
        # A freshly embedded icon may still move while the panel makes room for it, and a click
        # that lands before it settled opens nothing: click where the painted icon is now.
        assert wait_until(lambda: self.icon_picture() in Desktop._icons, 5, 0.1), "no painted tray icon"
        before = set(self.visible_windows())
        for _ in range(3):
            x, y = self.tray_icon()
            # A second click on the same spot with no motion in between opens no menu; coming in afresh does.
            self.run("xdotool", "mousemove", "0", "0", "mousemove", str(x + ICON_SIZE // 2),
                     str(y + ICON_SIZE // 2), "click", "3")
            # The menu grabs the keyboard once it is shown; a key before that goes nowhere.
            if wait_until(lambda: set(self.visible_windows()) - before, 2):
                break
        else:
            raise AssertionError("no tray menu")
        self.run("xdotool", "key", key)

    def visible_windows(self, title=None, pid=None):
        argv = ["xdotool", "search", "--all", "--onlyvisible", "--pid", str(pid or self.wardlet.pid)]
        argv += ["--name", f"^{re.escape(title)}$"] if title else ["--class", "wardlet"]
        return self.run(*argv, check=False).split()

    def wait_window(self, title, timeout=5, pid=None):
        windows = wait_until(lambda: self.visible_windows(title, pid), timeout)
        assert windows, f'no window "{title}"'
        return windows[0]

    def close_window(self, window):
        """Asks the program to close window, as a window manager's close button would."""
        xlib = ctypes.CDLL("libX11.so.6")
        xlib.XOpenDisplay.restype = ctypes.c_void_p
        xlib.XInternAtom.restype = ctypes.c_ulong
        xlib.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
        xlib.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long,
                                    ctypes.c_void_p]
        xlib.XCloseDisplay.argtypes = [ctypes.c_void_p]
        display = xlib.XOpenDisplay(self.display.encode())
        assert display, "cannot open the display"
        event = _ClientMessage(type=33, send_event=1, window=int(window, 0), format=32,
                               message_type=xlib.XInternAtom(display, b"WM_PROTOCOLS", 0))
        event.data[0] = xlib.XInternAtom(display, b"WM_DELETE_WINDOW", 0)
        xlib.XSendEvent(display, int(window, 0), 0, 0, ctypes.byref(event))
        xlib.XCloseDisplay(display)  # flushes

    # --- widgets through the accessibility bus --------------------------------------------------

    def widgets(self, title, pid=None):
        """The widgets of the shown window title, read afresh: a list of dicts (see widgets.py)."""
        # A window xdotool already sees can take a moment more to appear on the accessibility bus.
        errors = []

        def read():
            result = subprocess.run([PYTHON, WIDGETS, str(pid or self.wardlet.pid), title], env=self.env,
                                    capture_output=True, text=True)
            if result.returncode != 0:
                errors.append(result.stderr.strip())
                return None
            return result.stdout

        output = wait_until(read, 3, 0.1)
        assert output, f'cannot read the widgets of "{title}": {errors[-1]}'
        return json.loads(output)

    def fields(self, title, pid=None):
        """{caption: value} of a window's labels, each value being the label right of a "...:" caption."""
        widgets = self.widgets(title, pid)
        labels = [w for w in widgets if w["role"] == "label"]
        boxes = [w for w in widgets if w["role"] == "panel"]
        result = {}
        for caption in labels:
            if not caption["name"].endswith(":"):
                continue
            middle = caption["y"] + caption["height"] / 2
            right = [w for w in labels if w["x"] > caption["x"] + caption["width"] / 2
                     and w["y"] <= middle <= w["y"] + w["height"]]
            value = min(right, key=lambda w: w["x"]) if right else {"name": ""}
            # Qt names an empty label after the group box around it.
            if any(box["name"] == value["name"] and _inside(value, box) for box in boxes):
                value = {"name": ""}
            result[caption["name"]] = value["name"].strip()
        return result

    def button(self, title, name, pid=None):
        found = [w for w in self.widgets(title, pid) if w["role"] == "push button" and w["name"] == name]
        return found[0] if found else None

    def press(self, title, name, pid=None):
        self.run(PYTHON, WIDGETS, str(pid or self.wardlet.pid), title, "--press", name)


def _inside(widget, box):
    return (box["x"] <= widget["x"] and widget["x"] + widget["width"] <= box["x"] + box["width"]
            and box["y"] <= widget["y"] and widget["y"] + widget["height"] <= box["y"] + box["height"])


def _end_orphans():
    """Kills and reaps whatever of our descendants outlived its parent."""
    while True:
        orphans = []
        for entry in os.listdir("/proc"):
            try:
                with open(f"/proc/{entry}/stat") as file:
                    fields = file.read().rsplit(")", 1)[1].split()
            except (OSError, IndexError):
                continue
            if int(fields[1]) == os.getpid():
                orphans.append(int(entry))
        if not orphans:
            return
        for pid in orphans:
            try:
                os.kill(pid, signal.SIGKILL)
                os.waitpid(pid, 0)
            except (ProcessLookupError, ChildProcessError):
                pass


def _home():
    """The home directory as wardlet finds it: from the password database."""
    return pwd.getpwuid(os.getuid()).pw_dir


def wake_up_file(pid):
    """The file by which a second start asks copy pid to show itself."""
    return os.path.join(_home(), f".wardletNotify{pid}")


def wardlet_processes():
    """This user's processes that wardlet takes for a running copy of itself: "wardlet" in the name."""
    found = []
    for entry in os.listdir("/proc"):
        try:
            with open(f"/proc/{entry}/comm") as file:
                name = file.read()
            with open(f"/proc/{entry}/status") as file:
                uid = next(int(line.split()[1]) for line in file if line.startswith("Uid:"))
        except (OSError, ValueError, StopIteration):
            continue
        if "wardlet" in name and uid == os.getuid():
            found.append(int(entry))
    return found


def signal_handled(pid, number):
    """Whether a process catches a signal or blocks it of its own accord, so that it no longer
    ends the process. Starting a child blocks every signal for an instant; that does not count."""
    masks = {}
    with open(f"/proc/{pid}/status") as file:
        for line in file:
            key, _, value = line.partition(":")
            masks[key] = value.strip()
    blocked, caught = int(masks["SigBlk"], 16), int(masks["SigCgt"], 16)
    bit = 1 << (number - 1)
    return bool(caught & bit or blocked & bit and not blocked & 1 << (signal.SIGTERM - 1))


def main_thread_ticks(pid):
    """utime + stime of a process's main thread, in clock ticks."""
    with open(f"/proc/{pid}/task/{pid}/stat") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return int(fields[11]) + int(fields[12])


def run_tests(namespace):
    """Runs the test_* functions of a module (or those named on the command line) in order."""
    # A terminated run still takes its desktop down on the way out.
    signal.signal(signal.SIGTERM, lambda number, frame: sys.exit(1))
    tests = [(name, test) for name, test in namespace.items() if name.startswith("test_") and callable(test)]
    wanted = sys.argv[1:]
    passed = failed = 0
    for name, test in tests:
        if wanted and name not in wanted:
            continue
        started = time.monotonic()
        try:
            test()
        except Exception:
            failed += 1
            print(f"FAIL {name} ({time.monotonic() - started:.1f} s)")
            traceback.print_exc(file=sys.stdout)
        else:
            passed += 1
            print(f"ok   {name} ({time.monotonic() - started:.1f} s)")
        sys.stdout.flush()
    print(f"{passed} passed, {failed} failed")
    sys.exit(1 if failed or not passed else 0)
