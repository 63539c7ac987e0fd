# Shared by the benchmarks: measuring a command's wall time and peak memory.
# shellcheck shell=bash

# Usage: measure RUNS command... ; sets SECONDS_MEDIAN and PEAK_KB (the peak of all runs).
measure() {
    local runs=$1; shift
    local times=() peak=0 line
    for _ in $(seq "$runs"); do
        local log; log=$(mktemp)
        /usr/bin/time -o "$log" -f '%e %M' "$@" >/dev/null 2>&1 || true
        line=$(tail -n 1 "$log"); rm -f "$log"
        times+=("${line%% *}")
        local kb=${line##* }
        (( kb > peak )) && peak=$kb
    done
    SECONDS_MEDIAN=$(printf '%s\n' "${times[@]}" | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}')
    PEAK_KB=$peak
}

# Usage: best RUNS OUT command... ; the best wall time of RUNS runs that each
# write OUT: sets BEST (seconds), PEAK_KB (the peak of all runs) and SIZE (of OUT).
best() {
    local runs=$1 out=$2; shift 2
    local peak=0
    BEST=""
    for _ in $(seq "$runs"); do
        rm -f "$out"
        measure 1 "$@"
        if [ -z "$BEST" ] || awk -v a="$SECONDS_MEDIAN" -v b="$BEST" 'BEGIN { exit !(a < b) }'; then
            BEST=$SECONDS_MEDIAN
        fi
        (( PEAK_KB > peak )) && peak=$PEAK_KB
    done
    PEAK_KB=$peak; SIZE=$(stat -c %s "$out")
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { if (b == 0) print "n/a"; else printf "%.2f", a / b }'; }

need() {
    # Installs a Debian package when its command is missing.
    command -v "$1" >/dev/null 2>&1 && return 0
    local sudo=""; [ "$(id -u)" -ne 0 ] && sudo=sudo
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y --no-install-recommends "$2" >/dev/null
}
