"""Decides a filter list for a device profile as docs/filter-list.md says: slow, simple, and written from the
documentation alone. Where that does not say what happens, `Unspecified` is raised.

The salted hashes and buckets are not part of it: the caller passes a function that returns both for a text.
"""
import datetime
import re

ORDER = ["country", "date_range", "date_function", "device_subscription", "enclosure", "family", "hardware_id",
         "language", "mfr", "model", "org_hash", "os", "os_bitness", "os_description", "os_version", "registry", "sku",
         "sn_hash", "target_version", "version", "tag", "installed_items"]
BITNESS = {0: "32", 9: "64", 12: "ARM64"}
TAGS = r"HKLM\SOFTWARE\Tervan\YOX\Applicability\Tags"


class Unspecified(Exception):
    """The documentation does not say."""


def fold(text):
    """Without letter case, one character for one character."""
    return "".join(c.casefold() if len(c.casefold()) == 1 else c for c in text)


def alternatives(text):
    return [part.strip() for part in text.split(",")]


def text_matches(pattern, text):
    """One alternative of the language "text"."""
    if pattern.startswith("!"):
        rest = pattern[1:]
        if rest.startswith("!"):
            raise Unspecified("two negations")
        if rest != rest.strip():
            raise Unspecified("white space after a negation")
        if rest and not rest.strip("*"):
            raise Unspecified("the negation of stars")
        matches_everything = not rest or ("*" in rest and not rest.startswith("*") and not rest.endswith("*"))
        return matches_everything or not text_matches(rest, text)
    begins, ends = pattern.startswith("*"), pattern.endswith("*")
    core = fold(pattern[begins:len(pattern) - (ends and len(pattern) > 1)])
    if not core:
        return True
    if "*" in core:
        if begins or ends:
            raise Unspecified("a star in the middle and at an end")
        return True
    text = fold(text)
    if begins and ends:
        return core in text
    if begins:
        return text.endswith(core)
    return text.startswith(core) if ends else text == core


def any_text(patterns, text):
    """A text criterion on a text that the device has, or not."""
    found = alternatives(patterns)
    if not text:
        # Only that a missing value is not equal to a text.
        if all(re.fullmatch(r"[^!*]+", pattern) for pattern in found):
            return False
        raise Unspecified("a pattern and a value that is missing")
    return any(text_matches(pattern, text.strip()) for pattern in found)


def version_of(text):
    if not re.fullmatch(r"\d{1,9}(\.\d{1,9}){1,3}", text):
        raise Unspecified("not a version")
    numbers = [int(part) for part in text.split(".")]
    return numbers + [-1] * (4 - len(numbers))  # a missing number is less than 0


def compare(operator, left, right):
    return {">=": left >= right, ">": left > right, "<=": left <= right, "<": left < right}[operator]


def version_matches(patterns, version):
    if not version:
        return False
    for pattern in alternatives(patterns):
        operator = re.match(r">=|<=|>|<|!|", pattern)[0]
        required = pattern[len(operator):].strip()
        if operator in ("", "!"):
            version_of(required)  # of another form it is not said what it means
            if (fold(required) == fold(version.strip())) != (operator == "!"):
                return True
        elif compare(operator, version_of(version.strip()), version_of(required)):
            return True
    return False


def value_matches(required, value):
    """What follows "key|" in a term."""
    operator = re.match(r">=|<=|>|<|", required)[0]
    if not operator:
        return text_matches(required, value)
    number = required[len(operator):].strip()
    if "." in number:
        needed = version_of(number)
        return bool(re.fullmatch(r"\d{1,9}(\.\d{1,9}){1,3}", value)) and compare(operator, version_of(value), needed)
    if not re.fullmatch(r"\d{1,9}", number):
        raise Unspecified("not a number")
    if not re.fullmatch(r"\d{1,9}", value):
        if re.search(r"\d", value):
            raise Unspecified("a value that is partly a number")
        return False
    return compare(operator, int(value), int(number))


def key_and_requirement(term):
    parts = [part.strip() for part in term.split("|")]
    if len(parts) > 2 or not parts[0] or (len(parts) == 2 and not parts[1]):
        raise Unspecified("a term of another form")
    return parts[0], parts[1] if len(parts) == 2 else None


def tag_matches(patterns, tags):
    held = True
    for term in alternatives(patterns):
        key, required = key_and_requirement(term)
        if key.startswith("!"):
            if required is not None:
                raise Unspecified("a key that is to be absent, with a value")
            held = held and not any(text_matches(key[1:].strip(), name) for name, _ in tags)
            continue
        values = [value for name, value in tags if text_matches(key, name)]
        held = held and bool(values) and (required is None or value_matches(required, values[0]))
    return held


def installed_matches(patterns, items):
    held = False
    for term in alternatives(patterns):
        key, required = key_and_requirement(term)
        if key.startswith("!"):
            raise Unspecified("an application that is to be absent")
        results = {required is None or value_matches(required, version)
                   for names, version in items if any(text_matches(key, name) for name in names)}
        if len(results) > 1:
            raise Unspecified("several applications, of which the first counts")
        held = held or results == {True}
    return held


def registry_matches(patterns, registry):
    held = True
    for requirement in alternatives(patterns):
        form = re.fullmatch(r"(HKLM|HKCU)([\\/])([^:|]*):([^|]*)\|([^|]*)", requirement)
        if not form or ("\\" in form[3] and "/" in form[3]):
            raise Unspecified("a requirement of another form")
        path = fold(form[1] + "\\" + form[3].replace("/", "\\"))
        values = {fold(name): value for key, found in registry.items() if fold(key) == path for name, value in found.items()}
        value = values.get(fold(form[4]))
        if value is not None and value["type"] != "REG_SZ":
            raise Unspecified("data that is not text")
        held = held and value is not None and text_matches(form[5].strip(), value["data"])
    return held


def hardware_matches(patterns, ids):
    if not ids:
        return False
    return any(text_matches(pattern.replace("/", "\\"), id) for pattern in alternatives(patterns) for id in ids)


def day_of(text):
    if not re.fullmatch(r"\d{4}-\d{2}-\d{2}", text):
        raise Unspecified("not a day")
    return datetime.date.fromisoformat(text)


def range_matches(text, today):
    parts = [part.strip() for part in text.split("|")]
    if len(parts) != 2:
        raise Unspecified("not two days")
    start, end = (None if part == "*" else day_of(part) for part in parts)
    return (start is None or start <= today) and (end is None or today <= end)


def rollout_matches(text, today, buckets):
    parts = [part.strip() for part in text.split("|")]
    if len(parts) not in (3, 4) or parts[3:] not in ([], ["tenant"]) or not re.fullmatch(r"[1-9]\d{0,4}", parts[1]) \
            or parts[2] not in ("linear", "exponentialNormal", "exponentialSlow"):
        raise Unspecified("a function of another form")
    day, days = (today - day_of(parts[0])).days + 1, int(parts[1])  # the first day is day 1
    bucket = buckets["tenant" if parts[3:] else "device"]
    if day < 1 or day >= days:
        return day >= days
    if bucket is None:
        return unspecified("a share of devices without a serial number or an organisation")
    if parts[2] != "linear":
        raise Unspecified("the share in between")
    return bucket * days < 4096 * day


def unspecified(reason):
    raise Unspecified(reason)


class Device:
    def __init__(self, profile, target_version, extra_tags, hash_of):
        firmware, organisation = profile.get("firmware"), profile.get("organisation")
        facts, region, system = firmware or {}, profile.get("region", {}), profile.get("os", {})
        serial = facts.get("serial_number") or None
        realm = (organisation or {}).get("realm") or None
        hashes = {name: hash_of(text) if text else ("", None) for name, text in (("device", serial), ("tenant", realm))}
        registry = profile.get("registry", {})
        self.target_version = target_version
        tags = [(name, value["data"]) for name, value in registry.get(TAGS, {}).items() if value["type"] == "REG_SZ"]
        # Of what makes a device managed, generated profiles have the organisation alone.
        managed = ("Device.Usage.IsManagedDevice", "true" if organisation else "false")
        tags = [managed if tag[0] == managed[0] else tag for tag in tags] + [managed]
        for name, value in extra_tags:
            tags = [tag for tag in tags if tag[0] != name] + [(name, value)]
        today = datetime.date.fromisoformat(profile["clock"]["now"][:10])
        items = [((item["key"], item["name"]), item["version"]) for item in profile.get("installed_apps", [])]
        ids = [id for device in profile.get("devices", []) for id in device["hardware_ids"]]
        subscriptions = (organisation or {}).get("subscriptions", [])

        def text(value):
            return lambda required: any_text(required, value)
        self.criteria = {
            "country": text(region.get("country_code", "")),
            "language": text(region.get("language_code", "")),
            "enclosure": text(facts.get("enclosure_type", "")),
            "family": text(facts.get("family", "")),
            "mfr": text(facts.get("manufacturer", "")),
            "model": text(facts.get("model_number", "")),
            "os": text("Windows"),
            "os_bitness": text(BITNESS.get(system.get("architecture"), "not supported")),
            "os_description": text(system.get("caption", "")),
            "sn_hash": text(hashes["device"][0]),
            "org_hash": text(hashes["tenant"][0]),
            "sku": lambda required: firmware is None or any_text(required, facts.get("sku", "")),
            "os_version": lambda required: version_matches(required, system.get("version", "")),
            "version": lambda required: version_matches(required, profile.get("client", {}).get("version", "")),
            "target_version": lambda required: version_matches(required, target_version),
            "device_subscription": lambda required: any(any_text(required, one) for one in subscriptions),
            "hardware_id": lambda required: hardware_matches(required, ids),
            "tag": lambda required: tag_matches(required, tags),
            "installed_items": lambda required: installed_matches(required, items),
            "registry": lambda required: registry_matches(required, registry),
            "date_range": lambda required: range_matches(required, today),
            "date_function": lambda required: rollout_matches(
                required, today, {name: bucket for name, (_, bucket) in hashes.items()}),
        }


def decide(filters, device):
    """Whether the list applies, and the reason text."""
    if not filters:
        return True, ""
    reason = ""
    for number, entry in enumerate(filters):
        entry = {key: text for key, text in entry.items() if key != "comment" and text.strip()}
        if "default" in entry:
            applies = fold(entry["default"]) == "true"
            return applies, reason if applies else reason + f"Filter [{number}]: default = false; "
        failed = next((name for name in ORDER if name in entry and not device.criteria[name](entry[name])), None)
        if failed is None:
            applies = fold(entry.get("value", "true")) != "false"
            return applies, reason + f"Filter [{number}]: " + ("true; " if applies else "value = false; ")
        named = failed != "target_version" or device.target_version
        reason += f"Filter [{number}]: " + (f"{failed} = false; " if named else "")
    return False, reason
