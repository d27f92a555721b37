#!/usr/bin/env python3
"""Prints the build targets that the tests ctest selects need, for `cmake --build --target`.

    test_targets.py BUILD_DIR [ctest selection arguments, e.g. -L threads]

A test names its program by the test's own name (a program not built yet) or by paths in its command (a
script's arguments included, -DNAME=path too); each that is a target of the build tree is printed. A test that
points into the build tree at nothing known as a target makes the answer `all`, so that nothing is left out.
"""
import json
import os
import subprocess
import sys


def main():
    build = os.path.abspath(sys.argv[1])
    selection = sys.argv[2:]
    listing = subprocess.run(["ctest", "--test-dir", build, "-N", "--show-only=json-v1", *selection],
                             check=True, capture_output=True, text=True).stdout
    tests = json.loads(listing)["tests"]
    help_text = subprocess.run(["cmake", "--build", build, "--target", "help"],
                               check=True, capture_output=True, text=True).stdout
    targets = {line[4:].split()[0] for line in help_text.splitlines() if line.startswith("... ")}

    wanted = []
    for test in tests:
        command = test.get("command")
        words = [test["name"]] if command is None else command
        found, into_build = [], False
        for word in words:
            for part in word.split("="):
                if part.startswith(build + os.sep):
                    into_build = True
                name = os.path.basename(part)
                if name in targets:
                    found.append(name)
        if not found and (command is None or into_build):
            print(f"test_targets: no target known for {test['name']}: building all", file=sys.stderr)
            print("all")
            return
        wanted += [name for name in found if name not in wanted]
    print(" ".join(wanted))


if __name__ == "__main__":
    main()
