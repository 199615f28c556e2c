#!/bin/bash
# Fuzzes one target for a while:
#
#   fuzz/run.sh TARGET SECONDS [libFuzzer option...]      for example: fuzz/run.sh load_fuzz 600
#
# Builds TARGET in preset native-fuzz and starts from its committed corpus, the samples and what earlier runs kept in
# build/native-fuzz/corpus/TARGET. Inputs that break it are kept in build/native-fuzz/found/TARGET; such an input goes,
# under a name that tells what it is, into the committed corpus together with the repair.
set -eu
[ $# -ge 2 ] || { sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2; exit 2; }
target=$1 seconds=$2
shift 2
cd "$(dirname "$0")/.."

source=$(echo fuzz/*/"$target".cpp)
[ -f "$source" ] || { echo "run.sh: there is no fuzz/*/$target.cpp" >&2; exit 2; }
base=${source%_fuzz.cpp}
build=build/native-fuzz
[ -f $build/build.ninja ] || cmake --preset native-fuzz
cmake --build $build --target "$target"

samples=tests/data/samples
case $source in fuzz/codecs/*) samples=$samples/codec ;; esac
options=()
[ ! -f "$base.dict" ] || options+=("-dict=$base.dict")
corpus=()
[ ! -d "${base}_corpus" ] || corpus+=("${base}_corpus")
mkdir -p "$build/corpus/$target" "$build/found/$target"
exec "$build/fuzz/$target" -max_total_time="$seconds" -max_len=16384 -timeout=20 -rss_limit_mb=2048 \
    -malloc_limit_mb=1024 -print_final_stats=1 -artifact_prefix="$build/found/$target/" "${options[@]}" "$@" \
    "$build/corpus/$target" "${corpus[@]}" $samples
