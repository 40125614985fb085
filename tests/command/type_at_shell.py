#!/usr/bin/env python3
"""Types lines at a shell that has read a completion script, and shows the words each ran with.

    vor completion SHELL | type_at_shell.py SHELL LINE...

In a LINE, <TAB> is the key. The shell is bash or zsh, in a terminal of its own and without the
user's settings; vor is a function that notes its words.
"""
import os
import pty
import select
import shlex
import sys
import tempfile
import time

PROMPT = b"ready>"
RAN = b"vor-has-run"
PATIENCE = 20  # seconds for one line

STARTS = {
    "bash": (["bash", "--noprofile", "--norc", "-i"], "source {script}"),
    "zsh": (
        ["zsh", "-f", "-i"],
        "autoload -Uz compinit && compinit -u -d {dump}/dump && eval \"$(<{script})\"",
    ),
}


class Terminal:
    def __init__(self, descriptor):
        self.descriptor = descriptor
        self.seen = b""

    def type(self, text):
        os.write(self.descriptor, text.encode())

    def read_past(self, text):
        """Reads on until the shell has printed this text."""
        end = time.monotonic() + PATIENCE
        while text not in self.seen:
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.descriptor], [], [], left)[0]:
                sys.exit(f"no {text!r} in {self.seen!r}")
            try:
                self.seen += os.read(self.descriptor, 65536)
            except OSError:
                sys.exit(f"the shell has ended behind {self.seen!r}")
        self.seen = self.seen.partition(text)[2]


def in_parts(text):
    """As the shell is told to print a text that is not to be seen in what is typed."""
    word = text.decode()
    return f"'{word[:3]}''{word[3:]}'"


def start(shell, directory):
    program, read_script = STARTS[shell]
    script = os.path.join(directory, "script")
    with open(script, "wb") as file:
        file.write(sys.stdin.buffer.read())
    words = os.path.join(directory, "words")
    child, descriptor = pty.fork()
    if child == 0:
        os.environ.update(TERM="dumb", PS1="", HOME=directory, INPUTRC="/dev/null", LC_ALL="C")
        os.execvp(program[0], program)
    terminal = Terminal(descriptor)
    note = 'printf " [%s]" "$@" >>' + shlex.quote(words)
    places = {"script": shlex.quote(script), "dump": shlex.quote(directory)}
    terminal.type(read_script.format(**places) + "\n")
    terminal.type("vor() { " + note + "; echo " + in_parts(RAN) + "; }\n")
    terminal.type("PS1=" + in_parts(PROMPT) + "\n")
    terminal.read_past(PROMPT)
    return terminal, words


def main():
    shell, lines = sys.argv[1], sys.argv[2:]
    with tempfile.TemporaryDirectory() as directory:
        terminal, words = start(shell, directory)
        for line in lines:
            open(words, "w").close()
            terminal.type(line.replace("<TAB>", "\t") + "\n")
            terminal.read_past(RAN)
            terminal.read_past(PROMPT)
            with open(words) as file:
                print(f"{line} ->{file.read()}")
        os.close(terminal.descriptor)


main()
