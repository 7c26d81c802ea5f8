"""The real program under a virtual display of its own: start it, send keys and mouse, look at pictures."""
import os
import pathlib
import shutil
import signal
import subprocess
import time


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


def expect(question, what, seconds=20):
    """Waits for what a test is about."""
    answer = wait_for(question, seconds, what)
    check(answer, what)
    return answer


class Desktop:
    """An X server with a window manager, and the programs started on it. A context manager: leaving it ends all."""

    def __init__(self, bin_dir, work, size="1280x900", depth=24, **environment):
        self.bin, self.work = pathlib.Path(bin_dir), pathlib.Path(work)
        shutil.rmtree(self.work, ignore_errors=True)
        self.work.mkdir(parents=True)
        self.ini = self.work / "tarnvale.ini"
        display_read, display_write = os.pipe()
        self.server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(display_write), "-screen", "0", f"{size}x{depth}", "-nolisten", "tcp"],
            pass_fds=[display_write], stderr=subprocess.DEVNULL)
        display = ":" + os.read(display_read, 16).decode().strip()
        self.environment = dict(os.environ, DISPLAY=display, QT_QPA_PLATFORM="xcb", LIBGL_ALWAYS_SOFTWARE="1",
                                TARNVALE_INI=str(self.ini), LC_ALL="C.UTF-8", QT_SCALE_FACTOR="1",
                                **{"TARNVALE_SKY_FILE": "none", **environment})  # background where nothing stands
        self.environment.pop("WAYLAND_DISPLAY", None)
        self.manager = subprocess.Popen(["openbox"], env=self.environment, stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        self.started = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for one in self.started:
            if one.poll() is None:
                one.kill()
        self.manager.kill()
        self.server.kill()

    def demo(self, name="my land.sim", size=257, texture=1024):
        """A small landscape; the blank in its name must survive every road."""
        landscape = self.work / name
        subprocess.run([self.bin / "tarnvale-build", "-q", "--demo", "--size", str(size), "--texture-size",
                        str(texture), landscape], check=True)
        return landscape

    def stored(self, key):
        """A setting as it stands in the program's file, or None."""
        kept = self.ini.read_text(encoding="utf-8", errors="replace")
        return next((line.split("=", 1)[1] for line in kept.splitlines() if line.startswith(key + "=")), None)

    def keeps(self, key, value, what):
        """Waits until a setting is stored."""
        expect(lambda: self.stored(key) == value, what)

    def put(self, window, x, y, width=None, height=None):
        """Moves a window, and makes it so large."""
        if width:
            self.xdotool("windowsize", "--sync", window, width, height)
        self.xdotool("windowmove", window, x, y)
        time.sleep(0.5)

    def place(self, window):
        """Left, top, width and height of a window."""
        found = dict(line.split("=") for line in self.xdotool("getwindowgeometry", "--shell", window).splitlines())
        return [int(found[key]) for key in ("X", "Y", "WIDTH", "HEIGHT")]

    def settle_graphics(self):
        """As if the last run had ended well and its user wanted no question about the graphics system."""
        kept = self.ini.read_bytes() if self.ini.exists() else b""
        lines = [line for line in kept.split(b"\n") if not line.startswith((b"ShowGraphicsSystemDialog=", b"CleanClose="))]
        self.ini.write_bytes(b"\n".join([b"ShowGraphicsSystemDialog=false", b"CleanClose=true", *lines]))

    def start(self, *arguments, splash=False, asks=False, **environment):
        if not asks:
            self.settle_graphics()
        log = open(self.work / "program.log", "a")
        program = subprocess.Popen([self.bin / "tarnvale", *([] if splash else ["--no-splash"]), *map(str, arguments)],
                                   env=dict(self.environment, **environment), stderr=log)
        self.started.append(program)
        return program

    def xdotool(self, *arguments):
        return subprocess.run(["xdotool", *map(str, arguments)], env=self.environment, text=True,
                              capture_output=True).stdout.strip()

    def key(self, *keys, pause=0.3):
        for key in keys:
            self.xdotool("key", key)
            time.sleep(pause)

    def window(self, title):
        """The visible window whose title matches exactly (a regular expression)."""
        found = self.xdotool("search", "--onlyvisible", "--name", f"^{title}$").split()
        return found[-1] if found else None

    def windows(self, program):
        return self.xdotool("search", "--onlyvisible", "--pid", program.pid).split()

    def focus(self, title, seconds=60):
        found = wait_for(lambda: self.window(title), seconds, f"the window {title}")
        self.xdotool("windowfocus", "--sync", found)
        return found

    def gone(self, title, seconds=20):
        wait_for(lambda: not self.window(title), seconds, f"the end of {title}")

    def hold(self, key, seconds=0.7):
        self.xdotool("keydown", key)
        time.sleep(seconds)
        self.xdotool("keyup", key)

    def picture(self, name, window="root"):
        file = self.work / f"{name}.png"
        subprocess.run(["import", "-window", window, file], env=self.environment, check=True)
        return file

    # On a busy machine a frame may take a second, and tiles come in for longer. So what is to happen is waited for,
    # and what isn't to happen is looked for in a picture at rest.

    def changed(self, before, name, what, by=0.01, crop=None, window="root"):
        """Waits until the picture differs from an earlier one by more than so much on the mean. @return the last"""
        def differs():
            after = self.picture(name, window)
            return after if difference(before, after, crop or MIDDLE) > by else None
        return expect(differs, what)

    def same(self, before, name, what, within=0.004, crop=None, window="root"):
        """Waits until the picture is an earlier one again."""
        def equals():
            after = self.picture(name, window)
            return after if difference(before, after, crop or MIDDLE) < within else None
        return expect(equals, what)

    def rests(self, name, what=None, within=0.004, crop=None, window="root", seconds=60):
        """Waits until nothing moves for a second. @return the last picture"""
        def still():
            before = self.picture(f"{name}_before", window)
            time.sleep(1)
            after = self.picture(name, window)
            return after if difference(before, after, crop or MIDDLE) < within else None
        return expect(still, what, seconds) if what else wait_for(still, seconds, f"{name} to rest")

    def drawn(self, name, what, more=500, crop=None, window="root"):
        """Waits until a part of a picture has more colours than a background, and rests. @return the last picture"""
        wait_for(lambda: colours(self.picture(name, window), crop or MIDDLE) > more, 60, what)
        return self.rests(name, what, crop=crop, window=window)

    def capture(self, window, file):
        """A picture of one window with its frame's inside, as PNG with few enough colours to keep."""
        subprocess.run(["import", "-window", window, "-strip", file], env=self.environment, check=True)
        return file

    def end(self, program):
        self.xdotool("search", "--onlyvisible", "--pid", program.pid, "windowclose")
        if program.poll() is None:
            program.send_signal(signal.SIGTERM)
        program.wait(20)


MIDDLE = "900x500+150+200"


def colours(file, crop=MIDDLE):
    """Number of different colours in a part of a picture."""
    answer = subprocess.run(["convert", file, "-crop", crop, "+repage", "-format", "%k", "info:"],
                            capture_output=True, text=True, check=True)
    return int(answer.stdout.split()[0])


def difference(first, second, crop=MIDDLE):
    """Mean difference of a part of two pictures, 0 to 1."""
    answer = subprocess.run(["convert", first, second, "-crop", crop, "+repage", "-compose", "difference", "-composite",
                             "-colorspace", "gray", "-format", "%[fx:mean]", "info:"],
                            capture_output=True, text=True, check=True)
    return float(answer.stdout)


def processor_seconds(program):
    fields = pathlib.Path(f"/proc/{program.pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
