#!/usr/bin/env python3
"""Chooses between graphics systems in the real program: at the start, in the options, and where one can't be used.

usage: graphics_test.py BIN_DIR WORK_DIR
"""
import sys

from desktop import Desktop, check, wait_for

TITLE = "my land - Tarnvale"
MISSING = "tarnvale_NoOpenGL3_NoShow"


with Desktop(sys.argv[1], sys.argv[2]) as desktop:
    landscape = desktop.demo()

    def question():
        window = wait_for(lambda: desktop.window("Tarnvale"), 30, "the question for the system")
        desktop.xdotool("windowfocus", "--sync", window)
        return window


    # The first start asks, and offers the richer system first; the other is chosen here.
    desktop.start(landscape, asks=True)
    question()
    desktop.picture("question")
    desktop.key("Down", "Return")
    desktop.focus(TITLE)
    desktop.keeps("GraphicsSystem", "opengl", "the system chosen at the start is in use")
    plain = desktop.drawn("opengl", "and draws the landscape")

    # The options change it in flight.
    desktop.key("alt+v", "o")
    desktop.focus("Options")
    desktop.key("alt+g", "Up")
    desktop.picture("options")
    desktop.key("Return")
    desktop.gone("Options")
    desktop.keeps("GraphicsSystem", "opengl3", "the name of the new system is kept")
    desktop.drawn("opengl3", "it draws the landscape")
    desktop.same(plain, "opengl3", "the other system shows the same flight", 0.03)
    desktop.focus(TITLE)
    desktop.key("ctrl+q")
    check(desktop.started[-1].wait(20) == 0, "the program ends")

    # A driver without it: the user is told why, and may have enough of that.
    old = {"MESA_GL_VERSION_OVERRIDE": "2.1", "MESA_GLSL_VERSION_OVERRIDE": "120"}
    program = desktop.start(landscape, **old)
    question()
    desktop.picture("missing")
    desktop.key("alt+d", "Return")
    desktop.focus(TITLE)
    desktop.keeps(MISSING, "true", "the hint isn't wanted again")
    desktop.keeps("GraphicsSystem", "opengl", "another system draws")
    desktop.key("ctrl+q")
    check(program.wait(20) == 0, "the program ends")
    program = desktop.start(landscape, **old)
    desktop.focus(TITLE)
    desktop.drawn("no_hint", "the landscape is drawn")
    check(desktop.window("Tarnvale") is None, "the next start says nothing")
    desktop.end(program)
print("all ok")
