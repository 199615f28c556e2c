#!/usr/bin/env python3
"""Checks of the source tree that need no build. Prints one line a check: pass, fail or skip, its name, details.

    scripts/check_tree.py [--only NAME]
"""

import argparse
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

# From the ground up: a room and the rooms whose headers it may include. Tools, tests, fuzzers and benchmarks may
# include everything.
ROOMS = {
    "platform": set(),
    "dicom": {"platform"},
    "raster": {"platform"},
    "codecs": {"platform"},
    "image": {"dicom", "raster", "platform", "codecs/entry_points.h", "codecs/codec_status.h"},
    "filter": {"image", "dicom", "raster", "platform"},
    "filter/directshow": {"filter", "platform", "dicom", "raster", "codecs/entry_points.h"},
    "filter/greydisplay": {"raster", "platform", "filter/block_fields.h", "filter/media_format.h"},
    "filter/greydisplay/windows": {"filter/greydisplay", "filter/directshow"},
}
FREE = ("tools", "tests", "fuzz", "bench")
# Where the operating system may show: its headers and the question which system this is.
SYSTEM_FOLDERS = ("platform/windows/", "filter/directshow/", "filter/greydisplay/windows/", "tools/talvdicom/windows/",
                  "tools/windows/", "tools/dicplay", "docs/examples/", "tests/directshow/", "tests/platform/windows/")
SYSTEM_HEADERS = re.compile(
    r"^(windows|dshow|streams|strmif|objbase|ole2|olectl|oleauto|oaidl|ocidl|commctrl|commdlg|shlobj|winreg|"
    r"windowsx|amvideo|uuids|control|qedit|tlhelp32|psapi|winbase|winuser)\.h$", re.IGNORECASE)

# Comments speak as the system's own developer and cite public standards by clause; nothing in the tree depends on the
# machine that it was written on.
FORBIDDEN = [
    (re.compile(r"\bspec" + r"(?:s|ification|ifications)?\b", re.IGNORECASE), "say what holds, not where it is written"),
    (re.compile(r"\bPart" + r"[ -]\d"), "name the thing, or cite a public standard by number and clause"),
    (re.compile(r"(?<![\w.])/(?:work|home|root)" + r"/\w"), "a path of one machine"),
    (re.compile(r"\b(?:TO" + r"DO|FIX" + r"ME|X" + r"XX|HA" + r"CK)\b"), "finish it or leave it out"),
]
# Rows of public dictionaries and sample data carry the words of their own source.
FREE_TEXT = re.compile(r"(_tables?\.(cpp|h|inc)$)|(^assets/)|(^tests/data/)|(\.(tsv|csv|dcm|png|jpg|j2k|jp2|bin)$)")


def tracked():
    output = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=ROOT,
                            check=True, capture_output=True).stdout.decode()
    return [name for name in output.split("\0") if name and (ROOT / name).is_file()]


def is_source(name):
    return name.endswith((".cpp", ".h"))


def room_of(name):
    """The longest room name that `name` lies in, or None."""
    found = [room for room in ROOMS if name.startswith(room + "/")]
    return max(found, key=len) if found else None


def may_include(room, target):
    """Whether a file of `room` may include the project header `target`."""
    target_room = room_of(target)
    return target_room == room or target_room in ROOMS[room] or target in ROOMS[room]


def read(name):
    return (ROOT / name).read_text(encoding="utf-8", errors="replace")


def check_rooms(files):
    """Includes run downward only, and only the system folders know the operating system."""
    problems = []
    known = set(files)
    for name in filter(is_source, files):
        is_system = name.startswith(SYSTEM_FOLDERS)
        room = room_of(name)
        for number, line in enumerate(read(name).splitlines(), 1):
            include = re.match(r'\s*#\s*include\s+["<]([^">]+)[">]', line)
            if include:
                target = include.group(1)
                if target in known and room and not name.startswith(FREE) and not may_include(room, target):
                    problems.append(f"{name}:{number}: {room} may not include {target}")
                if not is_system and SYSTEM_HEADERS.match(target):
                    problems.append(f"{name}:{number}: {target} belongs into platform/windows")
            elif re.match(r"\s*#\s*(if|ifdef|ifndef|elif)\b.*\b_?_?WIN(32|64)\b", line) and not is_system:
                problems.append(f"{name}:{number}: only the system folders ask for the operating system")
    return problems


def check_words(files):
    """Nothing that does not belong into the tree's text."""
    problems = []
    for name in files:
        if FREE_TEXT.search(name) or b"\0" in (ROOT / name).read_bytes()[:4096]:
            continue
        for number, line in enumerate(read(name).splitlines(), 1):
            problems += [f"{name}:{number}: {match.group(0)!r}: {why}"
                         for pattern, why in FORBIDDEN for match in [pattern.search(line)] if match]
    return problems


def check_names(files):
    """One base name in a stack trace means one file; a header and its source share theirs."""
    places = {}
    for name in filter(is_source, files):
        path = Path(name)
        places.setdefault(path.stem, set()).add(path.parent)
    return [f"{stem}: in {', '.join(sorted(map(str, folders)))}" for stem, folders in sorted(places.items())
            if len(folders) > 1]


def check_format(files):
    """Every source file is as clang-format leaves it."""
    sources = [name for name in files if is_source(name)]
    problems = []
    for start in range(0, len(sources), 50):
        run = subprocess.run(["clang-format", "--dry-run", "-Werror", *sources[start:start + 50]], cwd=ROOT,
                             capture_output=True, text=True)
        if run.returncode != 0:
            problems += sorted({line.split(":")[0] for line in run.stderr.splitlines()
                                if "[-Wclang-format-violations]" in line} or {run.stderr.strip()[:200]})
    return problems


def check_scripts(files):
    """Every shell script parses and every Python file compiles."""
    problems = []
    for name in files:
        first = read(name).split("\n", 1)[0] if not FREE_TEXT.search(name) else ""
        if name.endswith(".sh") or re.match(r"#!.*\bbash\b", first):
            command = ["bash", "-n", name]
        elif name.endswith(".py"):
            command = [sys.executable, "-c", "import ast, sys; ast.parse(open(sys.argv[1]).read())", name]
        else:
            continue
        run = subprocess.run(command, cwd=ROOT, capture_output=True, text=True)
        if run.returncode != 0:
            problems.append(f"{name}: {run.stderr.strip().splitlines()[-1]}")
    return problems


CHECKS = {"rooms": check_rooms, "words": check_words, "names": check_names, "format": check_format,
          "scripts": check_scripts}


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--only", choices=CHECKS)
    arguments = parser.parse_args()
    files = tracked()
    failed = False
    for name, check in CHECKS.items():
        if arguments.only not in (None, name):
            continue
        problems = check(files)
        failed |= bool(problems)
        print(f"{'fail' if problems else 'pass'} tree.{name}" + (f" {len(problems)} problems" if problems else ""))
        for problem in problems:
            print("    " + problem)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
