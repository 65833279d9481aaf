"""The status window: opened from the tray menu, showing what the daemons report, live."""

import time

from desktop import Desktop, run_tests, wait_until

TITLE = "Trevanta"
CONTACT = 1800000000  # the management server's last contact, as the simulator reports it

STATE = ["versions 9.1.2 6.0.1 13.05", "defs-date 2 1 2027 12", "vg 1", "running 1", "scan 4",
         "update-allowed 1", f"server online 192.0.2.7 {CONTACT}", "group Research",
         'location "Lab 3"', "policy PN-7"]

EXPECTED = {"Program:": "9.1.2", "Scan Engine:": "6.0.1", "Version:": "2 Jan 2027 rev. 12",
            "Vigilon:": "Enabled", "Scan:": "Done", "Server:": "192.0.2.7", "Group:": "Research",
            # wardlet writes the time the way the C library does, in the same zone as we do
            "Last Connected:": time.strftime("%c", time.localtime(CONTACT)),
            "Location:": "Lab 3", "Policy Serial Number:": "PN-7"}


def open_status_window(desktop):
    desktop.simulator.send(*STATE)
    assert wait_until(desktop.tray_icon, 5), "no tray icon"
    desktop.menu("t")
    desktop.wait_window(TITLE)


def expect_fields(desktop, expected, timeout=3):
    seen = {}
    assert wait_until(lambda: seen.update(desktop.fields(TITLE)) or expected.items() <= seen.items(),
                      timeout, 0.2), f"the status window shows {seen}, not {expected}"


def expect_update_button(desktop, enabled):
    seen = []
    assert wait_until(lambda: seen.append(desktop.button(TITLE, "Novarel")) or seen[-1]["enabled"] == enabled,
                      3, 0.2), f"update button: {seen[-1]}"


def test_shows_what_the_daemons_report():
    with Desktop("status-values") as desktop:
        open_status_window(desktop)
        expect_fields(desktop, EXPECTED)
        desktop.screenshot("status-window")


def test_follows_changes_while_open():
    with Desktop("status-live") as desktop:
        open_status_window(desktop)
        expect_fields(desktop, EXPECTED)
        desktop.simulator.send("group Sales", "location-none", "vg 0", "scan 8")
        expect_fields(desktop, {"Group:": "Sales", "Location:": "", "Vigilon:": "Disabled",
                                "Scan:": "Scanning files"})
        desktop.simulator.send("server offline")
        expect_fields(desktop, {"Server:": "Offline"})
        desktop.simulator.send("selfmanaged")
        expect_fields(desktop, {"Server:": "Self-managed"})


def test_update_button_follows_the_permission():
    with Desktop("status-update-button") as desktop:
        open_status_window(desktop)
        expect_update_button(desktop, True)
        desktop.simulator.send("update-allowed 0")
        expect_update_button(desktop, False)
        desktop.simulator.send("update-allowed 1")
        expect_update_button(desktop, True)


def test_close_button_hides_and_menu_reopens():
    with Desktop("status-close") as desktop:
        open_status_window(desktop)
        desktop.press(TITLE, "Close")
        assert wait_until(lambda: not desktop.visible_windows(TITLE), 3), "the window stays open"
        assert desktop.wardlet.poll() is None, "closing the window ended the program"
        desktop.menu("t")
        desktop.wait_window(TITLE)
        expect_fields(desktop, EXPECTED)


run_tests(globals())
