#!/bin/sh
# Sets up what is missing, builds into build/ and runs every test; the exit code is the tests' verdict.
set -e
cd "$(dirname "$0")"
. ./setup.sh
tarnwick_setup
tarnwick_build
cd build
QT_QPA_PLATFORM=offscreen ctest --output-on-failure --parallel "$JOBS" "$@"
