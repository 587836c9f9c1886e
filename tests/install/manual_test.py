"""Holds the manual page and the completions of a program against the program.

    manual_test.py PROGRAM FOLDER
"""
import re
import shutil
import subprocess
import sys
from pathlib import Path

program, folder = sys.argv[1], Path(sys.argv[2])
name = Path(program).name


def output(*command):
    result = subprocess.run(command, capture_output=True, text=True, check=False)
    return result.stdout + result.stderr


def completions(*words):
    """What bash proposes for the last of the words."""
    listed = " ".join(f"'{word}'" for word in (name, *words))
    script = (f"source {folder / name}; COMP_WORDS=({listed}); COMP_CWORD={len(words)}; "
              f"_{name.replace('-', '_')} 2>/dev/null; printf '%s\\n' \"${{COMPREPLY[@]}}\"")
    return output("bash", "-c", script).split()


options = set(re.findall(r"--[a-z][\w-]*", output(program, "--help").split("Help:")[0]))
assert len(options) >= 6, options
page = (folder / f"{name}.1").read_text().replace("\\-", "-")
for option in options:
    for kind in (name, f"_{name}"):
        assert option in (folder / kind).read_text(), (option, kind)
    assert option in page, option
    assert f"-l {option[2:]} " in (folder / f"{name}.fish").read_text(), option
    assert option in completions(option[:-1]), option

# What is proposed as a value is taken: no refusal speaks of it.
proposed = 0
for option in options:
    for value in completions(option, ""):
        if not Path(value).exists():
            proposed += 1
            refusal = output(program, option, value)
            assert f"{option} is" not in refusal and "understand" not in refusal, refusal
assert proposed >= 2, proposed

if shutil.which("mandoc"):
    lint = output("mandoc", "-T", "lint", "-W", "warning", str(folder / f"{name}.1"))
    assert not lint, lint
