#!/usr/bin/env python3
"""Runs the tools while calls fail, signals strike and disks fill up.

    faults.py BUILD calls | kills | disk | memory [EVERY]

BUILD is a folder with ulmar-render and tests/libfailing_calls.so; of the allocations one in EVERY
fails, by default each. A run that
exits with 0 must have written what an undisturbed run writes, every byte; one that fails must
say so in a sentence and leave neither a file nor a part of one. Prints a line of figures.
"""
import array
import os
import random
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import wave
from pathlib import Path

INPUTS = ["wav", "flac", "aiff", "au", "caf", "w64", "ogg", "mp3"]
OUTPUTS = ["wav", "flac", "aiff"]
CALLS = ["read", "write", "seek", "sync", "close", "rename", "open"]
LIBRARY_FRAMES = ("libfailing_calls", "libc.", "libstdc++", "libm.", "libgcc")
KILLS = 200
SEED = 5


class Bench:
    """A folder with material, and the program to disturb."""

    def __init__(self, build):
        self.build = Path(build).resolve()
        self.folder = Path(tempfile.mkdtemp(prefix="ulmar-faults-"))
        self.mark = self.folder / "mark"
        self.found = []
        noise = random.Random(SEED)
        self.write_wave("dry.wav", [int(noise.gauss(0, 3000)) for _ in range(2 * 4000)])
        decay = [int(noise.gauss(0, 9000) * 0.999**i) for i in range(2 * 3000)]
        self.write_wave("hall.wav", decay)

    def write_wave(self, name, samples):
        with wave.open(str(self.folder / name), "wb") as out:
            out.setparams((2, 2, 44100, 0, "NONE", ""))
            out.writeframes(array.array("h", samples).tobytes())

    def make(self, kind):
        """The material as a file of this kind; libsndfile's own program writes it."""
        path = self.folder / f"dry.{kind}"
        if not path.exists():
            subprocess.run(["sndfile-convert", self.folder / "dry.wav", path], check=True,
                           stdout=subprocess.DEVNULL)
        return path

    def command(self, kind, target):
        return [self.build / "ulmar-render", "-i", self.make(kind), "--ir",
                self.folder / "hall.wav", "-o", target, "--quiet", "--jobs", "1"]

    def run(self, command, call=None, number=0, **options):
        environment = dict(os.environ, UBSAN_OPTIONS="halt_on_error=1")
        self.mark.unlink(missing_ok=True)
        if call:
            environment |= {"LD_PRELOAD": str(self.build / "tests/libfailing_calls.so"),
                            "ULMAR_FAIL": call, "ULMAR_FAIL_AT": str(number),
                            "ULMAR_FAIL_MARK": str(self.mark)}
        return subprocess.run(command, env=environment, capture_output=True, timeout=60,
                              check=False, **options)

    def failing_library(self):
        """Whose call failed: the innermost library that is not the language's own."""
        for name in self.mark.read_text().split():
            if not name.startswith(LIBRARY_FRAMES):
                return name
        return "the C library"

    def judge(self, what, result, target, good):
        """Whether the run kept the promise; what it broke goes to the list."""
        leftovers = [p.name for p in self.folder.iterdir() if ".part" in p.name]
        if target.exists() and target.read_bytes() != good:
            self.found.append(f"{what}: exit {result.returncode}, the file is a wrong one")
        elif result.returncode == 0 and not target.exists():
            self.found.append(f"{what}: exit 0, and no file")
        elif result.returncode > 0 and not result.stderr.strip():
            self.found.append(f"{what}: exit {result.returncode} without a word")
        elif result.returncode < 0:
            self.found.append(f"{what}: signal {-result.returncode}")
        elif leftovers:
            self.found.append(f"{what}: leaves {leftovers}")
        target.unlink(missing_ok=True)
        for name in leftovers:
            (self.folder / name).unlink()


def good_bytes(bench, command, target):
    result = bench.run(command)
    assert result.returncode == 0, result.stderr.decode()
    good = target.read_bytes()
    target.unlink()
    return good


def failing_calls(bench):
    runs = 0
    for kind in INPUTS:
        target = bench.folder / f"wet.{kind if kind in OUTPUTS else 'wav'}"
        command = bench.command(kind, target)
        good = good_bytes(bench, command, target)
        for call in CALLS:
            for number in range(1, 10000):
                result = bench.run(command, call, number)
                bench.judge(f"{kind}, {call} {number} fails", result, target, good)
                if not bench.mark.exists():
                    break
                runs += 1
    return f"{runs} failing calls"


def failing_memory(bench, every=1):
    """Libraries that crash without memory are counted and named; we may not."""
    target = bench.folder / "wet.wav"
    command = bench.command("wav", target)
    good = good_bytes(bench, command, target)
    crashes = {}
    runs = 0
    number = 1
    while True:
        result = bench.run(command, "alloc", number)
        if not bench.mark.exists():
            break
        runs += 1
        library = bench.failing_library()
        if result.returncode < 0 and not library.startswith("ulmar"):
            crashes[library] = crashes.get(library, 0) + 1
            target.unlink(missing_ok=True)
        else:
            bench.judge(f"allocation {number}, in {library}, fails", result, target, good)
        number += every
    named = ", ".join(f"{count} crashes in {name}" for name, count in crashes.items())
    return f"{runs} failing allocations, {named or 'no crash'}"


def kills(bench):
    target = bench.folder / "wet.flac"
    command = bench.command("wav", target)
    started = time.monotonic()
    good = good_bytes(bench, command, target)
    usual = time.monotonic() - started
    late = random.Random(SEED)
    finished = 0
    for _ in range(KILLS):
        with subprocess.Popen(command, stderr=subprocess.DEVNULL) as process:
            time.sleep(late.uniform(0.0, 0.5 * usual))
            process.kill()
        if process.returncode == 0:
            finished += 1
        if target.exists() and target.read_bytes() != good:
            bench.found.append("after a kill the file is a wrong one")
        target.unlink(missing_ok=True)
    # What the killed left goes with the next run.
    bench.judge("the run after the kills", bench.run(command), target, good)
    return f"{KILLS} kills, {finished} of them too late"


def full_disk(bench):
    """A limit on the size of files stands for the disk."""
    runs = 0
    for kind in OUTPUTS:
        target = bench.folder / f"wet.{kind}"
        command = bench.command(kind, target)
        good = good_bytes(bench, command, target)
        for limit in range(0, len(good), max(1, len(good) // 50)):
            def limited(size=limit):
                signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
                resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
            result = bench.run(command, preexec_fn=limited)
            if result.returncode == 0:
                bench.found.append(f"{kind}: exit 0 with {limit} of {len(good)} bytes")
            bench.judge(f"{kind}, room for {limit} bytes", result, target, good)
            runs += 1
    return f"{runs} full disks"


def main():
    checks = {"calls": failing_calls, "memory": failing_memory, "kills": kills,
              "disk": full_disk}
    build, check, *every = sys.argv[1:]
    bench = Bench(build)
    try:
        figures = checks[check](bench, *map(int, every))
    finally:
        shutil.rmtree(bench.folder)
    for line in bench.found:
        print(line, file=sys.stderr)
    print(f"{figures}, {len(bench.found)} broken promises")
    return 1 if bench.found else 0


if __name__ == "__main__":
    sys.exit(main())
