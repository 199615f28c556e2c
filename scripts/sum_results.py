#!/usr/bin/env python3
"""Adds up the results of a test run: prints "PASSED FAILED SKIPPED" and, on standard error, each failed case with
what it said.

    scripts/sum_results.py CTEST.xml [FOLDER]

CTEST.xml is what ctest --output-junit wrote. FOLDER holds the reports (*.xml) of test programs that ran as one test
each; such a program counts with its own cases, and with one failed case more when it broke down on the way. Its name
has no dot. A program that left no report failed whatever its status, which is 0 for one killed under Wine.
"""

import sys
import xml.etree.ElementTree as ET
from pathlib import Path


MAX_LINES = 25  # of what one failed case said


def say_failed(name, words):
    """One failed case; of a program's whole output the part that its first failure begins."""
    print(f"    failed: {name}", file=sys.stderr)
    lines = [line for line in (words or "").splitlines() if line.strip()]
    first = next((i for i, line in enumerate(lines) if "Failure" in line), max(0, len(lines) - MAX_LINES))
    for line in lines[first:first + MAX_LINES]:
        print(f"        {line[:200]}", file=sys.stderr)


def cases_of(report):
    """Passed, failed and skipped cases of one GoogleTest report; the failed ones as names with their messages."""
    passed, failed, skipped = 0, [], 0
    for case in ET.parse(report).getroot().iter("testcase"):
        if case.get("status") == "notrun":
            continue
        if case.find("failure") is not None:
            words = "\n".join(failure.get("message") for failure in case.iter("failure"))
            failed.append((f"{case.get('classname')}.{case.get('name')}", words))
        elif case.get("result") == "skipped" or case.find("skipped") is not None:
            skipped += 1
        else:
            passed += 1
    return passed, failed, skipped


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    folder = Path(sys.argv[2]) if len(sys.argv) == 3 else None
    total = [0, 0, 0]
    for case in ET.parse(sys.argv[1]).getroot().iter("testcase"):
        name, state = case.get("name"), case.get("status")
        broke = state == "fail"
        report = folder / f"{name}_test.xml" if folder else None
        if report and report.exists():
            passed, failed, skipped = cases_of(report)
            if broke and not failed:
                failed = [("ended before its report was complete", case.findtext("system-out"))]
            total = [total[0] + passed, total[1] + len(failed), total[2] + skipped]
            for one, words in failed:
                say_failed(f"{name}: {one}", words)
        elif broke or (folder and state == "run" and "." not in name):
            total[1] += 1
            say_failed(name + ("" if broke else ": left no report"), case.findtext("system-out"))
        elif state == "run":
            total[0] += 1
        else:  # skipped while it ran, or not run at all; a disabled test does not count
            total[2] += state != "disabled"
    print(*total)


if __name__ == "__main__":
    main()
