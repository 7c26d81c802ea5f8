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

from desktop import Desktop, check, colours, expect, wait_for

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


def changes(desktop, what, keys):
    before = desktop.rests("before")
    desktop.key(*keys)
    desktop.changed(before, "after", what, 0.004)


with Desktop(bin_dir, work / "menus") as desktop:
    landscape = desktop.demo()
    desktop.ini.write_text("Theme=light\nPitchSpeed=no number\n\x00\xff broken line\nTurnSpeed=45\n", encoding="latin-1")
    program = desktop.start(landscape)
    window = desktop.focus(TITLE)
    desktop.drawn("opened", "the landscape is drawn")

    # Each toggle is seen in the settings file at once.
    desktop.key("alt+v", "s")
    desktop.keeps("ShowStatusBar", "false", "the status bar goes by menu, and the setting is kept")
    desktop.key("alt+v", "s")
    desktop.keeps("ShowStatusBar", "true", "and comes again")
    changes(desktop, "wireframe changes the picture", ["ctrl+shift+w"])
    desktop.keeps("Wireframe", "true", "and is kept")
    changes(desktop, "and back", ["ctrl+shift+w"])
    changes(desktop, "a texture goes by the Layer menu", ["alt+l", "Right", "Return"])
    changes(desktop, "and comes again", ["alt+l", "Right", "Return"])

    # Placements of the viewer.
    desktop.hold("Right", 1.2)
    turned = desktop.rests("turned")
    desktop.key("BackSpace")
    desktop.changed(turned, "recentred", "Recenter turns back")

    # A dialog that waits for its button stops the flight, and still leaves no copies of itself where it was.
    view = geometry(desktop, window)
    corner = f"300x120+{view['x'] + 20}+{view['y'] + 140}"
    clear = desktop.rests("clear")
    desktop.key("alt+h", "a")
    about = desktop.focus("Tarnvale")
    desktop.put(about, view["x"] + 20, view["y"] + 120)
    desktop.changed(clear, "covered", "a dialog stands over the view", crop=corner)
    desktop.put(about, view["x"] + 500, view["y"] + 400)
    desktop.same(clear, "uncovered", "and the view is drawn afresh where it stood", crop=corner)
    desktop.key("Escape")
    desktop.gone("Tarnvale")
    desktop.focus(TITLE)

    # A key that goes up over an open menu isn't held any more.
    desktop.xdotool("keydown", "Left")
    time.sleep(0.5)
    desktop.key("alt+v")
    desktop.xdotool("keyup", "Left")
    desktop.key("Escape", "Escape")
    desktop.rests("released", "a key released in a menu ends its turn")

    # The view alone.
    before = geometry(desktop, window)
    desktop.key("F11")
    whole = desktop.drawn("full_screen", "full screen shows terrain down to the lower edge", 50, "1280x60+0+840")
    desktop.hold("Left")
    desktop.changed(whole, "full_screen_turned", "keys fly in full screen")
    desktop.key("Escape")

    def as_before():
        after = geometry(desktop, window)
        return abs(after["w"] - before["w"]) < 8 and abs(after["h"] - before["h"]) < 8
    expect(as_before, "Escape ends full screen")

    # Theme at once, language with the next start.
    place = geometry(desktop, window)
    palette = f"300x20+{place['x'] + 300}+{place['y'] + 30}"  # the empty part of the tool palette
    light = brightness(desktop.picture("light"), palette)
    desktop.key("alt+v", "t", "d")
    desktop.keeps("Theme", "dark", "the theme is kept")
    expect(lambda: brightness(desktop.picture("dark"), palette) < light - 0.3, "and darkens the window at once")
    desktop.key("alt+v", "l", "Down", "Down", "Return")
    desktop.keeps("Language", "de", "the language is kept")
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "Ctrl+Q from the view ends the program")
    check(desktop.stored("CleanClose") == "true", "and the end is noted")
    program = desktop.start(landscape)
    desktop.focus(TITLE)
    desktop.key("ctrl+o")
    expect(lambda: desktop.window("Landschaft öffnen"), "the next start is German")
    desktop.focus("Landschaft öffnen")
    desktop.key("Escape")
    desktop.gone("Landschaft öffnen")
    desktop.focus(TITLE)
    desktop.key("ctrl+q")
    program.wait(20)

    # A place on a screen that has gone.
    program = desktop.start(landscape)
    window = desktop.focus(TITLE)
    desktop.xdotool("windowsize", "--sync", window, 700, 500)
    desktop.xdotool("windowmove", "--sync", window, 560, 380)
    time.sleep(1)
    desktop.key("ctrl+q")
    program.wait(20)
    kept = desktop.ini.read_text(errors="replace")
    program = desktop.start(landscape)
    window = desktop.focus(TITLE)

    def in_place():
        place = geometry(desktop, window)
        return abs(place["w"] - 700) < 8 and place["x"] > 500
    expect(in_place, "the window comes back where it stood")
    desktop.key("ctrl+q")
    program.wait(20)

    # The view of a command line moves by itself until a key takes over.
    extent = json.loads(subprocess.run([bin_dir / "tarnvale-info", "--json", landscape], capture_output=True, text=True,
                                       check=True).stdout)["extent"]
    x, y = (extent["xmin"] + extent["xmax"]) / 2, (extent["ymin"] + extent["ymax"]) / 2
    small = "400x200+600+450"
    for kind, field in (("Type=0", "FOV=9000"), ("Type=1", "Rate=20")):
        program = desktop.start(kind, f"POI={x},{y},400", "DOV=30,-20", field, "Rate=20", landscape)
        desktop.focus(TITLE)
        wait_for(lambda: colours(desktop.picture(f"{kind}-first"), small) > 300, 60, "the landscape")
        first = desktop.picture(f"{kind}-first")
        desktop.changed(first, f"{kind}-later", f"{kind} moves without a key", crop=small)
        # Pressed and released between two frames, as it happens on a busy machine.
        program.send_signal(signal.SIGSTOP)
        desktop.key("Left")
        program.send_signal(signal.SIGCONT)
        desktop.rests(f"{kind}-stopped", "and a key ends the motion", crop=small)
        program.kill()
        program.wait(20)

    # After the kill: one graphics system, so nobody is asked. The picture of the start goes by itself.
    check(desktop.stored("CleanClose") == "false", "a killed program leaves its trace")
    program = desktop.start(splash=True)
    wait_for(lambda: desktop.window("Tarnvale splash"), 30, "the picture of the start")
    check(desktop.window("Tarnvale") is not None, "the main window stands behind it")
    time.sleep(1)
    check(desktop.window("Tarnvale splash") is not None, "it can be looked at")
    expect(lambda: not desktop.window("Tarnvale splash"), "and goes after five seconds", 10)
    titles = desktop.xdotool("search", "--onlyvisible", "--name", ".+", "getwindowname", "%@").split("\n")
    check("Tarnvale" in titles and not [one for one in titles if "raphics" in one], f"and nothing asks {titles}")

with Desktop(bin_dir, work / "small", "480x360") as desktop:
    desktop.ini.write_text(kept)
    program = desktop.start()
    window = desktop.focus("Tarnvale")

    def in_sight():
        place = geometry(desktop, window)
        return place["x"] < 400 and place["y"] < 300
    expect(in_sight, "on a smaller screen it is brought back into sight")

with Desktop(bin_dir, work / "few colours", depth=8) as desktop:
    program = desktop.start()
    time.sleep(2)
    wait_for(lambda: desktop.xdotool("key", "Return") == "" and program.poll() is not None, 60, "the end")
    check(program.returncode == 1, "a display of 8 bits ends the start")
    check("16" in (desktop.work / "program.log").read_text(), "and it is said why")
print("all ok")
