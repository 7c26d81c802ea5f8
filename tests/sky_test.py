#!/usr/bin/env python3
"""The sky of the real program: it is there with the landscape, is switched by the menu, another one is chosen in the
options, and the map has none.

usage: sky_test.py BIN_DIR WORK_DIR
"""
import pathlib
import subprocess
import sys

from desktop import Desktop, check, difference, expect, wait_for

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
    desktop.focus(title)

    def shows(what, name, fits):
        """Waits until the sky's red, green and blue fit."""
        expect(lambda: fits(*colour(desktop.picture(name))), what)

    def is_red(red, green, blue):
        return red > 0.7 and green < 0.2

    shows("the landscape's first sky is there at once", "first", is_red)
    desktop.key("alt+v", "k")
    shows("the menu turns the sky off", "off", lambda red, green, blue: red < 0.1)
    desktop.keeps("Sky", "false", "and keeps it so")
    desktop.key("alt+v", "k")
    shows("and on", "on", is_red)

    desktop.key("ctrl+comma")
    desktop.put(desktop.focus("Options"), 600, 250)
    desktop.key("ctrl+Tab", "ctrl+Tab", "alt+k", "Down")
    shows("another sky shows as soon as it is chosen", "tried", lambda red, green, blue: green > 0.4 and red < 0.2)
    desktop.key("Escape")
    desktop.gone("Options")
    shows("Cancel brings the first one back", "cancelled", is_red)

    desktop.end(program)
    subprocess.run([desktop.bin / "tarnvale-build", "-q", "--demo", "--size", "257", "--texture-size", "1024",
                    desktop.work / "bare.sim"], check=True)
    program = desktop.start(desktop.work / "bare.sim")
    desktop.focus("bare - Tarnvale")
    bare = desktop.drawn("bare", "the landscape is drawn")
    desktop.key("alt+v", "k", "Escape", "Escape", pause=1)
    check(difference(bare, desktop.picture("still"), UPPER) < 0.002, "where there is no sky there is none to turn on")
print("all ok")
