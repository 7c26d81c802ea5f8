#!/usr/bin/env python3
"""Drives the options of the real program: what is tried shows at once, Cancel brings it back, OK stores it; input
assignments and layer offsets.

usage: options_test.py BIN_DIR WORK_DIR
"""
import sys
import time

from desktop import Desktop, check, difference, processor_seconds, wait_for

VIEW = "200x600+10+150"  # a part of the view that no dialog covers


with Desktop(sys.argv[1], sys.argv[2]) as desktop:
    landscape = desktop.demo()
    program = desktop.start(landscape)
    title = "my land - Tarnvale"
    main = wait_for(lambda: desktop.window(title), 30, "the landscape's window")
    time.sleep(3)
    desktop.focus(title)
    plain = desktop.picture("plain")

    def options(page):
        desktop.xdotool("windowfocus", "--sync", main)
        desktop.key("alt+v", "o")
        wait_for(lambda: desktop.window("Options"), 5, "the options")
        desktop.xdotool("windowfocus", "--sync", desktop.window("Options"))
        desktop.key(*["ctrl+Tab"] * page)

    # The compass goes and comes with its box.
    options(5)
    dialog = desktop.window("Options")
    desktop.xdotool("windowmove", "--sync", dialog, 10, 40)
    x, y, width, height = desktop.place(main)
    corner = f"{width // 4}x{height // 4}+{x + width * 3 // 4}+{y + height * 7 // 10}"
    desktop.key("alt+m")
    time.sleep(1)
    check(difference(plain, desktop.picture("no_compass"), corner) > 0.005, "the compass goes as soon as it is unticked")
    desktop.key("Escape")
    wait_for(lambda: not desktop.window("Options"), 5, "the end of the options")
    time.sleep(1)
    check(difference(plain, desktop.picture("compass"), corner) < 0.002, "and comes back on Cancel")

    options(1)  # the page shown last comes first
    desktop.key("alt+v", "3", "Tab")
    time.sleep(1)
    check(difference(plain, desktop.picture("tried"), VIEW) > 0.01, "an exaggeration that is tried shows at once")
    before = processor_seconds(program)
    time.sleep(1)
    check(processor_seconds(program) - before > 0.3, "frames follow each other behind the dialog")
    desktop.key("Escape")
    wait_for(lambda: not desktop.window("Options"), 5, "the end of the options")
    time.sleep(1)
    check(difference(plain, desktop.picture("cancelled"), VIEW) < 0.004, "Cancel brings the picture back")
    check(desktop.stored("VerticalExaggeration") is None, "and stores nothing")

    options(0)
    desktop.key("alt+v", "2", "Return")
    wait_for(lambda: not desktop.window("Options"), 5, "the end of the options")
    time.sleep(1)
    check(difference(plain, desktop.picture("kept"), VIEW) > 0.005, "OK keeps what was typed")
    check(float(desktop.stored("VerticalExaggeration")) == 2, "and stores it")
    turned = desktop.picture("before_turn")
    desktop.xdotool("keydown", "Left")
    time.sleep(0.5)
    desktop.xdotool("keyup", "Left")
    time.sleep(0.5)
    check(difference(turned, desktop.picture("turned"), VIEW) > 0.005, "the view has the keys again")

    desktop.key("alt+v", "c")
    wait_for(lambda: desktop.window("Input assignments"), 5, "the input assignments")
    check(desktop.stored("ShowInputAssignments") == "true", "open input assignments are noted")

    desktop.xdotool("windowfocus", "--sync", main)
    before_offset = desktop.picture("before_offset")
    desktop.key("alt+l", "o")
    offsets = wait_for(lambda: desktop.window("Layer offsets"), 5, "the layer offsets")
    desktop.xdotool("windowfocus", "--sync", offsets)
    desktop.key("ctrl+a", *"900", "Return", pause=0.1)
    wait_for(lambda: not desktop.window("Layer offsets"), 5, "the end of the layer offsets")
    time.sleep(1)
    check(difference(before_offset, desktop.picture("offset"), "500x500+600+150") > 0.01,
          "a raised layer is drawn higher")

    desktop.xdotool("windowfocus", "--sync", main)
    desktop.key("ctrl+q")
    check(program.wait(10) == 0, "the program ends")
    check(desktop.stored("ShowInputAssignments") == "true", "its end isn't the user closing a window")
    check(desktop.stored("InputAssignmentsPanelWindow") is not None, "the panel's place is kept")

    program = desktop.start()
    panel = wait_for(lambda: desktop.window("Input assignments"), 20, "the input assignments of the next run")
    desktop.xdotool("windowfocus", "--sync", panel)
    desktop.key("alt+F4")
    wait_for(lambda: desktop.stored("ShowInputAssignments") == "false", 5, "the note that the user closed it")
    check(program.poll() is None, "closing the panel leaves the program running")
print("all ok")
