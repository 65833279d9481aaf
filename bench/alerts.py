"""A burst of alerts against the real wardlet on a desktop with a tray: the CPU time the process
spends per alert (all threads, from /proc, X costs included), the X server's share besides, and
how long the program's event loop takes to answer the window manager's ping meanwhile, with
dunst as the desktop's notification server. Each run starts a fresh wardlet and sends two
bursts: during the first the alert viewer is built, as on the first alert of a session; the
second finds it holding its 1000 newest.

    /usr/bin/python3 bench/alerts.py [--runs 5] [--alerts 10000] [--before OTHER_BUILD/wardlet]
"""

import argparse
import array
import fcntl
import os
import select
import socket
import struct
import subprocess
import time

import benchlib

FORMAT = rb"Threat ~N detected in ~F\r\nAction: ~A\r\nTime: ~T"


def text(data):
    return struct.pack(">I", len(data) + 1) + data + b"\0"


def alert(number):
    fields = {b"N": b"Harmless-Test-File", b"F": b"/home/user/Downloads/sample-%d.com" % number,
              b"A": b"Quarantined", b"P": b"On access", b"S": b"user"}
    texts = [fields.get(key, b"") for key in (b"L", b"E", b"V", b"P", b"C", b"S", b"N", b"A", b"F")]
    body = struct.pack(">Ii", 3, 1700000000 + number) + b"".join(map(text, texts + [FORMAT]))
    return struct.pack(">HHiiii", 0, 0, 2, 0, number, len(body)) + body


# Not the daemon simulator: a burst must lie in the socket at once and be timed until read (SIOCOUTQ).
class Daemon:
    """Listens on one channel's full-length abstract address; never says a word unless told."""

    def __init__(self, name, suffix):
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(("\0Calvorin-" + name + suffix).encode().ljust(108, b"\0"))
        self.listener.listen(2)
        self.connection = None

    def accept(self, timeout):
        if not self.connection and select.select([self.listener], [], [], timeout)[0]:
            self.connection, _ = self.listener.accept()
        return self.connection

    def unsent(self):
        """Bytes written that the program has not read yet."""
        count = array.array("i", [0])
        fcntl.ioctl(self.connection.fileno(), 0x5411, count)  # SIOCOUTQ
        return count[0]

    def close(self):
        for each in (self.connection, self.listener):
            if each:
                each.close()


def settled(pid, quiet_ms=0.5, period=0.2, timeout=30):
    """Waits until the process spends less than quiet_ms of CPU in a period; returns its CPU ns."""
    deadline = time.monotonic() + timeout
    last = benchlib.cpu_ns(pid)
    while time.monotonic() < deadline:
        time.sleep(period)
        now = benchlib.cpu_ns(pid)
        if now - last < quiet_ms * 1e6:
            return now
        last = now
    raise RuntimeError("wardlet never went quiet")


def burst(desktop, env, process, kvs, icon, data):
    """CPU of wardlet and of the X server with the tray host, in microseconds; how long until the
    burst was read, in ms; the longest ping in ms and how many pings were answered."""
    before = settled(process.pid)
    x_before = benchlib.cpu_ns(desktop.xserver.pid) + benchlib.cpu_ns(desktop.trayer.pid)
    ping = subprocess.Popen([benchlib.XPROBE, "ping", hex(icon), "20"], env=env, text=True,
                            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    started = time.monotonic()
    kvs.connection.sendall(data)
    benchlib.wait_until(lambda: kvs.unsent() == 0, 60, 0.01)
    read = time.monotonic()
    # The last read is still being handled: the pings go on a little longer. Their own cost
    # (about 0.15 ms each) stays in the figure.
    time.sleep(0.5)
    pings, _ = ping.communicate(timeout=10)
    after = settled(process.pid)
    x_after = benchlib.cpu_ns(desktop.xserver.pid) + benchlib.cpu_ns(desktop.trayer.pid)
    words = pings.split()
    return {"cpu": (after - before) / 1e3, "x": (x_after - x_before) / 1e3, "read": (read - started) * 1e3,
            "ping": float(words[words.index("longest") + 1]), "answered": f"{words[3]}/{words[1]}"}


def bursts_once(desktop, program, data):
    """Two bursts against a fresh wardlet: the first builds the alert viewer, the second finds it
    full."""
    suffix = f"-bench-alerts-{os.getpid()}-{time.monotonic_ns()}"
    daemons = [Daemon(name, suffix) for name in ("trayIPC", "PdxIPC")]
    try:
        with desktop.session(notifications=True) as env, benchlib.scratch(desktop) as cwd, \
                benchlib.embedding_probe(env, "wardlet") as embedded:
            process = desktop.spawn([program], env=dict(env, WARDLET_SOCKET_SUFFIX=suffix), cwd=cwd)
            try:
                icon, _ = embedded()
                if not benchlib.wait_until(lambda: all([d.accept(0.05) for d in daemons]), 10, 0):
                    raise RuntimeError("wardlet did not connect")
                return [burst(desktop, env, process, daemons[0], icon, data) for _ in ("first", "second")]
            finally:
                benchlib.stop(process)
    finally:
        for daemon in daemons:
            daemon.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--runs", type=int, default=5)
    parser.add_argument("--alerts", type=int, default=10000)
    parser.add_argument("--before", metavar="WARDLET", help="another build's wardlet, run in turn with this one")
    args = parser.parse_args()
    print(benchlib.machine())
    programs = {"wardlet": benchlib.WARDLET}
    if args.before:
        programs["before"] = os.path.abspath(args.before)
    data = b"".join(alert(number) for number in range(1, args.alerts + 1))
    results = {(key, which): [] for key in programs for which in ("first", "second")}
    with benchlib.desktop() as desktop:
        for run in range(args.runs):
            for key, program in programs.items():
                with benchlib.program_turn():
                    both = bursts_once(desktop, program, data)
                for which, result in zip(("first", "second"), both):
                    results[key, which].append(result)
                    print(f"run {run} {key} {which:6} burst: {result['cpu'] / args.alerts:6.2f} us CPU per alert "
                          f"(X server and tray {result['x'] / args.alerts:5.2f} us), read after "
                          f"{result['read']:6.1f} ms, longest ping {result['ping']:6.2f} ms, "
                          f"answered {result['answered']}", flush=True)

    print(f"\n{args.runs} runs of two bursts of {args.alerts} alerts ({len(data)} bytes); median [min .. max]")
    for (key, which), all_runs in results.items():
        print(f"{key} {which:6} burst: CPU us per alert {benchlib.spread([r['cpu'] / args.alerts for r in all_runs], 2)}"
              f"; X server and tray {benchlib.spread([r['x'] / args.alerts for r in all_runs], 2)}"
              f"; read after ms {benchlib.spread([r['read'] for r in all_runs])}"
              f"; longest ping ms {benchlib.spread([r['ping'] for r in all_runs], 2)}")


if __name__ == "__main__":
    main()
