#!/usr/bin/env python3
"""The manual: its links lead somewhere, and its pictures are taken from the program itself.

usage: manual_test.py BIN_DIR WORK_DIR [--update]

Every picture is taken anew into WORK_DIR. --update puts them into the manual.
"""
import pathlib
import re
import shutil
import subprocess
import sys
import time

from desktop import Desktop, check, colours, wait_for

manual = pathlib.Path(__file__).resolve().parent.parent / "docs/manual"
wanted = set()
page_names = {page.name for page in manual.glob("*.md")}
for folder in [manual, *(path for path in manual.iterdir() if path.is_dir() and path.name != "pictures")]:
    pages = {page.name: page.read_text(encoding="utf-8") for page in folder.glob("*.md")}
    check(set(pages) == page_names, f"{folder.name} has every page")
    linked = {"index.md"}
    for name, text in pages.items():
        for link in re.findall(r"\]\(([^)]+)\)", text):
            if link.endswith(".png"):
                wanted.add(pathlib.Path(link).name)
                check((folder / link).exists(), f"{folder.name}/{name}: the picture {link} is there")
            else:
                check(link in pages, f"{folder.name}/{name}: {link} leads to a page")
                linked.add(link)
    check(set(pages) <= linked, f"every page of {folder.name} can be reached")

# The manual shows what a user sees, so the skies that come with the program are there.
with Desktop(sys.argv[1], sys.argv[2], "1400x900",
             TARNVALE_SKY_FILE=str(pathlib.Path(sys.argv[1]) / "Tarnvale.sky")) as desktop:
    landscape = desktop.demo("demo.sim", 1025, 4096)
    taken = desktop.work / "pictures"
    taken.mkdir()

    def settle():
        time.sleep(2.5)

    def take(name, window=None):
        whole = desktop.picture(name)
        target = taken / f"{name}.png"
        if window is None:
            shutil.copy(whole, target)
        else:
            desktop.capture(window, target)
        # No wider than the manual's window.
        subprocess.run(["convert", target, "-resize", "840x>", "-strip", target], check=True)
        check(colours(target, "10000x10000+0+0") > 30, f"{name} shows something")

    desktop.ini.write_text("Theme=light\nTerrainQuality=95\n[popupmsg]\ntarnvale_POIInstructions_NoShow=true\n")
    program = desktop.start(landscape)
    main = desktop.focus("demo - Tarnvale")
    settle()
    desktop.key("Up", "Up", "Up")
    settle()
    take("main", main)

    desktop.key("ctrl+comma")
    options = wait_for(lambda: desktop.window("Options"), 30, "the options")
    desktop.key("ctrl+Tab")  # the effects
    take("options", options)
    desktop.key("ctrl+Tab", "alt+k", "Down", "Down")  # the sunset
    settle()
    take("sky-page", options)
    desktop.key("Return")
    desktop.focus("demo - Tarnvale")
    settle()
    take("sky", main)
    desktop.key("ctrl+comma")
    options = wait_for(lambda: desktop.window("Options"), 30, "the options")
    desktop.key("alt+k", "Home", "Return")
    desktop.focus("demo - Tarnvale")
    desktop.key("ctrl+r")
    readouts = wait_for(lambda: desktop.window("Readouts"), 30, "the readouts")
    settle()
    take("readouts", readouts)
    desktop.focus("demo - Tarnvale")
    desktop.key("ctrl+r", "ctrl+k")
    controls = wait_for(lambda: desktop.window("Input assignments"), 30, "the assignments")
    settle()
    take("controls", controls)
    desktop.focus("demo - Tarnvale")
    desktop.key("ctrl+k", "ctrl+1", "ctrl+2")
    settle()
    take("views")
    desktop.key("ctrl+2")
    desktop.xdotool("windowmove", "--sync", desktop.window("Map"), 80, 140)
    settle()
    take("compass")

    desktop.focus("demo - Tarnvale")
    desktop.key("ctrl+2")
    for x in range(60, 160, 8):  # the palette's third button
        desktop.xdotool("mousemove", "--window", main, x, 45, "click", 1)
        time.sleep(0.3)
        if desktop.window("Points of interest"):
            break
    tool = wait_for(lambda: desktop.window("Points of interest"), 30, "the points of interest")
    desktop.xdotool("windowfocus", "--sync", tool)
    desktop.key("alt+o", "alt+n", pause=1)
    point = wait_for(lambda: desktop.window("Point of interest 1"), 30, "the point's view")
    for window, x, y in ((tool, 790, 60), (desktop.window("Map"), 90, 420), (point, 690, 420)):
        desktop.xdotool("windowmove", window, x, y)
    time.sleep(1)
    place = dict(line.split("=") for line in
                 desktop.xdotool("getwindowgeometry", "--shell", desktop.window("Map")).splitlines())
    left, top = int(place["X"]) + int(place["WIDTH"]) // 2, int(place["Y"]) + int(place["HEIGHT"]) // 2
    desktop.xdotool("mousemove", left - 40, top - 60, "click", 1)
    settle()
    take("points")

    # A place in the map viewer, as a click hands it over.
    atlas = desktop.work / "demo.atl"
    atlas.write_text("[Sedgelineatlas]\nTitle=Demo\nFile=demo.sim\nObject=/demo_texture\nNumViews=2\n"
                     "StartCenterLat=46.87\nStartCenterLon=9.1\nStartZoomWidth=9000\n[View2]\nObject=/demo\n")
    viewer = subprocess.Popen([desktop.bin / "sedgelineatlas", atlas],
                              env=dict(desktop.environment, XDG_RUNTIME_DIR=str(desktop.work)))
    desktop.started.append(viewer)
    window = desktop.focus("Demo - Atlas")
    settle()
    take("atlas", window)

    missing = wanted - {path.name for path in taken.iterdir()}
    check(not missing, f"every picture of the manual is taken here {missing or ''}")
    if "--update" in sys.argv:
        for path in taken.iterdir():
            shutil.copy(path, manual / "pictures")
print("all ok")
