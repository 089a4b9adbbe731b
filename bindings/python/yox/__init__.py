# SPDX-License-Identifier: Apache-2.0
"""Decide filter lists for devices, explain the decisions, and check the lists.

    >>> import yox
    >>> beta = yox.FilterList('[{"country": "DE,FR", "tag": "Ring|beta"}]')
    >>> device = yox.Facts('{"country": "DE", "tags": {"Ring": "stable"}}')
    >>> yox.decide(beta, device)
    Verdict(applies=False, decided_by=None)

Everything on lists and facts may be used from any thread, and long calls run without the interpreter's lock. The
package is a layer over the library's C interface and needs the shared library yox.
"""
from __future__ import annotations

import collections
import concurrent.futures
import ctypes
import datetime
import enum
import functools
import itertools
import json
import os
from collections.abc import Callable, Iterator, Mapping, Sequence
from ctypes import byref, c_int32, c_uint8, c_void_p
from dataclasses import dataclass, field
from typing import Any, Optional, TypeVar, Union

from . import _native
from ._native import DocumentError, YoxError

__all__ = ["Criterion", "CriterionResult", "DocumentError", "Explanation", "Fact", "Facts", "Filter", "FilterList",
           "Finding", "Outcome", "Question", "Rollout", "Runtime", "Subscription", "Verdict", "YoxError", "decide",
           "decide_fleet", "decide_many", "explain", "lint", "read_fleet", "version"]

Document = Union[str, bytes, Mapping[str, Any], Sequence[Any]]


def version() -> str:
    """The version of the library, such as "0.1.0"."""
    return _native.library.yox_version().decode()


def _document(document: Document) -> bytes:
    return _native.utf8(document if isinstance(document, (str, bytes)) else json.dumps(document))


def _index(number: int) -> Optional[int]:
    return None if number == _native.NONE else number


def _truth(number: int) -> Optional[bool]:
    return None if number == 2 else bool(number)


def _pointers(handles: Sequence[_native.Handle]) -> Any:
    return (c_void_p * len(handles))(*[handle.pointer for handle in handles])


class FilterList(_native.Handle):
    """A filter list. Takes its document as text, or as the lists and dictionaries of the json module. Raises
    DocumentError."""

    __slots__ = ()

    def __init__(self, document: Document) -> None:
        text = _document(document)
        super().__init__("list", "list_read", text, len(text))

    def __len__(self) -> int:
        """The number of filters."""
        return _native.library.yox_list_count(self.pointer)

    def document(self) -> str:
        """The list as a JSON document, without what is not set."""
        return _native.string("list_write", self.pointer)


class Facts:
    """What is known of one device. Takes a facts document; raises DocumentError."""

    __slots__ = ("_handle", "__weakref__")

    def __init__(self, document: Document) -> None:
        text = _document(document)
        self._handle = _native.Handle("facts", "facts_read", text, len(text))

    @classmethod
    def from_profile(cls, profile: Document, lists: Sequence[FilterList] = ()) -> Facts:
        """The facts of the device that a device profile describes; of its registry what the lists read. Not while a
        Runtime is running."""
        text = _document(profile)
        return cls._created("facts_from_profile", text, len(text), _pointers(lists), len(lists))

    @classmethod
    def _created(cls, create: str, *arguments: Any) -> Facts:
        facts = cls.__new__(cls)
        facts._handle = _native.Handle("facts", create, *arguments)
        return facts

    @property
    def pointer(self) -> c_void_p:
        """The handle of the C interface."""
        return self._handle.pointer

    @property
    def id(self) -> str:
        """The name that the device has in its fleet."""
        text = _native.Text()
        _native.call("facts_id", self.pointer, byref(text))
        return str(text)

    def document(self, anonymous: bool = False) -> str:
        """The facts as one line of JSON; with `anonymous`, hashes take the place of serial number and realm."""
        return _native.string("facts_write", self.pointer, int(anonymous))


@dataclass(frozen=True)
class Question:
    """What a decision depends on besides list and device."""

    now: Union[None, int, datetime.datetime] = None
    """Seconds since 1970, or a moment with a time zone; None: now."""
    target_version: Optional[str] = None
    tags: Mapping[str, str] = field(default_factory=dict)
    """Replace the device's tags of the same keys."""

    def _native(self) -> _native.Question:
        now = _native.NOW if self.now is None else \
            int(self.now.timestamp()) if isinstance(self.now, datetime.datetime) else int(self.now)
        tags = [_native.Pair(_native.utf8(key), _native.utf8(value)) for key, value in self.tags.items()]
        return _native.Question(now=now, tags=(_native.Pair * len(tags))(*tags), tag_count=len(tags),
                                target_version=None if self.target_version is None else
                                _native.utf8(self.target_version))


@dataclass(frozen=True)
class Verdict:
    """What a list decides. `applies` is None if it depends on facts that are unknown; `decided_by` is the index of the
    filter that decided, or None if none did."""

    applies: Optional[bool]
    decided_by: Optional[int]


def _asked(question: Optional[Question]) -> Any:
    return None if question is None else byref(question._native())


def decide(filters: FilterList, facts: Facts, question: Optional[Question] = None) -> Verdict:
    """Decides a list for a device. For a device of read_fleet, it is decided with those of the same part of the file, at
    one moment for all of them."""
    if isinstance(facts, _FleetDevice):
        last, verdicts = facts._block.last
        if last is not filters or question is not None:
            verdicts = facts._block.verdicts(filters, question)
        if verdicts is not None:
            return verdicts[facts._index]
    verdict = _native.Verdict()
    _native.call("decide", filters.pointer, facts.pointer, _asked(question), byref(verdict))
    return Verdict(_truth(verdict.applies), _index(verdict.decided_by))


def decide_many(filters: FilterList, devices: Sequence[Facts],
                question: Optional[Question] = None) -> list[Optional[bool]]:
    """Decides a list for many devices, in one call: whether it applies to each, None where that is undetermined."""
    applies = (c_uint8 * len(devices))()
    _native.call("decide_many", filters.pointer, _pointers(devices), len(devices), _asked(question), applies)
    return [_TRUTHS[number] for number in applies]


_TRUTHS = (False, True, None)


_BLOCK = 1 << 20
_Path = Union[str, os.PathLike[str]]
_Result = TypeVar("_Result")


def _blocks(path: _Path) -> Iterator[tuple[bytes, int]]:
    """The file in pieces of whole lines, each with the number of its first line."""
    number = 1
    with open(path, "rb") as file:
        while block := file.read(_BLOCK):
            if block[-1] != 0x0A:
                block += file.readline()
            yield block, number
            number += block.count(b"\n")


def _each_block(work: Callable[[bytes, int], _Result], path: _Path, threads: Optional[int]) -> Iterator[_Result]:
    """What `work` returns for each block of a file, in their order, computed ahead in several threads."""
    threads = threads or os.cpu_count() or 1
    with concurrent.futures.ThreadPoolExecutor(threads) as pool:
        pending: collections.deque[concurrent.futures.Future[_Result]] = collections.deque()
        try:
            for block in _blocks(path):
                pending.append(pool.submit(work, *block))
                if len(pending) > 2 * threads:
                    yield pending.popleft().result()
            while pending:
                yield pending.popleft().result()
        finally:
            for future in pending:
                future.cancel()


class _Pass:
    """A pass over a fleet: what was decided last, so that it is decided ahead for the next block."""

    __slots__ = ("asked",)

    def __init__(self) -> None:
        self.asked: tuple[Optional[FilterList], Optional[Question]] = (None, None)


def _snapshot(question: Optional[Question]) -> Any:
    """What a question is compared by; its tags may change."""
    return None if question is None else (question.now, question.target_version, dict(question.tags))


class _Verdicts(dict[tuple[int, int], Verdict]):
    """Verdicts by their numbers."""

    def __missing__(self, numbers: tuple[int, int]) -> Verdict:
        verdict = self[numbers] = Verdict(_truth(numbers[0]), _index(numbers[1]))
        return verdict


class _Block:
    """The devices of a block, and what lists decide for all of them. From any thread."""

    __slots__ = ("_pass", "_lines", "_decided", "last", "count", "error")
    _LISTS = 4  # for more lists, each device is read once instead of the block once for each list

    def __init__(self, of: _Pass, text: bytes, first_line: int) -> None:
        self._pass = of
        self._decided: dict[FilterList, tuple[Any, list[Verdict]]] = {}
        # What was decided last without a question, which most loops ask for again.
        self.last: tuple[Optional[FilterList], Optional[list[Verdict]]] = (None, None)
        self.error: Optional[DocumentError] = None
        filters, question = of.asked
        self._lines = _native.Handle.__new__(_native.Handle)
        try:
            self._lines.__init__("lines", "lines_read", text, len(text), first_line,  # type: ignore[misc]
                                 filters and filters.pointer, _asked(question))
        except DocumentError as error:  # the devices before it are there
            self.error = error
        self.count: int = _native.library.yox_lines_count(self._lines.pointer)
        if filters is not None:
            self._keep(filters, _snapshot(question), "lines_decided", self._lines.pointer)

    def verdicts(self, filters: FilterList, question: Optional[Question]) -> Optional[list[Verdict]]:
        """What the list decides for each device; None if too many lists were decided before."""
        asked = _snapshot(question)
        decided = self._decided.get(filters)
        if decided is not None and decided[0] == asked:
            if asked is None:
                self.last = (filters, decided[1])
            return decided[1]
        if decided is None and len(self._decided) == self._LISTS:
            return None
        # A copy, because another thread uses it.
        self._pass.asked = (filters, question and Question(question.now, question.target_version, dict(question.tags)))
        return self._keep(filters, asked, "lines_decide", self._lines.pointer, filters.pointer, _asked(question))

    def _keep(self, filters: FilterList, asked: Any, function: str, *arguments: Any) -> list[Verdict]:
        """Keeps what a function returns that decides for each device."""
        applies, by = (c_uint8 * self.count)(), (ctypes.c_size_t * self.count)()
        _native.call(function, *arguments, applies, by)
        verdicts = list(map(_Verdicts().__getitem__, zip(bytes(applies), by)))
        self._decided[filters] = (asked, verdicts)
        if asked is None:
            self.last = (filters, verdicts)
        return verdicts

    def text(self, index: int, of_id: bool) -> bytes:
        """The name or the document of a device."""
        text = _native.Text()
        of = byref(text)
        _native.call("lines_get", self._lines.pointer, index, of if of_id else None, None if of_id else of)
        return ctypes.string_at(text.data, text.size)


class _FleetDevice(Facts):
    """A device of a block, which is read when something else than a decision is asked for."""

    __slots__ = ("_block", "_index")

    def __init__(self, block: _Block, index: int) -> None:
        self._block = block
        self._index = index

    def __getattr__(self, name: str) -> Any:
        if name != "_handle":
            raise AttributeError(name)
        document = self._block.text(self._index, of_id=False)
        self._handle = _native.Handle("facts", "facts_read", document, len(document))
        return self._handle

    @property
    def id(self) -> str:
        return self._block.text(self._index, of_id=True).decode("utf-8")


def read_fleet(path: _Path, threads: Optional[int] = None) -> Iterator[Facts]:
    """The devices of a fleet, a file with one facts document on each line; blank lines are skipped. Raises
    DocumentError, whose place begins with the line. The file is read in blocks of about a megabyte, ahead, in
    `threads` threads, by default one for each processor; a list that is decided for a device is decided for its whole
    block."""
    this_pass = _Pass()
    for block in _each_block(functools.partial(_Block, this_pass), path, threads):
        yield from map(_FleetDevice, itertools.repeat(block), range(block.count))
        if block.error is not None:
            raise block.error


def decide_fleet(filters: FilterList, path: _Path, question: Optional[Question] = None,
                 threads: Optional[int] = None) -> Iterator[Optional[bool]]:
    """Decides a list for each device of a fleet, a file with one facts document on each line, as fast as the file can be
    parsed: whether it applies to each, in their order, None where that is undetermined. Raises DocumentError, whose place
    begins with the line. `threads`: by default one for each processor."""
    asked = (question or Question())
    if asked.now is None:  # one moment for all
        asked = Question(datetime.datetime.now(datetime.timezone.utc), asked.target_version, asked.tags)
    given = asked._native()

    def decided(block: bytes, first_line: int) -> bytes:
        applies, count = (c_uint8 * (block.count(b"\n") + 1))(), ctypes.c_size_t()
        _native.call("decide_lines", filters.pointer, block, len(block), first_line, byref(given), applies, len(applies),
                     byref(count))
        return bytes(memoryview(applies)[:count.value])

    for block in _each_block(decided, path, threads):
        yield from map(_TRUTHS.__getitem__, block)


class Outcome(enum.Enum):
    """What became of a filter."""

    MATCHED = 0
    NOT_MATCHED = 1
    DEFAULT = 2
    NOT_REACHED = 3
    UNDECIDED = 4


class CriterionResult(enum.Enum):
    """What became of a criterion: met; the device has another value; it has none; the fact is unknown."""

    HELD = 0
    DIFFERS = 1
    MISSING = 2
    UNKNOWN = 3


@dataclass(frozen=True)
class Fact:
    """One thing that a criterion was compared with."""

    required: str
    actual: str
    source: str
    note: str
    result: CriterionResult


@dataclass(frozen=True)
class Criterion:
    """A criterion of a filter: its field, its text, and what it was compared with: at most 256 facts, and how many there
    are beyond them."""

    field: str
    required: str
    result: CriterionResult
    facts: tuple[Fact, ...]
    facts_left_out: int


@dataclass(frozen=True)
class Filter:
    """A filter of an explanation; `decides` is what it decides when it does."""

    outcome: Outcome
    decides: bool
    criteria: tuple[Criterion, ...]


@dataclass(frozen=True)
class Explanation:
    """Why a list decides as it does. `nearest_miss` is the filter with the fewest failing criteria that would have
    changed the verdict; `needs` names the facts without which it is undetermined."""

    applies: Optional[bool]
    decided_by: Optional[int]
    reason: str
    nearest_miss: Optional[int]
    needs: tuple[str, ...]
    filters: tuple[Filter, ...]


def _explanation(create: str, *arguments: Any) -> Explanation:
    handle = _native.Handle("explanation", create, *arguments)
    pointer, explained, need = handle.pointer, _native.Explained(), _native.Text()
    _native.call("explanation_get", pointer, byref(explained))
    needs, filters = [], []
    for index in range(explained.need_count):
        _native.call("explanation_need", pointer, index, byref(need))
        needs.append(str(need))
    for i in range(explained.filter_count):
        of, criteria = _native.ExplainedFilter(), []
        _native.call("explanation_filter", pointer, i, byref(of))
        for j in range(of.criterion_count):
            criterion, facts = _native.ExplainedCriterion(), []
            _native.call("explanation_criterion", pointer, i, j, byref(criterion))
            for k in range(criterion.fact_count):
                fact = _native.ExplainedFact()
                _native.call("explanation_fact", pointer, i, j, k, byref(fact))
                facts.append(Fact(str(fact.required), str(fact.actual), str(fact.source), str(fact.note),
                                  CriterionResult(fact.result)))
            criteria.append(Criterion(str(criterion.field), str(criterion.required),
                                      CriterionResult(criterion.result), tuple(facts),
                                      criterion.facts_left_out))
        filters.append(Filter(Outcome(of.outcome), bool(of.decides), tuple(criteria)))
    return Explanation(_truth(explained.applies), _index(explained.decided_by), str(explained.reason),
                       _index(explained.nearest_miss), tuple(needs), tuple(filters))


def explain(filters: FilterList, facts: Facts, question: Optional[Question] = None) -> Explanation:
    """Explains what a list decides for a device."""
    return _explanation("explain", filters.pointer, facts.pointer, _asked(question))


@dataclass(frozen=True)
class Finding:
    """Something that is wrong or suspicious in a list; `filter` and `field` are None where it concerns more."""

    is_error: bool
    rule: str
    filter: Optional[int]
    field: Optional[str]
    line: int
    column: int
    message: str
    remedy: str


def lint(document: Document, today: Optional[datetime.date] = None) -> list[Finding]:
    """Checks the document of a filter list; `today` decides which windows have passed."""
    text = _document(document)
    date = None if today is None else byref(_native.Date(today.year, today.month, today.day))
    handle, found, findings = _native.Handle("findings", "lint", text, len(text), date), _native.Finding(), []
    for index in range(_native.library.yox_findings_count(handle.pointer)):
        _native.call("findings_get", handle.pointer, index, byref(found))
        findings.append(Finding(found.severity == 1, str(found.rule), _index(found.filter), str(found.field) or None,
                                found.line, found.column, str(found.message), str(found.remedy)))
    return findings


class Rollout(_native.Handle):
    """What a date function, "START|DAYS|GROWTH", does day by day. Raises DocumentError."""

    __slots__ = ("days", "by_organisation", "has_known_growth")

    def __init__(self, function: str) -> None:
        super().__init__("rollout", "rollout_read", _native.utf8(function))
        info = _native.RolloutInfo()
        _native.call("rollout_get", self.pointer, byref(info))
        self.days: int = info.days
        self.by_organisation = bool(info.by_organisation)
        self.has_known_growth = bool(info.has_known_growth)

    def share_on(self, day: int) -> float:
        """The share of devices or organisations that are in on a day; the first is 1."""
        buckets = c_int32()
        _native.call("rollout_buckets_on", self.pointer, day, byref(buckets))
        return buckets.value / 4096

    def date(self, day: int) -> datetime.date:
        """The calendar day of a day of the roll-out."""
        date = _native.Date()
        _native.call("rollout_date", self.pointer, day, byref(date))
        return datetime.date(date.year, date.month, date.day)

    def first_day(self, serial_number_or_realm: str) -> int:
        """The day from which a device or an organisation is in."""
        day = c_int32()
        _native.call("rollout_first_day", self.pointer, _native.utf8(serial_number_or_realm), byref(day))
        return day.value


class Subscription:
    """A subscription to the notifications of a Runtime."""

    def __init__(self, runtime: Runtime, notified: Callable[[int, int, str], None], first: bool) -> None:
        # The library calls it as long as this object refers to it.
        self._notified = _native.Notified(
            lambda _, given: notified(given[0].topic, given[0].event, str(given[0].payload)))
        self._pointer = c_void_p()
        _native.call("bus_subscribe", runtime._pointer, self._notified, None, int(first), byref(self._pointer))

    def close(self) -> None:
        """Ends the calls and waits for one that is running."""
        pointer, self._pointer = self._pointer, c_void_p()
        _native.library.yox_bus_unsubscribe(pointer)


class Runtime:
    """The library at work on this machine, or on the device of a profile: its record, tags and notifications. A process
    has one, and none after it; use it in a `with` statement, or call `stop`.

    With `watch` the library's threads keep tags and applications fresh."""

    def __init__(self, profile: Optional[Document] = None, directory: Optional[str] = None,
                 watch: bool = False) -> None:
        text = None if profile is None else _document(profile)
        options = _native.RuntimeOptions(profile=text, profile_size=len(text or b""), watch=int(watch),
                                         directory=None if directory is None else _native.utf8(directory))
        self._pointer = c_void_p()
        self._subscriptions: list[Subscription] = []
        _native.call("runtime_start", byref(options), byref(self._pointer))

    def __enter__(self) -> Runtime:
        return self

    def __exit__(self, *_: object) -> None:
        self.stop()

    def stop(self) -> None:
        """Ends the subscriptions, the library's threads and the bus, and waits for them."""
        for subscription in self._subscriptions:
            subscription.close()
        pointer, self._pointer = self._pointer, c_void_p()
        _native.library.yox_runtime_stop(pointer)

    def record(self) -> dict[str, str]:
        """The texts of the machine record by name, such as "serial_number"."""
        return dict(_native.pairs("device_record", self._pointer))

    def facts(self, lists: Sequence[FilterList] = ()) -> Facts:
        """The facts of the device as they are now; of its registry what the lists read."""
        return Facts._created("device_facts", self._pointer, _pointers(lists), len(lists))

    def decide(self, filters: FilterList, question: Optional[Question] = None) -> tuple[bool, str]:
        """Decides a list for the device, with its log lines: whether it applies, and the reason."""
        applies, reason = c_int32(), c_void_p()
        _native.call("device_decide", self._pointer, filters.pointer, _asked(question), byref(applies), byref(reason))
        text = ctypes.string_at(_native.library.yox_string_data(reason), _native.library.yox_string_size(reason))
        _native.library.yox_string_free(reason)
        return bool(applies.value), text.decode("utf-8")

    def explain(self, filters: FilterList, question: Optional[Question] = None) -> Explanation:
        """Explains what a list decides for the device."""
        return _explanation("device_explain", self._pointer, filters.pointer, _asked(question))

    def tags(self) -> list[tuple[str, str]]:
        """The device's tags, in the order in which a filter reads them."""
        return _native.pairs("tags_get", self._pointer)

    def add_tags(self, tags: Mapping[str, str], persist: bool = False) -> None:
        """Adds tags; with `persist` they are also written to the registry."""
        given = [_native.Pair(_native.utf8(key), _native.utf8(value)) for key, value in tags.items()]
        _native.call("tags_add", self._pointer, (_native.Pair * len(given))(*given), len(given), int(persist))

    def subscribe(self, notified: Callable[[int, int, str], None], first: bool = False) -> Subscription:
        """Calls `notified(topic, event, payload)` for every record, on a thread of the library's. An exception that it
        raises is printed and goes no further."""
        self._subscriptions.append(Subscription(self, notified, first))
        return self._subscriptions[-1]

    def publish(self, topic: int, event: int, payload: str = "") -> None:
        """Publishes a record and returns at once."""
        _native.call("bus_publish", self._pointer, topic, event, _native.utf8(payload), None)
