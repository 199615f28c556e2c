#!/usr/bin/python3
"""Compares the JSON of `talvdicom dump` with what an independent reader makes of the same files.

    compare_json.py TALVDICOM FILE...

Exit status 77 when that reader is not installed.
"""

import base64
import json
import subprocess
import sys

try:
    import pydicom
except ImportError:
    sys.exit(77)

WORDS = {"US", "SS", "OW", "OB", "UN"}


def same_value(mine, theirs):
    if isinstance(theirs, dict):
        return (mine or {}) == theirs
    if isinstance(theirs, (int, float)):
        return abs(float(mine) - float(theirs)) <= 1e-6 * max(1, abs(float(theirs)))
    return str(mine or "").strip("\0 ") == str(theirs or "").strip("\0 ")


def differences(mine, theirs, path):
    for tag, expected in theirs.items():
        where = f"{path}{tag}"
        if tag.endswith("0000") or tag == "FFFCFFFC":  # written anew by every writer
            continue
        if tag not in mine:
            yield f"{where}: missing"
            continue
        got = mine[tag]
        if got["vr"] == "UN" and int(tag[:4], 16) % 2:
            continue  # the other reader knows private dictionaries
        if got["vr"] != expected["vr"] and not {got["vr"], expected["vr"]} <= WORDS:
            yield f"{where}: VR {got['vr']} instead of {expected['vr']}"
            continue
        if expected["vr"] == "SQ":
            items, others = got.get("Value", []), expected.get("Value", [])
            if len(items) != len(others):
                yield f"{where}: {len(items)} items instead of {len(others)}"
            for i, (a, b) in enumerate(zip(items, others)):
                yield from differences(a, b, f"{where}[{i}].")
        elif "InlineBinary" in expected and "InlineBinary" in got:
            a, b = base64.b64decode(got["InlineBinary"]), base64.b64decode(expected["InlineBinary"])
            if a != b:
                yield f"{where}: other bytes"
        elif "Value" in expected and "Value" in got:
            a, b = got["Value"], expected["Value"]
            if len(a) != len(b) or not all(map(same_value, a, b)):
                yield f"{where}: {str(a)[:60]} instead of {str(b)[:60]}"


def main():
    tool, files = sys.argv[1], sys.argv[2:]
    failed = 0
    for name in files:
        run = subprocess.run([tool, "dump", "--json", name], capture_output=True, check=True)
        data_set = pydicom.dcmread(name, force=True)
        theirs = json.loads(data_set.to_json(bulk_data_threshold=4096, bulk_data_element_handler=lambda e: "far",
                                             suppress_invalid_tags=True))
        found = list(differences(json.loads(run.stdout), theirs, ""))
        for line in found:
            print(f"{name}: {line}")
        failed += len(found)
        print(f"{name}: {len(theirs)} elements compared")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
