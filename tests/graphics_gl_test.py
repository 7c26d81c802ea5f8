#!/usr/bin/env python3
"""Runs graphics_gl_test on a virtual display of its own.

usage: graphics_gl_test.py BIN_DIR WORK_DIR [ROUNDS]
"""
import subprocess
import sys

from desktop import Desktop

with Desktop(sys.argv[1], sys.argv[2], size="1600x1000") as desktop:
    landscape = desktop.demo(size=257, texture=1024)
    program = subprocess.run([desktop.bin / "graphics_gl_test", landscape, desktop.work, *sys.argv[3:]],
                             env=desktop.environment)
sys.exit(program.returncode)
