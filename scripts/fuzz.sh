#!/usr/bin/env bash
# Builds the fuzzers of tests/fuzz and lets each look for inputs that break what it promises; behind ./test fuzz.
#   scripts/fuzz.sh --for 60s [NAME...]     only these fuzzers, by the names of tests/fuzz/CMakeLists.txt
# Fails if one finds something. What it found is then in build/fuzz/found: put the file into
# tests/fuzz/regressions/NAME once it is mended, and every ./test runs it again.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"

usage() {
    say "usage: ./test fuzz [--for DURATION] [NAME...], with a duration such as 60s, 5min or 2h"
    exit 64
}

duration=60s
names=()
while [ $# -gt 0 ]; do
    case $1 in
        --for)
            [ $# -ge 2 ] || usage
            duration=$2
            shift
            ;;
        -*) usage ;;
        *) names+=("$1") ;;
    esac
    shift
done
[[ $duration =~ ^([1-9][0-9]*)(s|min|h)$ ]] || usage
seconds=${BASH_REMATCH[1]}
case ${BASH_REMATCH[2]} in
    min) seconds=$((seconds * 60)) ;;
    h) seconds=$((seconds * 3600)) ;;
esac

install_missing "${packages[@]}" clang-14 libclang-rt-14-dev llvm-14
build fuzz fuzzers

cd "$root/build/fuzz"
if [ ${#names[@]} -eq 0 ]; then
    for program in bin/*_fuzzer; do
        name=${program#bin/}
        names+=("${name%_fuzzer}")
    done
fi
mkdir -p found
export ASAN_SYMBOLIZER_PATH=/usr/lib/llvm-14/bin/llvm-symbolizer

# fuzz NAME: one fuzzer; what it learned stays in corpus/NAME for the next time
fuzz() {
    local name=$1 seeds=("$root/tests/fuzz/regressions/$1") options=()
    [ "$name" != configuration ] || seeds+=("$root/examples" "$root/tests/unit/host/broken" "$root/tests/unit/host/sound")
    [ ! -f "$root/tests/fuzz/$name.dict" ] || options+=("-dict=$root/tests/fuzz/$name.dict")
    mkdir -p "corpus/$name"
    "bin/${name}_fuzzer" "-max_total_time=$seconds" -timeout=20 -rss_limit_mb=2048 -max_len=16384 -len_control=0 \
        -print_final_stats=1 "-artifact_prefix=$PWD/found/$name-" "${options[@]}" "$PWD/corpus/$name" \
        "${seeds[@]}" \
        >"$name.log" 2>&1
}

status=0
running=()
collect() {
    local name=${running[0]%%:*} process=${running[0]##*:}
    running=("${running[@]:1}")
    if wait "$process"; then
        say "$name: nothing found in $(sed -n 's/^stat::number_of_executed_units: //p' "$name.log") inputs"
    else
        status=1
        say "$name: found something; the end of build/fuzz/$name.log:"
        tail -n 40 "$name.log" >&2
    fi
}
for name in "${names[@]}"; do
    [ -x "bin/${name}_fuzzer" ] || { say "There is no fuzzer \"$name\"."; exit 64; }
    [ ${#running[@]} -lt "$(nproc)" ] || collect
    fuzz "$name" &
    running+=("$name:$!")
done
while [ ${#running[@]} -gt 0 ]; do
    collect
done
exit $status
