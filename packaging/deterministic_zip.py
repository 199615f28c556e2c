#!/usr/bin/env python3
"""Packs a folder so that the same files give the same bytes: sorted names, one time (SOURCE_DATE_EPOCH), fixed rights.

    deterministic_zip.py FOLDER ARCHIVE
"""

import os
import sys
import time
import zipfile
from pathlib import Path


def pack(folder, archive):
    moment = time.gmtime(int(os.environ["SOURCE_DATE_EPOCH"]))[:6]
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as target:
        for path in sorted(p for p in folder.rglob("*") if p.is_file()):
            entry = zipfile.ZipInfo(str(path.relative_to(folder.parent)), moment)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = 0o100644 << 16
            target.writestr(entry, path.read_bytes())


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    pack(Path(sys.argv[1]), Path(sys.argv[2]))
