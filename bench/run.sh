#!/bin/sh
# Builds the benchmarks into build/ and prints one table: each figure beside its reference. Every command
# they run is the simulated Mac's (tools/fakemac), with a throwaway home folder, on the offscreen platform.
# BENCH_READINGS (2000) and BENCH_MEMORY_SECONDS (120) bound the memory measure, BENCH_SLOW_RUNS (3) and
# BENCH_INSTANT_RUNS (15) the readings of many services; the defaults keep a run to a few minutes.
set -e
cd "$(dirname "$0")/.."
top=$(pwd)
. ./setup.sh
tarnwick_setup
TARNWICK_OPTIONS=-DTARNWICK_BENCHMARKS=ON
tarnwick_build bench >/dev/null

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/home"
HOME="$work/home"
FAKEMAC_STATE="$work/fakemac"
PATH="$top/tools/fakemac:$PATH"
QT_QPA_PLATFORM=offscreen
LC_ALL=C.UTF-8
export HOME FAKEMAC_STATE PATH QT_QPA_PLATFORM LC_ALL

if [ -r /proc/cpuinfo ]; then
    cpu=$(sed -n 's/^model name[[:space:]]*: //p' /proc/cpuinfo | head -n 1)
    cores=$(grep -c '^processor' /proc/cpuinfo)
else
    cpu=$(sysctl -n machdep.cpu.brand_string 2>/dev/null || uname -m)
    cores=$(sysctl -n hw.ncpu 2>/dev/null || echo '?')
fi
load() { cut -d ' ' -f 1-3 /proc/loadavg 2>/dev/null || uptime | sed 's/.*load averages*: //'; }
load_before=$(load)

bench="$top/build/bench"
for run in "bench_window" "bench_refresh" "bench_startup" \
    "bench_window memory ${BENCH_READINGS:-2000} ${BENCH_MEMORY_SECONDS:-120}" "bench_parsers"; do
    set -- $run
    program=$1
    shift
    if [ ! -x "$bench/$program" ]; then
        printf 'note\t%s was not built\n' "$program"
        continue
    fi
    "$bench/$program" "$@" 2>>"$work/log" || { cat "$work/log" >&2; exit 1; }
done >"$work/rows"

echo "Machine: $cpu, $cores cores, Qt $(awk -F '\t' '$1 == "qt" { print $2; exit }' "$work/rows"); load average $load_before before, $(load) after"
echo
awk -F '\t' '
    $1 == "row" {
        n++
        for (i = 2; i <= 6; i++) { cell[n, i] = $i; if (length($i) > w[i]) w[i] = length($i) }
        # Rows are listed by their measure number, whichever program printed them, in the order printed.
        key[n] = match($2, /^[0-9]+/) ? substr($2, 1, RLENGTH) + 0 : 1000000
        order[n] = n
        for (j = n; j > 1 && key[order[j - 1]] > key[n]; j--) order[j] = order[j - 1]
        order[j] = n
    }
    $1 == "note" { notes = notes "- " $2 "\n" }
    END {
        order[0] = 0
        split("|measure|Tarnwick|reference|ratio|goal", head, "|")
        for (i = 2; i <= 6; i++) { if (length(head[i]) > w[i]) w[i] = length(head[i]); cell[0, i] = head[i] }
        for (r = 0; r <= n; r++) {
            line = "|"
            for (i = 2; i <= 6; i++) line = line sprintf(" %-" w[i] "s |", cell[order[r], i])
            print line
            if (r == 0) {
                line = "|"
                for (i = 2; i <= 6; i++) { dash = ""; for (k = 0; k < w[i] + 2; k++) dash = dash "-"; line = line dash "|" }
                print line
            }
        }
        printf "\n%s", notes
    }' "$work/rows"
