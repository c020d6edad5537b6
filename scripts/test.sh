#!/usr/bin/env bash
# Runs the whole test suite under the offscreen platform.
set -euo pipefail
cd "$(dirname "$0")/../build"
export QT_QPA_PLATFORM=offscreen
ctest --output-on-failure --parallel "$(nproc)"
