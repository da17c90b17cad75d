# SPDX-License-Identifier: GPL-3.0-or-later
"""Lets the daemon live through load and faults, and prints what became of it."""

from __future__ import annotations

import argparse
import random
import sys
import time

import abuse  # noqa: F401, the scenes enter themselves
import calls  # noqa: F401
import disk  # noqa: F401
from scene import SCENES, Finding, Run, Skipped


def play(name: str, run: Run) -> bool:
    """Plays one scene and prints its findings. Returns whether all is as wanted."""
    begin = time.monotonic()
    ok = True

    def show(found: Finding) -> None:
        verdict = "ok" if found.ok else "FAILED"
        print(f"  {found.what:<62} {found.wanted:>16} {found.measured:>24}  {verdict}", flush=True)

    print(f"{name}: {SCENES[name].__doc__}", flush=True)
    try:
        for found in SCENES[name](run):
            show(found)
            ok = ok and found.ok
    except Skipped as reason:
        print(f"  skipped: {reason}")
    except Exception as error:  # whatever goes wrong in a scene is a finding of it
        show(Finding("the scene itself", "no error", f"{type(error).__name__}: {error}", False))
        ok = False
    print(f"  {time.monotonic() - begin:.0f} s", flush=True)
    return ok


def main() -> int:
    parser = argparse.ArgumentParser(prog="scripts/soak", description=__doc__)
    parser.add_argument("scenes", nargs="*", metavar="SCENE",
                        help="all by default: " + ", ".join(SCENES))
    parser.add_argument("--full", action="store_true", help="the sizes of a release: hours")
    parser.add_argument("--seed", type=int, default=1)
    options = parser.parse_args()
    for name in options.scenes:
        if name not in SCENES:
            parser.error(f"no such scene: {name}")
    failed = [name for name in options.scenes or SCENES
              if not play(name, Run(options.full, random.Random(options.seed)))]
    print("all is as wanted" if not failed else "FAILED: " + ", ".join(failed))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
