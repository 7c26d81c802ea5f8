#!/usr/bin/env python3
"""Chooses between graphics systems in the real program: at the start, in the options, and where one can't be used.

usage: graphics_test.py BIN_DIR WORK_DIR
"""
import sys
import time

from desktop import Desktop, check, colours, difference, wait_for

TITLE = "my land - Tarnvale"
MISSING = "tarnvale_NoOpenGL3_NoShow"


with Desktop(sys.argv[1], sys.argv[2]) as desktop:
    landscape = desktop.demo()

    def question():
        window = wait_for(lambda: desktop.window("Tarnvale"), 30, "the question for the system")
        desktop.xdotool("windowfocus", "--sync", window)
        return window

    def flying(seconds=30):
        main = wait_for(lambda: desktop.window(TITLE), seconds, "the landscape's window")
        time.sleep(4)
        return main

    # The first start asks, and offers the richer system first; the other is chosen here.
    desktop.start(landscape, asks=True)
    question()
    desktop.picture("question")
    desktop.key("Down", "Return")
    main = flying()
    check(desktop.stored("GraphicsSystem") == "opengl", "the system chosen at the start is in use")
    plain = desktop.picture("opengl")
    check(colours(plain) > 500, "and draws the landscape")

    # The options change it in flight.
    desktop.xdotool("windowfocus", "--sync", main)
    desktop.key("alt+v", "o")
    options = wait_for(lambda: desktop.window("Options"), 10, "the options")
    desktop.xdotool("windowfocus", "--sync", options)
    desktop.key("alt+g", "Up")
    desktop.picture("options")
    desktop.key("Return")
    wait_for(lambda: not desktop.window("Options"), 10, "the end of the options")
    wait_for(lambda: desktop.stored("GraphicsSystem") == "opengl3", 10, "the name of the new system")
    time.sleep(4)
    check(difference(plain, desktop.picture("opengl3")) < 0.03, "the other system shows the same flight")
    desktop.xdotool("windowfocus", "--sync", main)
    desktop.key("ctrl+q")
    check(desktop.started[-1].wait(20) == 0, "the program ends")

    # A driver without it: the user is told why, and may have enough of that.
    old = {"MESA_GL_VERSION_OVERRIDE": "2.1", "MESA_GLSL_VERSION_OVERRIDE": "120"}
    program = desktop.start(landscape, **old)
    question()
    desktop.picture("missing")
    desktop.key("alt+d", "Return")
    main = flying()
    check(desktop.stored(MISSING) == "true", "the hint isn't wanted again")
    check(desktop.stored("GraphicsSystem") == "opengl", "another system draws")
    desktop.xdotool("windowfocus", "--sync", main)
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "the program ends")
    program = desktop.start(landscape, **old)
    flying()
    check(desktop.window("Tarnvale") is None, "the next start says nothing")
    desktop.end(program)
print("all ok")
