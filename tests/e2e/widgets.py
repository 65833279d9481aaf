"""Reads the widgets of one shown window of a process through the accessibility bus.

    /usr/bin/python3 widgets.py PID TITLE            prints the widgets as a JSON list
    /usr/bin/python3 widgets.py PID TITLE --press B  presses the button named B

A process of its own for every look, because pyatspi stays with the first bus it finds and each
test runs on a bus of its own. DISPLAY and DBUS_SESSION_BUS_ADDRESS say which one.
"""

import json
import sys

import pyatspi


def window(pid, title):
    for application in pyatspi.Registry.getDesktop(0):
        if application is not None and application.get_process_id() == pid:
            application.clear_cache()
            for child in application:
                if child.name == title:
                    return child
    sys.exit(f'no shown window "{title}" in process {pid}')


def descendants(node):
    for child in node:
        yield child
        yield from descendants(child)


def describe(node):
    extents = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    entry = {"role": node.getRoleName(), "name": node.name,
             "enabled": node.getState().contains(pyatspi.STATE_ENABLED),
             "x": extents.x, "y": extents.y, "width": extents.width, "height": extents.height}
    if entry["role"] == "text":
        text = node.queryText()
        entry["text"] = text.getText(0, text.characterCount)
    return entry


def main():
    pid, title = int(sys.argv[1]), sys.argv[2]
    top = window(pid, title)
    if sys.argv[3:4] == ["--press"]:
        button = next(node for node in descendants(top)
                      if node.getRoleName() == "push button" and node.name == sys.argv[4])
        button.queryAction().doAction(0)
        return
    print(json.dumps([describe(node) for node in descendants(top)]))


main()
