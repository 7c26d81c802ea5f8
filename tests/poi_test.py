#!/usr/bin/env python3
"""Points of interest in the real program: make three, open their views, drag one in the map, save, and be asked.

usage: poi_test.py BIN_DIR WORK_DIR
"""
import json
import subprocess
import sys
import time

from desktop import Desktop, check, expect, wait_for

TOOL, MAIN, MAP = "Points of interest", "my land - Tarnvale", "Map"


def magenta(picture):
    """Pixels of the main view in the third point's colour."""
    answer = subprocess.run(["convert", picture, "-crop", "880x760+20+110", "+repage", "-fuzz", "8%", "-fill", "black",
                             "+opaque", "#FF00E6", "-fill", "white", "-opaque", "#FF00E6", "-format",
                             "%[fx:mean*w*h]", "info:"], capture_output=True, text=True, check=True)
    return round(float(answer.stdout))


with Desktop(sys.argv[1], sys.argv[2], "1500x950") as desktop:
    landscape = desktop.demo()
    desktop.ini.write_text("Theme=light\nTerrainQuality=95\n")
    program = desktop.start(landscape)
    main = desktop.focus(MAIN)

    def crop(window):
        x, y, width, height = desktop.place(window)
        return f"{width}x{height}+{x}+{y}"

    desktop.put(main, 10, 30, 900, 880)
    # The tool stands third in the palette; each button is as wide as the first.
    desktop.drawn("before", "the landscape is drawn")
    for attempt in range(20):
        desktop.xdotool("mousemove", "--window", main, 60 + attempt * 5, 45, "click", 1)
        if desktop.window("Tarnvale"):
            break
        time.sleep(0.2)
    desktop.focus("Tarnvale")
    desktop.key("Escape")
    check(desktop.window(TOOL) is None, "cancelled instructions leave the tool as it was")
    desktop.xdotool("mousemove", "--window", main, 60 + attempt * 5, 45, "click", 1)
    desktop.focus("Tarnvale")
    desktop.key("alt+d", "Return")
    tool = wait_for(lambda: desktop.window(TOOL), 30, "the tool's window")
    desktop.keeps("tarnvale_POIInstructions_NoShow", "true", "the instructions are turned off")
    desktop.put(tool, 930, 40, 540, 260)
    desktop.xdotool("windowfocus", "--sync", tool)
    desktop.key("alt+o")
    desktop.key("alt+n", "alt+n", "alt+n", pause=0.8)
    views = [wait_for(lambda n=n: desktop.window(f"Point of interest {n}"), 10, f"view {n}") for n in (1, 2, 3)]
    for i, view in enumerate(views):
        desktop.put(view, 930, 350 + 30 * i, 420, 300)
    desktop.focus(MAIN)
    desktop.key("ctrl+1")
    map_window = wait_for(lambda: desktop.window(MAP), 30, "the map")
    desktop.put(map_window, 930, 690, 420, 230)

    # The views of points that stand under the viewer look straight down. Dragging the third towards the north-west,
    # where the main view looks, turns its view alone, and brings its marker into the main view.
    desktop.xdotool("windowraise", views[2])
    first, shown = desktop.rests("three", crop="1400x900+0+0"), crop(views[2])
    x, y, width, height = desktop.place(map_window)
    middle = (x + width // 2, y + height // 2)
    desktop.xdotool("mousemove", middle[0], middle[1] + 20)
    time.sleep(0.3)
    desktop.xdotool("mousedown", 1)
    for step in range(1, 7):
        desktop.xdotool("mousemove", middle[0] - 8 * step, middle[1] + 20 - 12 * step)
        time.sleep(0.1)
    desktop.xdotool("mouseup", 1)
    desktop.changed(first, "dragged", "the dragged point's view looks elsewhere", 0.02, shown)
    desktop.changed(first, "dragged_map", "the map shows its cross elsewhere", 0.001, crop(map_window))
    check(magenta(first) < 20, "the main view had no marker before")
    expect(lambda: magenta(desktop.picture("marked")) > 20, "and shows one now")

    desktop.focus(MAIN)
    desktop.key("alt+w", "p")
    expect(lambda: magenta(desktop.picture("without")) == 0, "markers can be hidden in the main view")
    desktop.key("alt+w", "p")
    expect(lambda: magenta(desktop.picture("with")) > 20, "and shown again")

    # Quit asks; Escape stays. Saving goes to a file, and then nothing is asked.
    desktop.key("ctrl+q")
    wait_for(lambda: len([w for w in desktop.windows(program)]) and desktop.window("Tarnvale"), 30, "the question")
    desktop.key("Escape")
    time.sleep(0.5)
    check(program.poll() is None and desktop.window(TOOL), "cancelled, everything stays")
    file = desktop.work / "points.geojson"
    desktop.focus(TOOL)
    desktop.key("alt+s")
    desktop.focus("Save points of interest")
    desktop.xdotool("key", "ctrl+a")
    desktop.xdotool("type", str(file))
    desktop.key("Return")
    wait_for(file.exists, 30, "the file")
    saved = json.loads(file.read_text())
    points = [feature["geometry"]["coordinates"] for feature in saved["features"]]
    check(len(points) == 3 and points[0] == points[1] != points[2], "three points, and the third was dragged")
    info = subprocess.run(["ogrinfo", "-ro", "-al", "-so", file], capture_output=True, text=True)
    check(info.returncode == 0 and "Feature Count: 3" in info.stdout and "WGS 84" in info.stdout,
          "a geographic program opens the file")
    desktop.focus(MAIN)
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "after saving the program closes without a question")
print("all ok")
