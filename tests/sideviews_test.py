#!/usr/bin/env python3
"""Drives the side views of the real program: windows, mouse, keys, zoom, screen shots, and what the next start keeps.

usage: sideviews_test.py BIN_DIR WORK_DIR
"""
import subprocess
import sys
import time

from desktop import Desktop, check, colours, difference, processor_seconds, wait_for

MAIN = "my land - Tarnvale"
WHOLE = "100%x100%+0+0"


def place(title, x, y, width, height):
    found = desktop.focus(title)
    desktop.xdotool("windowsize", "--sync", found, width, height)
    desktop.xdotool("windowmove", "--sync", found, x, y)
    time.sleep(0.5)
    return found


def shot(window, name):
    """The picture of one window, which must not be covered."""
    file = desktop.work / f"{name}.png"
    subprocess.run(["import", "-window", window, file], env=desktop.environment, check=True)
    return file


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
    desktop.focus("Screenshot", 10)
    time.sleep(0.3)
    desktop.key("ctrl+a")
    desktop.xdotool("type", str(name))
    desktop.key("Return")


with Desktop(sys.argv[1], sys.argv[2], size="1400x900") as desktop:
    landscape = desktop.demo()
    desktop.ini.write_text("leftShow=true\nrightShow=false\n")
    program = desktop.start(landscape)
    left = wait_for(lambda: desktop.window("Left"), 30, "the left view of the last run")
    check(desktop.window("Right") is None, "a view that wasn't shown stays away")
    main = place(MAIN, 10, 30, 800, 600)
    left = place("Left", 850, 30, 480, 360)
    time.sleep(2)
    check(colours(shot(left, "left"), "470x300+5+55") > 300, "the left view shows terrain")

    # Keys fly whatever view has the focus.
    before = shot(main, "before_key"), shot(left, "before_key_left")
    desktop.xdotool("keydown", "Right")
    time.sleep(0.7)
    desktop.xdotool("keyup", "Right")
    time.sleep(0.5)
    after = shot(main, "after_key"), shot(left, "after_key_left")
    check(difference(before[0], after[0], WHOLE) > 0.01, "a key typed in the left view turns the main view")
    check(difference(before[1], after[1], WHOLE) > 0.01, "and the left view with it")
    time.sleep(0.7)
    check(difference(after[0], shot(main, "at_rest"), WHOLE) < 0.004, "until the key is released")

    # The map.
    menu("m")
    chart = wait_for(lambda: desktop.window("Map"), 10, "the map")
    chart = place("Map", 850, 440, 480, 400)
    time.sleep(2)
    check(colours(shot(chart, "map"), "300x300+90+70") > 300, "the map shows the land")
    facing = shot(main, "facing")
    mouse(chart, 150, 330)  # far from the viewer in the middle
    desktop.xdotool("mousedown", "1")
    time.sleep(0.5)
    swung = shot(main, "swung")
    check(difference(facing, swung, WHOLE) > 0.01, "a press in the map swings the look")
    mouse(chart, 330, 330)
    time.sleep(0.5)
    check(difference(swung, shot(main, "dragged"), WHOLE) > 0.01, "and a drag swings it on")
    desktop.xdotool("mouseup", "1")
    mouse(chart, 240, 225)  # the viewer's own place
    look = shot(main, "grab_before")
    desktop.xdotool("mousedown", "1")
    for step in range(1, 9):
        mouse(chart, 240 + 8 * step, 225)
    desktop.xdotool("mouseup", "1")
    time.sleep(0.5)
    moved = shot(main, "grabbed")
    check(difference(look, moved, WHOLE) > 0.01, "a drag of the viewer's mark moves the viewer")
    mouse(chart, 300, 330)
    check(difference(moved, shot(main, "hover"), WHOLE) < 0.004, "a mouse without button moves nothing")

    # A click in the main view acts on release.
    mouse(main, 650, 480)
    desktop.xdotool("mousedown", "1")
    time.sleep(0.5)
    check(difference(moved, shot(main, "pressed"), WHOLE) < 0.004, "a press in the main view does nothing yet")
    desktop.xdotool("mouseup", "1")
    time.sleep(0.7)
    check(difference(moved, shot(main, "released"), WHOLE) > 0.01, "the release turns the viewer")

    # Zoom by keyboard and by mouse.
    chart = desktop.focus("Map")
    time.sleep(0.5)
    whole = shot(chart, "zoom_whole")
    desktop.key("alt+i", "alt+i")
    near = shot(chart, "zoom_in")
    check(difference(whole, near, WHOLE) > 0.01, "Alt+I zooms the map in")
    mouse(chart, 20, 15)
    desktop.xdotool("click", "1")
    mouse(chart, 240, 380)
    time.sleep(0.5)
    check(difference(whole, shot(chart, "zoom_full"), WHOLE) < 0.01, "the button for the whole brings it back")
    facing = shot(main, "before_wheel")
    desktop.xdotool("click", "--repeat", "3", "4")
    time.sleep(0.7)
    check(difference(facing, shot(main, "wheel"), WHOLE) > 0.002, "the wheel over a side view changes the altitude")

    # Screen shots of the view that has the focus.
    desktop.key("F5")
    save_shot(desktop.work / "from map")
    picture = desktop.work / "from map.png"
    wait_for(picture.exists, 10, "the screen shot with the usual suffix")
    said = subprocess.run(["identify", "-verbose", picture], capture_output=True, text=True, check=True).stdout
    check("480x" in said, "the picture is the map's, as large as its view")
    for text in ("Position: ", "LookAt: ", "CRS: EPSG:", "Source: my land.sim", "Software: Tarnvale "):
        check(text in said, f"the picture tells {text.strip()}")
    desktop.focus(MAIN)
    desktop.key("F5")
    bitmap = desktop.work / "main.bmp"
    save_shot(bitmap)
    wait_for(bitmap.exists, 10, "the bitmap")
    check(bitmap.read_bytes()[:2] == b"BM", "a name that ends in .bmp makes a bitmap")
    desktop.focus(MAIN)
    desktop.key("F5")
    save_shot("/no/such/folder/x.png")
    wait_for(lambda: desktop.window("Tarnvale"), 10, "a message about the screen shot that failed")
    desktop.picture("failed_shot")
    desktop.key("Return")
    check(program.poll() is None, "flight goes on after it")

    # Closing, hiding, and what is kept.
    desktop.focus("Map")
    desktop.key("alt+F4")
    wait_for(lambda: desktop.window("Map") is None, 10, "the map to close")
    check(desktop.stored("map_viewShow") == "false" and desktop.stored("map_viewPlacement"), "its place is kept")
    menu("l")
    wait_for(lambda: desktop.window("Left") is None, 10, "the left view to hide")
    menu("l")
    wait_for(lambda: desktop.window("Left"), 10, "the left view to show again")
    place("Left", 820, 100, 520, 380)
    menu("c")
    custom = wait_for(lambda: desktop.window("Custom view"), 10, "the custom view")
    custom = place("Custom view", 820, 500, 520, 380)
    time.sleep(1)
    straight = shot(custom, "custom")
    desktop.focus("Custom view")
    desktop.key("alt+y", "ctrl+a")
    desktop.xdotool("type", "60")
    desktop.key("Tab")
    time.sleep(0.7)
    check(difference(straight, shot(custom, "custom_yaw"), "500x250+5+110") > 0.02, "a yaw turns the custom view")
    was = desktop.place(desktop.window("Left"))
    # Full screen lies under the side views, and the next start isn't in it.
    window = desktop.place(desktop.focus(MAIN))
    desktop.key("F11", pause=1.5)
    over = desktop.picture("full_screen")
    desktop.key("ctrl+2", pause=1)
    check(difference(over, desktop.picture("full_screen_alone"), f"400x20+{was[0] + 20}+{was[1] + 5}") > 0.05,
          "a side view stands above the main view in full screen")
    desktop.key("ctrl+2", pause=1)
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "the program ends with side views open, in full screen")
    check(desktop.stored("CleanClose") == "true", "and notes that it did")
    check((desktop.stored("leftShow"), desktop.stored("custom_viewShow")) == ("true", "true"), "views that were shown are noted")
    program = desktop.start(landscape, LC_ALL="de_DE.UTF-8")
    again = wait_for(lambda: desktop.window("Links"), 30, "the left view in the next run, in German")
    wait_for(lambda: desktop.window("Eigene Ansicht"), 10, "and the custom view")
    time.sleep(1)
    now = desktop.place(again)
    check(all(abs(now[i] - was[i]) <= 2 for i in range(4)), "at its old place")
    now = desktop.place(desktop.window(MAIN))
    check(all(abs(now[i] - window[i]) <= 8 for i in (2, 3)), "the main window is as large as before")
    desktop.focus(MAIN)
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "and the program ends again")

    program = desktop.start()
    wait_for(lambda: desktop.window("Left"), 30, "a side view without a landscape")
    wait_for(lambda: at_rest(program), 20, "side views without a landscape to use no processor time")
print("all ok")
