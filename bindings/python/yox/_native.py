# SPDX-License-Identifier: Apache-2.0
"""The C interface of the library (yox/c/yox.h) in ctypes: structs, functions, errors. Not for callers."""
from __future__ import annotations

import ctypes
import ctypes.util
import os
import sys
from ctypes import POINTER, byref, c_char_p, c_int32, c_int64, c_size_t, c_uint8, c_void_p
from typing import Any, Union

NONE = c_size_t(-1).value
NOW = -(1 << 63)
NOT_FOUND = 1


class Text(ctypes.Structure):
    _fields_ = [("data", c_void_p), ("size", c_size_t)]

    def __str__(self) -> str:
        return ctypes.string_at(self.data, self.size).decode("utf-8")


class Pair(ctypes.Structure):
    _fields_ = [("key", c_char_p), ("value", c_char_p)]


class Date(ctypes.Structure):
    _fields_ = [("year", c_int32), ("month", c_int32), ("day", c_int32)]


class Sized(ctypes.Structure):
    """A struct whose first member is its size."""

    def __init__(self, **members: Any) -> None:
        super().__init__(size=ctypes.sizeof(self), **members)


class Question(Sized):
    _fields_ = [("size", c_size_t), ("now", c_int64), ("target_version", c_char_p), ("tags", POINTER(Pair)),
                ("tag_count", c_size_t)]


class Verdict(Sized):
    _fields_ = [("size", c_size_t), ("applies", c_int32), ("decided_by", c_size_t)]


class Finding(Sized):
    _fields_ = [("size", c_size_t), ("severity", c_int32), ("rule", Text), ("filter", c_size_t), ("field", Text),
                ("line", c_size_t), ("column", c_size_t), ("message", Text), ("remedy", Text)]


class Explained(Sized):
    _fields_ = [("size", c_size_t), ("applies", c_int32), ("decided_by", c_size_t), ("nearest_miss", c_size_t),
                ("filter_count", c_size_t), ("need_count", c_size_t), ("reason", Text)]


class ExplainedFilter(Sized):
    _fields_ = [("size", c_size_t), ("outcome", c_int32), ("decides", c_int32), ("criterion_count", c_size_t)]


class ExplainedCriterion(Sized):
    _fields_ = [("size", c_size_t), ("field", Text), ("required", Text), ("result", c_int32),
                ("fact_count", c_size_t), ("facts_left_out", c_size_t)]


class ExplainedFact(Sized):
    _fields_ = [("size", c_size_t), ("required", Text), ("actual", Text), ("source", Text), ("note", Text),
                ("result", c_int32)]


class RolloutInfo(Sized):
    _fields_ = [("size", c_size_t), ("days", c_int32), ("by_organisation", c_int32), ("has_known_growth", c_int32)]


class RuntimeOptions(Sized):
    _fields_ = [("size", c_size_t), ("profile", c_char_p), ("profile_size", c_size_t), ("directory", c_char_p),
                ("watch", c_int32)]


class Notification(Sized):
    _fields_ = [("size", c_size_t), ("topic", c_int32), ("event", c_int32), ("payload", Text)]


Notified = ctypes.CFUNCTYPE(None, c_void_p, POINTER(Notification))

# Name: parameters of a function that returns a status.
_STATUS = {
    "list_read": [c_char_p, c_size_t, POINTER(c_void_p)],
    "list_write": [c_void_p, POINTER(c_void_p)],
    "lint": [c_char_p, c_size_t, POINTER(Date), POINTER(c_void_p)],
    "findings_get": [c_void_p, c_size_t, POINTER(Finding)],
    "facts_read": [c_char_p, c_size_t, POINTER(c_void_p)],
    "facts_write": [c_void_p, c_int32, POINTER(c_void_p)],
    "facts_from_profile": [c_char_p, c_size_t, POINTER(c_void_p), c_size_t, POINTER(c_void_p)],
    "facts_id": [c_void_p, POINTER(Text)],
    "decide": [c_void_p, c_void_p, POINTER(Question), POINTER(Verdict)],
    "decide_many": [c_void_p, POINTER(c_void_p), c_size_t, POINTER(Question), POINTER(c_uint8)],
    "decide_lines": [c_void_p, c_void_p, c_size_t, c_size_t, POINTER(Question), POINTER(c_uint8), c_size_t,
                     POINTER(c_size_t)],
    "lines_read": [c_char_p, c_size_t, c_size_t, c_void_p, POINTER(Question), POINTER(c_void_p)],
    "lines_get": [c_void_p, c_size_t, POINTER(Text), POINTER(Text)],
    "lines_decided": [c_void_p, POINTER(c_uint8), POINTER(c_size_t)],
    "lines_decide": [c_void_p, c_void_p, POINTER(Question), POINTER(c_uint8), POINTER(c_size_t)],
    "explain": [c_void_p, c_void_p, POINTER(Question), POINTER(c_void_p)],
    "explanation_get": [c_void_p, POINTER(Explained)],
    "explanation_need": [c_void_p, c_size_t, POINTER(Text)],
    "explanation_filter": [c_void_p, c_size_t, POINTER(ExplainedFilter)],
    "explanation_criterion": [c_void_p, c_size_t, c_size_t, POINTER(ExplainedCriterion)],
    "explanation_fact": [c_void_p, c_size_t, c_size_t, c_size_t, POINTER(ExplainedFact)],
    "rollout_read": [c_char_p, POINTER(c_void_p)],
    "rollout_get": [c_void_p, POINTER(RolloutInfo)],
    "rollout_buckets_on": [c_void_p, c_int64, POINTER(c_int32)],
    "rollout_date": [c_void_p, c_int64, POINTER(Date)],
    "rollout_first_day": [c_void_p, c_char_p, POINTER(c_int32)],
    "runtime_start": [POINTER(RuntimeOptions), POINTER(c_void_p)],
    "device_record": [c_void_p, POINTER(c_void_p)],
    "device_facts": [c_void_p, POINTER(c_void_p), c_size_t, POINTER(c_void_p)],
    "device_decide": [c_void_p, c_void_p, POINTER(Question), POINTER(c_int32), POINTER(c_void_p)],
    "device_explain": [c_void_p, c_void_p, POINTER(Question), POINTER(c_void_p)],
    "pairs_get": [c_void_p, c_size_t, POINTER(Text), POINTER(Text)],
    "tags_get": [c_void_p, POINTER(c_void_p)],
    "tags_add": [c_void_p, POINTER(Pair), c_size_t, c_int32],
    "bus_subscribe": [c_void_p, Notified, c_void_p, c_int32, POINTER(c_void_p)],
    "bus_publish": [c_void_p, c_int32, c_int32, c_char_p, c_void_p],
}
# Name: parameters and result of the others.
_OTHERS = {
    "version": ([], c_char_p),
    "error_message": ([], c_char_p),
    "error_place": ([], c_char_p),
    "string_data": ([c_void_p], c_void_p),
    "string_size": ([c_void_p], c_size_t),
    "list_count": ([c_void_p], c_size_t),
    "findings_count": ([c_void_p], c_size_t),
    "lines_count": ([c_void_p], c_size_t),
    "pairs_count": ([c_void_p], c_size_t),
    "runtime_stop": ([c_void_p], None),
    "bus_unsubscribe": ([c_void_p], None),
}
_FREED = ["string", "list", "findings", "facts", "lines", "explanation", "rollout", "pairs"]


def _load() -> ctypes.CDLL:
    named = os.environ.get("YOX_LIBRARY")
    names = [named] if named else (["yox.dll"] if sys.platform == "win32" else ["libyox.so.0.1"])
    problems = []
    for name in names:
        try:
            return ctypes.CDLL(name)
        except OSError as error:
            problems.append(str(error))
    raise ImportError("the library yox 0.1 cannot be loaded (YOX_LIBRARY names its file): " + "; ".join(problems))


library = _load()
for _name, _parameters in _STATUS.items():
    _function = getattr(library, "yox_" + _name)
    _function.argtypes, _function.restype = _parameters, c_int32
for _name, (_parameters, _result) in _OTHERS.items():
    _function = getattr(library, "yox_" + _name)
    _function.argtypes, _function.restype = _parameters, _result
for _name in _FREED:
    _function = getattr(library, f"yox_{_name}_free")
    _function.argtypes, _function.restype = [c_void_p], None


class YoxError(Exception):
    """A call of the library that failed: `status` by the number of yox_status, `place` in the document or ""."""

    def __init__(self, status: int, message: str, place: str) -> None:
        super().__init__(message)
        self.status = status
        self.place = place


class DocumentError(YoxError):
    """A document that cannot be read. The message begins with `place`."""


_DOCUMENT = 3


def call(name: str, *arguments: Any) -> None:
    """Calls yox_NAME; raises YoxError for every status but YOX_OK."""
    status = getattr(library, "yox_" + name)(*arguments)
    if status:
        kind = DocumentError if status == _DOCUMENT else YoxError
        raise kind(status, library.yox_error_message().decode("utf-8"), library.yox_error_place().decode("utf-8"))


class Handle:
    """An opaque handle, which is freed with the object."""

    __slots__ = ("pointer", "_free", "__weakref__")

    def __init__(self, kind: str, create: str, *arguments: Any) -> None:
        self._free = getattr(library, f"yox_{kind}_free")
        self.pointer = c_void_p()
        call(create, *arguments, byref(self.pointer))

    def __del__(self) -> None:
        if getattr(self, "pointer", None):
            self._free(self.pointer)


def utf8(text: Union[str, bytes]) -> bytes:
    return text.encode("utf-8") if isinstance(text, str) else bytes(text)


def string(create: str, *arguments: Any) -> str:
    """The text that a function returns as a yox_string."""
    handle = Handle("string", create, *arguments)
    return ctypes.string_at(library.yox_string_data(handle.pointer),
                            library.yox_string_size(handle.pointer)).decode("utf-8")


def pairs(create: str, *arguments: Any) -> list[tuple[str, str]]:
    """The pairs that a function returns as yox_pairs."""
    handle, key, value, result = Handle("pairs", create, *arguments), Text(), Text(), []
    for index in range(library.yox_pairs_count(handle.pointer)):
        call("pairs_get", handle.pointer, index, byref(key), byref(value))
        result.append((str(key), str(value)))
    return result
