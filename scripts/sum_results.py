#!/usr/bin/env python3
"""Adds up the results of a test run: prints "PASSED FAILED SKIPPED" and, on standard error, each failed case.

    scripts/sum_results.py CTEST.xml [FOLDER]

CTEST.xml is what ctest --output-junit wrote. FOLDER holds the reports (*.xml) of test programs that ran as one test
each; such a program counts with its own cases, and with one failed case more when it broke down on the way.
"""

import sys
import xml.etree.ElementTree as ET
from pathlib import Path


def cases_of(report):
    """Passed, failed and skipped cases of one GoogleTest report, and the names of the failed ones."""
    passed, failed, skipped = 0, [], 0
    for case in ET.parse(report).getroot().iter("testcase"):
        if case.get("status") == "notrun":
            continue
        if case.find("failure") is not None:
            failed.append(f"{case.get('classname')}.{case.get('name')}")
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
                failed = ["ended before its report was complete"]
            total = [total[0] + passed, total[1] + len(failed), total[2] + skipped]
            for one in failed:
                print(f"    failed: {name}: {one}", file=sys.stderr)
        elif broke:
            total[1] += 1
            print(f"    failed: {name}", file=sys.stderr)
        elif state == "run":
            total[0] += 1
        else:  # skipped while it ran, or not run at all; a disabled test does not count
            total[2] += state != "disabled"
    print(*total)


if __name__ == "__main__":
    main()
