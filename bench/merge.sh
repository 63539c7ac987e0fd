#!/usr/bin/env bash
# Merge ten real-world PDFs (about 1,000 pages) with quirebook-cli, qpdf and
# pdftk in one run: wall time (median of 3), peak memory, output size.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/common.sh"
build=${1:-$here/../build/dev}
cli=$build/src/cli/quirebook-cli
corpus=${QUIREBOOK_CORPUS:-$here/../../shared/corpus}

need /usr/bin/time time
need pdftk pdftk-java
need qpdf qpdf
[ -f /usr/share/doc/gnuplot/gnuplot.pdf ] || need __none__ gnuplot-doc
[ -f /usr/share/doc/octave/liboctave.pdf ] || need __none__ octave-doc

inputs=(
  "$corpus/book-freeculture-352pages.pdf" "$corpus/manual-mupdf-285pages.pdf"
  /usr/share/doc/gnuplot/gnuplot.pdf /usr/share/doc/octave/liboctave.pdf
  "$corpus/paper-tracemonkey-14pages.pdf" "$corpus/scan-gray-jpeg-5pages.pdf"
  "$corpus/plain-pdflatex-4pages.pdf" "$corpus/scan-color-200dpi-2pages.pdf"
  "$corpus/image-cmyk-jpeg.pdf" "$corpus/text-multilingual.pdf"
)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
pages=0; bytes=0
for f in "${inputs[@]}"; do
  pages=$((pages + $(qpdf --show-npages "$f"))); bytes=$((bytes + $(stat -c %s "$f")))
done
echo "merge: ${#inputs[@]} files, $pages pages, $bytes bytes in"

printf '%-14s %8s %10s %12s\n' tool seconds peak_MB output_bytes
declare -A T M S
run() {
  local name=$1 out=$2; shift 2
  rm -f "$out"
  measure 3 "$@"
  T[$name]=$SECONDS_MEDIAN; M[$name]=$PEAK_KB; S[$name]=$(stat -c %s "$out")
  printf '%-14s %8s %10.1f %12s\n' "$name" "${T[$name]}" "$(echo "${M[$name]} / 1024" | bc -l)" "${S[$name]}"
}
run quirebook "$work/q.pdf" sh -c "rm -f '$work/q.pdf'; '$cli' merge -q -o '$work/q.pdf' $(printf "'%s' " "${inputs[@]}")"
run qpdf "$work/qpdf.pdf" qpdf --empty --pages "${inputs[@]}" -- "$work/qpdf.pdf"
run pdftk "$work/pdftk.pdf" pdftk "${inputs[@]}" cat output "$work/pdftk.pdf"

echo "quirebook/qpdf: time $(ratio "${T[quirebook]}" "${T[qpdf]}"), memory $(ratio "${M[quirebook]}" "${M[qpdf]}"), size $(ratio "${S[quirebook]}" "${S[qpdf]}")"
echo "quirebook/pdftk: time $(ratio "${T[quirebook]}" "${T[pdftk]}"), memory $(ratio "${M[quirebook]}" "${M[pdftk]}"), size $(ratio "${S[quirebook]}" "${S[pdftk]}")"
"$cli" info "$work/q.pdf" | grep -E 'Pages|Bookmarks'
qpdf --check "$work/q.pdf" >/dev/null && echo "qpdf --check: ok"
