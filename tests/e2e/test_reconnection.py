"""Losing and regaining the daemons, and staying quiet while nothing happens."""

import time

from desktop import KVS_REQUESTS, STATUS_REQUESTS, Desktop, main_thread_ticks, run_tests


def connected(desktop):
    frames = desktop.simulator.wait_frames(STATUS_REQUESTS)
    assert frames, f"no complete round of status requests: {desktop.simulator.lines()}"
    assert desktop.wait_picture("green") == "green"


def test_dropped_scan_daemon_connection_is_reopened():
    with Desktop("reconnect-kvs") as desktop:
        simulator = desktop.simulator
        connected(desktop)
        mark = simulator.mark()
        dropped = time.monotonic()
        simulator.send("drop kvs")
        assert simulator.wait_line("kvs: connected", mark, timeout=2), simulator.lines(mark)
        frames = simulator.wait_frames(KVS_REQUESTS, mark, timeout=1)
        assert frames, simulator.lines(mark)
        request = next(f for f in frames if f.name == "KvsStatusRequest")
        assert request.details == ' locale="C"'
        assert request.when - dropped < 1.5, f"asked again only after {request.when - dropped:.2f} s"
        assert desktop.wait_picture("green") == "green"


def test_stopped_daemons_are_found_again():
    with Desktop("reconnect-all") as desktop:
        simulator = desktop.simulator
        connected(desktop)
        simulator.send("stop all")
        assert desktop.wait_picture("red", 2) == "red"
        mark = simulator.mark()
        listening = time.monotonic()
        simulator.send("listen all")
        frames = simulator.wait_frames(STATUS_REQUESTS, mark, timeout=2)
        assert frames, simulator.lines(mark)
        assert max(f.when for f in frames) - listening < 1.5
        assert desktop.wait_picture("green") == "green"


def test_idle_means_no_traffic_and_no_cpu():
    with Desktop("idle") as desktop:
        connected(desktop)
        mark = desktop.simulator.mark()
        before = main_thread_ticks(desktop.wardlet.pid)
        time.sleep(3)  # an absence: nothing may happen in this time
        assert desktop.simulator.frames(mark) == [], desktop.simulator.frames(mark)
        assert main_thread_ticks(desktop.wardlet.pid) == before, "the main thread used CPU while idle"


run_tests(globals())
