#!/usr/bin/env bash
# scripts/fuzz.sh TARGET [SECONDS]: builds the fuzz target TARGET (a file
# fuzz/TARGET.cpp) with clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer in build-fuzz/, and fuzzes it for SECONDS
# (default 600) starting from its seed corpus fuzz/corpus/TARGET.
#
# The seeds are copied into build-fuzz/fuzz-corpus/TARGET, where the inputs
# the fuzzer finds accumulate from run to run; the seed corpus itself is never
# written to. Crashing, leaking or hanging inputs are written to
# build-fuzz/fuzz-artifacts/TARGET/, and the script exits non-zero. Replay
# one with: build-fuzz/fuzz/TARGET ARTIFACT
set -euo pipefail
source "$(dirname "$0")/common.sh"

if [ $# -lt 1 ] || [ $# -gt 2 ] || [ ! -f "$MEROVAN_ROOT/fuzz/$1.cpp" ]; then
    echo "usage: scripts/fuzz.sh TARGET [SECONDS]   (targets: $(cd "$MEROVAN_ROOT/fuzz" &&
        ls -- *_fuzzer.cpp | sed 's/\.cpp$//' | tr '\n' ' '))" >&2
    exit 2
fi
target=$1
seconds=${2:-600}

install_packages <(printf '%s\n' clang libclang-rt-14-dev)

build="$MEROVAN_ROOT/build-fuzz"
CC=clang CXX=clang++ BUILD_TARGET=$target build_tree "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DMEROVAN_FUZZ=ON -DMEROVAN_BENCH=OFF

corpus="$build/fuzz-corpus/$target"
artifacts="$build/fuzz-artifacts/$target"
mkdir -p "$corpus" "$artifacts"
cp -r "$MEROVAN_ROOT/fuzz/corpus/$target/." "$corpus/"

export ASAN_OPTIONS=${ASAN_OPTIONS:-abort_on_error=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
"$build/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="$artifacts/" "$corpus"
