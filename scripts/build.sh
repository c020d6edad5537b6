#!/usr/bin/env bash
# Configures and builds everything into build/ (programs land in build/bin/).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build --parallel "$(nproc)"
