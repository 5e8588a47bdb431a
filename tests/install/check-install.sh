#!/bin/sh
# Installs the build into a temporary prefix and packs it with CPack's TGZ generator, then starts both
# copies from where they landed: tarnwick-cli --version, and the window against the simulated Mac with a
# throwaway home folder, stopped once it is up. Everything is written under one temporary folder.
# Usage: check-install.sh CMAKE CPACK BUILD_DIR FAKEMAC_DIR VERSION
set -eu
cmake=$1 cpack=$2 build=$3 fakemac=$4 version=$5
work=$(mktemp -d)
window=""
# Nothing here may reach the real home folder, not even the package tools.
HOME=$work/home
export HOME
trap '[ -z "$window" ] || kill "$window" 2>/dev/null; rm -rf "$work"' EXIT

fail() {
    echo "FAIL: $*" >&2
    exit 1
}

# Waits up to a minute for a condition, giving up at once when the window has ended; a healthy start
# takes a second, the minute only spares a loaded machine a false alarm.
wait_for() {
    i=0
    until eval "$1"; do
        kill -0 "$window" 2>/dev/null || return 1
        i=$((i + 1))
        [ "$i" -le 600 ] || return 1
        sleep 0.1
    done
}

check() { # name, prefix of the tree
    if [ "$(uname -s)" = Darwin ]; then
        bin=$2/Tarnwick.app/Contents/MacOS
        # Qt's deployment gives the bundle its own Qt, and only the native platform plugin.
        [ -d "$2/Tarnwick.app/Contents/Frameworks/QtCore.framework" ] || fail "$1: no Qt inside the bundle"
        platform=cocoa
    else
        bin=$2/bin
        platform=offscreen
    fi
    printed=$("$bin/tarnwick-cli" --version) || fail "$1: tarnwick-cli --version failed"
    [ "$printed" = "tarnwick-cli $version" ] || fail "$1: tarnwick-cli --version printed \"$printed\""
    echo "$1: $bin/tarnwick-cli --version: $printed"

    home=$work/home-$1 state=$work/fakemac-$1
    mkdir -p "$home"
    HOME=$home FAKEMAC_STATE=$state PATH="$fakemac:$PATH" QT_QPA_PLATFORM=$platform \
        "$bin/Tarnwick" >"$work/$1.log" 2>&1 &
    window=$!
    # The window is shown as soon as its constructor has read the machine (ifconfig comes last) and made
    # config.xml from the compiled-in default.
    wait_for "grep -q '^ifconfig' '$state/calls.log' 2>/dev/null && [ -s '$home/Library/Tarnwick/config.xml' ]" ||
        { cat "$work/$1.log" >&2; fail "$1: Tarnwick ended or hung before its window was up"; }
    sleep 1
    kill -0 "$window" 2>/dev/null || { cat "$work/$1.log" >&2; fail "$1: Tarnwick ended after its first reading"; }
    kill "$window"
    wait "$window" 2>/dev/null || true
    window=""
    echo "$1: $bin/Tarnwick ($platform) read the simulated Mac ($(wc -l <"$state/calls.log") calls), wrote config.xml, was stopped while running"
}

"$cmake" --install "$build" --prefix "$work/installed" >"$work/install.log" 2>&1 || { cat "$work/install.log" >&2; fail "cmake --install"; }
check install "$work/installed"

"$cpack" -G TGZ --config "$build/CPackConfig.cmake" -B "$work/package" >"$work/cpack.log" 2>&1 || { cat "$work/cpack.log" >&2; fail "cpack -G TGZ"; }
mkdir "$work/unpacked"
for tarball in "$work"/package/*.tar.gz; do
    echo "package: $(basename "$tarball")"
    tar -xzf "$tarball" -C "$work/unpacked"
done
set -- "$work"/unpacked/*
[ $# -eq 1 ] && [ -d "$1" ] || fail "the package does not unpack into one folder"
check package "$1"
