"""The tray icon: embedded in the notification area, its picture telling the protection state."""

from desktop import Desktop, run_tests, wait_until


def expect_picture(desktop, name, shot, timeout=3):
    picture = desktop.wait_picture(name, timeout)
    desktop.screenshot(shot)
    assert picture == name, f"icon shows {picture}, not {name}"


def test_icon_is_embedded_in_the_tray():
    with Desktop("tray-embedded") as desktop:
        assert wait_until(desktop.tray_icon, 5), "no wardlet icon inside trayer's panel"
        assert len(desktop.tray_icons()) == 1


def test_picture_follows_the_protection_state():
    with Desktop("tray-states", start_wardlet=False) as desktop:
        simulator = desktop.simulator
        simulator.send("vg 0", "status")
        assert simulator.wait_line("vg 0")
        desktop.wardlet = desktop.spawn_wardlet()
        assert wait_until(desktop.tray_icon, 5), "no tray icon"
        expect_picture(desktop, "red", "1-scanner-disabled")

        simulator.send("vg 1", "running 1", "server online 10.0.0.1 now")
        expect_picture(desktop, "green", "2-online")
        simulator.send("server offline")
        expect_picture(desktop, "yellow", "3-offline")
        simulator.send("selfmanaged")
        expect_picture(desktop, "shield", "4-self-managed")
        simulator.send("running 0")
        expect_picture(desktop, "red", "5-scanner-not-running")
        simulator.send("running 1")
        expect_picture(desktop, "shield", "6-running-again")

        simulator.send("stop all")
        expect_picture(desktop, "red", "7-daemons-stopped", timeout=2)


run_tests(globals())
