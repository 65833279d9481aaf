"""Sharp at any scale: the status window's banner is drawn for the screen's device-pixel ratio,
from its SVG source, while at 1x it stays the compiled-in picture."""

import os
import subprocess
import unittest

from desktop import ROOT, DesktopTest, exit_status, wait_until

WIDTH, HEIGHT = 100, 387  # the banner at 1x
XPM = os.path.join(ROOT, "images", "banner.xpm")


def rgb(*argv, data=None):
    """A picture as 8-bit RGB samples, read from a file or from data."""
    return subprocess.run(["/usr/bin/convert", *argv, "-depth", "8", "rgb:-"], input=data, check=True,
                          capture_output=True).stdout


def off(seen, expected):
    """The share of samples that differ by more than a faint shade; only as many as were seen count."""
    return sum(abs(a - b) > 16 for a, b in zip(seen, expected)) / len(seen)


class HighDpi(DesktopTest):
    def show_banner(self, scale, expected):
        """Opens the status window on a screen scaled by scale; returns the banner as far as the screen
        shows it once it looks like expected, or as last seen."""
        self.start_wardlet(QT_SCALE_FACTOR=str(scale))
        self.wait_requests()  # holds the one-copy lock now: a second start opens the window
        self.assertEqual(exit_status(self.start_wardlet(log_name="second"), 3), 0)
        self.wait_window("Trevanta")
        label = next(w for w in self.widgets("Trevanta") if w["role"] == "image")
        # The label's frame surrounds the picture; the accessibility bus gives device-independent pixels.
        x = scale * (label["x"] + (label["width"] - WIDTH) // 2)
        y = scale * (label["y"] + (label["height"] - HEIGHT) // 2)
        seen = []  # the window may not be painted yet
        wait_until(lambda: self.screenshot(f"scale{scale}") or seen.append(rgb(
            os.path.join(self.artefacts, f"scale{scale}.png"), "-crop", f"{WIDTH * scale}x{HEIGHT * scale}+{x}+{y}"))
            or off(seen[-1], expected) < 0.002, 5, 0.2)
        return seen[-1]

    def test_scale_1_shows_the_compiled_in_picture(self):
        self.assertTrue(self.show_banner(1, rgb(XPM)) == rgb(XPM), "the banner is not the 1x picture")

    def test_scale_2_shows_the_svg_drawn_at_twice_the_size(self):
        expected = rgb("png:-", data=subprocess.run(  # opaque: shown as it is
            ["/usr/bin/rsvg-convert", "-w", str(2 * WIDTH), "-h", str(2 * HEIGHT),
             os.path.join(ROOT, "images", "svg", "banner.svg")], check=True, capture_output=True).stdout)
        seen = self.show_banner(2, expected)
        self.assertGreater(len(seen), 2 * WIDTH * 3 * 500, "the screen shows too little of the banner")
        self.assertLess(off(seen, expected), 0.002, "the banner is not the 2x rendering of its SVG")
        # What an enlarged 1x picture would look like is told apart clearly.
        for enlarge in ("-scale", "-resize"):
            self.assertGreater(off(seen, rgb(XPM, enlarge, "200%")), 0.01, f"the banner is the 1x picture {enlarge}d")


if __name__ == "__main__":
    unittest.main()
