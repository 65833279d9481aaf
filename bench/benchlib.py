"""Shared by the desktop benchmarks: a private X display with a tray host, private session buses,
stand-in daemons, readings from /proc and medians. Run the scripts with Debian's /usr/bin/python3.
They take the programs from build/rel, or from the build tree WARDLET_BUILD names; WARDLET_BIN
names another wardlet to measure."""

import array
import contextlib
import fcntl
import os
import pwd
import select
import socket
import statistics
import struct
import subprocess
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
ROOT = os.path.dirname(HERE)
BUILD = os.path.abspath(os.environ.get("WARDLET_BUILD", os.path.join(ROOT, "build", "rel")))
WARDLET = os.path.abspath(os.environ.get("WARDLET_BIN", os.path.join(BUILD, "wardlet")))
MINIMAL = os.path.join(BUILD, "bench", "minimal_tray")
XPROBE = os.path.join(BUILD, "bench", "bench_xprobe")
PANEL = '"panel" "trayer"'
SESSION_BUS = """<busconfig><type>session</type><listen>unix:dir={}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_destination="*"/>
<allow receive_sender="*"/></policy></busconfig>"""


def read_line(stream, timeout):
    ready, _, _ = select.select([stream], [], [], timeout)
    return stream.readline().strip() if ready else ""


def wait_until(predicate, timeout, interval=0.01):
    deadline = time.monotonic() + timeout
    while not (value := predicate()) and time.monotonic() < deadline:
        time.sleep(interval)
    return value


def stop(process, timeout=5):
    if process.poll() is None:
        process.terminate()
    try:
        process.wait(timeout)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


class Desktop(contextlib.ExitStack):
    """Xvfb with trayer's notification area; env is what a program on it gets."""

    def __enter__(self):
        super().__enter__()
        try:
            return self._start()
        except BaseException:
            self.close()
            raise

    def _start(self):
        self.tmp = self.enter_context(tempfile.TemporaryDirectory(prefix="wardlet-bench-"))
        runtime = os.path.join(self.tmp, "runtime")
        os.mkdir(runtime, 0o700)
        self.env = {key: value for key, value in os.environ.items()
                    if not key.startswith(("QT_", "DBUS_", "WARDLET_", "XDG_", "LC_"))}
        self.env.update(XDG_CONFIG_HOME=os.path.join(self.tmp, "config"), XDG_RUNTIME_DIR=runtime,
                        LANG="C.UTF-8")
        self.xserver, self.env["DISPLAY"] = self._xvfb()
        log = self.enter_context(open(os.path.join(self.tmp, "trayer.log"), "w+"))
        # Now and then trayer ends at once with status 1 and no word why: it is started again.
        for _ in range(3):
            self.trayer = self.spawn(["trayer", "--edge", "top", "--align", "right", "--widthtype", "request",
                                      "--height", "24", "--SetDockType", "true", "--transparent", "false"],
                                     stdout=log, stderr=log)
            if wait_until(lambda: self.trayer.poll() is not None
                          or PANEL in self.run("xwininfo", "-root", "-tree"), 30, 0.1) \
                    and self.trayer.poll() is None:
                return self
        log.seek(0)
        raise RuntimeError(f"trayer shows no panel (exit status {self.trayer.poll()}): {log.read()}")

    def _xvfb(self):
        read_end, write_end = os.pipe()
        xserver = self.spawn(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1024x768x24", "-nolisten", "tcp"],
                             pass_fds=(write_end,))
        os.close(write_end)
        with os.fdopen(read_end) as numbers:
            return xserver, ":" + read_line(numbers, 10)

    def bare_display(self):
        """A second X display, with no notification area, started when first asked for."""
        if not hasattr(self, "_bare"):
            self._bare = self._xvfb()[1]
        return self._bare

    def spawn(self, argv, **options):
        options.setdefault("stdout", subprocess.DEVNULL)
        options.setdefault("stderr", subprocess.DEVNULL)
        process = subprocess.Popen(argv, env=options.pop("env", self.env), **options)
        self.callback(stop, process)
        return process

    def run(self, *argv):
        return subprocess.run(argv, env=self.env, capture_output=True, text=True).stdout

    def scratch(self):
        """An empty directory to run a program in: wardlet looks for translations where it runs."""
        return tempfile.TemporaryDirectory(dir=self.tmp)

    @contextlib.contextmanager
    def session(self, notifications=False):
        """A private session bus that starts no services, so Qt neither uses nor launches another;
        with dunst as its notification server if asked. Yields the environment."""
        directory = tempfile.mkdtemp(dir=self.tmp)
        config = os.path.join(directory, "bus.conf")
        with open(config, "w") as file:
            file.write(SESSION_BUS.format(directory))
        bus = subprocess.Popen(["dbus-daemon", "--config-file", config, "--nofork", "--print-address=1"],
                               env=self.env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        server = None
        try:
            address = read_line(bus.stdout, 10)
            if not address:
                raise RuntimeError("no session bus")
            env = dict(self.env, DBUS_SESSION_BUS_ADDRESS=address)
            if notifications:
                server = subprocess.Popen(["dunst", "-config", "/dev/null"], env=env, stdout=subprocess.DEVNULL,
                                          stderr=subprocess.DEVNULL)
                if not wait_until(lambda: "org.freedesktop.Notifications" in self.run(
                        "dbus-send", "--bus=" + address, "--print-reply", "--dest=org.freedesktop.DBus",
                        "/org/freedesktop/DBus", "org.freedesktop.DBus.ListNames"), 10, 0.05):
                    raise RuntimeError("dunst does not serve notifications")
            yield env
        finally:
            if server:
                stop(server)
            stop(bus)
            bus.stdout.close()


@contextlib.contextmanager
def embedding_probe(env, name, timeout_ms=20000):
    """Yields a function that waits for name's tray icon: (window id, monotonic ns when shown)."""
    probe = subprocess.Popen([XPROBE, "embedded", name, str(timeout_ms)], env=env, stdout=subprocess.PIPE,
                             text=True)
    try:
        if read_line(probe.stdout, 10) != "ready":
            raise RuntimeError("the X probe did not start")

        def wait():
            words = read_line(probe.stdout, timeout_ms / 1000 + 1).split()
            if len(words) != 3:
                raise RuntimeError(f"{name}: no tray icon embedded")
            return int(words[1], 16), int(words[2])
        yield wait
    finally:
        stop(probe)
        probe.stdout.close()


@contextlib.contextmanager
def program_turn():
    """The end-to-end tests let one wardlet per user run at a time, locking the home directory:
    a wardlet started here takes the same turn, so neither disturbs the other."""
    fd = os.open(pwd.getpwuid(os.getuid()).pw_dir, os.O_RDONLY)
    try:
        fcntl.flock(fd, fcntl.LOCK_EX)
        yield
    finally:
        os.close(fd)


# --- stand-in daemons -------------------------------------------------------------------------

def frame(service, body, sequence=1):
    return struct.pack(">HHiiii", 0, 0, service, 0, sequence, len(body)) + body


def text(data):
    return struct.pack(">I", len(data) + 1) + data + b"\0"


class Daemon:
    """Listens on one channel's full-length abstract address; never says a word unless told."""

    def __init__(self, name, suffix):
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(("\0Calvorin-" + name + suffix).encode().ljust(108, b"\0"))
        self.listener.listen(2)
        self.connection = None
        self.received = b""

    def serve(self, timeout):
        """Accepts the program and reads what it sends for timeout seconds or until it connected."""
        if not self.connection and select.select([self.listener], [], [], timeout)[0]:
            self.connection, _ = self.listener.accept()
        while self.connection and select.select([self.connection], [], [], 0)[0]:
            data = self.connection.recv(65536)
            if not data:
                break
            self.received += data

    def unsent(self):
        """Bytes written that the program has not read yet (SIOCOUTQ)."""
        count = array.array("i", [0])
        fcntl.ioctl(self.connection.fileno(), 0x5411, count)
        return count[0]

    def close(self):
        for each in (self.connection, self.listener):
            if each:
                each.close()


# --- readings ---------------------------------------------------------------------------------

def threads(pid):
    return os.listdir(f"/proc/{pid}/task")


def cpu_ns(pid):
    """CPU time of all of the process's threads, in nanoseconds."""
    total = 0
    for task in threads(pid):
        with contextlib.suppress(FileNotFoundError):
            with open(f"/proc/{pid}/task/{task}/schedstat") as stat:
                total += int(stat.read().split()[0])
    return total


def switches(pid):
    """Voluntary plus involuntary context switches of all threads: each is one wake-up or more."""
    total = 0
    for task in threads(pid):
        with contextlib.suppress(FileNotFoundError):
            with open(f"/proc/{pid}/task/{task}/status") as status:
                total += sum(int(line.split()[1]) for line in status if "ctxt_switches" in line)
    return total


def rss_kib(pid):
    with open(f"/proc/{pid}/status") as status:
        return next(int(line.split()[1]) for line in status if line.startswith("VmRSS:"))


def spread(values, digits=1):
    """median [min .. max]"""
    return (f"{statistics.median(values):.{digits}f} [{min(values):.{digits}f} .. "
            f"{max(values):.{digits}f}]")


def machine():
    with open("/proc/cpuinfo") as info:
        model = next(line.split(":", 1)[1].strip() for line in info if line.startswith("model name"))
    return f"{model}, {os.cpu_count()} cores, load average {os.getloadavg()[0]:.2f} at the start"
