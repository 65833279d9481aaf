"""What needs a real notification server (dunst), every call to it recorded off the bus: the exact
call, and what the user sees and clicks. The unit tests with a stub server have the rest."""

import os
import struct
import subprocess
import time
import unittest

from gi.repository import Gio

from desktop import DesktopTest, wait_until

SERVICE = "org.freedesktop.Notifications"
ALERT = r'alert now "Threat ~N found in ~F" N={} F={}'
# Top right, below trayer's panel, clear of the alert viewer in the middle; a click is the
# default action, as on most desktops.
DUNSTRC = """[global]
    origin = top-right
    offset = 10x40
    font = DejaVu Sans 9
    mouse_left_click = do_action, close_current
"""


def read_pcap(path):
    """The messages in dbus-monitor's pcap stream, each with its time."""
    with open(path, "rb") as file:
        data = file.read()
    offset, result = 24, []  # past the pcap file header
    while offset + 16 <= len(data):
        seconds, microseconds, length, _ = struct.unpack_from("<IIII", data, offset)
        if offset + 16 + length > len(data):  # still being written
            break
        blob, offset = data[offset + 16:offset + 16 + length], offset + 16 + length
        result.append((seconds + microseconds / 1e6, Gio.DBusMessage.new_from_blob(blob, Gio.DBusCapabilityFlags.NONE)))
    return result


class Notifications(DesktopTest):
    def setUp(self):
        super().setUp()
        self.pcap = os.path.join(self.artefacts, "bus.pcap")
        with open(self.pcap, "wb") as pcap:
            self.spawn(["dbus-monitor", "--pcap", f"interface='{SERVICE}'", "type='method_return'"], None,
                       stdout=pcap, stderr=subprocess.DEVNULL)
        with open(os.path.join(self.tmp, "dunstrc"), "w") as config:
            config.write(DUNSTRC)
        self.spawn(["dunst", "-config", config.name], "dunst")
        self.assertTrue(wait_until(lambda: "boolean true" in self.run_tool(
            "dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
            "org.freedesktop.DBus.NameHasOwner", f"string:{SERVICE}"), 10), "no notification server")
        self.sim.send("vg 1", "running 1", "selfmanaged")
        self.start_wardlet()
        self.wait_requests()

    def calls(self, member):
        """[(time, arguments, answer)] of the calls of member to the notification server; the arguments
        as a GLib.Variant, which keeps their D-Bus types."""
        messages = read_pcap(self.pcap)
        answers = {(m.get_destination(), m.get_reply_serial()): m.get_body() and m.get_body().unpack()
                   for _, m in messages if m.get_message_type() == Gio.DBusMessageType.METHOD_RETURN}
        return [(when, m.get_body(), answers.get((m.get_sender(), m.get_serial())))
                for when, m in messages if m.get_message_type() == Gio.DBusMessageType.METHOD_CALL
                and m.get_interface() == SERVICE and m.get_member() == member]

    def displayed(self):
        return int(self.run_tool("dunstctl", "count", "displayed") or -1)

    def wait_notified(self, summary, timeout=5):
        """The calls that showed summary, once the server has answered each."""
        return wait_until(lambda: (calls := [c for c in self.calls("Notify") if c[1][3] == summary])
                          and all(c[2] for c in calls) and calls, timeout) or self.fail(
            f'no "{summary}": {self.calls("Notify")}')

    def test_alert(self):
        self.sim.send(ALERT.format("Test-File", "/tmp/<b>a&b</b>"))
        (_, arguments, answer), = self.wait_notified("Threat detected")
        text = "Threat Test-File found in /tmp/<b>a&b</b>"
        if "body-markup" in self.calls("GetCapabilities")[0][2][0]:
            text = text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
        self.assertEqual(arguments.print_(True), "('Trevanta', uint32 0, 'wardlet', 'Threat detected', "
                         f"'{text}', ['default', 'Details', 'details', 'Details'], {{'category': "
                         "<'x-wardlet.threat'>, 'desktop-entry': <'wardlet'>, 'urgency': <byte 0x02>}, -1)")
        self.assertTrue(wait_until(lambda: self.displayed() == 1, 3), "dunst shows no notification")
        self.screenshot("alert")

        # Closing the viewer closes the notification.
        self.close_window(self.wait_window("Mireval - Alert 1 of 1"))
        self.assertTrue(wait_until(lambda: [c[1].unpack() for c in self.calls("CloseNotification")] == [answer], 5),
                        f'not closed: {self.calls("CloseNotification")}')
        self.assertTrue(wait_until(lambda: self.displayed() == 0, 3), "dunst still shows it")

        # A click on the next one brings the viewer to its newest alert.
        self.sim.send(ALERT.format("Later-1", "/tmp/g1"), ALERT.format("Later-2", "/tmp/g2"))
        self.wait_window("Mireval - Alert 1 of 2")
        self.wait_notified("2 threats detected")
        self.run_tool("xdotool", "search", "--onlyvisible", "--class", "Dunst", "mousemove", "--window", "%1",
                      "20", "20", "click", "1")
        self.wait_window("Mireval - Alert 2 of 2")

    def test_lasting_loss_of_protection(self):
        # The program's own part: its state feeds the notice, which waits its 10 s and is withdrawn.
        lost = time.time()
        self.sim.send("running 0")
        (when, arguments, answer), = self.wait_notified("This computer is not protected", timeout=15)
        self.assertGreaterEqual(when - lost, 9.5)
        self.assertEqual(arguments[4], "Not protected: the real-time scanner or the scan daemon is not running.")
        self.sim.send("running 1")
        self.assertTrue(wait_until(lambda: [c[1].unpack() for c in self.calls("CloseNotification")] == [answer], 5),
                        f'not withdrawn: {self.calls("CloseNotification")}')


if __name__ == "__main__":
    unittest.main()
