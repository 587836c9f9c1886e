#!/usr/bin/env python3
"""Writes a program's manual page and shell completions from what it says itself.

    manual.py PROGRAM FOLDER

The page holds the text of `PROGRAM --help`; the values that an option takes stand in the
sentence with which the program refuses a wrong one. Into FOLDER go NAME.1, NAME (for bash), _NAME
(for zsh) and NAME.fish.
"""
import os
import re
import subprocess
import sys
import time
from pathlib import Path

OPTION = re.compile(r"^  (?:(-\w),)?(--[\w-]+)(?:,(--[\w-]+))?(?: ([A-Z]+(?: \.\.\.)?))?(?:  +(.*))?$")


class Option:
    """One entry of the help: its names, the word for its value, its text."""

    def __init__(self, match, group):
        self.short, self.long, self.other, self.value, text = match.groups()
        self.names = [name for name in (self.short, self.long, self.other) if name]
        self.group = group
        self.text = text or ""
        self.choices = []

    @property
    def is_file(self):
        return self.value is not None and self.value.startswith("FILE")

    @property
    def summary(self):
        """The text up to its first stop, for a list of options."""
        return re.split(r"[.:;(]| or ", self.text, maxsplit=1)[0].strip().rstrip(",")


class Help:
    """What --help prints, taken apart."""

    def __init__(self, program):
        self.program = program
        self.name = Path(program).name
        text = self.said("--help")[0]
        blocks = [block for block in text.split("\n\n") if block.strip()]
        self.description = blocks.pop(0)
        self.usage = blocks.pop(0).removeprefix("Usage: ").strip()
        self.groups = {}
        self.options = []
        self.paragraphs = []
        self.examples = []
        for block in blocks:
            self.take(block.strip("\n"))
        for option in self.options:
            if option.value and not option.is_file:
                option.choices = self.choices_of(option.long)

    def said(self, *arguments):
        result = subprocess.run([self.program, *arguments], capture_output=True, text=True,
                                check=False)
        return result.stdout, result.stderr

    def choices_of(self, option):
        refusal = self.said(option, "?")[1]
        found = re.search(r"and must be ([^;]*)", refusal)
        if not found or " from " in found[1] and "'" not in found[1]:
            return []
        words = re.split(r", | or ", found[1].split(" or a ")[0])
        words = [word.strip("', ") for word in words]
        return [word for word in words if re.fullmatch(r"[\w.-]+", word)]

    def take(self, block):
        lines = block.split("\n")
        if lines[0] == "Examples:":
            self.examples = lines[1:]
        elif re.fullmatch(r"[A-Z].*:", lines[0]) and len(lines) > 1 and lines[1].startswith("  "):
            group = lines[0].rstrip(":")
            for line in lines:
                # A group may follow the one before without an empty line.
                if re.fullmatch(r"[A-Z].*:", line):
                    group = line.rstrip(":")
                elif match := OPTION.match(line):
                    self.options.append(Option(match, group))
                    self.groups.setdefault(group, []).append(self.options[-1])
                elif group != "Positionals" and self.options:
                    self.options[-1].text = f"{self.options[-1].text} {line.strip()}".strip()
        else:
            self.paragraphs.append(lines)


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-").replace("'", "\\(aq")
    return text.replace("+\\-", "\\(+-")


def line(text):
    """A line of text; a point at its start would be a request."""
    text = roff(text)
    return "\\&" + text if text.startswith(".") else text


def page(info, version):
    # As reproducible builds want it: the date of the source where one is given.
    now = int(os.environ.get("SOURCE_DATE_EPOCH", time.time()))
    date = time.strftime("%Y-%m-%d", time.gmtime(now))
    out = [f'.TH {info.name.upper()} 1 "{date}" "Ulmar {version}" "User Commands"', ".SH NAME",
           roff(info.name) + " \\- " + roff(ONE_LINE[info.name]), ".SH SYNOPSIS", ".B " +
           roff(info.usage), ".SH DESCRIPTION"]
    out += [line(text) for text in info.description.split("\n")]
    exits = []
    for lines in info.paragraphs:
        if lines[0].startswith("The exit code"):
            exits = lines
            continue
        out.append(".PP")
        in_table = False
        for text in lines:
            # Indented lines are a table: terms in the margin, their texts behind.
            if entry := re.match(r"  (\S+)  +(.*)", text):
                out += [".TP", f"\\fB{roff(entry[1])}\\fR"]
                text = entry[2]
                in_table = True
            elif in_table and not text.startswith("  "):
                out.append(".PP")
                in_table = False
            out.append(line(text.strip()))
    out.append(".SH OPTIONS")
    for group, options in info.groups.items():
        out.append(".SS " + roff(group))
        for option in options:
            value = f" \\fI{roff(option.value)}\\fR" if option.value else ""
            names = ", ".join(f"\\fB{roff(name)}\\fR" for name in option.names)
            out += [".TP", names + value, line(option.text)]
    if exits:
        out.append(".SH EXIT STATUS")
        out += [line(text) for text in exits]
    if "TMPDIR" in "\n".join(map("\n".join, info.paragraphs)):
        out += [".SH ENVIRONMENT", ".TP", ".B TMPDIR",
                "The folder of temporary files, /tmp unless it is set."]
    out.append(".SH EXAMPLES")
    for text in info.examples:
        if text.startswith("      "):
            out.append(line(text.strip()))
        else:
            out += [".TP", f"\\fB{roff(text.strip())}\\fR"]
    others = [name for name in sorted(ONE_LINE) if name != info.name]
    out += [".SH SEE ALSO", *[f".BR {roff(name)} (1)" for name in others]]
    return "\n".join(out) + "\n"


ONE_LINE = {"ulmar-render": "put audio into a room by convolution",
            "ulmar-inspect": "measure and draw impulse responses"}


def bash(info):
    function = "_" + info.name.replace("-", "_")
    cases = []
    for option in info.options:
        names = " | ".join(option.names)
        if option.is_file:
            cases.append(f"    {names}) compopt -o filenames; "
                         'mapfile -t COMPREPLY < <(compgen -f -- "$word"); return ;;')
        elif option.choices:
            cases.append(f"    {names}) mapfile -t COMPREPLY < <(compgen -W "
                         f"'{' '.join(option.choices)}' -- \"$word\"); return ;;")
        elif option.value:
            cases.append(f"    {names}) return ;;")
    every = " ".join(name for option in info.options for name in option.names)
    return "\n".join([
        f"# Completion of {info.name} for bash.", f"{function}() {{",
        "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}",
        "  COMPREPLY=()", "  case $before in", *cases, "  esac", '  if [[ $word == -* ]]; then',
        f"    mapfile -t COMPREPLY < <(compgen -W '{every}' -- \"$word\")", "  else",
        "    compopt -o filenames", '    mapfile -t COMPREPLY < <(compgen -f -- "$word")', "  fi",
        "}", f"complete -F {function} {info.name}", ""])


def zsh(info):
    def entry(option, name):
        text = re.sub(r"([\[\]:'\\])", "", option.summary)
        if option.is_file:
            action = f":{option.value}:_files"
        elif option.choices:
            action = f":{option.value}:({' '.join(option.choices)})"
        else:
            action = f":{option.value}: " if option.value else ""
        return f"  '*{name}[{text}]{action}'"

    entries = [entry(option, name) for option in info.options for name in option.names]
    entries.append("  '*:file:_files'")
    return f"#compdef {info.name}\n_arguments \\\n" + " \\\n".join(entries) + "\n"


def fish(info):
    out = [f"# Completion of {info.name} for fish."]
    for option in info.options:
        words = [f"complete -c {info.name}"]
        words += [f"-s {option.short[1:]}"] if option.short else []
        words += [f"-l {name[2:]}" for name in (option.long, option.other) if name]
        if option.is_file:
            words.append("-r -F")
        elif option.choices:
            words.append(f"-x -a '{' '.join(option.choices)}'")
        elif option.value:
            words.append("-x")
        text = option.summary.replace("'", "\\'")
        out.append(" ".join(words) + f" -d '{text}'")
    return "\n".join(out) + "\n"


def main():
    program, folder = sys.argv[1:]
    info = Help(program)
    version = info.said("--version")[0].split()[-1]
    target = Path(folder)
    target.mkdir(parents=True, exist_ok=True)
    (target / f"{info.name}.1").write_text(page(info, version))
    (target / info.name).write_text(bash(info))
    (target / f"_{info.name}").write_text(zsh(info))
    (target / f"{info.name}.fish").write_text(fish(info))


if __name__ == "__main__":
    main()
