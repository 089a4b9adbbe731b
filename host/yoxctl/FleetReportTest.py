#!/usr/bin/env python3
"""The page of `yoxctl fleet report` in a browser without a window: opened, searched, sorted, printed.

  FleetReportTest.py [--cases CLASS] YOXCTL

Needs chromium and chromedriver, which it drives by the WebDriver protocol. With SCREENSHOTS=DIR in the environment
pictures of the page are written there.
"""
import base64
import collections
import json
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import urllib.request

import YoxctlTest
from FleetTest import EXAMPLE, MOMENT
from YoxctlTest import PROGRAM, Yoxctl

KEYS = {"tab": "\ue004", "enter": "\ue007", "end": "\ue010", "home": "\ue011", "page down": "\ue00f"}
ELEMENT = "element-6066-11e4-a52e-4f735466cecf"
FLAGS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
         "--disable-background-networking", "--disable-component-update", "--disable-sync", "--window-size=1200,900"]


class Browser:
    """A session of Chromium, by the WebDriver protocol."""

    def __init__(self):
        self.folder = tempfile.TemporaryDirectory()
        self.driver = subprocess.Popen(["chromedriver", "--port=0"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                       text=True)
        port = next(match[1] for line in self.driver.stdout if (match := re.search(r"successfully on port (\d+)", line)))
        self.base = f"http://127.0.0.1:{port}/session"
        options = {"args": [*FLAGS, f"--user-data-dir={self.folder.name}"]}
        started = self.call("POST", "", {"capabilities": {"alwaysMatch": {
            "browserName": "chrome", "goog:chromeOptions": options, "goog:loggingPrefs": {"browser": "ALL"}}}})
        self.base += "/" + started["sessionId"]

    def close(self):
        try:
            self.call("DELETE", "")
        finally:
            self.driver.kill()
            self.driver.communicate()
            self.folder.cleanup()

    def call(self, method, path, body=None):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(request, timeout=120) as answer:
            return json.load(answer)["value"]

    def open(self, file):
        self.call("POST", "/url", {"url": file.as_uri()})

    def run(self, script, *arguments):
        return self.call("POST", "/execute/sync", {"script": script, "args": arguments})

    def devtools(self, command, **parameters):
        return self.call("POST", "/goog/cdp/execute", {"cmd": command, "params": parameters})

    def find(self, css):
        return self.call("POST", "/element", {"using": "css selector", "value": css})[ELEMENT]

    def click(self, css):
        self.call("POST", f"/element/{self.find(css)}/click", {})

    def type(self, css, text):
        self.call("POST", f"/element/{self.find(css)}/value", {"text": text})

    def press(self, *keys):
        """Keys for what has the focus."""
        actions = [{"type": kind, "value": KEYS.get(key, key)} for key in keys for kind in ("keyDown", "keyUp")]
        self.call("POST", "/actions", {"actions": [{"type": "key", "id": "keys", "actions": actions}]})

    def complaints(self):
        return [entry for entry in self.call("POST", "/se/log", {"type": "browser"}) if entry["level"] == "SEVERE"]

    def screenshot(self, name):
        if "SCREENSHOTS" not in os.environ:
            return
        height = self.run("return document.documentElement.scrollHeight")
        width = self.run("return innerWidth")
        picture = self.devtools("Page.captureScreenshot", captureBeyondViewport=True,
                                clip={"x": 0, "y": 0, "width": width, "height": height, "scale": 1})
        pathlib.Path(os.environ["SCREENSHOTS"], name + ".png").write_bytes(base64.b64decode(picture["data"]))


class FleetReport(Yoxctl):
    @classmethod
    def setUpClass(cls):
        cls.browser = Browser()
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        super().setUp()
        for file in EXAMPLE.iterdir():
            shutil.copy(file, self.folder)
        self.devices = [json.loads(line) for line in (EXAMPLE / "devices.jsonl").read_text(encoding="utf-8").splitlines()]
        self.browser.devtools("Emulation.setEmulatedMedia", media="", features=[])
        self.browser.devtools("Emulation.clearDeviceMetricsOverride")

    def report(self, *arguments, facts="devices.jsonl", filters="list-2.json"):
        done = self.run_program("fleet", "report", filters, *arguments, "--facts", facts, "--html", "page.html", "--at",
                                MOMENT)
        self.assertEqual((done.stderr.decode(), done.returncode), ("", 0))
        self.browser.open(self.folder / "page.html")
        self.assertEqual(self.browser.complaints(), [])
        return done.stdout.decode()

    def text(self, css):
        return self.browser.run("return document.querySelector(arguments[0]).textContent", css)

    def rows(self):
        """The texts of the rows that are in the document."""
        return self.browser.run("return [...document.querySelectorAll('#rows tbody tr:not(.space)')]"
                                ".map(row => [...row.cells].map(cell => cell.textContent))")

    def column(self, name):
        names = self.browser.run("return [...document.querySelectorAll('#rows th')].map(th => th.textContent)")
        return names.index(name)

    def counted(self):
        done = self.run_program("fleet", "decide", "list-2.json", "--facts", "devices.jsonl", "--each", "--format", "json",
                                "--at", MOMENT)
        return [json.loads(line) for line in done.stdout.splitlines()]

    def test_it_shows_the_counts_and_needs_no_network(self):
        said = self.report("--against", "list-1.json")
        self.assertRegex(said, r"page.html: 1000 devices, \d+\.\d MiB; the table took \d+\.\d MiB of memory\n")
        verdicts = collections.Counter(line["applies"] for line in self.counted())
        tiles = self.browser.run("return [...document.querySelectorAll('.tile b')].map(b => b.textContent)")
        self.assertEqual(tiles, [str(verdicts[True]), str(verdicts[False]), str(verdicts[None])])
        self.assertEqual(self.text("#title"), "list-2.json on 1,000 devices")
        self.assertIn("If the country is DE or AT or CH, and ", self.text("#words"))
        self.assertIn("33 devices gain", self.text("#changes"))
        self.assertIn("28", self.text("#changes tbody tr"))
        self.assertIn("tags.Ring", self.text("#needs"))
        self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').length"), 0)
        page = (self.folder / "page.html").read_text(encoding="utf-8")
        self.assertEqual(re.findall(r"""(?:src|href)=["'](?!#)[^"']*""", page), [])
        self.browser.screenshot("light")

    def test_a_row_says_why_and_what_the_list_asks_for(self):
        names = [f"t{number}" for number in range(6)]
        (self.folder / "list.json").write_text(json.dumps([
            {"country": "DE", "sku": "x", "value": "false"}, {"tag": ",".join(f"{name}|1" for name in names)},
            {"tag": "w*|1"}, {"default": "false"}]), encoding="utf-8")
        (self.folder / "few.jsonl").write_text("".join(json.dumps(device) + "\n" for device in (
            {"id": "a", "country": "DE", "sku": "X", "tags": {"t0": "seen"}},
            {"id": "b", "country": "FR"}, {"id": "c", "sku": "x", "tags": {}})), encoding="utf-8")
        self.report(facts="few.jsonl", filters="list.json")
        rows = self.rows()
        self.assertEqual([row[self.column("why")] for row in rows],
                         ["filter 0", "needs tags, " + ", ".join(f"tags.{name}" for name in names), "whatever is unknown"])
        self.assertEqual([row[self.column("tag t0")] for row in rows], ["seen", "(unknown)", ""])
        self.assertEqual(rows[1][self.column("sku")], "(unknown)")
        shown = self.browser.run("return [...document.querySelectorAll('#rows th')].map(th => th.textContent)")
        # At most four tags, and none of a pattern.
        self.assertEqual([name for name in shown if name.startswith("tag ")], ["tag t0", "tag t1", "tag t2", "tag t3"])

    def test_the_table_is_searched_and_filtered(self):
        self.report("--against", "list-1.json")
        self.assertEqual(self.text("#found"), "1,000 devices")
        self.browser.type("#search", "dupeco US")
        row = lambda device: [str(value) for value in (device["id"], device["mfr"], device["model"], device["sku"],
                                                       device["country"])]
        rows = self.rows()
        self.assertTrue(rows)
        self.assertTrue(all("dupeco" in "|".join(cells).lower() and "us" in "|".join(cells).lower() for cells in rows))
        found = int(self.text("#found").split()[0])
        least = sum(device["mfr"] == "DUPECO" and device["country"] == "US" for device in self.devices)
        self.assertGreaterEqual(found, least)
        self.assertLess(found, 200)
        self.browser.run("search.value = ''; search.dispatchEvent(new Event('input'))")
        for value, count in (("v1", sum(line["applies"] is True for line in self.counted())), ("c1", 33)):
            self.browser.run("show.value = arguments[0]; show.dispatchEvent(new Event('change'))", value)
            self.assertEqual(self.text("#found"), f"{count} of 1,000 devices")
        self.browser.run("show.value = ''; show.dispatchEvent(new Event('change'))")
        self.browser.type("#search", "no such device")
        self.assertEqual((self.text("#found"), self.rows()), ("0 of 1,000 devices", []))

    def test_the_table_is_sorted_by_keys(self):
        self.report()
        country = self.column("country")
        self.browser.run("document.querySelectorAll('#rows th button')[arguments[0]].focus()", country)
        self.browser.press("enter")
        sort = lambda: self.browser.run("return document.querySelectorAll('#rows th')[arguments[0]].ariaSort", country)
        self.assertEqual((sort(), self.rows()[0][country]), ("ascending", "AT"))
        austrian = [device["id"] for device in self.devices if device["country"] == "AT"]
        shown = [cells[0] for cells in self.rows() if cells[country] == "AT"]
        self.assertEqual(shown, austrian[:len(shown)])  # equal ones stay in the order of the input
        self.browser.press("enter")
        self.assertEqual((sort(), self.rows()[0][country]), ("descending", "US"))

    def test_every_control_is_reached_by_the_tab_key(self):
        self.report("--against", "list-1.json")
        reached = []
        for _ in range(40):
            self.browser.press("tab")
            focus = self.browser.run("const e = document.activeElement; return e.id || e.className || e.tagName")
            if reached and focus == reached[0]:
                break
            reached.append(focus)
        self.assertEqual(reached[0], "skip")
        self.assertTrue({"day", "search", "show", "rows"} <= set(reached), reached)
        self.assertEqual(reached.count("BUTTON"), self.browser.run("return document.querySelectorAll('#rows th').length"))
        self.browser.run("rows.focus()")
        self.browser.press("end")
        last = self.browser.run("""
            rows.scrollTop = rows.scrollHeight;  // what End does, without its animation
            return new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => {
              const all = document.querySelectorAll('#rows tbody tr:not(.space)');
              done(all[all.length - 1].ariaRowIndex);
            })))""")
        self.assertEqual(last, "1001")

    def test_a_screen_reader_finds_a_name_for_everything(self):
        self.report("--against", "list-1.json")
        nodes = self.browser.devtools("Accessibility.getFullAXTree")["nodes"]
        named = collections.Counter()
        for node in nodes:
            role = node.get("role", {}).get("value")
            if node.get("ignored") or role not in ("button", "searchbox", "combobox", "slider", "region", "image", "link"):
                continue
            self.assertTrue(node.get("name", {}).get("value"), node)
            named[role] += 1
        self.assertTrue({"button", "searchbox", "combobox", "slider", "region", "image", "link"} <= set(named), named)
        self.assertEqual(self.browser.run("return document.querySelector('#rows table').ariaRowCount"), "1001")
        self.assertEqual(self.browser.run("return document.querySelectorAll('th:not([scope])').length"), 0)

    def test_colours_contrast_in_light_and_dark(self):
        self.report("--against", "list-1.json")
        grounds = set()
        for scheme in ("light", "dark"):
            self.browser.devtools("Emulation.setEmulatedMedia",
                                  features=[{"name": "prefers-color-scheme", "value": scheme}])
            ratios, ground = self.browser.run("""
                const light = color => {
                  const [r, g, b] = color.match(/[\\d.]+/g).map(x => x / 255)
                    .map(c => c <= 0.04045 ? c / 12.92 : ((c + 0.055) / 1.055) ** 2.4);
                  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
                };
                const section = document.querySelector('section');
                const ground = getComputedStyle(section).backgroundColor;
                const ratios = {};
                for (const name of ['', 'soft', 'in', 'out', 'open', 'gain', 'lose']) {
                  const probe = document.createElement('p');
                  probe.className = name;
                  section.append(probe);
                  const [a, b] = [light(getComputedStyle(probe).color), light(ground)].sort((x, y) => y - x);
                  ratios[name] = (a + 0.05) / (b + 0.05);
                  probe.remove();
                }
                return [ratios, ground];""")
            grounds.add(ground)
            for name, ratio in ratios.items():
                self.assertGreaterEqual(ratio, 4.5, (scheme, name))
            self.browser.screenshot(scheme)
        self.assertEqual(len(grounds), 2)

    def test_it_fits_a_phone(self):
        self.browser.devtools("Emulation.setDeviceMetricsOverride", width=390, height=844, deviceScaleFactor=2, mobile=True)
        self.report("--against", "list-1.json")
        self.assertLessEqual(self.browser.run("return document.documentElement.scrollWidth"), 390)
        self.assertTrue(self.rows())
        self.browser.screenshot("phone")

    def test_it_is_printed_without_its_controls(self):
        self.report("--against", "list-1.json")
        pdf = base64.b64decode(self.browser.call("POST", "/print", {}))
        self.assertTrue(pdf.startswith(b"%PDF"))
        self.browser.devtools("Emulation.setEmulatedMedia", media="print")
        hidden = "return getComputedStyle(document.querySelector(arguments[0]).parentElement.closest('.find, .pick')).display"
        self.assertEqual(self.browser.run(hidden, "#search"), "none")
        self.assertEqual(self.browser.run(hidden, "#day"), "none")
        self.assertEqual(self.browser.run("return getComputedStyle(document.querySelector('#rows')).overflow"), "visible")

    def test_a_hundred_thousand_devices_are_searched(self):
        with open(self.folder / "many.jsonl", "w", encoding="utf-8") as many:
            for copy in range(100):
                many.writelines(json.dumps({**device, "id": f"{copy:03}-{device['id']}"}) + "\n" for device in self.devices)
        self.report(facts="many.jsonl")
        self.assertEqual(self.text("#found"), "100,000 devices")
        self.assertLess(len(self.rows()), 100)  # only what is in sight
        self.browser.type("#search", "099-" + self.devices[-1]["id"])
        self.assertEqual([cells[0] for cells in self.rows()], ["099-" + self.devices[-1]["id"]])
        self.browser.run("search.value = ''; search.dispatchEvent(new Event('input'))")
        took = self.browser.run("""
            const start = performance.now();
            document.querySelectorAll('#rows th button')[0].click();
            document.querySelectorAll('#rows th button')[0].click();
            search.value = 'dupeco'; search.dispatchEvent(new Event('input'));
            return performance.now() - start""")
        self.assertLess(took, 10_000)
        self.assertEqual(int(self.text("#found").split()[0].replace(",", "")) % 100, 0)
        self.browser.run("search.value = ''; search.dispatchEvent(new Event('input')); rows.scrollTop = rows.scrollHeight")
        last = self.browser.run("return new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => {"
                                "const all = document.querySelectorAll('#rows tbody tr:not(.space)');"
                                "done(all[all.length - 1].cells[0].textContent)})))")
        self.assertEqual(last, "000-" + self.devices[0]["id"])  # descending

    def test_texts_of_devices_are_never_markup(self):
        evil = "</script><script>document.title = 'taken'</script><img src=x onerror=\"document.title='taken'\">"
        self.write("evil.jsonl", json.dumps({"id": evil, "model": evil, "tags": {}}).encode() + b"\n")
        self.write("evil.json", [{"model": evil + "*", "tag": f"!{evil}"}])
        self.report(facts="evil.jsonl", filters="evil.json")
        self.assertEqual(self.browser.run("return document.title"), "evil.json on 1 device")
        self.assertEqual(self.rows()[0][0], evil)
        self.assertIn(evil, self.text("#words"))
        self.assertEqual(self.browser.run("return document.images.length"), 0)


if __name__ == "__main__":
    YoxctlTest.run(__doc__)
