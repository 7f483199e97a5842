#!/usr/bin/env bash
# Builds the libFuzzer targets (the fuzz preset: clang with AddressSanitizer
# and UndefinedBehaviorSanitizer) and runs each for SECONDS (default 300),
# two at a time, one core each.
#
#   scripts/fuzz.sh [SECONDS]
#
# fuzz_read takes any bytes as a picture file; its corpus starts from the
# bad inputs of tests/data/bad. fuzz_effects takes any bytes as a small
# picture and slider values; fuzz_settings any bytes as a settings file and
# as a GIMP palette. Each also starts from what fuzzing found before
# (tests/data/fuzz/TARGET). The corpora grow in build/fuzz/corpus and are
# kept for the next run. An input that crashes, leaks, hangs or trips a
# sanitizer is copied to tests/data/fuzz/TARGET, where the ordinary test
# tst_fuzz_replay replays it: fix the fault and commit the input. Exits 1
# when anything was found.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
seconds="${1:-300}"

scripts/install-deps.sh clang-14 libclang-rt-14-dev
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz >/dev/null

work="$root/build/fuzz"
run_target()
{
    local name="$1" seeds="$2"
    local corpus="$work/corpus/$name" findings="$work/findings/$name"
    mkdir -p "$corpus" "$findings" "tests/data/fuzz/$name"
    # Seeds from the repository: the first folder is the one that grows.
    "$work/fuzz/fuzz_$name" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=4096 \
        -print_final_stats=1 -artifact_prefix="$findings/" \
        "$corpus" "tests/data/fuzz/$name" $seeds >"$work/$name.log" 2>&1 || true
}

mkdir -p "$work/corpus"
seedcopy="$work/seeds-read"
rm -rf "$seedcopy" && mkdir -p "$seedcopy"
find tests/data/bad -type f ! -name catalogue.txt -exec cp {} "$seedcopy/" \;
rm -rf "$work/findings"
run_target read "$seedcopy" &
run_target effects "" &
wait
run_target settings ""

status=0
printf '%-14s %8s %12s %8s %s\n' target seconds executions exec/s findings
for name in read effects settings; do
    log="$work/$name.log"
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)
    found=$(find "$work/findings/$name" -type f | wc -l)
    printf '%-14s %8s %12s %8s %s\n' "fuzz_$name" "$seconds" "${executions:-?}" "${rate:-?}" "$found"
    if [ "$found" -gt 0 ]; then
        status=1
        find "$work/findings/$name" -type f -exec cp {} "tests/data/fuzz/$name/" \;
        echo "  copied to tests/data/fuzz/$name; the report is in $log" >&2
    fi
done
exit $status
