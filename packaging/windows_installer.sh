#!/bin/bash
# Makes the installer of a laid-out folder: windows_installer.sh VERSION FOLDER OUTPUT
set -eu
cd "$(dirname "$0")/.."
version=$1 folder=$(realpath "$2") output=$(realpath -m "$3")

# The uninstaller deletes the files by name.
list=$(mktemp)
trap 'rm -f "$list"' EXIT
(cd "$folder" && find . -type f | sort | sed -e 's|^\./||' -e 's|/|\\|g' -e 's|.*|    Delete "$INSTDIR\\&"|') >"$list"
find "$folder" -exec touch --no-dereference --date="@$SOURCE_DATE_EPOCH" {} +
makensis -V2 -DVERSION="$version" -DFILES="$folder" -DFILE_LIST="$list" -DOUTPUT="$output" packaging/windows/setup.nsi
