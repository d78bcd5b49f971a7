#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test; then again in a tree
# built with AddressSanitizer and UndefinedBehaviorSanitizer. Quiet but for the
# tests' own output (CTest names each tree as it starts).
set -euo pipefail
source "$(dirname "$0")/scripts/common.sh"
install_packages "$MEROVAN_ROOT/scripts/test-packages.txt"

jobs=$(nproc)
run_suite() {
    local dir=$1
    ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 900
}

build_tree "$MEROVAN_ROOT/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
run_suite "$MEROVAN_ROOT/build"

build_tree "$MEROVAN_ROOT/build-asan" -DCMAKE_BUILD_TYPE=Debug -DMEROVAN_SANITIZE=ON -DMEROVAN_BENCH=OFF
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_suite "$MEROVAN_ROOT/build-asan"
