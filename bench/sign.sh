#!/usr/bin/env bash
# One signature (a 450 × 150 PNG with transparency) on every page of a
# 1,000-page real manual: quirebook-cli sign against qpdf --overlay of a
# one-page stamp PDF holding the same picture at the same place (made with
# quirebook-cli sign on a blank page of the manual's size). Wall time (best
# of 3), peak memory (/usr/bin/time's "Maximum resident set size", the peak
# of all runs) and output size, as ratios; both outputs checked.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/common.sh"
build=${1:-$here/../build/dev}
cli=$build/src/cli/quirebook-cli
corpus=${QUIREBOOK_CORPUS:-$here/../../shared/corpus}
manual=$corpus/manual-mupdf-285pages.pdf

need /usr/bin/time time
need qpdf qpdf
need pdftoppm poppler-utils
need python3 python3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# 285 × 3 + 145 = 1,000 pages.
qpdf --empty --pages "$manual" "$manual" "$manual" "$manual" 1-145 -- "$work/in.pdf"
echo "sign: in.pdf, $(qpdf --show-npages "$work/in.pdf") pages, $(stat -c %s "$work/in.pdf") bytes"

# The signature: a dark blue stroke on a transparent 450 × 150 picture, and a
# blank page of the manual's size (the stamp's paper).
read -r width height < <(pdfinfo -f 1 -l 1 "$manual" | awk '/^Page +1 size:/ { print $4, $6 }')
python3 - "$work" "$width" "$height" <<'EOF'
import math, struct, sys, zlib
work, w, h = sys.argv[1], sys.argv[2], sys.argv[3]
W, H = 450, 150
rows = []
for y in range(H):
    row = bytearray(b"\0")
    for x in range(W):
        d = abs(y - (75 + 50 * math.sin(x / 40)))
        row += bytes((20, 40, 140, max(0, min(255, int(255 * (5 - d) / 2)))))
    rows.append(bytes(row))
def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
with open(f"{work}/sig.png", "wb") as f:
    f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", W, H, 8, 6, 0, 0, 0))
            + chunk(b"IDAT", zlib.compress(b"".join(rows), 9)) + chunk(b"IEND", b""))
objects = [b"<< /Type /Catalog /Pages 2 0 R >>", b"<< /Type /Pages /Kids [3 0 R] /Count 1 >>",
           f"<< /Type /Page /Parent 2 0 R /MediaBox [0 0 {w} {h}] /Resources << >> >>".encode()]
out, offsets = bytearray(b"%PDF-1.7\n"), []
for number, body in enumerate(objects, 1):
    offsets.append(len(out))
    out += b"%d 0 obj\n%s\nendobj\n" % (number, body)
xref = len(out)
out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
out += b"".join(b"%010d 00000 n \n" % o for o in offsets)
out += b"trailer\n<< /Size %d /Root 1 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (len(objects) + 1, xref)
open(f"{work}/blank.pdf", "wb").write(out)
EOF
place=(--picture "$work/sig.png" --at 360,60 --width 150)
"$cli" sign -q "$work/blank.pdf" "${place[@]}" -o "$work/stamp.pdf" >/dev/null

printf '%-10s %8s %9s %12s\n' tool seconds peak_MB output_bytes
declare -A T M S
for tool in quirebook qpdf; do
  if [ "$tool" = quirebook ]; then
    best 3 "$work/q.pdf" "$cli" sign -q "$work/in.pdf" "${place[@]}" --page 1- -o "$work/q.pdf"
  else
    best 3 "$work/qpdf.pdf" qpdf "$work/in.pdf" --overlay "$work/stamp.pdf" --repeat=1 -- "$work/qpdf.pdf"
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
# The signature is drawn, and alike in both, on the first and the last page.
for page in 1 1000; do
  for f in in q qpdf; do
    pdftoppm -r 36 -gray -f $page -l $page -singlefile "$work/$f.pdf" "$work/$f-$page"
  done
  python3 - "$work"/{in,q,qpdf}-$page.pgm <<'EOF'
import sys
source, ours, theirs = (open(p, "rb").read() for p in sys.argv[1:4])
def diff(a, b):
    return sum(abs(x - y) for x, y in zip(a, b)) / max(1, min(len(a), len(b)))
if len(ours) != len(theirs) or diff(ours, theirs) > 2 or diff(source, ours) < 0.05:
    sys.exit(f"{sys.argv[2]}: against qpdf {diff(ours, theirs):.2f}, against the source {diff(source, ours):.2f}")
EOF
done
echo "pages 1 and 1000: signed, and alike in both (poppler, 36 dpi)"
