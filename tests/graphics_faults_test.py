#!/usr/bin/env python3
"""A driver's faults in the real program: shaders refused at the start and in flight, contexts lost and opened again or
not. glfaults, preloaded, answers for the driver.

usage: graphics_faults_test.py BIN_DIR WORK_DIR
"""
import subprocess
import sys
import time

from desktop import Desktop, check, colours, difference, wait_for

TITLE, POINT = "land - Tarnvale", "Point of interest 1"
VIEW, STRIP = "620x400+10+160", "300x200+700+560"  # parts of the main view and the point's
MARKER = "20x24+320+300"
SETTINGS = "Theme=light\nLanguage=en\nCompass=true\n[popupmsg]\ntarnvale_POIInstructions_NoShow=true\n"

with Desktop(sys.argv[1], sys.argv[2]) as desktop:
    sky, landscape = desktop.work / "sky.png", desktop.work / "land.sim"
    subprocess.run(["convert", "-size", "256x128", "gradient:#2040d0-#d0e0ff", "-rotate", "90", "-resize", "256x128!",
                    sky], check=True)
    subprocess.run([desktop.bin / "tarnvale-build", "-q", "--demo", "--size", "257", "--texture-size", "1024", "--sky",
                    sky, landscape], check=True)
    faults = {"LD_PRELOAD": str(desktop.bin / "libglfaults.so"), "GLFAULTS": str(desktop.work)}
    refuse, reset = desktop.work / "refuse", desktop.work / "reset"

    def message(name):
        """The picture of the next message, which is then closed."""
        desktop.focus("Tarnvale")
        time.sleep(0.5)
        picture = desktop.picture(name)
        desktop.key("Return", pause=1)
        return picture

    def lose(contexts):
        reset.write_text(str(contexts))
        wait_for(lambda: not reset.exists(), 30, "the program to learn of the loss")

    def quit(program):
        desktop.focus(TITLE)
        desktop.key("ctrl+q", pause=1)
        check(program.wait(20) == 0, "the program ends")

    def start(asks=False):
        program = desktop.start(landscape, asks=asks, **faults)
        if asks:
            desktop.focus("Tarnvale")
        return program

    # Refused when the program looks whether it can be used.
    desktop.ini.write_text(SETTINGS)
    refuse.touch()
    program = start()
    message("refused at the start")
    desktop.focus(TITLE)
    desktop.keeps("GraphicsSystem", "opengl", "where shaders are refused, another system draws")
    quit(program)

    # Refused when the main view opens, after it was found usable.
    refuse.unlink()
    desktop.ini.write_text(SETTINGS)
    program = start(asks=True)
    refuse.touch()
    desktop.key("Return", pause=1)
    message("refused by the view")
    message("replaced at the start")
    desktop.focus(TITLE)
    desktop.keeps("GraphicsSystem", "opengl", "also where that comes out when the view opens")
    quit(program)

    # Refused when it is first drawn with: the picture lacks an effect, and no more.
    refuse.unlink()
    desktop.ini.write_text("Fog=true\nFogEnd=4001\n" + SETTINGS)
    program = start(asks=True)
    refuse.write_text("#define FOG")
    desktop.key("Return", pause=1)
    desktop.focus(TITLE)
    desktop.drawn("no fog", "without the program for fog the landscape is drawn without fog")
    desktop.keeps("GraphicsSystem", "opengl3", "by the same system")
    quit(program)

    # Contexts lost in flight, with a sky, the compass, and a point with its marker and view.
    refuse.unlink()
    desktop.ini.write_text(SETTINGS)
    program = start()
    main = desktop.focus(TITLE)
    desktop.xdotool("windowsize", "--sync", main, 660, 560, "windowmove", main, 0, 0)
    unmarked = desktop.drawn("unmarked", "the landscape is drawn", crop=VIEW)
    desktop.key("F8", pause=2)
    tool = desktop.focus("Points of interest")
    desktop.xdotool("windowmove", tool, 690, 20)
    desktop.key("alt+o", "alt+n", pause=2)
    view = desktop.focus(POINT)
    desktop.xdotool("windowsize", "--sync", view, 520, 400, "windowmove", view, 680, 440)
    desktop.xdotool("mousemove", 330, 320, "click", 1)  # the point goes to a hill that the main view shows
    desktop.focus("Points of interest")
    desktop.key("Escape")
    desktop.xdotool("mousemove", 640, 850)
    before = desktop.rests("before", within=0.0005, crop="1280x900+0+0")
    check(difference(unmarked, before, MARKER) > 0.02, "the point's marker stands in the main view")
    check(colours(before, VIEW) > 500 and colours(before, STRIP) > 100, "both views draw the landscape")
    lose(2)
    time.sleep(3)
    desktop.same(before, "after", "the main view is as before: ground, sky and compass", 0.001, VIEW)
    desktop.same(before, "after", "the marker too", 0.001, MARKER)
    desktop.same(before, "after", "and so is the point's view", 0.001, STRIP)
    check(desktop.window("Tarnvale") is None, "a lost device opens again without a word")
    check(desktop.stored("GraphicsSystem") == "opengl3", "by the same system")

    # Lost, and it can't be opened again.
    refuse.touch()
    lose(2)
    message("lost")
    message("replaced")
    desktop.keeps("GraphicsSystem", "opengl", "what can't be opened again is replaced")
    desktop.same(before, "other system", "and the flight goes on where it was", 0.03, VIEW)
    desktop.same(before, "other system", "in all views", 0.03, STRIP)
    desktop.focus(TITLE)
    desktop.hold("Right")
    desktop.changed(before, "flown on", "and it still flies", crop=VIEW)
    check(program.poll() is None, "the program still runs")
print("all ok")
