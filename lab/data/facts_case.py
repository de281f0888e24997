#!/usr/bin/env python3
"""Makes a case of tests/data/facts out of a facts file (joincheck --save) on standard input.

facts_case.py                    the whole, as healthy.json holds it
facts_case.py BASE [EXPECTED]    what differs from the case file BASE, with EXPECTED ({"first": "keytab.version"}) in it
"""
import json
import sys

WIDTH = 118
LARGE = 1 << 26  # free bytes and files that nobody has to compare


def shortened(value, name=""):
    """Without what says nothing: the empty members of an Asked, digits of a duration."""
    if isinstance(value, dict):
        parts = {key: shortened(part, key) for key, part in value.items()}
        if "outcome" in parts:
            parts = {key: part for key, part in parts.items() if part not in ("", 0)}
        return parts
    if isinstance(value, list):
        return [shortened(part) for part in value]
    if isinstance(value, float):
        return round(value, 3)
    if name in ("freeBytes", "freeFiles"):
        return min(value, LARGE)
    return value


def changes(base, value):
    """The least that, merged over `base`, gives `value`; None when nothing differs."""
    if isinstance(base, dict) and isinstance(value, dict):
        found = {key: changes(base.get(key), part) for key, part in value.items()}
        found = {key: part for key, part in found.items() if part is not None and not unimportant(key, base, value)}
        gone = {key: None for key in base if key not in value and key != "seconds"}
        return {**found, **gone} or None
    if isinstance(base, list) and isinstance(value, list) and len(base) == len(value) and base != value:
        found = {str(i): changes(base[i], value[i]) for i in range(len(value))}
        return {key: part for key, part in found.items() if part is not None} or None
    return None if base == value else value


def unimportant(key, base, value):
    """Whether a member differs from run to run."""
    if key in ("seconds", "ldapAhead", "ntpAhead"):
        return abs((base.get(key) or 0) - (value.get(key) or 0)) < 0.3
    return key in ("version", "written")


def text(value, indent=0):
    """JSON with everything on one line that fits."""
    line = json.dumps(value, ensure_ascii=False)
    if len(line) + indent + 40 <= WIDTH or not isinstance(value, (dict, list)) or not value:
        return line
    inner = " " * (indent + 1)
    if isinstance(value, list):
        parts = [inner + text(part, indent + 1) for part in value]
        return "[\n" + ",\n".join(parts) + "\n" + " " * indent + "]"
    parts = [inner + json.dumps(key) + ": " + text(part, indent + 1) for key, part in value.items()]
    return "{\n" + ",\n".join(parts) + "\n" + " " * indent + "}"


def main():
    facts = shortened(json.load(sys.stdin))
    if len(sys.argv) == 1:
        facts = {"expect": {"first": "nothing", "all warning": "", "all broken": ""}, **facts}
    else:
        with open(sys.argv[1], encoding="utf-8") as file:
            base = json.load(file)
        base.pop("expect", None)
        facts = {"expect": json.loads(sys.argv[2]) if len(sys.argv) > 2 else {}, **(changes(base, facts) or {})}
    print(text(facts))


main()
