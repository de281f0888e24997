#!/usr/bin/env python3
"""joincheck_output.py JOINCHECK SOURCE_DIR: what the command prints, held to its documents.

The cases of tests/data/facts go through the command: its JSON by docs/joincheck.schema.json, its metrics by promtool
where that is installed, its text free of foreign control characters. A thousand damaged facts files end in a verdict or
a refusal. docs/checks.md and joincheck(1) know every check.
"""
import json
import os
import random
import re
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import jsonschema

JOINCHECK, SOURCE = sys.argv[1], Path(sys.argv[2])
FACTS = SOURCE / "tests/data/facts"
failures = []


def expect(condition, what):
    if not condition:
        failures.append(what)
        print("FAILED:", what)


def run(*arguments):
    return subprocess.run([JOINCHECK, *arguments], capture_output=True, timeout=20, stdin=subprocess.DEVNULL)


def merge(base, change):
    """RFC 7396, and an object over a list changes the elements that it numbers."""
    if not isinstance(change, dict):
        return change
    if isinstance(base, list):
        return [merge(part, change[str(i)]) if str(i) in change else part for i, part in enumerate(base)]
    base = base if isinstance(base, dict) else {}
    return {**base, **{key: merge(base.get(key), part) for key, part in change.items()}}


def whole_cases():
    for file in sorted(FACTS.glob("*.json")):
        content = json.loads(file.read_text())
        for case in content if isinstance(content, list) else [content]:
            base = json.loads((FACTS / (case.get("over", "healthy") + ".json")).read_text())
            yield file.stem + ": " + case.get("case", ""), merge(base, case)


class Outputs:
    """The three forms of one facts file."""

    def __init__(self, folder):
        self.file = os.path.join(folder, "facts.json")
        schema = json.loads((SOURCE / "docs/joincheck.schema.json").read_text())
        self.validator = jsonschema.Draft202012Validator(schema)
        self.promtool = shutil.which("promtool")

    def json(self, name):
        result = run("--facts", self.file, "--json")
        try:
            report = json.loads(result.stdout)
        except ValueError as e:
            return expect(False, f"{name}: no JSON: {e}: {result.stdout[-200:]!r} {result.stderr!r}")
        for error in self.validator.iter_errors(report):
            expect(False, f"{name}: {error.message[:300]}")
        expect(report["status"] == result.returncode, f"{name}: status {result.returncode}, not {report['status']}")
        expect(("error" in report) == bool(result.stderr), f"{name}: standard error {result.stderr!r}")
        return report

    def metrics(self, name):
        text = run("--facts", self.file, "--prometheus").stdout
        series = [line.rsplit(b" ", 1)[0] for line in text.splitlines() if not line.startswith(b"#")]
        expect(len(series) == len(set(series)), f"{name}: a series twice")
        if self.promtool:
            checked = subprocess.run([self.promtool, "check", "metrics"], input=text, capture_output=True, timeout=60)
            expect(checked.returncode == 0, f"{name}: promtool: {checked.stderr!r}")

    def text(self, name):
        result = run("--facts", self.file, "-v")
        text = result.stdout.decode("utf-8")
        expect(not re.search("[\x00-\x09\x0b-\x1f\x7f]", text), f"{name}: control characters: {text!r}")
        expect(result.returncode in range(4), f"{name}: status {result.returncode}")
        expect(result.returncode != 2 or re.search(r"(?m)^  [a-z0-9]+\.[a-z0-9-]+ ", text), f"{name}: no finding")


def hostile(facts):
    """Every text of the facts with what a server could put into it."""
    if isinstance(facts, dict):
        return {key: part if key in ("outcome", "expect") else hostile(part) for key, part in facts.items()}
    if isinstance(facts, list):
        return [hostile(part) for part in facts] * 2
    return facts + '\x1b[2J"\\\r\n  forged.line  All is well\u009b' if isinstance(facts, str) else facts


def check_cases(outputs):
    for name, facts in whole_cases():
        for kind, form in (("", facts), (" hostile", hostile(facts))):
            Path(outputs.file).write_text(json.dumps(form))
            outputs.json(name + kind)
            outputs.text(name + kind)
    Path(outputs.file).write_text(json.dumps(hostile(json.loads((FACTS / "healthy.json").read_text()))))
    outputs.metrics("hostile")
    shutil.copy(FACTS / "healthy.json", outputs.file)
    outputs.metrics("healthy")


def damaged(data, dice):
    """A facts file in which a few bytes, a value or the end have changed."""
    data = bytearray(data)
    for _ in range(dice.randint(1, 4)):
        at = dice.randrange(len(data))
        way = dice.randrange(4)
        if way == 0:
            del data[at : at + dice.randint(1, 40)]
        elif way == 1:
            data[at] = dice.randrange(256)
        elif way == 2:
            data[at:at] = dice.choice([b"null", b"-1", b"1e300", b"[]", b"{}", b'"\\u0000"', b"9" * 30, b"true"])
        else:
            other = dice.randrange(len(data))
            data[at:at] = data[other : other + dice.randint(1, 400)]
    return bytes(data)


def check_damaged(outputs):
    dice = random.Random(20)
    data = (FACTS / "healthy.json").read_bytes()
    refused = 0
    for number in range(1000):
        Path(outputs.file).write_bytes(damaged(data, dice))
        report = outputs.json(f"damaged {number}")
        refused += report is not None and "error" in report
    expect(0 < refused < 1000, f"{refused} of 1000 damaged files were refused")


def check_usage(outputs):
    for words in (["--foo"], ["--only", "nothing."], ["--timeout", "soon"], ["--facts", "/nonexistent", "--save", "x"]):
        result = run("--json", *words)
        outputs.validator.validate(json.loads(result.stdout))
        expect(result.returncode == 64 and result.stderr.startswith(b"joincheck: "), f"{words}: {result}")
    big = outputs.file + ".big"
    with open(big, "wb") as file:
        file.truncate((64 << 20) + 1)
    result = run("--facts", big)
    expect(result.returncode == 3 and b"File too large" in result.stderr, f"huge: {result}")


def check_documents():
    checks = (SOURCE / "docs/checks.md").read_text()
    page = (SOURCE / "docs/joincheck.1").read_text().replace("\\-", "-").replace("\\(aq", "'")
    remedy = "; './dev checks' writes both anew"
    expect(run("--explain", "all").stdout.decode() in checks, "docs/checks.md is not what --explain all says" + remedy)
    for line in run("--list").stdout.decode().splitlines():
        check, title = re.split(r" {2,}", line, maxsplit=1)
        expect(f".It Cm {check}\n{title}." in page, f"joincheck(1) does not tell of {check}: {title}" + remedy)


def main():
    started = time.monotonic()
    with tempfile.TemporaryDirectory() as folder:
        outputs = Outputs(folder)
        check_cases(outputs)
        check_damaged(outputs)
        check_usage(outputs)
    check_documents()
    print(f"{len(failures)} failures, {time.monotonic() - started:.1f} s")
    sys.exit(1 if failures else 0)


main()
