"""The real program against stand-in daemons that come and go, and that flood it with alerts:
its descriptors and memory must not grow, and it must stay responsive."""

import os
import select
import signal
import socket
import struct
import subprocess
import time
import unittest

WARDLET = os.environ["WARDLET_BIN"]
CYCLES = int(os.environ.get("CHURN_CYCLES", "250"))  # per daemon; both come and go at once
REQUESTS = {"trayIPC": 3, "PdxIPC": 5}


def frame(service, body):
    return struct.pack(">IIIII", 0, service, 0, 1, len(body)) + body


def text(data):
    return struct.pack(">I", len(data) + 1) + data + b"\0"


class Daemon:
    """Listens on one channel's full-length abstract address and counts the frames it gets."""

    def __init__(self, name, suffix):
        self.name = name
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.listener.bind(("\0Calvorin-" + name + suffix).encode().ljust(108, b"\0"))
        self.listener.listen(4)
        self.connection = None
        self.received = b""

    def accept(self):
        self.connection, _ = self.listener.accept()
        self.received = b""

    def frames(self):
        count, at = 0, 0
        while len(self.received) - at >= 20:
            length = struct.unpack(">I", self.received[at + 16:at + 20])[0]
            if len(self.received) - at - 20 < length:
                break
            count, at = count + 1, at + 20 + length
        return count

    def read(self):
        data = self.connection.recv(65536)
        self.received += data
        return bool(data)

    def drop(self):
        self.connection.close()
        self.connection = None

    def close(self):
        if self.connection:
            self.drop()
        self.listener.close()


def status(pid):
    with open(f"/proc/{pid}/status") as lines:
        rss = next(int(line.split()[1]) for line in lines if line.startswith("VmRSS:"))
    return rss, len(os.listdir(f"/proc/{pid}/fd"))


class ChurnTest(unittest.TestCase):
    def setUp(self):
        suffix = f"-churn{os.getpid()}"
        self.daemons = [Daemon(name, suffix) for name in REQUESTS]
        for daemon in self.daemons:
            self.addCleanup(daemon.close)
        env = dict(os.environ, QT_QPA_PLATFORM="offscreen", LC_ALL="C", WARDLET_SOCKET_SUFFIX=suffix)
        self.wardlet = subprocess.Popen([WARDLET], env=env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(self.wardlet.wait)
        self.addCleanup(self.wardlet.terminate)

    def serve(self, until, timeout=10):
        """Answers connections and collects frames until until() is true."""
        deadline = time.monotonic() + timeout
        while not until():
            self.assertLess(time.monotonic(), deadline, "the program went quiet")
            sockets = [d.connection or d.listener for d in self.daemons]
            for ready in select.select(sockets, [], [], 0.5)[0]:
                daemon = next(d for d in self.daemons if ready in (d.connection, d.listener))
                if ready is daemon.listener:
                    daemon.accept()
                elif not daemon.read():
                    daemon.drop()

    def test_daemons_coming_and_going(self):
        cycles = 0
        baseline = None
        while True:
            self.serve(lambda: all(d.connection and d.frames() >= REQUESTS[d.name] for d in self.daemons))
            cycles += 1
            # Measured while both are connected, so each count holds the same sockets.
            if cycles == 20:
                baseline = status(self.wardlet.pid)
            if cycles == CYCLES:
                break
            for daemon in self.daemons:
                daemon.drop()
        rss, fds = status(self.wardlet.pid)
        print(f"after 20 cycles: {baseline[0]} KiB, {baseline[1]} descriptors; "
              f"after {cycles}: {rss} KiB, {fds} descriptors")
        self.assertEqual(fds, baseline[1])
        self.assertLess(rss - baseline[0], 2048)

    def test_alert_flood(self):
        kvs = self.daemons[0]
        self.serve(lambda: all(d.connection and d.frames() >= REQUESTS[d.name] for d in self.daemons))
        before, _ = status(self.wardlet.pid)
        alert = frame(2, struct.pack(">II", 3, 1300000000) + b"".join(text(b"field %d" % i) for i in range(9))
                      + text(b"Threat ~N in ~F\\r\\nAction: ~A ~T"))
        started = time.process_time()
        for _ in range(100):
            kvs.connection.sendall(alert * 100)
        # Still answering: a wake-up brings the requests again.
        kvs.received = b""
        os.kill(self.wardlet.pid, signal.SIGUSR2)
        self.serve(lambda: kvs.frames() >= 3)
        after, _ = status(self.wardlet.pid)
        print(f"10000 alerts: {before} KiB before, {after} KiB after")
        self.assertLess(after - before, 32 * 1024)


if __name__ == "__main__":
    unittest.main(verbosity=2)
