#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The Python package as its users meet it. The library is the one in YOX_LIBRARY."""
import concurrent.futures
import datetime
import gc
import inspect
import json
import pathlib
import queue
import tempfile
import typing
import unittest

import yox

LIST = [{"country": "US", "value": "false"}, {"country": "DE", "tag": "Ring|beta"}, {"default": "false"}]
BETA = {"id": "one", "country": "DE", "tags": {"Ring": "beta"}}
PROFILE = {"clock": {"now": "2026-03-01T12:00:00"}, "firmware": {"manufacturer": "Contoso", "serial_number": "C0FFEE12"},
           "region": {"country_code": "DE", "language_code": "de-DE"}}


class Decisions(unittest.TestCase):
    def test_a_list_decides_and_unknown_is_none(self):
        filters = yox.FilterList(LIST)
        self.assertEqual(len(filters), 3)
        rows = [({"country": "US"}, False, 0), (BETA, True, 1), ({"country": "DE", "tags": {}}, False, 2),
                ({"country": "DE"}, None, None)]
        for facts, applies, decided_by in rows:
            self.assertEqual(yox.decide(filters, yox.Facts(facts)), yox.Verdict(applies, decided_by))
        self.assertEqual(yox.decide_many(filters, [yox.Facts(row[0]) for row in rows]), [row[1] for row in rows])
        self.assertEqual(yox.decide_many(filters, []), [])

    def test_a_question_has_moment_version_and_tags(self):
        filters = yox.FilterList([{"tag": "Ring|beta", "target_version": ">=3.0",
                                   "date_range": "2026-02-01|2026-02-28"}])
        facts = yox.Facts({"tags": {}, "time_zone": "UTC"})
        noon = datetime.datetime(2026, 2, 16, 12, tzinfo=datetime.timezone.utc)
        for question, applies in [
                (yox.Question(noon, "3.1", {"Ring": "beta"}), True),
                (yox.Question(int(noon.timestamp()), "3.1", {"Ring": "beta"}), True),
                (yox.Question(noon, "2.9", {"Ring": "beta"}), False),
                (yox.Question(noon, "3.1"), False),
                (yox.Question(noon.replace(month=3), "3.1", {"Ring": "beta"}), False)]:
            self.assertIs(yox.decide(filters, facts, question).applies, applies, question)

    def test_an_explanation_says_what_was_required_and_found(self):
        facts = yox.Facts({"country": "DE", "tags": {"Ring": "älter"}})
        explanation = yox.explain(yox.FilterList(LIST), facts)
        self.assertEqual((explanation.applies, explanation.decided_by, explanation.nearest_miss), (False, 2, 1))
        self.assertIn("Filter [1]: tag = false; ", explanation.reason)
        self.assertEqual([one.outcome for one in explanation.filters],
                         [yox.Outcome.NOT_MATCHED, yox.Outcome.NOT_MATCHED, yox.Outcome.DEFAULT])
        tag = next(one for one in explanation.filters[1].criteria if one.field == "tag")
        self.assertIs(tag.result, yox.CriterionResult.DIFFERS)
        self.assertIn("älter", tag.facts[0].actual)
        undetermined = yox.explain(yox.FilterList(LIST), yox.Facts({"country": "DE"}))
        self.assertEqual((undetermined.applies, undetermined.needs), (None, ("tags.Ring",)))

    def test_an_explanation_says_how_much_it_leaves_out(self):
        terms = ",".join(f"t{number}|x" for number in range(300))
        explanation = yox.explain(yox.FilterList([{"tag": terms}]), yox.Facts({"tags": {}}))
        criterion = explanation.filters[0].criteria[0]
        self.assertEqual((len(criterion.facts), criterion.facts_left_out), (256, 44))

    def test_documents_may_be_bytes(self):
        self.assertEqual(yox.FilterList(b'[{"country": "De"}]').document(), yox.FilterList([{"country": "De"}]).document())

    def test_documents_come_back(self):
        facts = yox.Facts(BETA | {"serial_number": "C0FFEE12"})
        again = yox.Facts(facts.document())
        self.assertEqual((again.id, json.loads(again.document())), ("one", json.loads(facts.document())))
        self.assertNotIn("C0FFEE12", facts.document(anonymous=True))
        filters = yox.FilterList(LIST)
        self.assertEqual(yox.FilterList(filters.document()).document(), filters.document())

    def test_an_error_has_its_place(self):
        with self.assertRaises(yox.DocumentError) as raised:
            yox.FilterList([{}, {"country": 5}])
        self.assertTrue(raised.exception.place.endswith("[1].country"), raised.exception.place)
        self.assertTrue(str(raised.exception).startswith(raised.exception.place + ": "))
        with self.assertRaises(yox.DocumentError):
            yox.Rollout("tomorrow")
        with self.assertRaises(yox.YoxError) as raised:
            yox.Rollout("2026-03-01|10|linear").date(0)
        self.assertNotIsInstance(raised.exception, yox.DocumentError)

    def test_a_fleet_is_read_line_by_line(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "fleet.jsonl"
            path.write_text("".join(json.dumps({"id": f"d{i}", "country": "DE" if i % 2 else "US"}) + "\n\n"
                                    for i in range(10)), encoding="utf-8")
            devices = list(yox.read_fleet(path))
            self.assertEqual([one.id for one in devices], [f"d{i}" for i in range(10)])
            self.assertEqual(yox.decide_many(yox.FilterList([{"country": "DE"}]), devices), [False, True] * 5)
            path.write_text('{"id": "a"}\n{"contry": "DE"}\n', encoding="utf-8")
            with self.assertRaises(yox.DocumentError) as raised:
                list(yox.read_fleet(path))
            self.assertTrue(str(raised.exception).startswith("line 2"), raised.exception)
            self.assertTrue(raised.exception.place.startswith("line 2"), raised.exception.place)

    def fleet(self, documents):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        path = pathlib.Path(folder.name) / "fleet.jsonl"
        path.write_text("".join((one if isinstance(one, str) else json.dumps(one)) + "\n" for one in documents),
                        encoding="utf-8")
        return path

    def test_a_device_of_a_fleet_is_decided_as_any_other(self):
        documents = [{"id": f"dä{i}", "padding": "x" * 600} | ({"country": one} if one else {}) | tags
                     for i in range(2_000) for one, tags in [
                         (("DE", "US", None)[i % 7 % 3], {"tags": {"Ring": ("beta", "stable")[i % 2]}} if i % 5 else {})]]
        for one in documents:
            one["model"] = one.pop("padding")
        path = self.fleet(documents)
        self.assertGreater(path.stat().st_size, 1 << 20)  # several blocks
        filters = yox.FilterList(LIST)
        beta = yox.Question(1771243200, "3.1", {"Ring": "beta"})
        filters = yox.FilterList([*LIST[:2], {"country": "DE", "target_version": "<3.1"},
                                  {"country": "DE", "target_version": ">=3.1", "date_range": "*|2026-02-16",
                                   "tag": "Ring|beta"}])
        facts = [yox.Facts(one) for one in documents]
        for question in (None, beta, yox.Question(beta.now, "3.0"), yox.Question(beta.now + 10**6, "3.1")):
            expected = [yox.decide(filters, one, question) for one in facts]
            devices = yox.read_fleet(path)
            self.assertEqual([yox.decide(filters, one, question) for one in devices], expected)
            self.assertEqual(list(yox.decide_fleet(filters, path, question)), [one.applies for one in expected])
        lists = [filters, *(yox.FilterList([{"model": f"x{n}*"}, {"country": "DE"}]) for n in range(6))]
        for one, document in zip(yox.read_fleet(path, threads=1), documents[:50]):
            facts = yox.Facts(document)
            self.assertEqual(one.id, document["id"])
            for of in (*lists, *reversed(lists)):  # more than are decided for a whole block
                self.assertEqual(yox.decide(of, one), yox.decide(of, facts))
            self.assertEqual(yox.decide(filters, one, beta), yox.decide(filters, facts, beta))
            self.assertEqual(yox.explain(filters, one), yox.explain(filters, facts))
            self.assertEqual(one.document(), facts.document())
            with self.assertRaises(AttributeError):
                one.serial  # noqa: B018

    def test_a_question_that_was_changed_is_another_one(self):
        device = next(yox.read_fleet(self.fleet([{"country": "DE", "tags": {}}])))
        filters, tags = yox.FilterList(LIST), {"Ring": "beta"}
        question = yox.Question(tags=tags)
        self.assertIs(yox.decide(filters, device, question).applies, True)
        tags["Ring"] = "stable"
        self.assertIs(yox.decide(filters, device, question).applies, False)
        self.assertIs(yox.decide(filters, device).applies, False)

    def test_the_devices_before_a_wrong_line_are_there(self):
        path = self.fleet([{"id": "a"}, "", {"id": "b", "country": "DE"}, '{"contry": "DE"}', {"id": "c"}])
        found = []
        with self.assertRaises(yox.DocumentError) as raised:
            for one in yox.read_fleet(path):
                found.append((one.id, yox.decide(yox.FilterList([{"country": "DE"}]), one).applies))
        self.assertTrue(raised.exception.place.startswith("line 4"), raised.exception.place)
        self.assertEqual(found, [("a", None), ("b", True)])
        with self.assertRaises(FileNotFoundError):
            next(yox.read_fleet(path.with_name("none")))
        self.assertEqual(list(yox.read_fleet(self.fleet([]))), [])

    def test_a_list_is_not_decided_for_a_block_again(self):
        decided, decide = [], yox._native.library.yox_lines_decide
        yox._native.library.yox_lines_decide = lambda *arguments: (decided.append(1), decide(*arguments))[1]
        self.addCleanup(setattr, yox._native.library, "yox_lines_decide", decide)
        filters = yox.FilterList(LIST)
        for one in yox.read_fleet(self.fleet([BETA] * 1000)):
            self.assertTrue(yox.decide(filters, one).applies)
        self.assertEqual(len(decided), 1)

    def test_a_fleet_is_decided_in_its_order(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "fleet.jsonl"
            countries = [("DE", "US", None)[i % 7 % 3] for i in range(60_000)]
            padding = "x" * 80
            path.write_text("".join(json.dumps({"id": padding} | ({"country": one} if one else {})) + "\n"
                                    for one in countries), encoding="utf-8")
            self.assertGreater(path.stat().st_size, 4 << 20)  # several blocks
            filters = yox.FilterList([{"country": "DE"}])
            expected = [None if one is None else one == "DE" for one in countries]
            for threads in (None, 1, 3):
                self.assertEqual(list(yox.decide_fleet(filters, path, threads=threads)), expected)
            with open(path, "a", encoding="utf-8") as file:
                file.write('\n{"contry": "DE"}')
            decided = []
            with self.assertRaises(yox.DocumentError) as raised:
                for one in yox.decide_fleet(filters, path):
                    decided.append(one)
            self.assertTrue(raised.exception.place.startswith("line 60002"), raised.exception)
            self.assertEqual(decided, expected[:len(decided)])
            self.assertGreater(len(decided), 0)
            next(yox.decide_fleet(filters, path))  # may be left early

    def test_lint_and_rollout(self):
        findings = yox.lint([{"country": "DE"}, {"date_range": "2026-01-01|2026-01-31"}, {"country": "U*S"}],
                            today=datetime.date(2026, 1, 15))
        found = findings[-1]
        self.assertEqual((found.rule, found.filter, found.field, found.is_error), ("inner-star", 2, "country", True))
        self.assertEqual((found.line, found.column), (1, 75))
        self.assertIn("U*S", found.message)
        self.assertNotIn("U*S", found.remedy)
        self.assertTrue(found.remedy)
        self.assertEqual(len(yox.lint([{"date_range": "2026-01-01|2026-01-31"}], datetime.date(2026, 2, 1))),
                         1 + len(yox.lint([{"date_range": "2026-01-01|2026-01-31"}], datetime.date(2026, 1, 1))))
        rollout = yox.Rollout("2026-03-01|10|linear")
        shares = [rollout.share_on(day) for day in range(11)]
        self.assertEqual((shares[0], shares[10], shares), (0, 1, sorted(shares)))
        self.assertEqual(rollout.date(2), datetime.date(2026, 3, 2))
        self.assertIn(rollout.first_day("C0FFEE12"), range(1, 11))
        self.assertEqual((rollout.by_organisation, rollout.has_known_growth), (False, True))
        rollout = yox.Rollout("2026-03-01|10|suddenly|tenant")
        self.assertEqual((rollout.by_organisation, rollout.has_known_growth), (True, False))

    def test_threads_share_lists_and_facts(self):
        filters, facts = yox.FilterList(LIST), [yox.Facts(BETA)] * 1000
        with concurrent.futures.ThreadPoolExecutor(4) as pool:
            for applies in pool.map(lambda _: yox.decide_many(filters, facts), range(20)):
                self.assertEqual(applies, [True] * 1000)

    def test_handles_are_freed(self):
        freed, free = [], yox._native.library.yox_list_free
        filters = yox.FilterList(LIST)
        filters._free = lambda pointer: (freed.append(1), free(pointer))
        del filters
        gc.collect()
        self.assertEqual(freed, [1])

    def test_everything_public_is_documented_and_typed(self):
        for name in yox.__all__:
            of = getattr(yox, name)
            self.assertTrue(of.__doc__, name)
            members = [one for key, one in vars(of).items() if not key.startswith("_")] if inspect.isclass(of) else [of]
            for member in members:
                function = getattr(member, "fget", None) or getattr(member, "__func__", member)
                if inspect.isfunction(function):
                    self.assertTrue(function.__doc__, f"{name}.{function.__name__}")
                    self.assertIn("return", typing.get_type_hints(function), f"{name}.{function.__name__}")


class OneRuntime(unittest.TestCase):
    def test_a_process_has_one_runtime(self):
        filters = yox.FilterList(LIST)
        self.assertTrue(yox.decide(yox.FilterList([{"country": "DE"}]), yox.Facts.from_profile(PROFILE)).applies)
        arrived = queue.Queue()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        with yox.Runtime(PROFILE, folder.name, watch=True) as runtime:
            self.assertEqual(runtime.record()["serial_number"], "C0FFEE12")
            self.assertEqual(runtime.decide(filters)[0], False)
            self.assertEqual(runtime.decide(filters, yox.Question(tags={"Ring": "beta"}))[0], True)
            self.assertEqual(runtime.explain(filters).nearest_miss, 1)
            runtime.add_tags({"Ring": "beta"})
            self.assertIn(("Ring", "beta"), runtime.tags())
            self.assertTrue(yox.decide(filters, runtime.facts()).applies)
            subscription = runtime.subscribe(lambda *notification: arrived.put(notification))
            runtime.publish(41, 7, "pä")
            while (found := arrived.get(timeout=30))[0] != 41:
                pass
            self.assertEqual(found, (41, 7, "pä"))
            with self.assertRaises(yox.YoxError):
                yox.Facts.from_profile(PROFILE)
        self.assertFalse(subscription._pointer)  # ended, because the library calls it no more
        self.assertTrue(any(pathlib.Path(folder.name).rglob("*")))
        with self.assertRaises(yox.YoxError):
            yox.Runtime(PROFILE)


if __name__ == "__main__":
    unittest.main()
