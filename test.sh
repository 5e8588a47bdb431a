#!/bin/sh
# Sets up what is missing, builds into build/ and runs every test; the exit code is the tests' verdict.
set -e
cd "$(dirname "$0")"
. ./setup.sh
tarnwick_setup
# The fuzz replays keep every past finding checked on every run.
TARNWICK_OPTIONS="-DBUILD_TESTING=ON -DTARNWICK_FUZZ_REPLAYS=ON"
tarnwick_build
cd build
QT_QPA_PLATFORM=offscreen ctest --output-on-failure --parallel "$JOBS" "$@"
