#!/usr/bin/env python3
"""The sky of the real program: it is there with the landscape, is switched by the menu, another one is chosen in the
options, and the map has none.

usage: sky_test.py BIN_DIR WORK_DIR
"""
import pathlib
import subprocess
import sys
import time

from desktop import Desktop, check, difference, wait_for

UPPER = "500x150+20+130"  # a part of the view that is sky, and that no dialog covers


def colour(file, crop=UPPER):
    """Mean red, green and blue of a part of a picture, 0 to 1."""
    answer = subprocess.run(["convert", file, "-crop", crop, "+repage", "-resize", "1x1!", "-format",
                             "%[fx:mean.r] %[fx:mean.g] %[fx:mean.b]", "info:"], capture_output=True, text=True,
                            check=True)
    return [float(part) for part in answer.stdout.split()]


damaged = pathlib.Path(sys.argv[2]) / "damaged.sky"
with Desktop(sys.argv[1], sys.argv[2], TARNVALE_SKY_FILE=str(damaged)) as desktop:
    damaged.write_text("no skies")
    pictures = []
    for name, shade in ("red", "#d02010"), ("green", "#109030"):
        pictures.append(desktop.work / f"{name}.png")
        subprocess.run(["convert", "-size", "256x128", f"xc:{shade}", pictures[-1]], check=True)
    landscape = desktop.work / "land.sim"
    subprocess.run([desktop.bin / "tarnvale-build", "-q", "--demo", "--size", "257", "--texture-size", "1024", "--sky",
                    pictures[0], "--sky", pictures[1], landscape], check=True)
    desktop.ini.write_text("Theme=light\nLanguage=en\n")
    program = desktop.start(landscape)
    title = "land - Tarnvale"
    wait_for(lambda: desktop.window(title), 60, "the landscape")
    desktop.focus("Tarnvale")  # the message about the damaged file of skies
    desktop.picture("damaged")
    desktop.key("Return")
    main = desktop.focus(title)
    time.sleep(3)

    def shown(name):
        time.sleep(1)
        return colour(desktop.picture(name))

    red, green, blue = shown("first")
    check(red > 0.7 and green < 0.2, "the landscape's first sky is there at once")
    desktop.key("alt+v", "k")
    red, green, blue = shown("off")
    check(red < 0.1, "the menu turns the sky off")
    check("Sky=false" in desktop.ini.read_text().splitlines(), "and keeps it so")
    desktop.key("alt+v", "k")
    check(shown("on")[0] > 0.7, "and on")

    desktop.key("ctrl+comma")
    options = wait_for(lambda: desktop.window("Options"), 10, "the options")
    desktop.xdotool("windowfocus", "--sync", options)
    desktop.xdotool("windowmove", options, 600, 250)
    desktop.key("ctrl+Tab", "ctrl+Tab", "alt+k", "Down")
    red, green, blue = shown("tried")
    check(green > 0.4 and red < 0.2, "another sky shows as soon as it is chosen")
    desktop.key("Escape")
    wait_for(lambda: not desktop.window("Options"), 10, "the end of the options")
    check(shown("cancelled")[0] > 0.7, "Cancel brings the first one back")

    desktop.end(program)
    subprocess.run([desktop.bin / "tarnvale-build", "-q", "--demo", "--size", "257", "--texture-size", "1024",
                    desktop.work / "bare.sim"], check=True)
    program = desktop.start(desktop.work / "bare.sim")
    desktop.focus("bare - Tarnvale")
    time.sleep(3)
    bare = desktop.picture("bare")
    desktop.key("alt+v", "k", "Escape", "Escape")
    check(difference(bare, desktop.picture("still"), UPPER) < 0.002, "where there is no sky there is none to turn on")
print("all ok")
