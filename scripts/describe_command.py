#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the manual page of a command and its completions from its help: describe_command.py program directory

The files are <name>.1, <name> (bash), _<name> (zsh) and <name>.fish. The date of the page is SOURCE_DATE_EPOCH.
"""

import datetime
import os
import pathlib
import re
import subprocess
import sys

PROGRAM, DIRECTORY = map(pathlib.Path, sys.argv[1:3])
NAME = PROGRAM.name


def said(*arguments):
    return subprocess.run([PROGRAM, *arguments], text=True, stdout=subprocess.PIPE, check=True).stdout


def roff(text):
    """Lines as they are, with the characters that mean something to troff."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\n".join(("\\&" if line[:1] in (".", "'") else "") + line for line in text.rstrip().splitlines())


def manual(help_text, commands):
    moment = datetime.datetime.fromtimestamp(int(os.environ.get("SOURCE_DATE_EPOCH", "0")), datetime.timezone.utc)
    page = [f'.TH {NAME.upper()} 1 {moment:%Y-%m-%d} "{said("--version").strip()}"', ".SH NAME",
            f"{NAME} \\- settings, logs, formats and services of a desktop", ".SH SYNOPSIS",
            f".B {NAME}", ".I command", "[\\fIargument\\fR...]", ".SH DESCRIPTION", ".nf", roff(help_text), ".fi",
            ".SH COMMANDS"]
    for command in commands:
        page += [f".SS {command}", ".nf", roff(said(command, "--help")), ".fi"]
    return "\n".join(page) + "\n"


def options(command):
    return sorted(set(re.findall(r"(?<![\w-])--[a-z][a-z0-9-]*", said(command, "--help"))) | {"--help"})


def bash(commands):
    cases = "\n".join(f"    {command}) words='{' '.join(options(command))}' ;;" for command in commands)
    return f"""_{NAME}() {{
  local words='' current=${{COMP_WORDS[COMP_CWORD]}}
  COMPREPLY=()
  if [[ $COMP_CWORD -eq 1 ]]; then
    words='help --version {' '.join(commands)}'
  elif [[ $current == -* ]]; then
    case ${{COMP_WORDS[1]}} in
{cases}
    esac
  fi
  [[ -n $words ]] && mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}}
complete -o default -F _{NAME} {NAME}
"""


def zsh(commands):
    cases = "\n".join(f"    {command}) compadd -- {' '.join(options(command))} ;;" for command in commands)
    rows = "\n".join(f"    '{command}:{summary}'" for command, summary in commands.items())
    return f"""#compdef {NAME}
if (( CURRENT == 2 )); then
  local -a commands=(
{rows}
  )
  _describe command commands
elif [[ $PREFIX == -* ]]; then
  case $words[2] in
{cases}
  esac
else
  _files
fi
"""


def fish(commands):
    rows = [f"complete -c {NAME} -n __fish_use_subcommand -f -a {command} -d '{summary}'"
            for command, summary in commands.items()]
    rows += [f"complete -c {NAME} -n '__fish_seen_subcommand_from {command}' -l {option[2:]}"
             for command in commands for option in options(command)]
    return "\n".join(rows) + "\n"


def main():
    help_text = said("--help")
    commands = dict(re.findall(r"^  (\w+)  +(\S.*)$", help_text, re.MULTILINE))
    if not commands:
        sys.exit(f"The help of {NAME} names no command")
    DIRECTORY.mkdir(parents=True, exist_ok=True)
    for name, text in ((f"{NAME}.1", manual(help_text, commands)), (NAME, bash(commands)), (f"_{NAME}", zsh(commands)),
                       (f"{NAME}.fish", fish(commands))):
        (DIRECTORY / name).write_text(text, encoding="utf-8")


main()
