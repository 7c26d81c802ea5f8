#!/usr/bin/env python3
"""Drives menus, keys, theme, language, full screen and window placement of the real program.

usage: shell_test.py BIN_DIR WORK_DIR
"""
import json
import pathlib
import re
import signal
import subprocess
import sys
import time

from desktop import Desktop, check, colours, difference, wait_for

bin_dir, work = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
TITLE = "my land - Tarnvale"


def geometry(desktop, window):
    text = subprocess.run(["xwininfo", "-id", window], env=desktop.environment, capture_output=True, text=True).stdout
    return {key: int(re.search(rf"{name}:\s+(-?\d+)", text)[1])
            for key, name in (("x", "Absolute upper-left X"), ("y", "Absolute upper-left Y"), ("w", "Width"),
                              ("h", "Height"))}


def brightness(file, crop):
    answer = subprocess.run(["convert", file, "-crop", crop, "-colorspace", "gray", "-format", "%[fx:mean]", "info:"],
                            capture_output=True, text=True, check=True)
    return float(answer.stdout)


def changes(desktop, what, keys, expected=0.004):
    before = desktop.picture("before")
    desktop.key(*keys)
    time.sleep(0.7)
    after = desktop.picture("after")
    check(difference(before, after) > expected, what)


with Desktop(bin_dir, work / "menus") as desktop:
    landscape = desktop.demo()
    desktop.ini.write_text("Theme=light\nPitchSpeed=no number\n\x00\xff broken line\nTurnSpeed=45\n", encoding="latin-1")
    program = desktop.start(landscape)
    window = desktop.focus(TITLE)
    time.sleep(3)

    # Each toggle is seen in the settings file at once.
    desktop.key("alt+v", "s")
    check(desktop.stored("ShowStatusBar") == "false", "the status bar goes by menu, and the setting is kept")
    desktop.key("alt+v", "s")
    check(desktop.stored("ShowStatusBar") == "true", "and comes again")
    changes(desktop, "wireframe changes the picture", ["ctrl+shift+w"])
    check(desktop.stored("Wireframe") == "true", "and is kept")
    changes(desktop, "and back", ["ctrl+shift+w"])
    changes(desktop, "a texture goes by the Layer menu", ["alt+l", "Right", "Return"])
    changes(desktop, "and comes again", ["alt+l", "Right", "Return"])

    # Placements of the viewer.
    desktop.xdotool("keydown", "Right")
    time.sleep(1.2)
    desktop.xdotool("keyup", "Right")
    turned = desktop.picture("turned")
    desktop.key("BackSpace")
    time.sleep(0.7)
    check(difference(turned, desktop.picture("recentred")) > 0.01, "Recenter turns back")

    # The view alone.
    before = geometry(desktop, window)
    desktop.key("F11")
    time.sleep(1)
    whole = desktop.picture("full_screen")
    check(colours(whole, "1280x60+0+840") > 50, "full screen shows terrain down to the lower edge")
    desktop.xdotool("keydown", "Left")
    time.sleep(0.6)
    desktop.xdotool("keyup", "Left")
    time.sleep(0.3)
    check(difference(whole, desktop.picture("full_screen_turned")) > 0.01, "keys fly in full screen")
    desktop.key("Escape")
    time.sleep(1)
    after = geometry(desktop, window)
    check(abs(after["w"] - before["w"]) < 8 and abs(after["h"] - before["h"]) < 8, "Escape ends full screen")

    # Theme at once, language with the next start.
    place = geometry(desktop, window)
    palette = f"300x20+{place['x'] + 300}+{place['y'] + 30}"  # the empty part of the tool palette
    light = brightness(desktop.picture("light"), palette)
    desktop.key("alt+v", "t", "d")
    time.sleep(0.7)
    check(desktop.stored("Theme") == "dark", "the theme is kept")
    check(brightness(desktop.picture("dark"), palette) < light - 0.3, "and darkens the window at once")
    desktop.key("alt+v", "l", "Down", "Down", "Return")
    check(desktop.stored("Language") == "de", "the language is kept")
    desktop.key("ctrl+q")
    check(program.wait(10) == 0, "Ctrl+Q from the view ends the program")
    check(desktop.stored("CleanClose") == "true", "and the end is noted")
    program = desktop.start(landscape)
    desktop.focus(TITLE)
    time.sleep(2)
    desktop.key("ctrl+o")
    wait_for(lambda: desktop.window("Landschaft öffnen"), 10, "a German file dialog")
    check(True, "the next start is German")
    desktop.key("Escape")
    desktop.key("ctrl+q")
    program.wait(10)

    # A place on a screen that has gone.
    program = desktop.start(landscape)
    window = desktop.focus(TITLE)
    desktop.xdotool("windowsize", "--sync", window, 700, 500)
    desktop.xdotool("windowmove", "--sync", window, 560, 380)
    time.sleep(1)
    desktop.key("ctrl+q")
    program.wait(10)
    kept = desktop.ini.read_text(errors="replace")
    program = desktop.start(landscape)
    window = desktop.focus(TITLE)
    time.sleep(1)
    place = geometry(desktop, window)
    check(abs(place["w"] - 700) < 8 and place["x"] > 500, f"the window comes back where it stood {place}")

    desktop.key("ctrl+q")
    program.wait(10)

    # The view of a command line moves by itself until a key takes over.
    extent = json.loads(subprocess.run([bin_dir / "tarnvale-info", "--json", landscape], capture_output=True, text=True,
                                       check=True).stdout)["extent"]
    x, y = (extent["xmin"] + extent["xmax"]) / 2, (extent["ymin"] + extent["ymax"]) / 2
    small = "400x200+600+450"
    for kind, field in (("Type=0", "FOV=9000"), ("Type=1", "Rate=20")):
        program = desktop.start(kind, f"POI={x},{y},400", "DOV=30,-20", field, "Rate=20", landscape)
        desktop.focus(TITLE)
        time.sleep(2.5)
        first = desktop.picture(f"{kind}-first")
        time.sleep(1)
        check(difference(first, desktop.picture(f"{kind}-later"), small) > 0.01, f"{kind} moves without a key")
        # Pressed and released between two frames, as it happens on a busy machine.
        program.send_signal(signal.SIGSTOP)
        desktop.key("Left")
        program.send_signal(signal.SIGCONT)

        def still():
            """Tiles may still come in for a while on a busy machine."""
            before = desktop.picture(f"{kind}-stopped")
            time.sleep(1)
            return difference(before, desktop.picture(f"{kind}-still"), small) < 0.004
        wait_for(still, 15, "the end of the motion")
        check(True, "and a key ends the motion")
        program.kill()
        program.wait(10)

    # After the kill: one graphics system, so nobody is asked. The picture of the start goes by itself.
    check(desktop.stored("CleanClose") == "false", "a killed program leaves its trace")
    program = desktop.start(splash=True)
    wait_for(lambda: desktop.window("Tarnvale splash"), 10, "the picture of the start")
    check(desktop.window("Tarnvale") is not None, "the main window stands behind it")
    time.sleep(5.5)
    check(desktop.window("Tarnvale splash") is None, "it goes after five seconds")
    titles = desktop.xdotool("search", "--onlyvisible", "--name", ".+", "getwindowname", "%@").split("\n")
    check("Tarnvale" in titles and not [one for one in titles if "raphics" in one], f"and nothing asks {titles}")

with Desktop(bin_dir, work / "small", "480x360") as desktop:
    desktop.ini.write_text(kept)
    program = desktop.start()
    window = desktop.focus("Tarnvale")
    time.sleep(1)
    place = geometry(desktop, window)
    check(place["x"] < 400 and place["y"] < 300, f"on a smaller screen it is brought back into sight {place}")

with Desktop(bin_dir, work / "few colours", depth=8) as desktop:
    program = desktop.start()
    time.sleep(2)
    wait_for(lambda: desktop.xdotool("key", "Return") == "" and program.poll() is not None, 15, "the end")
    check(program.returncode == 1, "a display of 8 bits ends the start")
    check("16" in (desktop.work / "program.log").read_text(), "and it is said why")
print("all ok")
