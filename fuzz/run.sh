#!/bin/sh
# Builds the fuzz targets with clang into build-fuzz/ and fuzzes each for the given number of seconds
# (default 600), one after the other. New inputs collect in build-fuzz/corpus/<target>, crashes in
# build-fuzz/findings/; the checked-in seeds and findings are read in place.
# Usage: fuzz/run.sh [seconds] [target...]
set -eu
cd "$(dirname "$0")/.."
seconds=${1:-600}
[ $# -gt 0 ] && shift
targets=${*:-fuzz_network fuzz_config}
CC=${CC:-clang} CXX=${CXX:-clang++} cmake -S . -B build-fuzz -DTARNWICK_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
# shellcheck disable=SC2086
cmake --build build-fuzz --parallel 2 --target $targets
mkdir -p build-fuzz/findings
export HOME="${TMPDIR:-/tmp}" # the config target moves HOME to a folder of its own before use
for target in $targets; do
    case $target in
    fuzz_network) dict=fuzz/network.dict seeds="tests/fixtures fuzz/corpus/network" ;;
    fuzz_config) dict=fuzz/config.dict seeds="build-fuzz/fuzz/default-config fuzz/corpus/config" ;;
    esac
    mkdir -p "build-fuzz/corpus/$target"
    # shellcheck disable=SC2086
    "build-fuzz/fuzz/$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 -dict="$dict" \
        -artifact_prefix="build-fuzz/findings/$target-" "build-fuzz/corpus/$target" $seeds
done
