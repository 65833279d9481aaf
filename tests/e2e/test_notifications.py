"""Alerts and lost protection on a real notification server (dunst), every call to it recorded
off the bus."""

import os
import struct
import subprocess
import time
import unittest

from gi.repository import Gio

from desktop import DesktopTest, wait_until

SERVICE = "org.freedesktop.Notifications"
ACTIONS = ["default", "Details", "details", "Details"]
ALERT = r'alert now "Threat ~N found in ~F" N={} F={}'
# Top right, below trayer's panel, clear of the alert viewer in the middle; a click is the
# default action, as on most desktops.
DUNSTRC = """[global]
    origin = top-right
    offset = 10x40
    font = DejaVu Sans 9
    mouse_left_click = do_action, close_current
"""


class Recording:
    """What dbus-monitor saw, from its pcap stream: calls to the server with their time and the
    answer to each."""

    def __init__(self, path):
        self.path = path

    def messages(self):
        with open(self.path, "rb") as file:
            data = file.read()
        offset, result = 24, []  # past the pcap file header
        while offset + 16 <= len(data):
            seconds, microseconds, length, _ = struct.unpack_from("<IIII", data, offset)
            if offset + 16 + length > len(data):
                break
            message = Gio.DBusMessage.new_from_blob(data[offset + 16:offset + 16 + length],
                                                    Gio.DBusCapabilityFlags.NONE)
            result.append((seconds + microseconds / 1e6, message))
            offset += 16 + length
        return result

    def calls(self, member=None):
        """[(time, member, arguments, answer)] of the calls to the notification server."""
        messages = self.messages()
        answers = {(m.get_destination(), m.get_reply_serial()): m.get_body() and m.get_body().unpack()
                   for _, m in messages if m.get_message_type() == Gio.DBusMessageType.METHOD_RETURN}
        return [(when, m.get_member(), m.get_body() and m.get_body().unpack(),
                 answers.get((m.get_sender(), m.get_serial())))
                for when, m in messages if m.get_message_type() == Gio.DBusMessageType.METHOD_CALL
                and m.get_interface() == SERVICE and member in (None, m.get_member())]

    def urgencies(self):
        """The urgency hint of every Notify call, printed with its D-Bus type."""
        return [m.get_body().get_child_value(6).lookup_value("urgency", None).print_(True)
                for _, m in self.messages()
                if m.get_message_type() == Gio.DBusMessageType.METHOD_CALL and m.get_member() == "Notify"]

    def notified(self, summary):
        return [call for call in self.calls("Notify") if call[2][3] == summary]


class Notifications(DesktopTest):
    def setUp(self):
        super().setUp()
        self.recording = Recording(os.path.join(self.artefacts, "bus.pcap"))
        with open(self.recording.path, "wb") as pcap:
            self.spawn(["dbus-monitor", "--pcap", f"interface='{SERVICE}'", "type='method_return'"], None,
                       stdout=pcap, stderr=subprocess.DEVNULL)
        with open(os.path.join(self.tmp, "dunstrc"), "w") as config:
            config.write(DUNSTRC)
        self.spawn(["dunst", "-config", config.name], "dunst")
        self.assertTrue(wait_until(lambda: "boolean true" in self.run_tool(
            "dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus.NameHasOwner", f"string:{SERVICE}"), 10), "no notification server")
        self.addCleanup(self.write_calls)
        self.sim.send("vg 1", "running 1", "selfmanaged")
        self.start_wardlet()
        self.wait_requests()

    def write_calls(self):
        with open(os.path.join(self.artefacts, "calls.txt"), "w") as file:
            for when, member, arguments, answer in self.recording.calls():
                file.write(f"{when:.3f} {member}{arguments} -> {answer}\n")

    def displayed(self):
        return int(self.run_tool("dunstctl", "count", "displayed") or -1)

    def wait_notified(self, summary, timeout=5):
        """The calls that showed summary, once the server has answered each."""
        return wait_until(lambda: (calls := self.recording.notified(summary)) and all(c[3] for c in calls)
                          and calls, timeout) or self.fail(
            f'no "{summary}": {self.recording.calls()}')

    def test_alert_burst_and_default_action(self):
        self.sim.send(ALERT.format("Test-File", "/tmp/<b>a&b</b>"))
        self.wait_window("Mireval - Alert 1 of 1")
        (_, _, arguments, answer), = self.wait_notified("Threat detected")
        capabilities = self.recording.calls("GetCapabilities")[0][3][0]
        text = "Threat Test-File found in /tmp/<b>a&b</b>"
        if "body-markup" in capabilities:
            text = text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
        self.assertEqual(arguments, ("Trevanta", 0, "wardlet", "Threat detected", text, ACTIONS,
                                     {"urgency": 2, "desktop-entry": "wardlet", "category": "x-wardlet.threat"},
                                     -1))
        self.assertEqual(self.recording.urgencies(), ["byte 0x02"])
        first = answer[0]
        self.assertTrue(wait_until(lambda: self.displayed() == 1, 3), "dunst shows no notification")
        self.screenshot("alert")

        # The burst updates the one notification; the newest alert is in it.
        self.sim.send(*(ALERT.format(f"T{n}", f"/tmp/f{n}") for n in range(1, 51)))
        self.wait_window("Mireval - Alert 1 of 51")
        self.wait_notified("51 threats detected")
        updates = self.recording.calls("Notify")[1:]
        self.assertEqual({(arguments[1], answer[0]) for _, _, arguments, answer in updates}, {(first, first)})
        self.assertEqual(updates[-1][2][4], "Threat T50 found in /tmp/f50")
        self.assertEqual(self.displayed(), 1)
        self.screenshot("burst")

        # Closing the viewer closes the notification.
        self.close_window(self.wait_window("Mireval - Alert 1 of 51"))
        self.wait_gone("Mireval - Alert 1 of 51")
        self.assertTrue(wait_until(lambda: self.recording.calls("CloseNotification"), 5), "not closed")
        self.assertEqual([call[2] for call in self.recording.calls("CloseNotification")], [(first,)])
        self.assertTrue(wait_until(lambda: self.displayed() == 0, 3), "dunst still shows it")

        # Alerts after that open a new notification; a click on it brings the viewer to its alert.
        self.sim.send(ALERT.format("Later-1", "/tmp/g1"), ALERT.format("Later-2", "/tmp/g2"))
        self.wait_window("Mireval - Alert 1 of 2")
        (_, _, arguments, answer), = self.wait_notified("2 threats detected")
        self.assertEqual(self.recording.notified("Threat detected")[-1][2][1], 0)
        self.assertEqual(arguments[4], "Threat Later-2 found in /tmp/g2")
        window = self.run_tool("xdotool", "search", "--onlyvisible", "--class", "Dunst").split()
        self.assertEqual(len(window), 1, "not one dunst window")
        geometry = dict(line.split("=") for line in self.run_tool(
            "xdotool", "getwindowgeometry", "--shell", window[0]).split())
        x, y = (int(geometry[c]) + int(geometry[size]) // 2 for c, size in (("X", "WIDTH"), ("Y", "HEIGHT")))
        self.run_tool("xdotool", "mousemove", str(x), str(y), "click", "1")
        self.wait_window("Mireval - Alert 2 of 2")
        self.assertEqual(next(w["text"] for w in self.widgets("Mireval - Alert 2 of 2") if w["role"] == "text"),
                         "Threat Later-2 found in /tmp/g2")

    def test_lasting_loss_of_protection(self):
        # A daemon restarting tells the user nothing.
        self.sim.send("running 0")
        self.assertPicture("red", "restarting")
        time.sleep(2)
        self.sim.send("running 1")
        self.assertPicture("shield", "restarted")

        lost = time.time()
        self.sim.send("running 0")
        (when, _, arguments, answer), = self.wait_notified("This computer is not protected", timeout=15)
        self.assertGreaterEqual(when - lost, 9.5)
        self.assertEqual(arguments[4], "Not protected: the real-time scanner or the scan daemon is not running.")
        self.assertEqual(arguments[6], {"urgency": 2, "desktop-entry": "wardlet", "category": "x-wardlet.unprotected"})
        self.assertTrue(wait_until(lambda: self.displayed() == 1, 3), "dunst shows no notification")

        # Protection returns: the notification goes.
        self.sim.send("running 1")
        self.assertTrue(wait_until(lambda: self.recording.calls("CloseNotification"), 5), "not withdrawn")
        self.assertEqual([call[2] for call in self.recording.calls("CloseNotification")], [answer])
        self.assertTrue(wait_until(lambda: self.displayed() == 0, 3), "dunst still shows it")
        self.assertEqual(len(self.recording.notified("This computer is not protected")), 1)


if __name__ == "__main__":
    unittest.main()
