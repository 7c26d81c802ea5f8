#!/usr/bin/env python3
"""Drives the options of the real program: what is tried shows at once, Cancel brings it back, OK stores it; input
assignments and layer offsets.

usage: options_test.py BIN_DIR WORK_DIR
"""
import sys

from desktop import Desktop, check, expect, processor_seconds, wait_for

VIEW = "200x600+10+150"  # a part of the view that no dialog covers


with Desktop(sys.argv[1], sys.argv[2]) as desktop:
    landscape = desktop.demo()
    program = desktop.start(landscape)
    title = "my land - Tarnvale"
    main = desktop.focus(title)
    plain = desktop.drawn("plain", "the landscape is drawn")

    def options(page):
        desktop.xdotool("windowfocus", "--sync", main)
        desktop.key("alt+v", "o")
        desktop.focus("Options")
        desktop.key(*["ctrl+Tab"] * page)

    # The compass goes and comes with its box.
    options(5)
    dialog = desktop.window("Options")
    desktop.xdotool("windowmove", "--sync", dialog, 10, 40)
    x, y, width, height = desktop.place(main)
    corner = f"{width // 4}x{height // 4}+{x + width * 3 // 4}+{y + height * 7 // 10}"
    desktop.key("alt+m")
    desktop.changed(plain, "no_compass", "the compass goes as soon as it is unticked", 0.005, corner)
    desktop.key("Escape")
    desktop.gone("Options")
    desktop.same(plain, "compass", "and comes back on Cancel", 0.002, corner)

    options(1)  # the page shown last comes first
    desktop.key("alt+v", "3", "Tab")
    desktop.changed(plain, "tried", "an exaggeration that is tried shows at once", 0.01, VIEW)
    desktop.rests("tried", crop=VIEW)
    before = processor_seconds(program)
    expect(lambda: processor_seconds(program) - before > 0.3, "frames follow each other behind the dialog")
    desktop.key("Escape")
    desktop.gone("Options")
    desktop.same(plain, "cancelled", "Cancel brings the picture back", crop=VIEW)
    check(desktop.stored("VerticalExaggeration") is None, "and stores nothing")

    options(0)
    desktop.key("alt+v", "2", "Return")
    desktop.gone("Options")
    desktop.changed(plain, "kept", "OK keeps what was typed", 0.005, VIEW)
    check(float(desktop.stored("VerticalExaggeration")) == 2, "and stores it")
    before = desktop.rests("before_turn")
    desktop.hold("Left")
    desktop.changed(before, "turned", "the view has the keys again", 0.005, VIEW)

    desktop.key("alt+v", "c")
    wait_for(lambda: desktop.window("Input assignments"), 30, "the input assignments")
    desktop.keeps("ShowInputAssignments", "true", "open input assignments are noted")

    desktop.xdotool("windowfocus", "--sync", main)
    before = desktop.rests("before_offset")
    desktop.key("alt+l", "o")
    desktop.focus("Layer offsets")
    desktop.key("ctrl+a", *"900", "Return", pause=0.1)
    desktop.gone("Layer offsets")
    desktop.changed(before, "offset", "a raised layer is drawn higher", crop="500x500+600+150")

    desktop.xdotool("windowfocus", "--sync", main)
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "the program ends")
    check(desktop.stored("ShowInputAssignments") == "true", "its end isn't the user closing a window")
    check(desktop.stored("InputAssignmentsPanelWindow") is not None, "the panel's place is kept")

    program = desktop.start()
    desktop.focus("Input assignments")
    desktop.key("alt+F4")
    desktop.keeps("ShowInputAssignments", "false", "it is noted that the user closed it")
    check(program.poll() is None, "closing the panel leaves the program running")
print("all ok")
