"""A native Wayland client: sway without a screen, swaybar as the tray, no X server at all."""

import glob
import os
import re
import subprocess
import unittest

from gi.repository import GLib

from desktop import DesktopTest, exit_status, read_file, wait_until, xpm_rgba
from test_status_notifier import StatusNotifierBus

NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]  # sway refuses root
# A 26 px bar with 2 px around tray icons draws them at 22 px: the item's own picture, unscaled.
SWAY = """xwayland disable
output HEADLESS-1 resolution 1280x800
bar {
    position top
    height 26
    tray_padding 2
    tray_output *
}
"""
ALERT = r'alert now "Threat ~N found" N=Test-File'
WARNING = re.compile(r"activat|position|geometry|move|does not support", re.I)


class Wayland(StatusNotifierBus, DesktopTest):
    def start_desktop(self):
        os.chmod(self.tmp, 0o711)  # sway's user reaches its own directory and the bus inside
        sway_runtime = os.path.join(self.tmp, "sway")
        os.mkdir(sway_runtime, 0o700)
        os.chown(sway_runtime, 65534, 65534)
        self.env.update(self.desktop.start_session_bus())
        with open(os.path.join(self.tmp, "sway.conf"), "w") as conf:
            conf.write(SWAY)
        self.ipc = os.path.join(sway_runtime, "ipc.sock")
        self.spawn(NOBODY + ["sway", "-c", conf.name], "sway", env=dict(
            self.env, XDG_RUNTIME_DIR=sway_runtime, SWAYSOCK=self.ipc, WLR_BACKENDS="headless",
            WLR_RENDERER="pixman", WLR_LIBINPUT_NO_DEVICES="1"))
        self.open_bus()
        self.assertTrue(wait_until(lambda: self.watcher("IsStatusNotifierHostRegistered"), 10), "no swaybar")
        # No QT_QPA_PLATFORM: with no X display the program takes Wayland by itself.
        self.env.update(WAYLAND_DISPLAY=glob.glob(sway_runtime + "/wayland-?")[0])

    def screenshot(self, name):
        subprocess.run(["grim", os.path.join(self.artefacts, name + ".png")], env=self.env)

    def bar_shows(self, picture):
        """Whether the tray picture appears in the bar, pixel for pixel where it is opaque."""
        width, height, rgba = 1280, 26, xpm_rgba(picture)
        shown = subprocess.run(["grim", "-t", "ppm", "-g", f"0,0 {width}x{height}", "-"], env=self.env,
                               capture_output=True).stdout[-3 * width * height:]
        return any(all(not rgba[4 * i + 3] or rgba[4 * i:4 * i + 3] == shown[3 * o:3 * o + 3]
                       for i, o in ((i, (y + i // 22) * width + x + i % 22) for i in range(22 * 22)))
                   for y in range(height - 21) for x in range(width - 21))

    def windows(self, title):
        """[title] while sway shows a window of self.wardlet so titled, else []."""
        criteria = f'[pid={self.wardlet.pid} title="^{re.escape(title)}$"]'
        run = subprocess.run(["swaymsg", "-s", self.ipc, criteria, "nop"], capture_output=True)
        return [title] if run.returncode == 0 else []

    def start_second(self, token):
        self.assertEqual(exit_status(self.start_wardlet(log_name=token, XDG_ACTIVATION_TOKEN=token), 3), 0)
        self.wait_window("Trevanta")

    def test_wayland_tray_windows_and_second_start(self):
        self.sim.send("selfmanaged")
        # The protocol log shows what the program asks of the compositor.
        first = self.start_wardlet(WAYLAND_DEBUG="client")
        self.assertTrue(wait_until(self.item, 10), "no StatusNotifierItem registered with swaybar")
        self.assertTrue(wait_until(lambda: self.bar_shows("shield"), 5), "swaybar shows no shield")

        name, _, props = self.item()
        layout = self.call(name, props["Menu"], "com.canonical.dbusmenu", "GetLayout",
                           GLib.Variant("(iias)", (0, -1, [])), "(u(ia{sv}av))")
        entry = next(child[0] for child in layout[1][2] if child[1].get("label") == "Open _Trevanta")
        self.call(name, props["Menu"], "com.canonical.dbusmenu", "Event",
                  GLib.Variant("(isvu)", (entry, "clicked", GLib.Variant("i", 0), 0)))
        self.wait_window("Trevanta")
        self.sim.send(ALERT)
        self.wait_window("Mireval - Alert 1 of 1")

        self.start_second("wardlet-e2e-open")  # the window is open: it is brought forward
        subprocess.run(["swaymsg", "-s", self.ipc, f'[pid={first.pid} title="^Trevanta$"] kill'], check=True,
                       capture_output=True)
        self.wait_gone("Trevanta")
        self.start_second("wardlet-e2e-closed")
        self.assertIsNone(first.poll())

        log = read_file(os.path.join(self.artefacts, "wardlet.log")).decode(errors="replace").splitlines()
        self.assertEqual([line for line in log if not line.startswith("[") and WARNING.search(line)], [])
        if b"libQt6Core" in read_file(f"/proc/{first.pid}/maps"):  # Qt 5 knows no activation tokens
            for token in ("wardlet-e2e-open", "wardlet-e2e-closed"):
                self.assertTrue(any(f'.activate("{token}"' in line for line in log), f"{token} not passed on")


if __name__ == "__main__":
    unittest.main()
