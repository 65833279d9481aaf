"""The show-icon choice: kept in the settings file, changed by the scan daemon."""

import time

from desktop import STATUS_REQUESTS, Desktop, run_tests, wait_until

HIDDEN = "[Wardlet]\nShowIcon=false\n"


def setting(desktop):
    """The ShowIcon line of the settings file, or None."""
    try:
        with open(desktop.settings_file) as file:
            return next((line.strip() for line in file if line.startswith("ShowIcon=")), None)
    except FileNotFoundError:
        return None


def test_no_icon_when_the_setting_says_so():
    with Desktop("show-icon-setting-false", settings=HIDDEN, start_wardlet=False) as desktop:
        desktop.simulator.send("show-icon 0", "status")
        assert desktop.simulator.wait_line("show-icon 0")
        desktop.wardlet = desktop.spawn_wardlet()
        assert desktop.simulator.wait_frames(STATUS_REQUESTS), "the daemons were not asked"
        time.sleep(1)  # an absence: the icon may not come in this time
        assert desktop.tray_icons() == [], "an icon appeared"
        assert setting(desktop) == "ShowIcon=false", setting(desktop)
        assert desktop.wardlet.poll() is None


def test_daemon_hides_and_shows_the_icon():
    with Desktop("show-icon-from-daemon") as desktop:
        assert wait_until(desktop.tray_icon, 5), "no tray icon"
        desktop.simulator.send("show-icon 0")
        assert wait_until(lambda: not desktop.tray_icons(), 3), "the icon stays"
        assert wait_until(lambda: setting(desktop) == "ShowIcon=false", 2), setting(desktop)
        desktop.simulator.send("show-icon 1")
        assert wait_until(desktop.tray_icon, 3), "the icon does not come back"
        assert wait_until(lambda: setting(desktop) == "ShowIcon=true", 2), setting(desktop)
        assert desktop.wait_picture("green") == "green"


def test_daemon_overrides_a_saved_hidden_icon():
    with Desktop("show-icon-daemon-wins", settings=HIDDEN) as desktop:
        assert wait_until(desktop.tray_icon, 5), "the daemon's show-icon 1 put up no icon"
        assert wait_until(lambda: setting(desktop) == "ShowIcon=true", 2), setting(desktop)
        assert desktop.wait_picture("green") == "green"


run_tests(globals())
