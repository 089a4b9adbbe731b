#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""A service on the Python package: main.py LIST.json [DEVICE.json]

With a device profile, that device takes this machine's place.
"""
import pathlib
import queue
import sys

import yox

filters = yox.FilterList(pathlib.Path(sys.argv[1]).read_bytes())
profile = pathlib.Path(sys.argv[2]).read_bytes() if len(sys.argv) > 2 else None
arrived: "queue.Queue[int]" = queue.Queue()


def notified(topic: int, event: int, payload: str) -> None:
    if topic == 41:
        arrived.put(event)


with yox.Runtime(profile, watch=True) as runtime:
    applies, reason = runtime.decide(filters)
    print("applies" if applies else "does not apply")
    print(reason)
    for explained in runtime.explain(filters).filters:
        for criterion in explained.criteria:
            print(f"  {criterion.field} {'held' if criterion.result is yox.CriterionResult.HELD else 'failed'}")

    facts = runtime.facts([filters])
    print(f"on its facts: {int(bool(yox.decide(filters, facts).applies))}")

    runtime.add_tags({"Ring": "beta"}, persist=True)
    runtime.subscribe(notified)
    runtime.publish(41, 7, "{}")
    print(f"notified: {arrived.get(timeout=30)}")
