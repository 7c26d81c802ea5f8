#!/usr/bin/env python3
"""Drives the real program under a virtual display: start, idle, open, fly, errors, recent files, exit.

usage: window_test.py BIN_DIR WORK_DIR
"""
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time

bin_dir, work = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
shutil.rmtree(work, ignore_errors=True)
work.mkdir(parents=True)


def check(condition, what):
    if not condition:
        raise SystemExit(f"FAILED: {what}")
    print(f"ok: {what}", flush=True)


def wait_for(question, seconds, what):
    end = time.time() + seconds
    while time.time() < end:
        answer = question()
        if answer:
            return answer
        time.sleep(0.1)
    raise SystemExit(f"FAILED: waited {seconds} s for {what}")


display_read, display_write = os.pipe()
server = subprocess.Popen(["Xvfb", "-displayfd", str(display_write), "-screen", "0", "1280x900x24", "-nolisten", "tcp"],
                          pass_fds=[display_write], stderr=subprocess.DEVNULL)
display = ":" + os.read(display_read, 16).decode().strip()
environment = dict(os.environ, DISPLAY=display, QT_QPA_PLATFORM="xcb", LIBGL_ALWAYS_SOFTWARE="1",
                   TARNVALE_INI=str(work / "tarnvale.ini"), LC_ALL="C.UTF-8", QT_SCALE_FACTOR="1")
environment.pop("WAYLAND_DISPLAY", None)
manager = subprocess.Popen(["openbox"], env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
started = []


def start(*arguments):
    log = open(work / "program.log", "a")
    program = subprocess.Popen([bin_dir / "tarnvale", *map(str, arguments)], env=environment, stderr=log)
    started.append(program)
    return program


def xdotool(*arguments, check_it=False):
    answer = subprocess.run(["xdotool", *map(str, arguments)], env=environment, text=True, capture_output=True)
    if check_it and answer.returncode:
        raise SystemExit(f"FAILED: xdotool {arguments}: {answer.stderr}")
    return answer.stdout.strip()


def window(title):
    """The visible window whose title matches exactly."""
    found = xdotool("search", "--onlyvisible", "--name", f"^{title}$").split()
    return found[-1] if found else None


def picture(name):
    file = work / f"{name}.png"
    subprocess.run(["import", "-window", "root", file], env=environment, check=True)
    return file


def colours(file, crop="900x500+150+200"):
    """Number of different colours in the middle of a picture."""
    answer = subprocess.run(["convert", file, "-crop", crop, "-unique-colors", "-format", "%w", "info:"],
                            capture_output=True, text=True, check=True)
    return int(answer.stdout.split()[0])


def difference(first, second, crop="900x500+150+200"):
    """Mean difference of the middles of two pictures, 0 to 1."""
    answer = subprocess.run(["convert", first, second, "-crop", crop, "+repage", "-compose", "difference", "-composite",
                             "-colorspace", "gray", "-format", "%[fx:mean]", "info:"],
                            capture_output=True, text=True, check=True)
    return float(answer.stdout)


def processor_seconds(program):
    fields = pathlib.Path(f"/proc/{program.pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def end(program):
    xdotool("search", "--onlyvisible", "--pid", program.pid, "windowclose")
    if program.poll() is None:
        program.send_signal(signal.SIGTERM)
    program.wait(20)


try:
    landscape = work / "my land.sim"  # a blank in the name: the command line must survive it
    subprocess.run([bin_dir / "tarnvale-build", "-q", "--demo", "--size", "257", "--texture-size", "1024", landscape],
                   check=True)

    # Without a landscape: a window, and no processor time.
    program = start()
    wait_for(lambda: window("Tarnvale"), 20, "the empty window")
    time.sleep(2)
    before = processor_seconds(program)
    time.sleep(3)
    check(processor_seconds(program) - before <= 0.05, "an empty window uses no processor time")
    xdotool("windowfocus", "--sync", window("Tarnvale"))
    xdotool("key", "ctrl+q")
    check(program.wait(10) == 0, "Ctrl+Q ends the program with exit code 0")
    check("CleanClose" in (work / "tarnvale.ini").read_text(), "a clean end is noted")

    # A landscape named on the command line flies.
    program = start(landscape)
    main = wait_for(lambda: window("my land - Tarnvale"), 30, "the landscape's window")
    time.sleep(3)
    first = picture("opened")
    check(colours(first) > 500, "terrain shows")
    before = processor_seconds(program)
    time.sleep(1)
    check(processor_seconds(program) - before > 0.3, "frames follow each other")
    xdotool("windowfocus", "--sync", main)
    xdotool("keydown", "Left")
    time.sleep(1)
    xdotool("keyup", "Left")
    time.sleep(0.5)
    turned = picture("turned")
    check(difference(first, turned) > 0.01, "an arrow key turns the view")
    time.sleep(1)
    check(difference(turned, picture("still")) < 0.004, "the view rests when the key is released")
    xdotool("keydown", "b")
    time.sleep(1)
    down = picture("down")
    xdotool("keyup", "b")
    check(difference(turned, down) > 0.01, "B looks down while held")
    xdotool("mousemove", "640", "450")
    before_wheel = picture("before_wheel")
    xdotool("click", "--repeat", "3", "4")
    time.sleep(1)
    check(difference(before_wheel, picture("wheel")) > 0.002, "the wheel changes the altitude")

    # A bad file: a message box, and the old landscape goes on.
    end(program)
    broken = work / "broken.sim"
    broken.write_bytes(b"not a landscape" * 1000)
    program = start(broken)
    wait_for(lambda: len(xdotool("search", "--onlyvisible", "--pid", program.pid).split()) >= 2, 20, "a message box")
    time.sleep(0.5)
    picture("message")
    check(program.poll() is None, "a bad file ends in a message box, not in the end of the program")
    xdotool("key", "Return")
    time.sleep(1)

    # The recent list opens the earlier file.
    wait_for(lambda: window("Tarnvale"), 10, "the window after the message")
    xdotool("windowfocus", "--sync", window("Tarnvale"))
    time.sleep(0.5)
    xdotool("key", "alt+f")
    time.sleep(0.5)
    picture("menu")
    xdotool("key", "1")
    wait_for(lambda: window("my land - Tarnvale"), 30, "the recent file to open")
    time.sleep(2)
    check(colours(picture("recent")) > 500, "a recent file flies")
finally:
    for one in started:
        if one.poll() is None:
            one.kill()
    manager.kill()
    server.kill()
print("all ok")
