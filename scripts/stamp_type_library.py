#!/usr/bin/env python3
"""Gives a compiled type library a fixed time of making, so that the same source gives the same bytes.

    scripts/stamp_type_library.py FILE...

The compiler writes the time twice and has no switch for it: as text after its own name, and as a 32-bit number of
seconds in the value that follows (each value: 2 bytes of type, the data, filled up to 4 bytes with 'W').
"""

import re
import struct
import sys
from pathlib import Path

TEXT = b"Sat Jan  1 00:00:00 2000"
SECONDS = 946684800
MADE = re.compile(rb"(Created by WIDL version [^\n]{1,40} at )(.{24})(\nW*\x13\x00)(.{4})", re.DOTALL)


def stamp(path):
    data, count = MADE.subn(lambda m: m[1] + TEXT + m[3] + struct.pack("<I", SECONDS), path.read_bytes())
    if count != 1:
        sys.exit(f"stamp_type_library: {path}: {count} places tell the time of making where 1 was expected")
    path.write_bytes(data)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    for name in sys.argv[1:]:
        stamp(Path(name))
