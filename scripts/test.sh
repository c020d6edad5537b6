#!/usr/bin/env bash
# Runs the whole test suite under the offscreen platform.
set -euo pipefail
cd "$(dirname "$0")/../build"
export QT_QPA_PLATFORM=offscreen
status=0
ctest --output-on-failure --parallel "$(nproc)" || status=$?
# The suites stop their PostgreSQL clusters themselves; one left by a crashed suite goes here.
pkill -f 'quillmere-pg-' 2>/dev/null || true
exit $status
