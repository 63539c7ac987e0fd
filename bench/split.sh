#!/usr/bin/env bash
# Split a 1,158-page manual every page and every 10 pages with quirebook-cli,
# qpdf --split-pages and pdftk burst, in one run: wall time (median of 3),
# peak memory, and the parts' total bytes over the source's.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/common.sh"
build=${1:-$here/../build/dev}
cli=$build/src/cli/quirebook-cli
need /usr/bin/time time
need pdftk pdftk-java
[ -f /usr/share/doc/octave/octave.pdf ] || need __none__ octave-doc
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp /usr/share/doc/octave/octave.pdf "$work/manual.pdf"
src=$(stat -c %s "$work/manual.pdf")
echo "split: manual.pdf, $(qpdf --show-npages "$work/manual.pdf") pages, $src bytes"
printf '%-22s %8s %9s %8s %10s\n' tool seconds peak_MB parts size/src
row() { # name, folder
  local n size; n=$(find "$2" -name '*.pdf' | wc -l); size=$(du -sb "$2" | cut -f1)
  printf '%-22s %8s %9.1f %8s %10s\n' "$1" "$SECONDS_MEDIAN" "$(echo "$PEAK_KB / 1024" | bc -l)" "$n" "$(ratio "$size" "$src")"
}
for every in 1 10; do
  mode=--each; [ "$every" -gt 1 ] && mode="--every $every"
  measure 3 sh -c "rm -rf '$work/manual split'; '$cli' split -q $mode '$work/manual.pdf'"
  row "quirebook every $every" "$work/manual split"; q=$SECONDS_MEDIAN
  measure 3 sh -c "rm -rf '$work/q'; mkdir '$work/q'; qpdf --split-pages=$every '$work/manual.pdf' '$work/q/p.pdf'"
  row "qpdf every $every" "$work/q"; echo "  quirebook/qpdf time: $(ratio "$q" "$SECONDS_MEDIAN")"
  if [ "$every" -eq 1 ]; then
    measure 1 sh -c "rm -rf '$work/t'; mkdir '$work/t'; cd '$work/t' && pdftk ../manual.pdf burst"
    row "pdftk burst" "$work/t"
  fi
done
