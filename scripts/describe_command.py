#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Writes the manual page of a command and its completions from its help: describe_command.py program directory

The files are <name>.1, <name> (bash), _<name> (zsh) and <name>.fish. The date of the page is SOURCE_DATE_EPOCH.
"""

import datetime
import functools
import os
import pathlib
import re
import subprocess
import sys

PROGRAM, DIRECTORY = map(pathlib.Path, sys.argv[1:3])
NAME = PROGRAM.name
ENVIRONMENT = (("LC_ALL, LC_MESSAGES, LANG", "The language of texts for people. LANGUAGE does not count."),
               ("TZ", "The time zone of dates."),
               ("XDG_CONFIG_HOME, HOME", "The place of the settings: the first, or else .config in the second."),
               ("WAYLAND_DISPLAY, DISPLAY", "The display whose pasteboard gets a text."))
FILES = (("$XDG_CONFIG_HOME/identifier/Settings.plist",
          "The settings of the application with that identifier, as a property list."),
         ("$XDG_CONFIG_HOME/identifier/journal", "The latest changes of these settings."))


@functools.cache
def said(*arguments):
    return subprocess.run([PROGRAM, *arguments], text=True, stdout=subprocess.PIPE, check=True).stdout


def roff(text):
    """Lines as they are, with the characters that mean something to troff."""
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return "\n".join(("\\&" if line[:1] in (".", "'") else "") + line for line in text.rstrip().splitlines())


def manual(help_text, commands):
    moment = datetime.datetime.fromtimestamp(int(os.environ.get("SOURCE_DATE_EPOCH", "0")), datetime.timezone.utc)
    codes = re.search(r"^Exit codes: (.*)$", help_text, re.MULTILINE)[1]
    page = [f'.TH {NAME.upper()} 1 {moment:%Y-%m-%d} "{said("--version").strip()}"', ".SH NAME",
            f"{NAME} \\- settings, logs, formats and services of a desktop", ".SH SYNOPSIS",
            f".B {NAME}", ".I command", "[\\fIargument\\fR...]", ".SH DESCRIPTION", ".nf", roff(help_text), ".fi",
            ".SH COMMANDS"]
    for command in commands:
        page += [f".SS {command}", ".nf", roff(said(command, "--help")), ".fi"]
    page += [".SH EXIT STATUS", roff(codes), ".SH ENVIRONMENT"]
    for names, rows in ((None, ENVIRONMENT), (".SH FILES", FILES)):
        page += [names] * (names is not None)
        for term, text in rows:
            page += [".TP", f".B {roff(term)}", roff(text)]
    page += [".SH SEE ALSO", ".BR journalctl (1),", ".BR sha256sum (1),", ".BR locale (7)"]
    return "\n".join(page) + "\n"


def options(command):
    """The options of a command. A word before "=" only stands for one, as in --name=value. Lines that begin with the
    name of the program are examples."""
    text = re.sub(rf"^  {NAME} .*$", "", said(command, "--help"), flags=re.MULTILINE)
    return sorted(set(re.findall(r"(?<![\w-])--?[a-z][a-z0-9-]*(?![\w=-])", text)) | {"--help"})


def choices(command):
    """The words that a command takes first: its operations or kinds, each at the beginning of a row of the help."""
    text = said(command, "--help")
    has_choices = re.match(rf"Usage: {NAME} {command} <(operation|kind)>", text)
    return re.findall(r"^  ([a-z]+) ", text, re.MULTILINE) if has_choices else []


def values(command):
    """The values of options that take one of a few words: a row "--option <value>   a, b or c; ..." of the help."""
    rows = re.findall(r"^  (--[a-z-]+) <\w+> +((?:\w+, )*\w+ or \w+)[;.]", said(command, "--help"), re.MULTILINE)
    return {option: re.split(r", | or ", words) for option, words in rows}


def first_words(commands):
    """What may follow a command at once, for each command with such words."""
    words = {"help": list(commands)} | {command: choices(command) for command in commands}
    return {command: chosen for command, chosen in words.items() if chosen}


def values_of_options(commands):
    return {option: words for command in commands for option, words in values(command).items()}


def bash(commands):
    cases = "\n".join(f"    {command}) words='{' '.join(options(command))}' ;;" for command in commands)
    firsts = "\n".join(f"    {command}) words='{' '.join(words)}' ;;" for command, words in first_words(commands).items())
    chosen = "\n".join(f"  elif [[ ${{COMP_WORDS[COMP_CWORD - 1]}} == {option} ]]; then\n    words='{' '.join(words)}'"
                       for option, words in values_of_options(commands).items())
    return f"""_{NAME}() {{
  local words='' current=${{COMP_WORDS[COMP_CWORD]}}
  COMPREPLY=()
  if [[ $COMP_CWORD -eq 1 ]]; then
    words='help --version {' '.join(commands)}'
{chosen}
  elif [[ $current == -* ]]; then
    case ${{COMP_WORDS[1]}} in
{cases}
    esac
  elif [[ $COMP_CWORD -eq 2 ]]; then
    case ${{COMP_WORDS[1]}} in
{firsts}
    esac
  fi
  [[ -n $words ]] && mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}}
complete -o default -F _{NAME} {NAME}
"""


def zsh(commands):
    cases = "\n".join(f"    {command}) compadd -- {' '.join(options(command))} ;;" for command in commands)
    rows = "\n".join(f"    '{command}:{summary}'" for command, summary in commands.items())
    firsts = "\n".join(f"    {command}) compadd -- {' '.join(words)} ;;"
                       for command, words in first_words(commands).items())
    chosen = "\n".join(f"elif [[ $words[CURRENT-1] == {option} ]]; then\n  compadd -- {' '.join(words)}"
                       for option, words in values_of_options(commands).items())
    return f"""#compdef {NAME}
if (( CURRENT == 2 )); then
  local -a commands=(
{rows}
  )
  _describe command commands
{chosen}
elif [[ $PREFIX == -* ]]; then
  case $words[2] in
{cases}
  esac
elif (( CURRENT == 3 )); then
  case $words[2] in
{firsts}
    *) _files ;;
  esac
else
  _files
fi
"""


def fish(commands):
    rows = [f"complete -c {NAME} -n __fish_use_subcommand -f -a {command} -d '{summary}'"
            for command, summary in commands.items()]
    rows += [f"complete -c {NAME} -n '__fish_seen_subcommand_from {command}' "
             + (f"-l {option[2:]}" if option.startswith("--") else f"-o {option[1:]}")
             for command in commands for option in options(command)]
    rows += [f"complete -c {NAME} -n '__fish_seen_subcommand_from {command}' -l {option[2:]} -x -a '{' '.join(words)}'"
             for command in commands for option, words in values(command).items()]
    rows.append(f"complete -c {NAME} -n __fish_use_subcommand -f -a help -d 'tell how to use a command'")
    rows += [f"complete -c {NAME} -n '__fish_seen_subcommand_from {command}; "
             f"and test (count (commandline -opc)) -eq 2' -f -a '{' '.join(words)}'"
             for command, words in first_words(commands).items()]
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
