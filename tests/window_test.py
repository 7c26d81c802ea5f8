#!/usr/bin/env python3
"""Drives the real program under a virtual display: start, idle, open, fly, errors, recent files, exit.

usage: window_test.py BIN_DIR WORK_DIR
"""
import sys
import time

from desktop import Desktop, check, expect, processor_seconds, wait_for

with Desktop(sys.argv[1], sys.argv[2]) as desktop:
    landscape = desktop.demo()

    # Without a landscape: a window, and no processor time.
    program = desktop.start()
    wait_for(lambda: desktop.window("Tarnvale"), 30, "the empty window")
    time.sleep(2)
    before = processor_seconds(program)
    time.sleep(3)
    check(processor_seconds(program) - before <= 0.05, "an empty window uses no processor time")
    desktop.xdotool("windowfocus", "--sync", desktop.window("Tarnvale"))
    desktop.xdotool("key", "ctrl+q")
    check(program.wait(10) == 0, "Ctrl+Q ends the program with exit code 0")
    check(desktop.stored("CleanClose") == "true", "a clean end is noted")

    # A landscape named on the command line flies.
    program = desktop.start(landscape)
    main = desktop.focus("my land - Tarnvale")
    first = desktop.drawn("opened", "terrain shows")
    before = processor_seconds(program)
    expect(lambda: processor_seconds(program) - before > 0.3, "frames follow each other")
    desktop.hold("Left", 1)
    desktop.changed(first, "turned", "an arrow key turns the view")
    turned = desktop.rests("still", "the view rests when the key is released")
    desktop.xdotool("keydown", "b")
    desktop.changed(turned, "down", "B looks down while held")
    desktop.xdotool("keyup", "b")
    desktop.xdotool("mousemove", "640", "450")
    before = desktop.rests("before_wheel")
    desktop.xdotool("click", "--repeat", "3", "4")
    desktop.changed(before, "wheel", "the wheel changes the altitude", 0.002)

    # A bad file: a message box, and the old landscape goes on.
    desktop.end(program)
    broken = desktop.work / "broken.sim"
    broken.write_bytes(b"not a landscape" * 1000)
    program = desktop.start(broken)
    wait_for(lambda: len(desktop.windows(program)) >= 2, 30, "a message box")
    time.sleep(0.5)
    desktop.picture("message")
    check(program.poll() is None, "a bad file ends in a message box, not in the end of the program")
    desktop.xdotool("key", "Return")
    time.sleep(1)

    # The recent list opens the earlier file.
    wait_for(lambda: desktop.window("Tarnvale"), 30, "the window after the message")
    desktop.xdotool("windowfocus", "--sync", desktop.window("Tarnvale"))
    time.sleep(0.5)
    desktop.xdotool("key", "alt+f")
    time.sleep(0.5)
    desktop.picture("menu")
    desktop.xdotool("key", "1")
    desktop.focus("my land - Tarnvale")
    desktop.drawn("recent", "a recent file flies")
print("all ok")
