#!/usr/bin/env python3
"""The readouts of the real program: values follow the flight, and can be copied; format, units and coordinate system
change what shows; the window comes back at the next start unless the user closed it.

usage: readouts_test.py BIN_DIR WORK_DIR
"""
import pathlib
import subprocess
import sys
import time

from desktop import Desktop, check, expect, wait_for


def clipboard(desktop):
    return subprocess.run([pathlib.Path(sys.argv[1]) / "clipboard_text"], env=desktop.environment, text=True,
                          capture_output=True, timeout=10).stdout


def page(desktop):
    """The page that is open, as rows of fields."""
    desktop.key("ctrl+c")
    return {line.split("\t")[0]: line.split("\t")[1:] for line in clipboard(desktop).splitlines()}


with Desktop(sys.argv[1], sys.argv[2]) as desktop:
    landscape = desktop.demo()
    program = desktop.start(landscape)
    desktop.focus("my land - Tarnvale")
    time.sleep(2)
    desktop.key("alt+v", "r")
    wait_for(lambda: desktop.window("Readouts"), 30, "the readouts window")
    desktop.keeps("ShowReadouts", "true", "the open window is noted")

    # The keyboard still flies; the window's tab bar has the focus once it is chosen.
    desktop.focus("Readouts")
    desktop.key("ctrl+Tab")
    def viewer_page(unit, above=-1e9):
        """The viewer's page, once its altitude is told so; else nothing."""
        rows = page(desktop)
        right = len(rows) == 8 and rows["Altitude"][1] == unit and float(rows["Altitude"][0]) > above
        return rows if right else None

    viewer = expect(lambda: viewer_page("m"), "the viewer's page can be copied as a table")
    before = float(viewer["Altitude"][0])
    desktop.focus("my land - Tarnvale")
    desktop.xdotool("mousemove", "900", "650")
    desktop.xdotool("click", "--repeat", "3", "4")
    desktop.focus("Readouts")
    expect(lambda: viewer_page("m", before + 1), "the altitude follows the flight")
    time.sleep(1)
    after = page(desktop)
    check(abs(float(after["Height above the ground"][0]) - float(after["Altitude"][0]) +
              float(after["Elevation of the ground"][0])) < 0.02, "heights agree with each other")

    # Another system: degrees instead of metres.
    desktop.key("alt+c")
    wait_for(lambda: desktop.window("Coordinate system of readouts"), 30, "the chooser")
    time.sleep(1)
    desktop.xdotool("type", "--delay", "50", "4326")
    time.sleep(0.5)
    desktop.picture("chooser")
    desktop.key("Return")
    wait_for(lambda: not desktop.window("Coordinate system of readouts"), 30, "the chooser to close")
    desktop.keeps("RecentCoordinateSystem1", "EPSG:4326", "the system is kept among those used lately")
    desktop.focus("Readouts")
    def in_degrees():
        place = page(desktop).get("Position (north, east)", ["", ""])
        return place[0].startswith("N 46°") and place[1].startswith("E 9°")
    expect(in_degrees, "latitude and longitude")

    # Other units, by keyboard alone: the second elevation unit is kilometres.
    desktop.key("alt+f")
    wait_for(lambda: desktop.window("Format of readouts"), 30, "the format dialog")
    desktop.picture("format")
    desktop.key("alt+e", "Down", "Return")
    wait_for(lambda: not desktop.window("Format of readouts"), 30, "the format dialog to close")
    desktop.keeps("ElevationUnits", "9036", "the unit is stored")
    desktop.focus("Readouts")
    kilometres = expect(lambda: viewer_page("km"), "another unit is shown")["Altitude"]
    check(abs(float(kilometres[0]) - float(after["Altitude"][0]) / 1000) < 0.01,
          f"the altitude is told in kilometres: {kilometres}")
    desktop.picture("viewer")

    # The end of the program isn't the user's wish to close the window.
    desktop.focus("my land - Tarnvale")
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "the program ends with the window open")
    desktop.keeps("ShowReadouts", "true", "ending the program keeps it noted as open")
    program = desktop.start(landscape)
    wait_for(lambda: desktop.window("Readouts"), 30, "the readouts window")
    # The main window takes the focus once the landscape is open, on a busy machine much later.
    desktop.focus("my land - Tarnvale")

    def closed():
        readouts = desktop.window("Readouts")
        if readouts:
            desktop.xdotool("windowfocus", "--sync", readouts)
            desktop.key("Escape", pause=1)
        return not desktop.window("Readouts")
    wait_for(closed, 30, "the readouts window to close")
    desktop.keeps("ShowReadouts", "false", "the user's close is noted")
    desktop.focus("my land - Tarnvale")
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "the program ends without it")
print("all ok")
