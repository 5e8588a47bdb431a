#!/bin/sh
# Puts a hostile config.xml in place and prints, per case, the wall time and peak resident memory of
# the store's start-up on its own (startstore), then of the whole window started offscreen against
# the simulated Mac (up to the first profile shown), and how many profiles the store kept. Nothing
# outside a temporary folder is touched.
# Usage: fuzz/hostile-config.sh [build folder]   (default: build)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-build}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

make_case() { # name, then writes config.xml in the current folder
    case $1 in
    normal) cp "$root/resources/default-config.xml" config.xml ;;
    50MB-of-profiles)
        awk 'BEGIN { print "<root>"; for (i = 0; i < 600000; i++)
            printf "<config><name>P%d</name><address>10.0.0.0</address><mask>255.0.0.0</mask></config>\n", i
            print "</root>" }' >config.xml ;;
    50MB-one-value) { printf '<root><config><name>'; head -c 52428800 /dev/zero | tr '\0' x; printf '</name></config></root>'; } >config.xml ;;
    nested-100000)
        awk 'BEGIN { printf "<root>"; for (i = 0; i < 100000; i++) printf "<a>"
            for (i = 0; i < 100000; i++) printf "</a>"; print "</root>" }' >config.xml ;;
    entity-bomb)
        { echo '<?xml version="1.0"?><!DOCTYPE root [<!ENTITY l0 "lol">'
          for i in 1 2 3 4 5 6 7 8 9; do j=$((i - 1)); echo "<!ENTITY l$i \"&l$j;&l$j;&l$j;&l$j;&l$j;&l$j;&l$j;&l$j;&l$j;&l$j;\">"; done
          echo ']><root><config><name>&l9;</name></config></root>'; } >config.xml ;;
    latin1-declared-utf8) sed 's/Intercom/Entit\xe9/' "$root/resources/default-config.xml" >config.xml ;;
    random-bytes) head -c 1048576 /dev/urandom >config.xml ;;
    fifo) mkfifo config.xml ;;
    folder) mkdir config.xml ;;
    esac
}

printf '%-22s %9s %9s %10s %9s %10s  %s\n' case bytes store store-RSS window window-RSS kept
for name in normal 50MB-of-profiles 50MB-one-value nested-100000 entity-bomb latin1-declared-utf8 random-bytes fifo folder; do
    home=$work/$name
    mkdir -p "$home/Library/Tarnwick"
    (cd "$home/Library/Tarnwick" && make_case "$name")
    bytes=$(du -b "$home/Library/Tarnwick/config.xml" | cut -f1)
    HOME=$home /usr/bin/time -v -o "$work/time" timeout 20 "$build/fuzz/startstore" >"$work/out" 2>/dev/null || true
    store=$(awk '/Elapsed .wall/ { print $NF }' "$work/time")
    storeRss=$(awk -F': ' '/Maximum resident/ { print $2 " kB" }' "$work/time")
    kept=$(cat "$work/out")
    # The window never quits by itself: it is stopped after 8 s, long after a healthy start.
    HOME=$home FAKEMAC_STATE=$home/fakemac PATH="$root/tools/fakemac:$PATH" QT_QPA_PLATFORM=offscreen \
        QT_MESSAGE_PATTERN='%{time process} %{message}' \
        /usr/bin/time -v -o "$work/time" timeout 8 "$build/app/Tarnwick" >"$work/log" 2>&1 || true
    shown=$(awk '/Activated profil/ { print $1 "s"; exit }' "$work/log")
    rss=$(awk -F': ' '/Maximum resident/ { print $2 " kB" }' "$work/time")
    printf '%-22s %9s %9s %10s %9s %10s  %s\n' "$name" "$bytes" "${store:-?}" "$storeRss" "${shown:-never}" "$rss" "${kept:-crashed}"
done
