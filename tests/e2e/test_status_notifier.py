"""The tray that KDE Plasma and GNOME's AppIndicator extension use: a StatusNotifierItem on the
session bus, served to a real watcher and host (not ours), checked over D-Bus and on screen."""

import os
import subprocess
import time
import unittest

from gi.repository import Gio, GLib

from desktop import ROOT, DesktopTest, wait_until


def xpm_rgba(name):
    return subprocess.run(["/usr/bin/convert", os.path.join(ROOT, "images", f"tray_{name}.xpm"), "-depth", "8",
                           "rgba:-"], check=True, capture_output=True).stdout


class StatusNotifierDesktop(DesktopTest):
    def setUp(self):
        super().setUp()
        self.bus = Gio.DBusConnection.new_for_address_sync(
            self.env["DBUS_SESSION_BUS_ADDRESS"],
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
        self.addCleanup(self.bus.close_sync)

    def start_watcher(self):
        watcher = self.spawn(["status-notifier-watcher"], f"watcher{time.monotonic_ns()}")
        self.assertTrue(wait_until(lambda: self.watcher("RegisteredStatusNotifierItems") is not None, 10),
                        "no watcher")
        return watcher

    def start_hosts(self):
        self.watcher_process = self.start_watcher()
        self.spawn(["gtk-sni-tray-standalone", "--bottom"], "host")
        self.assertTrue(wait_until(lambda: self.watcher("IsStatusNotifierHostRegistered"), 10), "no host")

    def call(self, name, path, interface, method, args=None, reply=None):
        try:
            return self.bus.call_sync(name, path, interface, method, args, reply and GLib.VariantType(reply),
                                      Gio.DBusCallFlags.NONE, 3000, None).unpack()
        except GLib.Error:
            return None

    def watcher(self, prop):
        value = self.call("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                          "org.freedesktop.DBus.Properties", "Get",
                          GLib.Variant("(ss)", ("org.kde.StatusNotifierWatcher", prop)), "(v)")
        return value and value[0]

    def host_draws_picture(self):
        """Whether the host's panel along the bottom shows the item's picture, at whatever size it draws it."""
        width, height, argb = max(self.item()[2]["IconPixmap"])
        colours = {bytes(argb[i + 1:i + 4]) for i in range(0, len(argb), 4) if argb[i] == 255 and max(argb[i + 1:i + 4]) > 64}
        strip = subprocess.run(["/usr/bin/import", "-window", "root", "-crop", "1024x64+0+704", "-depth", "8", "rgb:-"],
                               env=self.env, capture_output=True).stdout
        drawn = sum(strip[i:i + 3] in colours for i in range(0, len(strip), 3))
        return drawn >= 40

    def item(self):
        """(bus name, object path, properties) of the one registered item, or None."""
        items = self.watcher("RegisteredStatusNotifierItems")
        if not items:
            return None
        name, _, path = items[0].partition("/")  # Qt 6 gives its bus name, Qt 5 a well-known name
        path = "/" + path if path else "/StatusNotifierItem"
        props = self.call(name, path, "org.freedesktop.DBus.Properties", "GetAll",
                          GLib.Variant("(s)", ("org.kde.StatusNotifierItem",)), "(a{sv})")
        return props and (name, path, props[0])

    def shows(self, picture):
        """Whether the item's 22 px picture is the given tray picture, and a 44 px one goes with it."""
        pixmaps = {(w, h): bytes(data) for w, h, data in self.item()[2]["IconPixmap"]}
        if (22, 22) not in pixmaps or (44, 44) not in pixmaps:
            return False
        argb, rgba = pixmaps[(22, 22)], xpm_rgba(picture)
        return all(not rgba[4 * i + 3] or argb[4 * i + 1:4 * i + 4] == rgba[4 * i:4 * i + 3] for i in range(22 * 22))

class StatusNotifier(StatusNotifierDesktop):
    def test_item_menu_and_pictures(self):
        self.start_hosts()
        self.sim.send("vg 1", "running 1", "server online 10.0.0.1 now")
        self.start_wardlet()
        self.assertTrue(wait_until(self.item, 10), "no StatusNotifierItem registered")
        self.assertTrue(wait_until(lambda: self.shows("green"), 5), "the item does not show the green badge")
        tool_tip = self.item()[2]["ToolTip"]
        words = tool_tip[2] + "\n" + tool_tip[3]
        self.assertEqual(words.split("\n")[0], "Trevanta")
        self.assertIn("Protected and in touch with the management server.", words)
        self.screenshot("host-online")

        self.sim.send("vg 0")
        self.assertTrue(wait_until(lambda: self.shows("red"), 5), "the item does not follow the scanner")
        self.sim.send("vg 1")
        self.assertTrue(wait_until(lambda: self.shows("green"), 5))

        name, _, props = self.item()
        layout = self.call(name, props["Menu"], "com.canonical.dbusmenu", "GetLayout",
                           GLib.Variant("(iias)", (0, -1, [])), "(u(ia{sv}av))")
        entries = {child[1].get("label"): child[0] for child in layout[1][2]}
        self.assertIn("Open _Trevanta", entries)
        self.assertIn("_Exit", entries)
        self.call(name, props["Menu"], "com.canonical.dbusmenu", "Event",
                  GLib.Variant("(isvu)", (entries["Open _Trevanta"], "clicked", GLib.Variant("i", 0), 0)))
        self.wait_window("Trevanta")
        self.screenshot("host-status-window")


class LateStatusNotifier(StatusNotifierDesktop):
    """A session whose panel comes after the program, as autostart often has it, and restarts."""

    TRAY_AT_START = False

    def test_item_registers_with_a_late_and_a_restarted_watcher(self):
        self.sim.send("vg 0")
        self.start_wardlet()
        started = time.monotonic()
        self.wait_requests()
        # A settings daemon announces its manager selection the way a tray does, and is no tray.
        settings = os.path.join(self.tmp, "xsettingsd.conf")
        open(settings, "w").close()
        self.spawn(["xsettingsd", "-c", settings], "xsettingsd")
        time.sleep(max(0.0, started + 3 - time.monotonic()))
        self.assertIsNone(self.watcher("RegisteredStatusNotifierItems"))
        self.start_hosts()
        self.assertTrue(wait_until(self.item, 2), "the item does not register with a watcher that came late")
        self.assertTrue(wait_until(lambda: self.shows("red"), 2), "the item does not show the red badge")
        self.assertTrue(wait_until(self.host_draws_picture, 5), "the host does not draw the item")
        self.screenshot("late-host")

        self.watcher_process.kill()
        self.watcher_process.wait()
        self.assertTrue(wait_until(lambda: self.watcher("RegisteredStatusNotifierItems") is None, 5))
        self.watcher_process = self.start_watcher()
        self.assertTrue(wait_until(self.item, 2), "the item does not register with a restarted watcher")


if __name__ == "__main__":
    unittest.main()
