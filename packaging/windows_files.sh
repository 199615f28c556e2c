#!/bin/bash
# Lays out the folder that the zip and the installer are made of: windows_files.sh VERSION FOLDER
set -eu
cd "$(dirname "$0")/.."
version=$1 folder=$2

# Text files are for Windows' own editor: lines end in CR LF.
as_windows_text() { sed -e "s/@VERSION@/$version/g" -e 's/\r$//' -e 's/$/\r/' "$1" >"$2"; }

mkdir -p "$folder/x86" "$folder/x64"
for pair in win32:x86 win64:x64; do
    build=build/${pair%:*} target=$folder/${pair#*:}
    cp "$build/filter/directshow/TVDicRd2.ax" "$build/filter/directshow/TVGreyDisplay.ax" "$build/tools/dicplay.exe" \
        "$build/tools/talvdicom/talvdicom.exe" "$target/"
done
for script in packaging/windows/*.cmd; do as_windows_text "$script" "$folder/$(basename "$script")"; done
as_windows_text packaging/windows/README.md "$folder/README.txt"
as_windows_text CHANGELOG.md "$folder/CHANGELOG.txt"
{
    cat packaging/windows/page-head.html
    sed "s/@VERSION@/$version/g" packaging/windows/README.md | cmark-gfm --extension table
    echo '</html>'
} >"$folder/README.html"
cp assets/cine-us.dcm "$folder/"
(cd "$folder" && find . -type f ! -name SHA256SUMS | sed 's|^\./||' | sort | xargs -d '\n' sha256sum >SHA256SUMS)
