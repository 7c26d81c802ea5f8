#!/usr/bin/env python3
"""A new user's first hour: from rasters to a landscape with a sky, over it by keys, into the sunset, three points of
interest with their views, one of them dragged in the map, and a place handed over to the atlas.

usage: firsthour_test.py BIN_DIR WORK_DIR [DEM [TEXTURE]]
Without rasters a demonstration landscape is made.
"""
import pathlib
import re
import subprocess
import sys
import time

from desktop import Desktop, check, difference, wait_for

TITLE = "first hour - Tarnvale"
runtime = pathlib.Path(sys.argv[2] + "-runtime")
runtime.mkdir(mode=0o700, parents=True, exist_ok=True)
skies = pathlib.Path(sys.argv[1]) / "Tarnvale.sky"

with Desktop(sys.argv[1], sys.argv[2], "1900x1000", XDG_RUNTIME_DIR=str(runtime),
             TARNVALE_SKY_FILE=str(skies)) as desktop:

    def settled(name):
        return desktop.rests(name, within=0.0005, crop="1900x1000+0+0")

    def crop(window):
        return "{2}x{3}+{0}+{1}".format(*desktop.place(window))

    # A landscape with a sky of its own, and the atlas beside it.
    own = desktop.work / "evening.png"
    subprocess.run(["convert", "-size", "256x512", "gradient:#203060-#e0b080", "-rotate", "90", own], check=True)
    sources = (["--dem", sys.argv[3]] + (["--texture", sys.argv[4]] if sys.argv[4:] else []) if sys.argv[3:] else
               ["--demo", "--size", "513", "--texture-size", "2048"])
    landscape = desktop.work / "first hour.sim"
    subprocess.run([desktop.bin / "tarnvale-build", "-q", *sources, "--sky", own, "--atlas", landscape], check=True)
    desktop.ini.write_text("Theme=light\nLanguage=en\nTerrainQuality=90\n[popupmsg]\n"
                           "tarnvale_AtlasInstructions_NoShow=true\ntarnvale_POIInstructions_NoShow=true\n")
    program = desktop.start(landscape)
    main = desktop.focus(TITLE, 60)
    desktop.put(main, 0, 30, 1100, 900)
    first = settled("1 opened")
    view = "1000x700+40+150"

    # Fly: speed up, turn a little, stop.
    desktop.hold("e", 0.4)
    time.sleep(2)
    desktop.key("Left", "d", pause=1)
    flown = settled("2 flown")
    check(difference(first, flown, view) > 0.005, "keys fly")

    # The sunset is among the program's own skies, behind the landscape's.
    desktop.key("ctrl+comma")
    options = wait_for(lambda: desktop.window("Options"), 30, "the options")
    desktop.xdotool("windowmove", options, 1120, 60)
    desktop.xdotool("windowfocus", "--sync", options)
    desktop.key("ctrl+Tab", "ctrl+Tab", "alt+k")
    desktop.key("Down", "Down", "Down", pause=1)
    desktop.picture("3 options")
    desktop.key("Return")
    desktop.gone("Options")
    desktop.focus(TITLE)
    sunset = settled("4 sunset")
    check(difference(flown, sunset, "1000x150+40+150") > 0.02, "the sky is another one")

    # Three points, their views, and the map.
    desktop.key("F8")
    tool = wait_for(lambda: desktop.window("Points of interest"), 30, "the tool's window")
    desktop.put(tool, 1110, 30, 540, 240)
    desktop.xdotool("windowfocus", "--sync", tool)
    desktop.key("alt+o")
    desktop.key("alt+n", "alt+n", "alt+n", pause=0.8)
    views = [wait_for(lambda n=n: desktop.window(f"Point of interest {n}"), 20, f"view {n}") for n in (1, 2, 3)]
    for i, window in enumerate(views):
        desktop.put(window, 1110 + 260 * i, 310, 250, 280)
    desktop.focus(TITLE)
    desktop.key("ctrl+1")
    chart = wait_for(lambda: desktop.window("Map"), 30, "the map")
    desktop.put(chart, 1110, 630, 540, 330)
    three = settled("5 three points")
    x, y, width, height = desktop.place(chart)
    middle = (x + width // 2, y + height // 2)
    for step in range(8):
        desktop.xdotool("mousemove", middle[0] - 9 * step, middle[1] + 10 - 12 * step)
        if step == 0:
            time.sleep(0.3)
            desktop.xdotool("mousedown", 1)
        time.sleep(0.15)
    desktop.xdotool("mouseup", 1)
    dragged = settled("6 dragged")
    changes = [difference(three, dragged, crop(window)) for window in views]
    check(changes[2] > 0.02 and max(changes[:2]) < 0.01, f"the dragged point's view alone looks elsewhere: {changes}")

    # A click in the main view with the atlas tool, and the map viewer shows that place.
    desktop.focus(TITLE)
    desktop.key("F9")
    time.sleep(1)
    desktop.xdotool("mousemove", "--window", main, 560, 620)
    time.sleep(0.3)
    desktop.xdotool("click", 1)
    atlas = landscape.with_suffix(".atl")
    found = wait_for(lambda: re.search(r"^StartCenterLat=(.+)\nStartCenterLon=(.+)$", atlas.read_text(), re.M), 20,
                     "the place in the atlas")
    window = wait_for(lambda: desktop.window("first hour - Atlas"), 30, "the map viewer")
    desktop.put(window, 1000, 30, 880, 700)
    x, y, width, height = desktop.place(window)
    desktop.xdotool("mousemove", x + width // 4, y + height // 2)
    settled("7 atlas")
    print(f"the place: {found.group(1)} {found.group(2)}")
    desktop.xdotool("windowclose", window)
    desktop.focus(TITLE)
    desktop.key("ctrl+q")
    time.sleep(1)
    desktop.picture("8 asked")
    check(program.poll() is None, "it asks about the points that aren't saved")
    program.kill()
print("all ok")
