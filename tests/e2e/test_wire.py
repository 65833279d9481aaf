"""What wardlet sends the daemons when it connects."""

from desktop import PDX_REQUESTS, STATUS_REQUESTS, Desktop, run_tests

EXPECTED = [("kvs", 1, "KvsStatusRequest", ' locale="C"'), ("kvs", 2, "KvsVersionsRequest", ""),
            ("kvs", 3, "KvsScanStatusRequest", ""), ("pdx", 4, "PdxServerStatusRequest", ""),
            ("pdx", 5, "PdxGroupRequest", ""), ("pdx", 6, "PdxConnectedTimeRequest", ""),
            ("pdx", 7, "PdxLocationRequest", ""), ("pdx", 8, "PdxPolicyNumberRequest", "")]


def first_round(simulator):
    frames = simulator.wait_frames(STATUS_REQUESTS)
    assert frames, f"no complete round of status requests: {simulator.lines()}"
    # Each channel keeps its own order; between the two channels the log may interleave.
    return sorted(frames, key=lambda frame: frame.seq)


def test_first_round_with_daemons_up():
    with Desktop("wire-daemons-up") as desktop:
        frames = first_round(desktop.simulator)
        assert [(f.channel, f.seq, f.name, f.details) for f in frames] == EXPECTED, frames
        assert [f.name for f in frames if f.channel == "pdx"] == PDX_REQUESTS


def test_first_round_when_daemons_come_later():
    with Desktop("wire-daemons-later", start_wardlet=False) as desktop:
        simulator = desktop.simulator
        simulator.send("stop all")
        assert simulator.wait_line("pdx: stopped listening")
        desktop.wardlet = desktop.spawn_wardlet()
        # The shield turns red once the first attempt found nobody.
        picture = desktop.wait_picture("red")
        assert picture == "red", picture
        mark = simulator.mark()
        simulator.send("listen all")
        # Attempts repeat every second.
        assert simulator.wait_line("kvs: connected", mark, timeout=1.5), simulator.lines()
        frames = first_round(simulator)
        # Failed attempts use up no sequence numbers.
        assert [(f.channel, f.seq, f.name, f.details) for f in frames] == EXPECTED, frames


run_tests(globals())
