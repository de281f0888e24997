#!/usr/bin/env python3
"""Makes a case of tests/data/facts out of a facts file (joincheck --save) on standard input.

facts_case.py CASE REPORT          the whole, as healthy.json holds it
facts_case.py CASE REPORT BASE     what differs from the case file BASE

What CASE expects, when it is there, is kept; else it is the first cause and status of REPORT (joincheck --json).
"""
import json
import os
import sys

WIDTH = 160
PLENTY = {"freeBytes": 1 << 26, "freeFiles": 1 << 20}  # more than that nobody has to compare


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
    return min(value, PLENTY.get(name, value)) if isinstance(value, int) else value


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
    return key == "written" or (key == "version" and "schema" in value)


def text(value, indent=0, used=0):
    """JSON with everything on one line that fits behind the `used` columns."""
    line = json.dumps(value, ensure_ascii=False)
    if used + len(line) < WIDTH or not isinstance(value, (dict, list)) or not value:
        return line
    inner = " " * (indent + 1)
    if isinstance(value, list):
        parts = [inner + text(part, indent + 1, indent + 1) for part in value]
        return "[\n" + ",\n".join(parts) + "\n" + " " * indent + "]"
    names = [f"{inner}{json.dumps(key)}: " for key in value]
    parts = [name + text(part, indent + 1, len(name)) for name, part in zip(names, value.values())]
    return "{\n" + ",\n".join(parts) + "\n" + " " * indent + "}"


def expectation(case, report):
    if os.path.exists(case):
        with open(case, encoding="utf-8") as file:
            return json.load(file)["expect"]
    with open(report, encoding="utf-8") as file:
        found = json.load(file)
    expected = {"first": (found["firstCauses"] or ["nothing"])[0], "status": str(found["status"])}
    if not found["firstCauses"]:
        expected["all warning"] = " ".join(c["id"] for c in found["checks"] if c["outcome"] == "warning")
    return expected


def main():
    facts = shortened(json.load(sys.stdin))
    case = {"expect": expectation(*sys.argv[1:3])}
    if len(sys.argv) > 3:
        with open(sys.argv[3], encoding="utf-8") as file:
            base = json.load(file)
        base = {key: part for key, part in base.items() if key not in ("expect", "over")}
        facts = changes(base, facts) or {}
    over = os.path.basename(sys.argv[-1 if len(sys.argv) > 3 else 1]).removesuffix(".json")
    if over != "healthy":
        case["over"] = over
    print(text({**case, **facts}))


main()
