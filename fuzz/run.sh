#!/usr/bin/env bash
# Builds the fuzz targets with clang's libFuzzer and runs each for a while.
# Usage: fuzz/run.sh [seconds per target, default 600]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds="${1:-600}"
if ! command -v clang++ >/dev/null 2>&1; then
    echo "clang++ is needed (Debian: apt-get install clang)" >&2
    exit 1
fi
CXX=clang++ cmake -S fuzz -B build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build/fuzz --parallel "$(nproc)"
for target in fuzz-connection-string fuzz-server-ini fuzz-ip-rule-text fuzz-migration-ini; do
    corpus="build/fuzz/corpus/$target"
    mkdir -p "$corpus"
    cp fuzz/seeds/"$target"/* "$corpus"/ 2>/dev/null || true
    # The migration reader starts from the tests' sample files of both layouts.
    [ "$target" = fuzz-migration-ini ] && cp tests/companions/samples/*.ini "$corpus"/
    echo "== $target for ${seconds}s"
    "build/fuzz/$target" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="build/fuzz/$target-" "$corpus" 2>&1 \
        | grep -E '^(#[0-9]+ +DONE|stat::number_of_executed_units|stat::peak_rss_mb|==[0-9]+==ERROR|SUMMARY|artifact_prefix)' || true
done
