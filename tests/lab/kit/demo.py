"""What the demonstrations are made of."""

import os
import sys
import time
from pathlib import Path

from kit import sandbox
from kit.router import programs

VIRTUAL_DEMO = "virtual_demo"  # the program of the virtual network, beside the daemon


def enter(name):
    """Goes into a sandbox, with the programs of the folder that the command line names. Where no
    sandbox is permitted, goes on as the program that needs no rights."""
    folders = [word for word in sys.argv[1:] if not word.startswith("-")]
    if folders:
        os.environ["PIMBSR_BIN"] = str(Path(folders[0]).resolve())
    if not (programs() / "pimbsrd").exists():
        sys.exit(f"{name}: there is no pimbsrd in {programs()}; ./run builds it")
    try:
        sandbox.enter()
    except sandbox.Forbidden as reason:
        _virtual(name, reason)


def await_all(condition, what, patience):
    """Asks until the condition holds; returns how long it took. Ends the program if it does not."""
    started = time.monotonic()
    while not _held(condition):
        if time.monotonic() - started > patience:
            sys.exit(f"waited {patience} s in vain for {what}")
        time.sleep(0.05)
    return time.monotonic() - started


def show(router, family, *topic):
    """Prints a topic as the operator of a router sees it."""
    title(f"{router.node.name}# pimbsrctl show {family.word} pim {' '.join(topic)}")
    print(router.text(family, *topic), end="")


def title(text):
    print(f"\n== {text}", flush=True)


def _held(condition):
    """A daemon that is only starting answers nothing yet."""
    try:
        return condition()
    except RuntimeError:
        return False


def _virtual(name, reason):
    program = programs() / VIRTUAL_DEMO
    print(f"This machine lets us make no network namespaces: {reason}", flush=True)
    if not program.exists():
        sys.exit(f"{name}: and {program} is not there to show it without; try again as root")
    print("Four routers over a virtual network in one process instead:", flush=True)
    os.execv(program, [str(program)])
