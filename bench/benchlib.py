"""Shared by the desktop benchmarks: a private desktop (tools/desktop) for a whole benchmark, the X
probe, readings from /proc and medians. Run the scripts with Debian's /usr/bin/python3. They
take the programs from build/rel, or from the build tree WARDLET_BUILD names; WARDLET_BIN names
another wardlet to measure."""

import contextlib
import os
import statistics
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
os.environ.setdefault("WARDLET_BUILD", os.path.join(ROOT, "build", "rel"))
sys.path.insert(0, os.path.join(ROOT, "tools", "desktop"))
from private_desktop import (BUILD, STATUS_REQUESTS, WARDLET, Desktop, program_turn, read_line, stop,  # noqa: E402,F401
                             wait_until)

MINIMAL = os.path.join(BUILD, "bench", "minimal_tray")
XPROBE = os.path.join(BUILD, "bench", "bench_xprobe")


@contextlib.contextmanager
def desktop():
    """A private desktop with trayer's notification area; each run asks it for a session bus."""
    with tempfile.TemporaryDirectory(prefix="wardlet-bench-") as tmp, contextlib.ExitStack() as stack:
        desktop = Desktop(tmp, stack.callback)
        desktop.env["LANG"] = "C.UTF-8"
        desktop.start_x11()
        desktop.start_trayer()
        yield desktop


def scratch(desktop):
    """An empty directory to run a program in: wardlet looks for translations where it runs."""
    return tempfile.TemporaryDirectory(dir=desktop.directory)


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
