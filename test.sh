#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test; then again in a tree
# built with AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
source "$(dirname "$0")/scripts/common.sh"
install_packages "$MEROVAN_ROOT/scripts/test-packages.txt"
start=$(date +%s)

jobs=$(nproc)
run_suite() {
    local dir=$1
    ctest --test-dir "$dir" -j "$jobs" --output-on-failure --timeout 900
}

echo "== build and test" >&2
build_tree "$MEROVAN_ROOT/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
run_suite "$MEROVAN_ROOT/build"

echo "== build and test with AddressSanitizer and UndefinedBehaviorSanitizer" >&2
build_tree "$MEROVAN_ROOT/build-asan" -DCMAKE_BUILD_TYPE=Debug -DMEROVAN_SANITIZE=ON -DMEROVAN_BENCH=OFF
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    run_suite "$MEROVAN_ROOT/build-asan"

echo "== all tests passed in $(($(date +%s) - start)) s" >&2
