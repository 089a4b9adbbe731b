#!/usr/bin/env python3
"""How long the language server takes from an edit to its diagnostics, in a list of many filters.

  EditBenchmark.py [--filters N] [--edits N] [--devices N] YOXCTL

Edits one country after the other at random places, as somebody who types would, and waits for the diagnostics of
each. Prints the median, the 95th percentile and the longest, in milliseconds. With devices, the server has the facts
of so many, is asked for the number of those that the list applies to after each edit, as editors do, and looks at them
while the edits are made.
"""
import argparse
import json
import random
import subprocess
import tempfile
import time


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--filters", type=int, default=10_000)
    parser.add_argument("--edits", type=int, default=200)
    parser.add_argument("--devices", type=int, default=0)
    parser.add_argument("program")
    options = parser.parse_args()
    chance = random.Random(1)
    countries = ["US", "DE", "SE", "NO", "JP", "BR"]
    lines = [json.dumps({"country": chance.choice(countries), "model": f"M{number:05}*", "os_version": ">=10.0.19041",
                         "tag": f"Ring|r{number % 50},!Managed"}) for number in range(options.filters)]
    text = "[\n" + ",\n".join(lines) + "\n]\n"
    facts = tempfile.NamedTemporaryFile("w", suffix=".jsonl")
    for number in range(options.devices):
        facts.write(json.dumps({
            "id": f"d{number}", "country": chance.choice(countries), "model": f"M{chance.randrange(5000):05}",
            "os_version": "10.0.22631", "tags": {"Ring": f"r{chance.randrange(25)}"}}) + "\n")
    facts.flush()
    arguments = ["--facts", facts.name] if options.devices else []
    server = subprocess.Popen([options.program, "lsp", *arguments], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def send(method, params, **more):
        content = json.dumps({"jsonrpc": "2.0", "method": method, "params": params, **more}).encode()
        server.stdin.write(b"Content-Length: %d\r\n\r\n%s" % (len(content), content))
        server.stdin.flush()

    def diagnostics(version):
        while True:
            length = int(server.stdout.readline().split()[-1])
            server.stdout.readline()
            message = json.loads(server.stdout.read(length))
            if message.get("params", {}).get("version") == version:
                return message["params"]["diagnostics"]

    document = {"uri": "file:///list.json", "version": 1}
    send("textDocument/didOpen", {"textDocument": {**document, "languageId": "json", "text": text}})
    diagnostics(1)
    times = []
    for version in range(2, options.edits + 2):
        place = {"line": chance.randrange(options.filters) + 1, "character": 13}
        change = {"range": {"start": place, "end": {**place, "character": 15}}, "text": chance.choice([*countries, "UK"])}
        begin = time.perf_counter()
        send("textDocument/didChange", {"textDocument": {**document, "version": version}, "contentChanges": [change]})
        diagnostics(version)
        times.append((time.perf_counter() - begin) * 1000)
        if options.devices:
            send("textDocument/codeLens", {"textDocument": document}, id=version)
    server.kill()
    server.communicate()
    times.sort()
    print(f"{options.filters} filters, {len(text)} bytes, {len(times)} edits: median {times[len(times) // 2]:.1f} ms, "
          f"95th percentile {times[len(times) * 95 // 100]:.1f} ms, longest {times[-1]:.1f} ms")


if __name__ == "__main__":
    main()
