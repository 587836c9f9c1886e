"""Runs the commands of the pages, block after block, beside the files that they name.

    commands_test.py FOLDER-OF-THE-TOOLS PAGE..."""

import os
import re
import subprocess
import sys
import tempfile
import wave

PATH = os.pathsep.join((sys.argv[1], os.environ["PATH"]))


def write(name, channels, seconds=0.5):
    """A click and its quieter echo, 16 bit at 48 kHz."""
    frames = bytearray(2 * channels * int(seconds * 48000))
    frames[0:2 * channels] = b"\x00\x20" * channels
    frames[2000 * channels:2002 * channels] = b"\x00\x08" * channels
    os.makedirs(os.path.dirname(name) or ".", exist_ok=True)
    with wave.open(name, "wb") as file:
        file.setparams((channels, 2, 48000, 0, "NONE", ""))
        file.writeframes(frames)


def run_page(page):
    with open(page, encoding="utf-8") as file:
        blocks = [block for block in re.findall(r"```sh\n(.*?)```", file.read(), re.S)
                  if "ulmar-" in block and not re.search(r"^(\./|cmake|cd )", block, re.M)]
    if not blocks:
        sys.exit(f"{page} has no commands of the tools")
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        for name in ("dry", "voice", "takes/one", "takes/and two"):
            write(name + ".wav", 1 if name == "voice" else 2)
        write("film.wav", 6)
        write("church.wav", 4)
        for name in ("hall", "halls/a", "halls/b"):
            write(name + ".wav", 2, 1.0)
        for block in blocks:
            done = subprocess.run(["bash", "-euo", "pipefail", "-c", block], text=True,
                                  capture_output=True, env={**os.environ, "PATH": PATH})
            if done.returncode != 0:
                sys.exit(f"{page}: exit {done.returncode} of\n{block}{done.stdout}{done.stderr}")
            for result in re.findall(r"(?:-o|>) ([\w./-]+\.\w+)", block):
                if "--check" not in block.split(result)[1].split("\n")[0] and \
                        not os.path.getsize(result):
                    sys.exit(f"{page}: {result} is empty after\n{block}")


for each in map(os.path.abspath, sys.argv[2:]):
    run_page(each)
