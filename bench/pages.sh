#!/usr/bin/env bash
# Rearrange a 1,000-page real manual with quirebook-cli pages and with qpdf:
# the second half first, the first half turned a quarter. Wall time (best of
# 3), peak memory (/usr/bin/time's "Maximum resident set size", the peak of
# all runs) and output size, as ratios; both outputs checked.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/common.sh"
build=${1:-$here/../build/dev}
cli=$build/src/cli/quirebook-cli
corpus=${QUIREBOOK_CORPUS:-$here/../../shared/corpus}
manual=$corpus/manual-mupdf-285pages.pdf

need /usr/bin/time time
need qpdf qpdf
need pdftotext poppler-utils

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# 285 × 3 + 145 = 1,000 pages.
qpdf --empty --pages "$manual" "$manual" "$manual" "$manual" 1-145 -- "$work/in.pdf"
echo "pages: in.pdf, $(qpdf --show-npages "$work/in.pdf") pages, $(stat -c %s "$work/in.pdf") bytes"

printf '%-10s %8s %9s %12s\n' tool seconds peak_MB output_bytes
declare -A T M S
for tool in quirebook qpdf; do
  if [ "$tool" = quirebook ]; then
    best 3 "$work/q.pdf" "$cli" pages -q --order "501-,1-500" --rotate 90:1-500 "$work/in.pdf" -o "$work/q.pdf"
  else
    best 3 "$work/qpdf.pdf" qpdf --empty --pages "$work/in.pdf" 501-z,1-500 -- --rotate=+90:501-z "$work/qpdf.pdf"
  fi
  T[$tool]=$BEST; M[$tool]=$PEAK_KB; S[$tool]=$SIZE
  printf '%-10s %8s %9.1f %12s\n' "$tool" "$BEST" "$(echo "$PEAK_KB / 1024" | bc -l)" "$SIZE"
done
echo "quirebook/qpdf: time $(ratio "${T[quirebook]}" "${T[qpdf]}"), memory $(ratio "${M[quirebook]}" "${M[qpdf]}"), size $(ratio "${S[quirebook]}" "${S[qpdf]}")"

for out in q qpdf; do
  qpdf --check "$work/$out.pdf" >/dev/null
  [ "$(qpdf --show-npages "$work/$out.pdf")" -eq 1000 ]
done
echo "qpdf --check: ok, 1000 pages each"
# Both results: every page the same size and turn, the same text at the ends.
cmp <(pdfinfo -f 1 -l 1000 "$work/q.pdf" | grep '^Page ') <(pdfinfo -f 1 -l 1000 "$work/qpdf.pdf" | grep '^Page ')
for page in 1 500 501 1000; do
  cmp <(pdftotext -f $page -l $page "$work/q.pdf" -) <(pdftotext -f $page -l $page "$work/qpdf.pdf" -)
done
echo "same page sizes and turns throughout, same text on pages 1, 500, 501 and 1000"

# The Pages screen, offscreen, on 3,135 pages (the manual eleven times): time
# from taking the file in to the grid being shown, and peak memory after a
# scroll through every page that waits for each screenful's thumbnails.
cmake --build "$build" --target bench_pageswindow >/dev/null
big=$work/big.pdf
args=(); for _ in $(seq 11); do args+=("$manual"); done
qpdf --empty --pages "${args[@]}" -- "$big"
QT_QPA_PLATFORM=offscreen "$build/bench/bench_pageswindow" "$big" 2>/dev/null
