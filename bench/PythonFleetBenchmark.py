#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""How fast Python walks a fleet, against yoxctl on the same file in the same run.

  PythonFleetBenchmark.py [--devices N] [--runs N] YOXCTL LIBRARY

Each run starts a process, the interpreter's start is part of it, reads the file from memory and counts the devices to which a list applies; the median of
the runs counts. `loop` is what a new user writes:

    for device in yox.read_fleet(path):
        if yox.decide(filters, device).applies: ...
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
FLEET = ROOT / "examples/fleet"
BEGIN = "import sys, yox\nfilters = yox.FilterList(open(sys.argv[1], 'rb').read())\napply = 0\n"
WAYS = {
    "loop": "for device in yox.read_fleet(sys.argv[2]):\n    if yox.decide(filters, device).applies: apply += 1\n",
    "loop with names": "names = []\nfor device in yox.read_fleet(sys.argv[2]):\n"
                       "    if yox.decide(filters, device).applies: names.append(device.id)\napply = len(names)\n",
    "decide_fleet": "apply = sum(one is True for one in yox.decide_fleet(filters, sys.argv[2]))\n",
}
END = "print(apply)\n"


def seconds(command, environment=None):
    began = time.perf_counter()
    done = subprocess.run(command, capture_output=True, text=True, check=True, env=environment)
    return time.perf_counter() - began, done.stdout


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--devices", type=int, default=200_000)
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("yoxctl")
    parser.add_argument("library")
    options = parser.parse_args()
    lines = [line.split(b'"', 4) for line in (FLEET / "devices.jsonl").read_bytes().splitlines()]
    environment = os.environ | {"PYTHONPATH": str(ROOT / "bindings/python"), "YOX_LIBRARY": options.library}
    filters = str(FLEET / "list-1.json")
    with tempfile.NamedTemporaryFile(suffix=".jsonl") as file:
        for number in range(options.devices):
            name, key, colon, _, rest = lines[number % len(lines)]
            file.write(b'"'.join((name, key, colon, b"%08d" % number, rest)) + b"\n")
        file.flush()
        ways = {"yoxctl fleet decide": [options.yoxctl, "--format", "json", "fleet", "decide", filters, "--facts", file.name]}
        ways |= {name: [sys.executable, "-c", BEGIN + loop + END, filters, file.name] for name, loop in WAYS.items()}
        times = {name: [] for name in ways}
        found = {}
        for _ in range(options.runs):
            for name, command in ways.items():
                spent, output = seconds(command, environment)
                times[name].append(spent)
                found[name] = json.loads(output)["applies"] if "yoxctl" in name else int(output)
        if len(set(found.values())) != 1:
            sys.exit(f"the ways do not find the same: {found}")
        medians = {name: statistics.median(all_times) for name, all_times in times.items()}
        peer = medians["yoxctl fleet decide"]
        print(f"{options.devices} devices, {os.path.getsize(file.name) / 1e6:.0f} MB, {next(iter(found.values()))} apply")
        for name, median in medians.items():
            print(f"{name:20} {median:6.3f} s   {peer / median:5.2f} of yoxctl's speed")


if __name__ == "__main__":
    main()
