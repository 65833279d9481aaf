"""The tray that KDE Plasma and GNOME's AppIndicator extension use: a StatusNotifierItem on the
session bus, served to a real watcher and host (not ours), checked over D-Bus. How a host draws
it is test_wayland's."""

import os
import time
import unittest

from gi.repository import Gio, GLib

from desktop import DesktopTest, wait_until


class StatusNotifierBus:
    """The program's item as a host sees it on the session bus; test_wayland's host too."""

    def open_bus(self):
        self.bus = Gio.DBusConnection.new_for_address_sync(
            self.env["DBUS_SESSION_BUS_ADDRESS"],
            Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION)
        self.addCleanup(self.bus.close_sync)

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


class LateStatusNotifier(StatusNotifierBus, DesktopTest):
    """A session whose panel comes after the program, as autostart often has it, and restarts."""

    TRAY_AT_START = False

    def start_watcher(self):
        self.watcher_process = self.spawn(["status-notifier-watcher"], f"watcher{time.monotonic_ns()}")
        self.assertTrue(wait_until(lambda: self.watcher("RegisteredStatusNotifierItems") is not None, 10), "no watcher")

    def test_item_registers_with_a_late_and_a_restarted_watcher(self):
        self.open_bus()
        self.sim.send("vg 0")
        self.start_wardlet()
        started = time.monotonic()
        self.wait_requests()
        # A settings daemon announces its manager selection the way a tray does, and is no tray.
        settings = os.path.join(self.tmp, "xsettingsd.conf")
        open(settings, "w").close()
        self.spawn(["xsettingsd", "-c", settings], "xsettingsd")
        time.sleep(max(0.0, started + 3 - time.monotonic()))
        self.start_watcher()
        self.spawn(["gtk-sni-tray-standalone", "--bottom"], "host")
        self.assertTrue(wait_until(lambda: self.watcher("IsStatusNotifierHostRegistered"), 10), "no host")
        self.assertTrue(wait_until(self.item, 2), "the item does not register with a watcher that came late")

        self.watcher_process.kill()
        self.watcher_process.wait()
        self.assertTrue(wait_until(lambda: self.watcher("RegisteredStatusNotifierItems") is None, 5))
        self.start_watcher()
        self.assertTrue(wait_until(self.item, 2), "the item does not register with a restarted watcher")


if __name__ == "__main__":
    unittest.main()
