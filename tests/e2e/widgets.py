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
            return next((child for child in application if child.name == title), None)


def describe(node):
    box = node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS)
    text = node.queryText() if node.getRoleName() == "text" else None
    return {"role": node.getRoleName(), "name": node.name, "enabled": node.getState().contains(pyatspi.STATE_ENABLED),
            "x": box.x, "y": box.y, "width": box.width, "height": box.height,
            "text": text and text.getText(0, text.characterCount)}


pid, title = int(sys.argv[1]), sys.argv[2]
nodes = pyatspi.findAllDescendants(window(pid, title) or sys.exit(f'no shown window "{title}" in process {pid}'),
                                   lambda node: True)
if sys.argv[3:4] == ["--press"]:
    next(node for node in nodes if node.getRoleName() == "push button"
         and node.name == sys.argv[4]).queryAction().doAction(0)
else:
    print(json.dumps([describe(node) for node in nodes]))
