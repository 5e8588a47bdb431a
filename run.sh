#!/bin/sh
# Sets up what is missing, builds and starts Tarnwick.
# On macOS it works on the real network services. Anywhere else it runs against the simulated Mac
# in tools/fakemac with a demo home folder under build/demo/, kept between runs (--fresh starts
# over); without a display it takes a screenshot under a virtual X server instead of staying open.
set -e
cd "$(dirname "$0")"
top=$(pwd)
. ./setup.sh

fresh=""
if [ "${1:-}" = --fresh ]; then
    fresh=1
    shift
fi

headless=""
if [ "$(uname -s)" != Darwin ] && [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    headless=1
    TARNWICK_EXTRA_PACKAGES="xvfb x11-utils imagemagick fonts-dejavu-core"
fi
tarnwick_setup
# tarnwick-cli too: the README's terminal session runs it from build/cli.
tarnwick_build Tarnwick tarnwick-cli

if [ "$(uname -s)" = Darwin ]; then
    exec "$top/build/app/Tarnwick.app/Contents/MacOS/Tarnwick" "$@"
fi

demo="$top/build/demo"
[ -n "$fresh" ] && rm -rf "$demo"
if [ -d "$demo/home" ]; then
    kept="kept from the last run; ./run.sh --fresh starts over"
else
    kept="new"
fi
mkdir -p "$demo/home"
HOME="$demo/home"
FAKEMAC_STATE="$demo/fakemac"
PATH="$top/tools/fakemac:$PATH"
export HOME FAKEMAC_STATE PATH
echo "Not a Mac: Tarnwick runs against the simulated Mac in tools/fakemac, with the demo home $HOME ($kept)."

if [ -z "$headless" ]; then
    exec "$top/build/app/Tarnwick" "$@"
fi

title="Tarnwick $(sed -n 's/^project(Tarnwick VERSION \([0-9.]*\).*/\1/p' "$top/CMakeLists.txt")"
shot="$top/build/screenshot.png"
log="$top/build/run.log"
rm -f "$demo/display"
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$demo/display" >"$demo/xvfb.log" 2>&1 &
xvfb=$!
app=""
# Whatever ends this script (the program dying early, a time-out, Ctrl+C), what it started ends with it:
# each kill may find its process gone already, which must not stop the next one.
cleanup() {
    if [ -n "$app" ]; then kill "$app" 2>/dev/null || true; fi
    kill "$xvfb" 2>/dev/null || true
    wait 2>/dev/null || true
}
trap cleanup EXIT
trap 'exit 130' INT TERM HUP

i=0
until [ -s "$demo/display" ] && DISPLAY=":$(cat "$demo/display")" xdpyinfo >/dev/null 2>&1; do
    i=$((i + 1))
    [ "$i" -le 100 ] || { echo "The virtual X server did not start; see $demo/xvfb.log" >&2; exit 1; }
    sleep 0.1
done
DISPLAY=":$(cat "$demo/display")"
export DISPLAY

rm -f "$FAKEMAC_STATE/calls.log"
QT_QPA_PLATFORM=xcb "$top/build/app/Tarnwick" >"$log" 2>&1 &
app=$!
# The window is shown at once and its first reading fills it in: wait for the window, then for the
# reading's ifconfig, and give the window a moment to show what it read.
i=0
until xwininfo -name "$title" 2>/dev/null | grep -q 'IsViewable' && grep -q '^ifconfig' "$FAKEMAC_STATE/calls.log" 2>/dev/null; do
    i=$((i + 1))
    kill -0 "$app" 2>/dev/null || { echo "Tarnwick ended early; see $log" >&2; exit 1; }
    [ "$i" -le 600 ] || { echo "No Tarnwick window with its first reading after 60 s; see $log" >&2; exit 1; }
    sleep 0.1
done
sleep 0.5
import -window "$title" "$shot"
echo "$shot"
