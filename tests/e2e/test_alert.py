"""The alert viewer: alerts from the scan daemon, expanded from their template, kept in order."""

from desktop import Desktop, run_tests, wait_until

ALERT = r'alert now "Threat ~N found in ~F\r\nAction: ~A" N=Test-File F=/tmp/x A=Quarantined'
SECOND = r'alert now "Threat ~N found in ~F\r\nAction: ~A" N=Other-File F=/tmp/y A=Deleted'
FIRST_TEXT = ["Threat Test-File found in /tmp/x", "Action: Quarantined"]
SECOND_TEXT = ["Threat Other-File found in /tmp/y", "Action: Deleted"]


def shown(desktop, title):
    """The lines of the viewer's text and its buttons by name."""
    widgets = desktop.widgets(title)
    text = next(w["text"] for w in widgets if w["role"] == "text")
    buttons = {w["name"]: w["enabled"] for w in widgets if w["role"] == "push button"}
    return text.splitlines(), buttons


def alert_after_connecting(desktop, command):
    assert desktop.simulator.wait_line("kvs: connected"), "wardlet did not connect"
    desktop.simulator.send(command)


def test_alert_opens_the_viewer():
    with Desktop("alert-first") as desktop:
        alert_after_connecting(desktop, ALERT)
        desktop.wait_window("Mireval - Alert 1 of 1")
        desktop.screenshot("alert")
        assert shown(desktop, "Mireval - Alert 1 of 1") == (FIRST_TEXT, {"<<": False, ">>": False})


def test_second_alert_keeps_the_first_in_view():
    with Desktop("alert-second") as desktop:
        alert_after_connecting(desktop, ALERT)
        desktop.wait_window("Mireval - Alert 1 of 1")
        desktop.simulator.send(SECOND)
        desktop.wait_window("Mireval - Alert 1 of 2")
        assert shown(desktop, "Mireval - Alert 1 of 2") == (FIRST_TEXT, {"<<": False, ">>": True})
        desktop.press("Mireval - Alert 1 of 2", ">>")
        desktop.wait_window("Mireval - Alert 2 of 2")
        assert shown(desktop, "Mireval - Alert 2 of 2") == (SECOND_TEXT, {"<<": True, ">>": False})


def test_closing_the_viewer_drops_the_alerts():
    with Desktop("alert-close") as desktop:
        alert_after_connecting(desktop, ALERT)
        desktop.simulator.send(SECOND)
        window = desktop.wait_window("Mireval - Alert 1 of 2")
        desktop.close_window(window)
        assert wait_until(lambda: not desktop.visible_windows("Mireval - Alert 1 of 2"), 3), "the viewer stays"
        assert desktop.wardlet.poll() is None, "closing the viewer ended the program"
        desktop.simulator.send(SECOND)
        desktop.wait_window("Mireval - Alert 1 of 1")
        assert shown(desktop, "Mireval - Alert 1 of 1")[0] == SECOND_TEXT


run_tests(globals())
