#!/usr/bin/env bash
# Line coverage of the program's own code: an instrumented Debug build in
# build-coverage/, the whole test suite run on it, and lcov's results in
# build-coverage/coverage/:
#   coverage.info  the lcov trace, for other lcov tools
#   files.txt      one line per source file: path, lines hit, lines found, percent
#   summary.txt    the total line percent and the test outcome
#   html/          with --html only: genhtml's browsable report
# Failing tests do not stop the report; the script ends with status 1 when any failed.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=$root/build-coverage
out=$build/coverage

html=0
for arg in "$@"; do
    case $arg in
        --html) html=1 ;;
        *) echo "usage: $0 [--html]" >&2; exit 2 ;;
    esac
done

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# The project's own build and test packages, as for make test.
scripts/install-deps.sh

# lcov brings genhtml along; a machine whose package lists were never fetched
# knows no lcov yet, so the lists are fetched only when the first install fails.
if ! command -v lcov >/dev/null 2>&1 || ! command -v genhtml >/dev/null 2>&1; then
    install_lcov() { as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends lcov; }
    if ! install_lcov; then
        as_root apt-get update -qq
        install_lcov
    fi
fi

started=$(date +%s)

# No compiler launcher: a cached object brings no fresh counter notes, and the
# counts must come from this build alone. A ccache folder in PATH would wrap the
# compiler all the same, so it goes too.
PATH=$(tr ':' '\n' <<<"$PATH" | grep -v ccache | paste -sd: -)
export PATH
unset CMAKE_CXX_COMPILER_LAUNCHER CMAKE_C_COMPILER_LAUNCHER
cmake -S . -B "$build" \
    -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_CXX_COMPILER_LAUNCHER= \
    -DCMAKE_CXX_FLAGS=--coverage \
    -DCMAKE_EXE_LINKER_FLAGS=--coverage \
    -DCMAKE_SHARED_LINKER_FLAGS=--coverage \
    -DCMAKE_MODULE_LINKER_FLAGS=--coverage
cmake --build "$build" --parallel "$(nproc)"

# The end-to-end tests look for the FTP servers in the build tree's third_party/.
scripts/fetch-ftp-servers.sh "$build/third_party"

# Counts from an earlier run would add up with this one's.
find "$build" -name '*.gcda' -delete
rm -rf "$out"
mkdir -p "$out"

# The suites stop the servers and PostgreSQL clusters they start themselves.
rm -f "$build/Testing/Temporary/LastTestsFailed.log"
test_status=0
(cd "$build" && QT_QPA_PLATFORM=offscreen ctest --output-on-failure --parallel "$(nproc)") \
    2>&1 | tee "$out/ctest.log" || test_status=$?
total_tests=$(cd "$build" && ctest -N | sed -n 's/^Total Tests: //p')
failed_tests=0
if [ -f "$build/Testing/Temporary/LastTestsFailed.log" ]; then
    failed_tests=$(grep -c . "$build/Testing/Temporary/LastTestsFailed.log" || true)
fi
# A suite that died before ctest noted it still makes the run a failure.
if [ "$test_status" -ne 0 ] && [ "$failed_tests" -eq 0 ]; then failed_tests=unknown; fi

# Debian 12's lcov 1.16 stops at the first object gcov cannot read or whose
# source has gone (Qt's generated files, headers of the compiler); those are
# dropped below anyway, so their errors must not end the capture.
lcov_ignore=(--ignore-errors gcov,source,graph)
# The zero baseline lists the files no test reached at all, at 0%.
# No --base-directory: the project compiles with absolute paths, and the one
# relative source, CMake's compiler check, then stays in the build tree.
lcov --quiet "${lcov_ignore[@]}" --capture --initial --directory "$build" \
    --output-file "$out/baseline.info"
lcov --quiet "${lcov_ignore[@]}" --capture --directory "$build" \
    --output-file "$out/tests.info"
lcov --quiet "${lcov_ignore[@]}" --add-tracefile "$out/baseline.info" \
    --add-tracefile "$out/tests.info" --output-file "$out/all.info"
# Only the program's own code: not the system's headers, the tests, benchmarks and
# fuzzers, nor what the build generates (moc, rcc, the version header).
lcov --quiet "${lcov_ignore[@]}" --remove "$out/all.info" \
    '/usr/*' "$root/tests/*" "$root/bench/*" "$root/fuzz/*" "$build/*" \
    --output-file "$out/coverage.info"
rm -f "$out/baseline.info" "$out/tests.info" "$out/all.info"

# path, lines hit, lines found, percent (one decimal), sorted by path.
awk -v prefix="$root/" '
    /^SF:/ { file = substr($0, 4); if (index(file, prefix) == 1) file = substr(file, length(prefix) + 1) }
    /^LF:/ { found[file] += substr($0, 4) }
    /^LH:/ { hit[file] += substr($0, 4) }
    END {
        for (f in found)
            printf "%-60s %6d %6d %5.1f\n", f, hit[f], found[f], found[f] ? 100 * hit[f] / found[f] : 100
    }' "$out/coverage.info" | LC_ALL=C sort >"$out/files.txt"

elapsed=$(($(date +%s) - started))
{
    awk '{ hit += $2; found += $3 } END {
        printf "lines: %.1f%% (%d of %d lines in %d files)\n", found ? 100 * hit / found : 0, hit, found, NR }' \
        "$out/files.txt"
    echo "tests: $failed_tests of $total_tests failed"
    echo "commit: $(git -C "$root" rev-parse --short HEAD)$(git -C "$root" diff --quiet HEAD -- . 2>/dev/null || echo ' (with uncommitted changes)')"
    echo "time: $((elapsed / 60)) min $((elapsed % 60)) s"
} >"$out/summary.txt"

if [ "$html" -eq 1 ]; then
    genhtml --quiet --prefix "$root" --title "Quillmere line coverage" \
        --output-directory "$out/html" "$out/coverage.info"
fi

# Nothing of the run may outlive it; say so if a server was left behind.
if leftovers=$(pgrep -af -- "$build"); then
    echo "Processes of the coverage build are still running:" >&2
    echo "$leftovers" >&2
fi

cat "$out/summary.txt"
echo "Coverage written to $out"
[ "$failed_tests" = 0 ]
