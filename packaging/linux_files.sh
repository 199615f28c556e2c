#!/bin/bash
# Lays out the command line as it is installed below /usr: linux_files.sh VERSION FOLDER
set -eu
cd "$(dirname "$0")/.."
version=$1 folder=$2

cmake --install build/native/tools/talvdicom --prefix "$folder" --strip >/dev/null
mkdir -p "$folder/share/doc/talvdicom"
cp docs/command-line.md CHANGELOG.md "$folder/share/doc/talvdicom/"
