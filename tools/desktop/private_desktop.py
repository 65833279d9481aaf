"""A private desktop to run wardlet on, away from the user's own: a virtual X display with trayer's
notification area, a session bus that starts no services, dunst when asked, the daemon simulator.
The end-to-end and churn tests, the benchmarks and scripts/run.sh share it. Programs come from
the build tree WARDLET_BUILD names (build/qt6 by default); WARDLET_BIN and WARDLET_SIM name others.

Run as a script it is run.sh without a display: wardlet on a private desktop against the daemons
WARDLET_SOCKET_SUFFIX names, its status window and alert viewer open, a screenshot saved.
"""

import argparse
import collections
import contextlib
import ctypes
import fcntl
import os
import pwd
import re
import select
import signal
import subprocess
import sys
import tempfile
import threading
import time

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BUILD = os.path.abspath(os.environ.get("WARDLET_BUILD", os.path.join(ROOT, "build", "qt6")))
WARDLET = os.path.abspath(os.environ.get("WARDLET_BIN", os.path.join(BUILD, "wardlet")))
SIMULATOR = os.environ.get("WARDLET_SIM", os.path.join(BUILD, "tools", "wardlet-daemon-sim"))
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
TRAYER = ["trayer", "--edge", "top", "--align", "right", "--widthtype", "request", "--height", "24",
          "--SetDockType", "true", "--transparent", "false"]
# Open to every user (a compositor may run as another), and with no service directories.
SESSION_BUS = """<busconfig><type>session</type><listen>unix:dir={}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/>
<allow receive_sender="*"/></policy></busconfig>"""

# Orphans of what we start (the accessibility bus's own daemons) come back to us, so end_orphans()
# can find and end them too.
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
    return stream.readline().strip() if ready else ""


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


@contextlib.contextmanager
def program_turn():
    """One wardlet per user is the program's own rule, so whoever starts one here waits its turn:
    the lock is on the home directory, where the wake-up files go."""
    turn = os.open(HOME, os.O_RDONLY)
    try:
        fcntl.flock(turn, fcntl.LOCK_EX)
        yield
    finally:
        os.close(turn)


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


class Desktop:
    """Starts processes on a private desktop in directory; defer(stop, process) is how each is
    stopped later (an ExitStack's callback, a test's addCleanup), the last started first. env is
    what a program on it gets; logs, if given, is where they write theirs."""

    def __init__(self, directory, defer, logs=None):
        self.directory, self.defer, self.logs = directory, defer, logs
        runtime = os.path.join(directory, "runtime")
        os.mkdir(runtime, 0o700)
        self.env = {key: value for key, value in os.environ.items()
                    if not key.startswith(("QT_", "DBUS_", "WARDLET_", "XDG_", "LC_", "WAYLAND_", "SWAY"))
                    and key not in ("DISPLAY", "LANG", "LANGUAGE", "DESKTOP_STARTUP_ID")}
        self.env.update(XDG_CONFIG_HOME=os.path.join(directory, "config"), XDG_RUNTIME_DIR=runtime)

    def spawn(self, argv, log_name=None, defer=None, **options):
        """Starts argv with its output in log_name's log, or in none; defer overrides the desktop's."""
        defer = defer or self.defer
        log = subprocess.DEVNULL
        if self.logs and log_name:
            log = open(os.path.join(self.logs, log_name + ".log"), "w")
            defer(log.close)
        options = dict(dict(stdout=log, stderr=log), **options)
        process = subprocess.Popen(argv, env=options.pop("env", self.env), **options)
        defer(stop, process)
        return process

    def run(self, *argv):
        return subprocess.run(argv, env=self.env, capture_output=True, text=True).stdout

    def start_display(self, log_name="xvfb"):
        """A virtual X display: its name and its server."""
        read_end, write_end = os.pipe()
        xserver = self.spawn(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1024x768x24", "-nolisten", "tcp"],
                             log_name, pass_fds=(write_end,))
        os.close(write_end)
        with os.fdopen(read_end) as numbers:
            number = read_line(numbers, 10)
        if not number:
            raise RuntimeError("Xvfb reported no display")
        return ":" + number, xserver

    def start_x11(self):
        """The display programs on this desktop use."""
        self.env["DISPLAY"], self.xserver = self.start_display()

    def start_trayer(self):
        """trayer's notification area, once its panel is shown."""
        # On a busy machine trayer now and then gives up on a display that has just come up.
        for _ in range(3):
            self.trayer = self.spawn(TRAYER, f"trayer{time.monotonic_ns()}")
            if wait_until(lambda: self.trayer.poll() is not None or any(w[1] == PANEL for w in self.tree()), 10) \
                    and self.trayer.poll() is None:
                return self.trayer
        raise RuntimeError("trayer shows no panel")

    def start_session_bus(self, notifications=False, defer=None):
        """A session bus of its own that starts no services, so Qt neither uses nor launches another:
        a notification server runs only where one is started, dunst if notifications. Returns the
        environment of programs on it."""
        directory = tempfile.mkdtemp(prefix="bus-", dir=self.directory)
        os.chmod(directory, 0o711)
        with open(os.path.join(directory, "bus.conf"), "w") as conf:
            conf.write(SESSION_BUS.format(directory))
        bus = self.spawn(["dbus-daemon", "--config-file", conf.name, "--nofork", "--print-address=1"], "dbus", defer,
                         stdout=subprocess.PIPE, text=True)
        address = read_line(bus.stdout, 10)
        bus.stdout.close()
        if not address:
            raise RuntimeError("no session bus")
        env = dict(self.env, DBUS_SESSION_BUS_ADDRESS=address)
        if notifications:
            self.spawn(["dunst", "-config", "/dev/null"], "dunst", defer, env=env)
            if not wait_until(lambda: "org.freedesktop.Notifications" in self.run(
                    "dbus-send", "--bus=" + address, "--print-reply", "--dest=org.freedesktop.DBus",
                    "/org/freedesktop/DBus", "org.freedesktop.DBus.ListNames"), 10):
                raise RuntimeError("dunst does not serve notifications")
        return env

    @contextlib.contextmanager
    def session(self, notifications=False):
        """A session bus as start_session_bus() gives, stopped at the end."""
        with contextlib.ExitStack() as stack:
            yield self.start_session_bus(notifications, stack.callback)

    def start_simulator(self, suffix, log=os.devnull, defer=None):
        """The daemon simulator on both daemons' sockets named with suffix, once it listens."""
        sim = Simulator(self.spawn([SIMULATOR, "--suffix", suffix], None, defer, stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, bufsize=1),
                        open(log, "w"))
        if not sim.wait_line("pdx: listening on @Calvorin-PdxIPC" + suffix):
            raise RuntimeError("the simulator does not listen")
        return sim

    def tree(self):
        """(depth, WM_CLASS as printed, width, height, x, y) of every X window."""
        # xwininfo gives up when a window goes away while it walks the tree; a moment later the
        # tree is whole again.
        result = wait_until(lambda: (run := subprocess.run(["xwininfo", "-root", "-tree"], env=self.env,
                                                           capture_output=True, text=True)).returncode == 0
                            and run, 2)
        if not result:
            raise RuntimeError("xwininfo cannot read the window tree")
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

    def windows(self, pid, title=None):
        return self.run("xdotool", "search", "--all", "--onlyvisible", "--pid", str(pid),
                        *(["--name", f"^{re.escape(title)}$"] if title else ["--class", "wardlet"])).split()

    def menu(self, pid, key):
        """Opens the tray menu with a right click on the icon and picks the item by its mnemonic."""
        before = set(self.windows(pid))
        for _ in range(3):
            x, y = self.tray_icons()[0]
            # A second click on the same spot with no motion in between opens no menu; coming in afresh does.
            self.run("xdotool", "mousemove", "0", "0", "mousemove", str(x + ICON // 2), str(y + ICON // 2), "click", "3")
            # The menu grabs the keyboard once it is shown; a key before that goes nowhere.
            if wait_until(lambda: set(self.windows(pid)) - before, 2):
                break
        else:
            raise RuntimeError("no tray menu")
        self.run("xdotool", "key", key)

    def screenshot(self, path):
        self.run("/usr/bin/import", "-window", "root", path)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[1])
    parser.add_argument("screenshot", help="the picture to save")
    path = os.path.abspath(parser.parse_args().screenshot)

    def expect(what, predicate, timeout):
        return wait_until(predicate, timeout) or sys.exit(f"run: gave up waiting for {what}")

    with tempfile.TemporaryDirectory(prefix="wardlet-run-") as tmp, program_turn(), \
            contextlib.ExitStack() as stack:
        desktop = Desktop(tmp, stack.callback)
        desktop.start_x11()
        desktop.start_trayer()
        env = dict(desktop.start_session_bus(), WARDLET_SOCKET_SUFFIX=os.environ.get("WARDLET_SOCKET_SUFFIX", ""))
        pid = desktop.spawn([WARDLET], env=env).pid
        expect("the tray icon", desktop.tray_icons, 10)
        # The status window opens at the top left; the alert viewer goes beside it.
        viewer = expect("the alert viewer", lambda: desktop.windows(pid, "Mireval - Alert 1 of 1"), 15)
        desktop.run("xdotool", "windowmove", viewer[0], "500", "200")
        desktop.menu(pid, "t")
        expect("the status window", lambda: desktop.windows(pid, "Trevanta"), 5)
        expect("the status window painted", lambda: "#000000" not in desktop.run(
            "/usr/bin/import", "-window", "root", "-crop", "1x1+10+10", "-depth", "8", "txt:-"), 5)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        desktop.screenshot(path)
    print(f"run: screenshot of the tray, the status window and the alert viewer: {path}")


if __name__ == "__main__":
    main()
