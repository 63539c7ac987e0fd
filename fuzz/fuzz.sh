#!/usr/bin/env bash
# Runs the fuzz targets.
#
#   fuzz.sh run BUILD_DIR SECONDS [TARGET]   fuzz each target (or one) for SECONDS
#   fuzz.sh replay BINARY TARGET             run the seeds and regression inputs once
#   fuzz.sh replay-plain BINARY TARGET       the same, through a target built without libFuzzer
#
# Seeds come from the corpus ($QUIREBOOK_CORPUS, else ../shared/corpus) at run time; nothing of it is
# copied into the repository. What a run finds and keeps lives under
# BUILD_DIR/../fuzz-corpus/TARGET (the growing corpus) and
# BUILD_DIR/../fuzz-findings/TARGET (crashes, timeouts, leaks): a finding that
# is fixed goes into fuzz/regressions/TARGET, which CI replays.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
targets=(open unlock outline render text rebuild)

# The sanitizers as CTest runs them in the asan tree (cmake/Sanitizers.cmake),
# unless the caller chose otherwise.
supp="$(cd "$here/../cmake" && pwd)"
export ASAN_OPTIONS="${ASAN_OPTIONS:-detect_leaks=1:check_initialization_order=1}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1:suppressions=$supp/ubsan.supp}"
export LSAN_OPTIONS="${LSAN_OPTIONS:-suppressions=$supp/lsan.supp:print_suppressions=0}"

# Options for every run. PDFs worth mutating are a few hundred KB; a slow
# input is cut off by -timeout and reported, never left hanging.
common=(-rss_limit_mb=2560 -malloc_limit_mb=2048 -dict="$here/pdf.dict")

# The seeds of a target in a folder of their own. The password target gets
# each corpus file behind the passwords that open it ("<password>\n<PDF>"),
# and behind an empty line when it needs none.
seeds() {
    local target="$1" dir="$2"
    rm -rf "$dir" && mkdir -p "$dir"
    local corpus="${QUIREBOOK_CORPUS:-$here/../../shared/corpus}"
    [ -n "$corpus" ] && [ -d "$corpus" ] || return 0
    local file name password n
    for file in "$corpus"/*.pdf; do
        [ -e "$file" ] || continue
        name="$(basename "$file")"
        if [ "$target" != unlock ]; then
            ln -s "$file" "$dir/$name"
            continue
        fi
        { printf '\n'; cat "$file"; } >"$dir/$name"
        [ -f "$corpus/passwords.json" ] || continue
        n=0
        while IFS= read -r password; do
            n=$((n + 1))
            { printf '%s\n' "$password"; cat "$file"; } >"$dir/$name.$n"
        done < <(jq -r --arg f "$name" '.[$f] // {} | .[]' "$corpus/passwords.json")
    done
}

binary_of() { echo "$1/fuzz/fuzz_$2"; }

case "${1:-}" in
run)
    build="$2" seconds="$3" only="${4:-}"
    out="$(dirname "$build")"
    [ -n "$only" ] && targets=("$only")
    for t in "${targets[@]}"; do
        bin="$(binary_of "$build" "$t")"
        [ -x "$bin" ] || { echo "no fuzz target $t in $build" >&2; exit 2; }
        seeds "$t" "$out/fuzz-seeds/$t"
        mkdir -p "$out/fuzz-corpus/$t" "$out/fuzz-findings/$t"
        echo "== fuzz_$t for ${seconds}s"
        dirs=("$out/fuzz-corpus/$t" "$out/fuzz-seeds/$t")
        [ -d "$here/regressions/$t" ] && dirs+=("$here/regressions/$t")
        # The growing corpus first: libFuzzer writes new inputs into it.
        "$bin" "${common[@]}" -max_len=524288 -timeout=30 -report_slow_units=10 \
            -max_total_time="$seconds" -print_final_stats=1 \
            -artifact_prefix="$out/fuzz-findings/$t/" "${dirs[@]}"
    done
    ;;
replay)
    bin="$2" t="$3"
    seeddir="$(mktemp -d)"
    trap 'rm -rf "$seeddir"' EXIT
    seeds "$t" "$seeddir"
    if [ -d "$here/regressions/$t" ]; then
        for f in "$here/regressions/$t"/*; do ln -s "$f" "$seeddir/regression-$(basename "$f")"; done
    fi
    # Whole files (no -max_len), each once; a generous time per input so a
    # slow machine doesn't fail the replay, but a hang still does.
    "$bin" "${common[@]}" -runs=0 -max_len=67108864 -timeout=300 \
        -artifact_prefix="$PWD/replay-$t-" "$seeddir"
    ;;
replay-plain)
    # The same inputs through a target built without libFuzzer.
    bin="$2" t="$3"
    seeddir="$(mktemp -d)"
    trap 'rm -rf "$seeddir"' EXIT
    seeds "$t" "$seeddir"
    [ -d "$here/regressions/$t" ] && cp -r "$here/regressions/$t/." "$seeddir/"
    "$bin" "$seeddir"
    ;;
*)
    sed -n '2,13p' "$0" >&2
    exit 2
    ;;
esac
