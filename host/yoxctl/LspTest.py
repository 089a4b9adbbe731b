#!/usr/bin/env python3
"""The language server of yoxctl as an editor meets it.

  LspTest.py [--cases CLASS] [EMULATOR...] YOXCTL
"""
import json
import os
import pathlib
import random
import shutil
import subprocess
import unittest

import YoxctlTest
from YoxctlTest import PROGRAM, Yoxctl

URI = "file:///list.json"


def framed(message):
    content = json.dumps(message).encode()
    return b"Content-Length: %d\r\n\r\n%s" % (len(content), content)


class Client:
    """An editor's side of the protocol, over the program's standard streams."""

    def __init__(self, test, *arguments):
        self.program = subprocess.Popen([*PROGRAM, "lsp", *arguments], cwd=test.folder, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE)
        test.addCleanup(self.program.stdout.close)
        test.addCleanup(self.program.stdin.close)
        test.addCleanup(self.program.wait)
        test.addCleanup(self.program.kill)
        self.number = 0
        self.notifications = []
        self.passed_over = []  # notifications that came before diagnostics

    def send(self, method, params, **more):
        self.program.stdin.write(framed({"jsonrpc": "2.0", "method": method, "params": params, **more}))
        self.program.stdin.flush()

    def receive(self):
        length = None
        while (line := self.program.stdout.readline().strip()):
            length = int(line.removeprefix(b"Content-Length: "))
        return json.loads(self.program.stdout.read(length)) if length is not None else None

    def request(self, method, **params):
        self.number += 1
        self.send(method, params, id=self.number)
        while (message := self.receive()).get("id") != self.number:
            self.notifications.append(message)
        return message

    def result(self, method, **params):
        return self.request(method, **params)["result"]

    def open(self, text, uri=URI):
        self.send("textDocument/didOpen", {"textDocument": {"uri": uri, "languageId": "json", "version": 1, "text": text}})
        return self.diagnostics(uri, 1)

    def diagnostics(self, uri, version):
        while True:
            message = self.notifications.pop(0) if self.notifications else self.receive()
            if message.get("method") == "textDocument/publishDiagnostics" and message["params"]["uri"] == uri and (
                    message["params"].get("version") == version):
                return message["params"]["diagnostics"]
            self.passed_over.append(message)

    def at(self, method, text, marker, uri=URI):
        """A request at the place of a marker in the text."""
        before = text[:text.index(marker)]
        line = before.count("\n")
        character = len(before[before.rfind("\n") + 1:].encode("utf-16-le")) // 2
        return self.result(method, textDocument={"uri": uri}, position={"line": line, "character": character})

    def end(self):
        self.result("shutdown")
        self.send("exit", {})
        self.program.stdin.close()
        return self.program.wait(timeout=60)


class Editor(Yoxctl):
    def setUp(self):
        super().setUp()
        self.client = Client(self, "--device", "device.json")

    def test_a_session_from_start_to_end(self):
        can = self.client.result("initialize", processId=None, rootUri=None, capabilities={})["capabilities"]
        for capability in ("hoverProvider", "definitionProvider", "documentFormattingProvider", "codeActionProvider",
                           "completionProvider"):
            self.assertTrue(can[capability], capability)
        self.client.send("initialized", {})
        self.assertEqual(self.client.end(), 0)

    def test_leaving_without_a_farewell_is_a_failure(self):
        self.client.send("exit", {})
        self.assertEqual(self.client.program.wait(timeout=60), 1)

    def test_findings_have_ranges_in_units_of_utf_16(self):
        found, = self.client.open('[{"model": "\U0001F600Ä,a*b"},\n {"country": "US", "value": "false"}]')[:1]
        self.assertEqual((found["code"], found["severity"]), ("inner-star", 1))
        self.assertEqual(found["range"], {"start": {"line": 0, "character": 16}, "end": {"line": 0, "character": 19}})

    def test_a_text_that_cannot_be_read_has_one_diagnostic_at_its_place(self):
        found, = self.client.open('{"filters": [\n  {"contry": "US"}]}')
        self.assertEqual(found["message"], 'filters[0].contry: unknown key (did you mean "country"?)')
        self.assertEqual(found["range"]["start"], {"line": 1, "character": 3})
        found, = self.client.open('[{"country": "US"', uri="file:///b.json")
        self.assertIn("the end of the document", found["message"])
        found, = self.client.open('{"cases": [{"aplies": true}]}', uri="file:///b.test.json")
        self.assertIn('did you mean "applies"', found["message"])
        self.assertEqual(self.client.open('{"name": "no list"}', uri="file:///package.json"), [])

    def test_edits_change_the_text_and_the_findings(self):
        self.assertEqual(self.client.open('[{"country": "US"},\n{"default": "false"}]'), [])
        document = {"uri": URI, "version": 2}
        self.client.send("textDocument/didChange", {"textDocument": document, "contentChanges": [
            {"range": {"start": {"line": 0, "character": 14}, "end": {"line": 0, "character": 16}}, "text": "UK"}]})
        found, = self.client.diagnostics(URI, 2)
        self.assertEqual(found["code"], "country-unknown")
        self.client.send("textDocument/didChange", {"textDocument": {"uri": URI, "version": 3},
                                                    "contentChanges": [{"text": "[]"}]})
        found, = self.client.diagnostics(URI, 3)
        self.assertEqual(found["code"], "constant-list")
        self.client.send("textDocument/didClose", {"textDocument": {"uri": URI}})
        self.assertEqual(self.client.diagnostics(URI, None), [])

    def test_hover_says_what_a_key_and_a_pattern_mean_and_what_the_device_has(self):
        text = '[{"country": "!US,D*", "tag": "Ring|beta,!X"}]'
        self.client.open(text)
        value = self.client.at("textDocument/hover", text, "!US")["contents"]["value"]
        self.assertIn("- is not `US`\n- or begins with `D`\n", value)
        self.assertIn("The device: US (region)", value)
        self.assertIn("of ISO 3166-1", self.client.at("textDocument/hover", text, "ountry")["contents"]["value"])
        self.assertIn("- the value of `Ring` is `beta`\n- and `X` is absent",
                      self.client.at("textDocument/hover", text, "Ring")["contents"]["value"])
        self.assertIsNone(self.client.at("textDocument/hover", text, "[{"))
        text = '[{"model": "' + 8 * "\U0001F600" + '", "mfr": "A", "tag": "Ring"}]'  # each is two units of UTF-16
        self.client.open(text)
        self.assertIn("**mfr**", self.client.at("textDocument/hover", text, "fr")["contents"]["value"])

    def test_completion_of_keys_and_words_while_the_text_is_broken(self):
        text = '{"filters": [{"country": "US", "lan'
        self.client.open(text)
        at_end = {"line": 0, "character": len(text)}
        items = self.client.result("textDocument/completion", textDocument={"uri": URI}, position=at_end)
        labels = [item["label"] for item in items]
        self.assertIn("language", labels)
        self.assertNotIn("country", labels)
        for field, word in (("country", "GB"), ("enclosure", "Notebook"), ("os_bitness", "ARM64"),
                            ("language", "de*"), ("date_function", "exponentialSlow"), ("version", ">="),
                            ("default", "true"), ("tag", "Ring")):
            text = '[{"tag": "Ring|beta"}, {"%s": "' % field
            self.client.open(text)
            items = self.client.result("textDocument/completion", textDocument={"uri": URI},
                                       position={"line": 0, "character": len(text)})
            self.assertIn(word, [item["label"] for item in items], field)

    def test_a_code_action_corrects_what_needs_no_thought(self):
        for text, fixed in (('[{"date_range": "2026-05-01|2026-04-30"}]', '[{"date_range": "2026-04-30|2026-05-01"}]'),
                            ('[{"country": "\\u0055S,,CA"}]', '[{"country": "\\u0055S,CA"}]'),
                            ('[{"hardware_id": "VEN_8086&DEV_7D45"}]', '[{"hardware_id": "PCI\\\\VEN_8086&DEV_7D45"}]')):
            found = self.client.open(text)
            everything = {"start": {"line": 0, "character": 0}, "end": {"line": 0, "character": 99}}
            action, = self.client.result("textDocument/codeAction", textDocument={"uri": URI}, range=everything,
                                         context={"diagnostics": found})
            edit, = action["edit"]["changes"][URI]
            begin, end = (edit["range"][which]["character"] for which in ("start", "end"))
            self.assertEqual(text[:begin] + edit["newText"] + text[end:], fixed)

    def test_formatting_is_that_of_fmt(self):
        text = '[{"country":"US"}]'
        self.client.open(text)
        edit, = self.client.result("textDocument/formatting", textDocument={"uri": URI}, options={"tabSize": 4})
        self.assertEqual(edit["newText"], '[\n  { "country": "US" }\n]\n')
        self.assertEqual(edit["range"], {"start": {"line": 0, "character": 0}, "end": {"line": 0, "character": len(text)}})
        self.client.open(edit["newText"])
        self.assertEqual(self.client.result("textDocument/formatting", textDocument={"uri": URI}), [])

    def test_an_unreachable_filter_leads_to_the_one_that_covers_it(self):
        text = '[{"mfr": "B"},\n {"model": "FA*"},\n {"model": "FA14*", "country": "US"}]'
        self.client.open(text)
        location = self.client.at("textDocument/definition", text, "FA14")
        self.assertEqual(location["range"], {"start": {"line": 1, "character": 1}, "end": {"line": 1, "character": 17}})
        self.assertIsNone(self.client.at("textDocument/definition", text, "B\""))


class Fleet(Yoxctl):
    def test_a_lens_counts_the_devices_of_facts_documents(self):
        facts = [{"country": country, "mfr": "Contoso"} for country in ("US", "US", "DE")]
        self.write("fleet.jsonl", b"".join(json.dumps(one).encode() + b"\n" for one in facts))
        client = Client(self, "--facts", "fleet.jsonl")
        self.assertIn("codeLensProvider", client.result("initialize")["capabilities"])
        for text, title in (('[{"country": "US"}]', "applies to 2 of 3"), ('[{"mfr": "B"}]', "applies to 0 of 3")):
            client.open(text)
            lens, = client.result("textDocument/codeLens", textDocument={"uri": URI})
            self.assertEqual(lens["command"]["title"], title)
        client.open("[{")
        self.assertEqual(client.result("textDocument/codeLens", textDocument={"uri": URI}), [])
        (self.folder / "fleet.jsonl").unlink()
        client.open("[{}]")
        self.assertIn("fleet.jsonl", client.request("textDocument/codeLens", textDocument={"uri": URI})["error"]["message"])
        self.assertEqual(client.end(), 0)


class Moment(Yoxctl):
    def test_now_is_the_day_of_findings_and_lenses(self):
        self.write("fleet.jsonl", b'{"time_zone": "UTC"}\n')
        text = '[{"date_range": "2031-05-06|2031-05-06"}, {"default": "false"}]'
        for now, codes, counted in (("2031-05-06T12:00:00+00:00", [], "1 of 1"),
                                    ("2031-05-08T12:00:00+00:00", ["window-past"], "0 of 1")):
            client = Client(self, "--facts", "fleet.jsonl", "--now", now)
            self.assertEqual([one["code"] for one in client.open(text)], codes)
            lens, = client.result("textDocument/codeLens", textDocument={"uri": URI})
            self.assertEqual(lens["command"]["title"], "applies to " + counted)
            self.assertEqual(client.end(), 0)


class FindingsOfFacts(Yoxctl):
    """Findings that need the facts of devices."""

    def setUp(self):
        super().setUp()
        self.write_fleet("Contoso Ltd.")
        self.client = Client(self, "--facts", "fleet.jsonl")

    def write_fleet(self, mfr):
        facts = [{"id": f"d{number}", "country": "DE", "mfr": mfr} for number in range(3)]
        self.write("fleet.jsonl", b"".join(json.dumps(one).encode() + b"\n" for one in facts))

    def wait_for_the_fleet(self):
        """A lens is counted after the findings of what was edited before it."""
        self.client.request("textDocument/codeLens", textDocument={"uri": URI})

    def edit(self, version, text):
        self.client.send("textDocument/didChange", {"textDocument": {"uri": URI, "version": version},
                                                    "contentChanges": [{"text": text}]})
        return self.client.diagnostics(URI, version)

    def test_what_no_device_has_is_shown_after_the_other_findings(self):
        text = '[{"mfr": "Contoso", "country": "USA"}, {"country": "SE"}, {"default": "false"}]'
        self.assertEqual([one["code"] for one in self.client.open(text)], ["country-unknown"])
        all_findings = self.client.diagnostics(URI, 1)
        self.assertEqual([one["code"] for one in all_findings], ["no-device", "country-unknown", "no-device"])
        self.assertIn('(did you mean "Contoso Ltd.": 3 devices)', all_findings[0]["message"])
        self.assertEqual(all_findings[2]["range"]["start"], {"line": 0, "character": text.index("SE")})
        fix, = [action for action in self.client.result(
            "textDocument/codeAction", textDocument={"uri": URI}, context={"diagnostics": []},
            range=all_findings[0]["range"])]
        self.assertEqual(fix["edit"]["changes"][URI][0]["newText"], "Contoso Ltd.")
        self.assertEqual(self.client.end(), 0)

    def test_an_edit_keeps_what_is_known_of_the_rest(self):
        self.client.open('[{"mfr": "Contoso"}, {"country": "DE"}, {"default": "false"}]')
        self.client.diagnostics(URI, 1)
        # The same criterion at another place needs no look at the fleet.
        found, = self.edit(2, '[{"country": "DE"},\n {"mfr": "Contoso"}, {"default": "false"}]')
        self.assertEqual((found["code"], found["range"]["start"]["line"]), ("no-device", 1))
        self.assertEqual(self.edit(3, '[{"mfr": "Contoso Ltd."}, {"default": "false"}]'), [])
        self.assertEqual(self.client.end(), 0)

    def test_another_fleet_is_looked_at_again(self):
        self.client.open('[{"mfr": "Contoso"}, {"default": "false"}]')
        self.client.diagnostics(URI, 1)
        self.write_fleet("Contoso")
        self.assertEqual(self.edit(2, '[{"mfr": "Contoso" }, {"default": "false"}]'), [])
        self.wait_for_the_fleet()
        self.write_fleet("Contoso Limited")
        self.assertEqual(self.edit(3, '[{"mfr": "Contoso"}, {"default": "false"}]'), [])
        found, = self.client.diagnostics(URI, 3)
        self.assertIn('"Contoso Limited": 3 devices', found["message"])
        self.assertEqual(self.client.end(), 0)

    def test_what_a_comment_allows_is_not_shown(self):
        text = '[{"mfr": "Contoso", "comment": "lint: allow no-device: to come"}, {"mfr": "X"}, {"default": "false"}]'
        self.assertEqual(self.client.open(text), [])
        found, = self.client.diagnostics(URI, 1)
        self.assertEqual(found["range"]["start"]["character"], text.index("X"))
        self.assertEqual(self.client.end(), 0)

    def test_a_fleet_that_cannot_be_read_is_said_once(self):
        (self.folder / "fleet.jsonl").unlink()
        self.client.open('[{"mfr": "A"}, {"default": "false"}]')
        shown = self.client.receive()
        self.assertEqual((shown["method"], shown["params"]["type"]), ("window/showMessage", 1))
        self.assertIn("fleet.jsonl", shown["params"]["message"])
        self.edit(2, '[{"mfr": "B"}, {"default": "false"}]')
        self.wait_for_the_fleet()
        self.write_fleet("C")
        self.edit(3, '[{"mfr": "Bb"}, {"default": "false"}]')
        found, = self.client.diagnostics(URI, 3)
        self.assertEqual(found["code"], "no-device")
        self.assertNotIn("window/showMessage", [one["method"] for one in self.client.passed_over])
        self.assertEqual(self.client.end(), 0)

    def test_of_several_requests_for_a_lens_the_last_is_answered(self):
        self.client.open("[{}]")
        message = framed({"jsonrpc": "2.0", "method": "textDocument/codeLens", "id": "a",
                          "params": {"textDocument": {"uri": URI}}})
        self.client.program.stdin.write(message * 50)
        lens, = self.client.result("textDocument/codeLens", textDocument={"uri": URI})
        self.assertEqual(lens["command"]["title"], "applies to 3 of 3")
        answers = [one for one in self.client.notifications if one.get("id") == "a"]
        self.assertEqual(len(answers), 50)
        for answer in answers:
            if "error" in answer:
                self.assertEqual(answer["error"]["code"], -32801)
        self.assertEqual(self.client.end(), 0)

    def test_a_lens_of_each_document_is_answered(self):
        others = "file:///other.json"
        self.client.open("[{}]")
        self.client.open('[{"mfr": "A"}]', uri=others)
        for number in range(20):
            self.client.send("textDocument/codeLens", {"textDocument": {"uri": (others, URI)[number % 2]}}, id=f"l{number}")
        self.client.send("shutdown", {}, id="end")
        answers = {}
        while len(answers) < 21:
            message = self.client.receive()
            if "id" in message:
                answers[message["id"]] = message
        titles = [answers[f"l{number}"]["result"][0]["command"]["title"] for number in (18, 19)]
        self.assertEqual(titles, ["applies to 0 of 3", "applies to 3 of 3"])

    def test_the_end_does_not_wait_for_the_fleet(self):
        lines = b"".join(b'{"id": "%d", "mfr": "A%d"}\n' % (number, number) for number in range(200_000))
        self.write("fleet.jsonl", lines)
        text = json.dumps([{"model": f"{number}*"} for number in range(2000)] + [{"default": "false"}])
        self.client.open(text)  # some 400,000,000 comparisons
        self.client.send("textDocument/codeLens", {"textDocument": {"uri": URI}}, id=1)
        self.client.send("exit", {})
        self.assertEqual(self.client.program.wait(timeout=60), 1)


class Garbage(Yoxctl):
    def test_nothing_that_is_sent_ends_the_server(self):
        client = Client(self)
        for noise in (b"\r\n\r\n", b"Content-Length: x\r\n\r\n", b"Content-Length: 3\r\n\r\n{]}", b"hello\r\n",
                      b"Content-Length: 0\r\n\r\n", b"Content-Length: 2\r\nContent-Type: x\r\n\r\n[]",
                      framed([1]), framed({"id": 1}), framed({"method": 5, "id": 1}),
                      framed({"method": "textDocument/hover", "params": [], "id": {}}),
                      framed({"method": "textDocument/didOpen", "params": {"textDocument": "x"}}),
                      framed({"method": "textDocument/didChange", "params": {"textDocument": {"uri": "unknown"}}})):
            client.program.stdin.write(noise)
        client.program.stdin.flush()
        self.assertIn("capabilities", client.result("initialize"))
        self.assertEqual(client.request("no/such")["error"]["code"], -32601)
        self.assertEqual(client.request("textDocument/hover", textDocument={"uri": "unknown"})["error"]["code"], -32602)
        self.assertEqual(client.end(), 0)

    def test_mutated_sessions_never_kill_it(self):
        seed = 21
        chance = random.Random(seed)
        documents = ['[{"country": "US,,", "tag": "a|b"}]', '{"filters": [{"date_range": "2026-05-01|2026-04-30"}',
                     '[{"model": "\\u00e4\U0001F600*x"}, {"default": "true"}, {}]', '"', "[" * 100, ""]
        for round_ in range(40):
            messages = []
            for number in range(30):
                position = {"line": chance.randrange(3), "character": chance.choice([0, 1, 5, 17, 10**6])}
                method = chance.choice(["hover", "completion", "codeAction", "formatting", "definition", "codeLens",
                                        "didOpen", "didChange", "didClose"])
                text = {"uri": URI, "version": number, "text": chance.choice(documents)}
                change = {"text": chance.choice(documents), "range": {"start": position, "end": {"line": 0, "character": 3}}}
                message = {"jsonrpc": "2.0", "method": f"textDocument/{method}", "params": {
                    "textDocument": text, "position": position, "range": change["range"], "contentChanges": [change]}}
                if not method.startswith("did"):
                    message["id"] = number
                data = bytearray(framed(message))
                if chance.random() < 0.2:
                    for _ in range(chance.randrange(1, 6)):
                        data[chance.randrange(len(data))] = chance.randrange(256)
                messages.append(bytes(data))
            program = subprocess.run([*PROGRAM, "lsp"], input=b"".join(messages), capture_output=True, timeout=60)
            self.assertIn(program.returncode, (0, 1), (seed, round_, program.stderr))
            self.assertEqual(program.stderr, b"")


@unittest.skipUnless(shutil.which("nvim"), "needs Neovim")
class Neovim(Yoxctl):
    def test_an_editor_shows_the_findings_and_hover(self):
        self.write("list.json", b'[\n  { "country": "USA" }\n]\n')
        script = """
            vim.lsp.start_client({ name = 'yoxctl', cmd = %s, root_dir = vim.fn.getcwd() })
            vim.cmd('edit list.json')
            vim.lsp.buf_attach_client(0, 1)
            local seen = vim.wait(20000, function() return #vim.diagnostic.get(0) > 0 end, 20)
            local found = vim.diagnostic.get(0)
            local hover = vim.lsp.buf_request_sync(0, 'textDocument/hover',
                { textDocument = vim.lsp.util.make_text_document_params(), position = { line = 1, character = 6 } }, 20000)
            local out = io.open('out.json', 'w')
            out:write(vim.fn.json_encode({ seen = seen, found = found, hover = hover[1].result }))
            out:close()
            vim.cmd('qall!')
        """ % ("{" + ", ".join(json.dumps(part) for part in [*PROGRAM, "lsp"]) + "}")
        self.write("drive.lua", script.encode())
        subprocess.run(["nvim", "--headless", "--clean", "-c", "luafile drive.lua"], cwd=self.folder, timeout=60,
                       env={**os.environ, "HOME": str(self.folder)}, check=True, capture_output=True)
        out = json.loads((self.folder / "out.json").read_text(encoding="utf-8"))
        self.assertTrue(out["seen"])
        self.assertEqual(out["found"][0]["code"], "country-unknown")
        self.assertEqual((out["found"][0]["lnum"], out["found"][0]["col"], out["found"][0]["end_col"]), (1, 16, 19))
        self.assertIn("ISO 3166-1", out["hover"]["contents"]["value"])


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
