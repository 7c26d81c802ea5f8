#!/usr/bin/env python3
"""From flight to the map: a click in the main view with the atlas tool writes the place into the atlas and opens the
viewer there; the next click moves the same window; names of files are nobody's commands; bad atlases are said.

usage: atlas_test.py BIN_DIR WORK_DIR
"""
import os
import pathlib
import re
import subprocess
import sys
import time

from desktop import Desktop, check, wait_for


def place(atlas):
    """Latitude, longitude and width that stand in an atlas."""
    text = atlas.read_text()
    found = {key: re.search(rf"^{key}=(.+)$", text, re.M) for key in
             ("StartCenterLat", "StartCenterLon", "StartZoomWidth")}
    return tuple(float(one.group(1)) for one in found.values()) if all(found.values()) else None


def viewers(desktop):
    """Processes of this test's viewer, by their environment's display."""
    mine = []
    for entry in pathlib.Path("/proc").iterdir():
        try:
            if entry.name.isdigit() and (entry / "comm").read_text().strip() == "sedgelineatlas" and \
                    f"DISPLAY={desktop.environment['DISPLAY']}".encode() in (entry / "environ").read_bytes():
                mine.append(int(entry.name))
        except OSError:
            pass
    return mine


def colour(picture, x, y):
    """Mean colour of a few pixels, 0 to 255 each."""
    answer = subprocess.run(["convert", picture, "-crop", f"9x9+{x - 4}+{y - 4}", "+repage", "-resize", "1x1!",
                             "-depth", "8", "rgb:-"], capture_output=True, check=True).stdout
    return tuple(answer[:3])


runtime = pathlib.Path(sys.argv[2] + "-runtime")
runtime.mkdir(mode=0o700, parents=True, exist_ok=True)
with Desktop(sys.argv[1], sys.argv[2], "2300x1000", XDG_RUNTIME_DIR=str(runtime)) as desktop:
    # A white square of 4 x 4 km on black, at a place that is known: 7.5 to 11.5 km east and 5 to 9 km south of the
    # corner. The name would do harm in a shell.
    name = "it's $(touch oops) & my land"
    cell = 40
    corner = (500000, 5200000)
    heights = desktop.work / "heights.asc"
    rows = [" ".join(["100"] * 513)] * 513
    heights.write_text(f"ncols 513\nnrows 513\nxllcorner {corner[0] - cell / 2}\n"
                       f"yllcorner {corner[1] - 512.5 * cell}\ncellsize {cell}\n" + "\n".join(rows) + "\n")
    image = desktop.work / "image.png"
    subprocess.run(["convert", "-size", "512x512", "xc:black", "-fill", "white", "-draw",
                    "rectangle 187,125 287,225", f"PNG24:{image}"], check=True)
    image.with_suffix(".pgw").write_text(f"{cell}\n0\n0\n-{cell}\n{corner[0] + cell / 2}\n{corner[1] - cell / 2}\n")
    landscape = desktop.work / f"{name}.sim"
    subprocess.run([desktop.bin / "tarnvale-build", "-q", "-a_srs", "EPSG:32632", "--dem", heights, "--texture", image,
                    "--size", "513", "--texture-size", "512", "--atlas", landscape], check=True)
    atlas = desktop.work / f"{name}.atl"
    check(atlas.exists() and place(atlas) is None, "the builder makes an atlas beside the landscape")
    atlas.write_text("; kept\n" + atlas.read_text())

    # Straight down on the square's middle, wide enough to see it all.
    # The compass would be taken for a part of the square.
    desktop.ini.write_text("Theme=light\nCompass=false\n[popupmsg]\ntarnvale_AtlasInstructions_NoShow=true\n")
    middle = (corner[0] + 237.5 * cell, corner[1] - 175.5 * cell)
    program = desktop.start("Type=0", f"POI={middle[0]},{middle[1]},0", "DOV=0,-89", "FOV=12000", landscape)
    main = desktop.focus(".*my land - Tarnvale", 60)
    desktop.xdotool("windowsize", main, 1280, 800)
    desktop.xdotool("windowmove", main, 0, 0)
    time.sleep(3)
    whole = desktop.capture(main, desktop.work / "flight.png")

    def click(x, y):
        """In pixels of the window."""
        desktop.xdotool("mousemove", "--window", main, x, y)
        time.sleep(0.3)
        desktop.xdotool("click", 1)

    # Where the square is seen; bars of the window are white too, but not black around.
    view = (60, 80, 1160, 640)
    answer = subprocess.run(["convert", whole, "-crop", "{2}x{3}+{0}+{1}".format(*view), "+repage", "-colorspace",
                             "gray", "-threshold", "60%", "-define", "trim:edges=all", "-bordercolor", "black",
                             "-border", "1", "-trim", "-format", "%X %Y %w %h", "info:"],
                            capture_output=True, text=True, check=True).stdout
    left, top, wide, high = (int(part) for part in answer.replace("+", " ").split())
    left, top = left + view[0] - 1, top + view[1] - 1
    check(100 < wide < 800 and abs(wide - high) < 20, f"the square is seen whole: {left} {top} {wide} {high}")
    metres = 101 * cell / wide

    click(119, 38)  # the palette's last tool
    time.sleep(1)
    click(left + wide // 2, top + high // 2)
    wait_for(lambda: place(atlas), 30, "the place in the atlas")

    def expect(x, y, what):
        latitude, longitude, _ = place(atlas)
        answer = subprocess.run(["gdaltransform", "-s_srs", "EPSG:4326", "-t_srs", "EPSG:32632", "-output_xy"],
                                input=f"{longitude:.9f} {latitude:.9f}\n", capture_output=True, text=True, check=True)
        there = [float(part) for part in answer.stdout.split()[:2]]
        off = ((there[0] - x) ** 2 + (there[1] - y) ** 2) ** 0.5
        check(off < 6 * metres, f"{what}: {off:.0f} m beside it, a pixel has {metres:.0f} m")
    expect(*middle, "the atlas has the place that was clicked")
    check(atlas.read_text().startswith("; kept\n"), "the atlas's comment is kept")
    check(6000 < place(atlas)[2] < 40000, f"the width is the distance: {place(atlas)[2]:.0f}")

    window = wait_for(lambda: desktop.window(".*my land - Atlas"), 30, "the viewer")
    desktop.xdotool("windowmove", window, 1340, 0)  # beside the flight, so that both can be clicked
    first = viewers(desktop)
    check(len(first) == 1, "one viewer runs")
    status = pathlib.Path(f"/proc/{first[0]}/stat").read_text().rsplit(")", 1)[1].split()
    check(status[1] != str(program.pid), "the viewer is no child of the simulator")
    check(not (desktop.work / "oops").exists() and not pathlib.Path("oops").exists(), "no shell has read the name")
    command = pathlib.Path(f"/proc/{first[0]}/cmdline").read_bytes().split(b"\0")
    check(command[1:] == [str(atlas).encode(), b""], "the path arrives as one argument")

    def views():
        """Colours about the middle of the first view: to the west, east, north and south of the mark."""
        picture = desktop.capture(window, desktop.work / "viewer.png")
        wide, high = (int(part) for part in subprocess.run(
            ["identify", "-format", "%w %h", picture], capture_output=True, text=True).stdout.split())
        x, y = wide // 4, (high - 24 - 24) // 2 + 24  # without menus and status bar
        return [sum(colour(picture, x + dx, y + dy)) // 3 for dx, dy in ((-25, -25), (25, -25), (-25, 25), (25, 25))]
    # The width handed over is a few times that of the square: all about its middle is white.
    wait_for(lambda: min(views()) > 200, 30, "the square in the viewer's middle")
    check(True, "the viewer shows the square in its middle")

    # The square's north-eastern corner: white is only what lies to the south-west.
    click(left + wide - 1, top)
    wait_for(lambda: views()[2] > 200 and max(views()[0], views()[1], views()[3]) < 60, 30, "the corner")
    check(True, "the second click moves the map to the square's corner")
    expect(corner[0] + 288 * cell, corner[1] - 125 * cell, "and the atlas has it")
    check(viewers(desktop) == first and desktop.window(".*my land - Atlas") == window,
          "in the same window")
    desktop.picture("both")

    # Starting the viewer by hand brings up the same window too.
    again = subprocess.run([desktop.bin / "sedgelineatlas", atlas], env=desktop.environment, timeout=20)
    check(again.returncode == 0 and viewers(desktop) == first, "a second start ends at once")
    # What a killed viewer leaves is no hindrance.
    os.kill(first[0], 9)
    wait_for(lambda: not viewers(desktop), 30, "the viewer to go")
    click(left + wide // 2, top + high // 2)
    wait_for(lambda: desktop.window(".*my land - Atlas"), 30, "a new viewer")
    check(viewers(desktop) != first, "after a crash the next click opens a new one")

    # A second atlas in the folder: the tool's window opens and offers both, the first chosen.
    desktop.focus(".*my land - Tarnvale")
    (desktop.work / "second.atl").write_text("[Sedgelineatlas]\nTitle=Second & last\n")
    desktop.key("Escape", "Escape")
    desktop.end(program)
    for viewer in viewers(desktop):
        os.kill(viewer, 15)
    program = desktop.start(landscape)
    main = desktop.focus(".*my land - Tarnvale", 60)
    time.sleep(3)
    click(119, 38)
    tool = wait_for(lambda: desktop.window("Atlas"), 30, "the tool's window")
    desktop.capture(tool, desktop.work / "tool.png")
    # The second one lacks its file: that is said, and no viewer opens.
    desktop.xdotool("windowfocus", "--sync", tool)
    desktop.key("Tab", "Down", "space")
    desktop.focus(".*my land - Tarnvale")
    click(640, 600)
    message = wait_for(lambda: desktop.window("Tarnvale"), 30, "the message")
    desktop.capture(message, desktop.work / "message.png")
    desktop.key("Return")
    time.sleep(1)
    check(not viewers(desktop) and "StartCenter" not in (desktop.work / "second.atl").read_text(),
          "an incomplete atlas is said and starts nothing")
    desktop.end(program)

    # The viewer by itself with bad input: a message and exit code 1.
    for file, what in ((desktop.work / "absent.atl", "isn't there"), (desktop.work / "second.atl", "File")):
        viewer = subprocess.Popen([desktop.bin / "sedgelineatlas", file], env=desktop.environment, text=True,
                                  stderr=subprocess.PIPE)
        desktop.started.append(viewer)
        wait_for(lambda: desktop.window("Atlas"), 30, "the viewer's message")
        desktop.focus("Atlas")
        desktop.key("Return")
        said = viewer.communicate(timeout=15)[1]
        check(viewer.returncode == 1 and what in said, f"{file.name} is refused: {said.strip().splitlines()[-1]}")
print("all ok")
