#!/bin/bash
# Makes the Debian package of the command line: debian_package.sh VERSION FOLDER OUTPUT-FOLDER
# FOLDER is laid out as below /usr. The libraries it depends on are read from the program.
set -eu
cd "$(dirname "$0")/.."
version=$1 folder=$(realpath "$2") out=$(realpath "$3")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/debian" "$work/tree/DEBIAN" "$work/tree/usr"
cp -r "$folder/." "$work/tree/usr/"
gzip -9n "$work"/tree/usr/share/man/man1/*.1 "$work"/tree/usr/share/doc/talvdicom/*
printf 'Source: talvdicom\n\nPackage: talvdicom\nArchitecture: amd64\n' >"$work/debian/control"
depends=$(cd "$work" && dpkg-shlibdeps -O tree/usr/bin/talvdicom 2>/dev/null | sed -n 's/^shlibs:Depends=//p')
[ -n "$depends" ] || { echo "debian_package: no dependencies found" >&2; exit 1; }
cat >"$work/tree/DEBIAN/control" <<CONTROL
Package: talvdicom
Version: $version
Architecture: amd64
Maintainer: Talv Systems, Inc. <talvdicom@talv.example>
Installed-Size: $(du -k -s "$work/tree/usr" | cut -f1)
Depends: $depends
Section: graphics
Priority: optional
Description: looks into DICOM files and takes their frames out
 Tells what a DICOM file holds and how fast it plays, lists its elements, writes its
 frames as pictures and streams them into video programs. Reads uncompressed, RLE,
 JPEG and JPEG 2000 files with its own decoders.
CONTROL
find "$work/tree" -exec touch --no-dereference --date="@$SOURCE_DATE_EPOCH" {} +
dpkg-deb --root-owner-group -Zxz --build "$work/tree" "$out/talvdicom_${version}_amd64.deb" >/dev/null
