#!/usr/bin/env python3
"""yoxctl against reference.py, which was written from the documentation alone, on generated pairs of a device
and a filter list.

  ReferenceDecisionTest.py YOXCTL YOX_MAKE_PAIRS [--count N] [--seed N]
"""
import argparse
import collections
import concurrent.futures
import json
import os
import pathlib
import subprocess
import sys
import tempfile

import reference


def main():
    options = argparse.ArgumentParser()
    options.add_argument("yoxctl")
    options.add_argument("make_pairs")
    options.add_argument("--count", type=int, default=400)
    options.add_argument("--seed", type=int, default=1)
    given = options.parse_args()

    def output(*arguments):
        return subprocess.run([given.yoxctl, "--format", "json", *map(str, arguments)], stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, check=False, timeout=60).stdout

    def read(stem):
        return json.loads(stem.with_suffix(".device.json").read_text(encoding="utf-8"))

    hashes = {}

    def judge(stem):
        profile = read(stem)
        filters = json.loads(stem.with_suffix(".filters.json").read_text(encoding="utf-8"))["filters"]
        arguments = stem.with_suffix(".arguments").read_text(encoding="utf-8").splitlines()
        target = next((word.partition("=")[2] for word in arguments if word.startswith("--target-version=")), "")
        tags = [tuple(word.split("=")[1:]) for word in arguments if word.startswith("--tag=")]
        try:
            expected = reference.decide(filters, reference.Device(profile, target, tags, hashes.get))
        except reference.Unspecified as what:
            return "unspecified", str(what)
        found = json.loads(output("--device", stem.with_suffix(".device.json"), "evaluate", stem.with_suffix(".filters.json"),
                                  *arguments))
        if (found["applies"], found["reason"]) == expected:
            return "same", expected[0]
        return "differs", f"{stem.name}: yoxctl {found}\n  reference {expected}\n  {filters}\n  {profile}\n  {arguments}"

    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([given.make_pairs, folder, str(given.count), str(given.seed)], check=True)
        stems = [pathlib.Path(folder, f"{n}") for n in range(given.count)]
        sections = (read(stem) for stem in stems)
        texts = {text for section in sections for text in (section.get("firmware", {}).get("serial_number"),
                                                          section.get("organisation", {}).get("realm")) if text}
        for answer in json.loads(output("hash", *texts))["hashes"]:
            hashes[answer["text"]] = answer["hash"], answer["bucket"]
        with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
            results = list(pool.map(judge, stems))
    outcomes = collections.Counter(outcome for outcome, _ in results)
    for what, count in collections.Counter(what for outcome, what in results if outcome == "unspecified").most_common():
        print(f"{count:5} not said: {what}")
    for _, what in [row for row in results if row[0] == "differs"][:5]:
        print(what)
    applies = sum(1 for outcome, what in results if outcome == "same" and what is True)
    print(f"{outcomes['same']} decided alike ({applies} apply), {outcomes['unspecified']} unspecified, {outcomes['differs']} differ")
    # Too few that apply, or that are compared at all, would compare nothing.
    sys.exit(outcomes["differs"] != 0 or applies * 10 < given.count or outcomes["same"] * 2 < given.count)


if __name__ == "__main__":
    main()
