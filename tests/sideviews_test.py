#!/usr/bin/env python3
"""Drives the side views of the real program: windows, mouse, keys, zoom, screen shots, and what the next start keeps.

usage: sideviews_test.py BIN_DIR WORK_DIR
"""
import subprocess
import sys
import time

from desktop import Desktop, check, difference, expect, processor_seconds, wait_for

MAIN = "my land - Tarnvale"
WHOLE = "100%x100%+0+0"


def place(title, x, y, width, height):
    found = desktop.focus(title)
    desktop.put(found, x, y, width, height)
    return found


# Pictures are of one window, which must not be covered.

def rests(window, name, what=None):
    return desktop.rests(name, what, crop=WHOLE, window=window)


def changed(before, window, name, what, by=0.01):
    return desktop.changed(before, name, what, by, WHOLE, window)


def mouse(window, x, y):
    desktop.xdotool("mousemove", "--window", window, x, y)
    time.sleep(0.2)


def menu(letter):
    desktop.focus(MAIN)
    desktop.key("alt+w", letter, pause=0.5)


def at_rest(process):
    before = processor_seconds(process)
    time.sleep(2)
    return processor_seconds(process) - before <= 0.05


def save_shot(name):
    """Answers the file dialog of a screen shot."""
    desktop.focus("Screenshot")
    time.sleep(0.3)
    desktop.key("ctrl+a")
    desktop.xdotool("type", str(name))
    desktop.key("Return")


with Desktop(sys.argv[1], sys.argv[2], size="1400x900") as desktop:
    landscape = desktop.demo()
    desktop.ini.write_text("leftShow=true\nrightShow=false\n")
    program = desktop.start(landscape)
    wait_for(lambda: desktop.window("Left"), 60, "the left view of the last run")
    check(desktop.window("Right") is None, "a view that wasn't shown stays away")
    main = place(MAIN, 10, 30, 800, 600)
    left = place("Left", 850, 30, 480, 360)
    desktop.drawn("left", "the left view shows terrain", 300, "470x300+5+55", left)

    # Keys fly whatever view has the focus.
    before = rests(main, "before_key"), rests(left, "before_key_left")
    desktop.hold("Right")
    changed(before[0], main, "after_key", "a key typed in the left view turns the main view")
    changed(before[1], left, "after_key_left", "and the left view with it")
    rests(main, "at_rest", "until the key is released")

    # The map.
    menu("m")
    chart = place("Map", 850, 440, 480, 400)
    desktop.drawn("map", "the map shows the land", 300, "300x300+90+70", chart)
    facing = rests(main, "facing")
    mouse(chart, 150, 330)  # far from the viewer in the middle
    desktop.xdotool("mousedown", "1")
    changed(facing, main, "swinging", "a press in the map swings the look")
    swung = rests(main, "swung")
    mouse(chart, 330, 330)
    changed(swung, main, "dragged", "and a drag swings it on")
    desktop.xdotool("mouseup", "1")
    look = rests(main, "grab_before")
    mouse(chart, 240, 225)  # the viewer's own place
    desktop.xdotool("mousedown", "1")
    for step in range(1, 9):
        mouse(chart, 240 + 8 * step, 225)
    desktop.xdotool("mouseup", "1")
    changed(look, main, "grabbed", "a drag of the viewer's mark moves the viewer")
    moved = rests(main, "moved")
    mouse(chart, 300, 330)
    time.sleep(0.5)
    check(difference(moved, desktop.picture("hover", main), WHOLE) < 0.004, "a mouse without button moves nothing")

    # A click in the main view acts on release.
    mouse(main, 650, 480)
    desktop.xdotool("mousedown", "1")
    time.sleep(1)
    check(difference(moved, desktop.picture("pressed", main), WHOLE) < 0.004, "a press in the main view does nothing yet")
    desktop.xdotool("mouseup", "1")
    changed(moved, main, "released", "the release turns the viewer")

    # Zoom by keyboard and by mouse.
    chart = desktop.focus("Map")
    whole = rests(chart, "zoom_whole")
    desktop.key("alt+i", "alt+i")
    changed(whole, chart, "zoom_in", "Alt+I zooms the map in")
    mouse(chart, 20, 15)
    desktop.xdotool("click", "1")
    mouse(chart, 240, 380)
    desktop.same(whole, "zoom_full", "the button for the whole brings it back", 0.01, WHOLE, chart)
    facing = rests(main, "before_wheel")
    desktop.xdotool("click", "--repeat", "3", "4")
    changed(facing, main, "wheel", "the wheel over a side view changes the altitude", 0.002)

    # Screen shots of the view that has the focus.
    desktop.key("F5")
    save_shot(desktop.work / "from map")
    picture = desktop.work / "from map.png"
    wait_for(picture.exists, 30, "the screen shot with the usual suffix")
    said = subprocess.run(["identify", "-verbose", picture], capture_output=True, text=True, check=True).stdout
    check("480x" in said, "the picture is the map's, as large as its view")
    for text in ("Position: ", "LookAt: ", "CRS: EPSG:", "Source: my land.sim", "Software: Tarnvale "):
        check(text in said, f"the picture tells {text.strip()}")
    desktop.focus(MAIN)
    desktop.key("F5")
    bitmap = desktop.work / "main.bmp"
    save_shot(bitmap)
    wait_for(bitmap.exists, 30, "the bitmap")
    check(bitmap.read_bytes()[:2] == b"BM", "a name that ends in .bmp makes a bitmap")
    desktop.focus(MAIN)
    desktop.key("F5")
    save_shot("/no/such/folder/x.png")
    wait_for(lambda: desktop.window("Tarnvale"), 30, "a message about the screen shot that failed")
    desktop.picture("failed_shot")
    desktop.key("Return")
    check(program.poll() is None, "flight goes on after it")
    check(desktop.stored("SelectBitmapScreenshotSave") == str(bitmap), "and the next one starts where one was written")

    # Closing, hiding, and what is kept.
    desktop.focus("Map")
    desktop.key("alt+F4")
    desktop.gone("Map")
    expect(lambda: desktop.stored("map_viewShow") == "false" and desktop.stored("map_viewPlacement"), "its place is kept")
    menu("l")
    desktop.gone("Left")
    menu("l")
    place("Left", 820, 100, 520, 380)
    menu("c")
    custom = place("Custom view", 820, 500, 520, 380)
    straight = rests(custom, "custom")
    desktop.focus("Custom view")
    desktop.key("alt+y", "ctrl+a")
    desktop.xdotool("type", "60")
    desktop.key("Tab")
    desktop.changed(straight, "custom_yaw", "a yaw turns the custom view", 0.02, "500x250+5+110", custom)
    was = desktop.place(desktop.window("Left"))
    # Full screen lies under the side views, and the next start isn't in it.
    window = desktop.place(desktop.focus(MAIN))
    desktop.key("F11", pause=1.5)
    over = desktop.rests("full_screen")
    desktop.key("ctrl+2")
    desktop.changed(over, "full_screen_alone", "a side view stands above the main view in full screen", 0.05,
                    f"400x20+{was[0] + 20}+{was[1] + 5}")
    desktop.key("ctrl+2")
    wait_for(lambda: desktop.window("Left"), 30, "the left view")
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "the program ends with side views open, in full screen")
    check(desktop.stored("CleanClose") == "true", "and notes that it did")
    check((desktop.stored("leftShow"), desktop.stored("custom_viewShow")) == ("true", "true"), "views that were shown are noted")
    program = desktop.start(landscape, LC_ALL="de_DE.UTF-8")
    again = wait_for(lambda: desktop.window("Links"), 60, "the left view in the next run, in German")
    wait_for(lambda: desktop.window("Eigene Ansicht"), 30, "and the custom view")

    def near(window, where, within, which):
        now = desktop.place(window)
        return all(abs(now[i] - where[i]) <= within for i in which)
    expect(lambda: near(again, was, 2, range(4)), "at its old place")
    main = desktop.focus(MAIN)
    expect(lambda: near(main, window, 8, (2, 3)), "the main window is as large as before")
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "and the program ends again")

    program = desktop.start()
    wait_for(lambda: desktop.window("Left"), 30, "a side view without a landscape")
    wait_for(lambda: at_rest(program), 30, "side views without a landscape to use no processor time")
print("all ok")
