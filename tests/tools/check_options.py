#!/usr/bin/env python3
"""check_options.py KYVMATH MAN_PAGE COMPLETION: both name the commands and options of the program, and no others."""
import re
import subprocess
import sys

program, man_page, completion = sys.argv[1:]


def help_of(*command):
    return subprocess.run([program, *command, "--help"], capture_output=True, text=True, check=True).stdout


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


overview = help_of()
commands = re.findall(r"^  (\w+) {2,}", overview.split("Subcommands:")[1], re.MULTILINE)
options = {option for text in (overview, *map(help_of, commands))
           for names in re.findall(r"^  (-[\w,-]+)", text, re.MULTILINE)
           for option in re.findall(r"--[\w-]+", names)}
if len(commands) < 6 or len(options) < 20:
    sys.exit(f"the help was not understood: {commands}, {sorted(options)}")

faults = []
for path, text in ((man_page, read(man_page).replace("\\-", "-")), (completion, read(completion))):
    faults += [f"{path}: {word} is missing" for word in [*commands, *sorted(options)]
               if not re.search(rf"(?<![\w-]){re.escape(word)}(?![\w-])", text)]
    faults += [f"{path}: {word} does not exist" for word in set(re.findall(r"(?<![\w-])--[a-z][\w-]*", text)) - options]
sys.exit("\n".join(faults) or None)
