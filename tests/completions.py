#!/usr/bin/env python3
"""completions.py FOLDER NAME=PROGRAM...: types the beginning of a command, TAB and Enter at the terminal of each shell that
FOLDER has completions for, and compares what the shell then ran."""
import os
import pty
import select
import sys
import tempfile
import time

COMPLETIONS, PROGRAMS = sys.argv[1], sys.argv[2:]
TYPED = {
    "joinscope --zoned": "joinscope --zonedn",
    "joinscope --sysinfo net": "joinscope --sysinfo netstate",
    "joincheck --time": "joincheck --timeout",
    "joincheck --only keytab.pre": "joincheck --only keytab.present",
    "velkd unad": "velkd unadopt",
    "velkd adopt --sch": "velkd adopt --schema",
    "joinscope-lab stat": "joinscope-lab status",
    "joinscope-lab break keytab-beh": "joinscope-lab break keytab-behind",
    "joinscope-lab scenario dead-c": "joinscope-lab scenario dead-controllers",
}
SHELLS = {
    "bash": (["bash", "--norc", "--noprofile", "-i"], f". {COMPLETIONS}/joinscope.bash"),
    "zsh": (["zsh", "-f", "-i"], f"fpath=({COMPLETIONS} $fpath); autoload -U compinit; compinit -u -D"),
    "fish": (["fish", "--no-config", "-i"], f"source {COMPLETIONS}/joinscope.fish"),
}
SECONDS = 60  # a sanitizer's build on a busy machine


def runs_of(shell, folder):
    """What the shell runs for each text that is typed."""
    arguments, prepare = SHELLS[shell]
    ran = f"{folder}/ran"
    environment = {"PATH": f"{folder}:/usr/bin:/bin", "HOME": folder, "TERM": "dumb", "LC_ALL": "C.UTF-8", "RAN": ran}
    child, terminal = pty.fork()
    if child == 0:
        os.execvpe(arguments[0], arguments, environment)
    for line in [f"{prepare}; echo >$RAN"] + [f"{typed}\t" for typed in TYPED]:
        open(ran, "w").close()
        os.write(terminal, f"{line}\n".encode())
        deadline = time.monotonic() + SECONDS
        while not os.path.getsize(ran) and time.monotonic() < deadline:
            if select.select([terminal], [], [], 0.02)[0]:
                os.read(terminal, 65536)
        yield open(ran).read().strip()
    os.close(terminal)
    os.kill(child, 9)
    os.waitpid(child, 0)


status = 0
with tempfile.TemporaryDirectory() as folder:
    for program in PROGRAMS:
        name, path = program.split("=")
        with open(f"{folder}/{name}", "w", opener=lambda path, flags: os.open(path, flags, 0o755)) as stand_in:
            stand_in.write(f'#!/bin/sh\ncase "$*" in --help | --list | list | scenario) exec {path} "$@" ;; esac\necho {name} "$@" >"$RAN"\n')
    for shell in SHELLS:
        for (typed, expected), ran in zip([("", "")] + list(TYPED.items()), runs_of(shell, folder)):
            if ran != expected:
                print(f"{shell}: '{typed}' and TAB ran '{ran}', not '{expected}'")
                status = 1
sys.exit(status)
