#!/usr/bin/env bash
# Builds the two fuzzers in build-fuzz/ (clang's libFuzzer with the address and undefined-behaviour
# sanitizers, installing clang when it is missing) and runs each for the given seconds (default
# 60): fuzz_receive (the receive parser fed through the receive ring in fuzzed sessions) and
# fuzz_import (the parameter text import). Seeds come from tests/data/fuzz/<name>; what a run
# learns is kept in build-fuzz/corpus/<name> for the next one. A crash, a sanitizer report or a
# failed check stops the script with the input saved as build-fuzz/crash-<name>-*; replay it with
#   FUZZ_TRACE=1 build-fuzz/tests/fuzz/fuzz_<name> build-fuzz/crash-<name>-...
set -euo pipefail
seconds=${1:-60}
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build-fuzz"
"$root/tools/setup_debian.sh"

generator=()
[ -f "$build/CMakeCache.txt" ] || { command -v ninja >/dev/null && generator=(-G Ninja); }
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S "$root" -B "$build" "${generator[@]}" "${launcher[@]}" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSERVO_FUZZ=ON -DSERVO_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j "$(nproc)" --target fuzz_receive fuzz_import

export ASAN_OPTIONS=halt_on_error=1:detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
for name in receive import; do
    corpus="$build/corpus/$name"
    mkdir -p "$corpus"
    echo "== fuzz_$name: $seconds s =="
    log="$build/fuzz_$name.log"
    if ! "$build/tests/fuzz/fuzz_$name" "$corpus" "$root/tests/data/fuzz/$name" -max_total_time="$seconds" \
        -timeout=10 -rss_limit_mb=3072 -max_len=4096 -print_final_stats=1 \
        -artifact_prefix="$build/crash-$name-" >"$log" 2>&1; then
        tail -n 60 "$log"
        echo "fuzz_$name failed (log: $log)" >&2
        exit 1
    fi
    # Figures: executions, coverage (edges and features), corpus units.
    runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
    done_line=$(grep -E '^#[0-9]+[[:space:]]+DONE' "$log" | tail -n 1)
    cov=$(sed -E 's/.* cov: ([0-9]+) ft: ([0-9]+) corp: ([0-9]+)\/.*/\1 edges, \2 features, corpus \3/' <<<"$done_line")
    echo "fuzz_$name: $runs executions, $cov"
done
