#!/usr/bin/env bash
# Pages to pictures and PDF to text, against pdftoppm and pdftotext, in one
# run on this machine: pages per second, peak memory, and our speed as a
# multiple of the peer's (higher is better). Each figure is the better of two
# runs, so a burst of other work on the machine counts less.
#
#   bench/render.sh [BUILD_DIR]      (default build/release, else build/dev)
#
# Inputs are made here: a 100-page text PDF, a 20-page photo PDF (made of
# noisy pictures through quirebook-cli merge) and a 1,000-page manual (the
# corpus's 285-page manual repeated with qpdf).
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-}
if [ -z "$BUILD" ]; then
    if [ -x "$ROOT/build/release/src/cli/quirebook-cli" ]; then BUILD=$ROOT/build/release; else BUILD=$ROOT/build/dev; fi
fi
CLI=$BUILD/src/cli/quirebook-cli
CORPUS=${QUIREBOOK_CORPUS:-$ROOT/../shared/corpus}
for tool in "$CLI" pdftoppm pdftotext qpdf python3 /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "render.sh: $tool is missing" >&2; exit 1; }
done
[ -f "$CORPUS/manual-mupdf-285pages.pdf" ] || { echo "render.sh: no corpus at $CORPUS" >&2; exit 1; }

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

python3 - "$WORK" <<'EOF'
import os, sys, struct, zlib, random
work = sys.argv[1]
random.seed(7)

# 100 pages of running text in two standard fonts.
words = ("the of and to in is that for it as with was on be by this are from at or an which "
         "document page rendering picture resolution manual chapter figure section table").split()
objects = []
def add(body):
    objects.append(body)
    return len(objects)
font1 = add(b"<< /Type /Font /Subtype /Type1 /BaseFont /Times-Roman /Encoding /WinAnsiEncoding >>")
font2 = add(b"<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica-Bold /Encoding /WinAnsiEncoding >>")
pages_id = 2 + 2 * 100 + 1
kids = []
for p in range(100):
    lines = [b"BT /F2 16 Tf 72 740 Td (Chapter %d) Tj ET" % (p + 1)]
    y = 710
    while y > 60:
        text = " ".join(random.choice(words) for _ in range(14)).encode()
        lines.append(b"BT /F1 10 Tf 72 %d Td (%s) Tj ET" % (y, text))
        y -= 12.5
    stream = b"\n".join(lines)
    content = add(b"<< /Length %d >>\nstream\n%s\nendstream" % (len(stream), stream))
    kids.append(add(b"<< /Type /Page /Parent %d 0 R /MediaBox [0 0 612 792] /Contents %d 0 R "
                    b"/Resources << /Font << /F1 %d 0 R /F2 %d 0 R >> >> >>" % (pages_id, content, font1, font2)))
assert add(b"<< /Type /Pages /Kids [%s] /Count %d >>" % (b" ".join(b"%d 0 R" % k for k in kids), len(kids))) == pages_id
catalog = add(b"<< /Type /Catalog /Pages %d 0 R >>" % pages_id)
out = bytearray(b"%PDF-1.4\n")
offsets = []
for i, body in enumerate(objects, 1):
    offsets.append(len(out))
    out += b"%d 0 obj\n%s\nendobj\n" % (i, body)
xref = len(out)
out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
out += b"".join(b"%010d 00000 n \n" % o for o in offsets)
out += b"trailer\n<< /Size %d /Root %d 0 R >>\nstartxref\n%d\n%%%%EOF\n" % (len(objects) + 1, catalog, xref)
open(os.path.join(work, "text100.pdf"), "wb").write(out)

# 20 photo-like pictures: colour gradients with fine noise, 1600 x 1200.
os.makedirs(os.path.join(work, "photos"))
w, h = 1600, 1200
mask = int.from_bytes(b"\x1f" * (w * 3), "big")
def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data) & 0xffffffff)
for n in range(20):
    base = bytearray()
    for x in range(w):
        base += bytes(((x * 255 // w + n * 13) % 256, (n * 40 + x // 9) % 256, (255 - x * 255 // w) % 256))
    raw = bytearray()
    for y in range(h):
        row = int.from_bytes(base, "big") ^ (int.from_bytes(os.urandom(w * 3), "big") & mask)
        raw += b"\x00" + row.to_bytes(w * 3, "big")
    png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", w, h, 8, 2, 0, 0, 0))
    png += chunk(b"IDAT", zlib.compress(bytes(raw), 6)) + chunk(b"IEND", b"")
    open(os.path.join(work, "photos", "photo%02d.png" % n), "wb").write(png)
EOF

"$CLI" merge -q -o "$WORK/photos20.pdf" "$WORK"/photos/*.png >/dev/null
M="$CORPUS/manual-mupdf-285pages.pdf"
qpdf --empty --pages "$M" "$M" "$M" "$M" 1-145 -- "$WORK/manual1000.pdf"
[ "$(qpdf --show-npages "$WORK/manual1000.pdf")" = 1000 ] || { echo "render.sh: manual is not 1000 pages" >&2; exit 1; }

# best SECONDS and PEAK_KB of two runs of a command; CLEAN runs before each.
measure() {
    local clean=$1; shift
    local best_s="" best_kb=0
    for _ in 1 2; do
        eval "$clean"
        /usr/bin/time -f "%e %M" -o "$WORK/time" "$@" >/dev/null 2>&1 || { echo "render.sh: failed: $*" >&2; exit 1; }
        read -r s kb <"$WORK/time"
        if [ -z "$best_s" ] || awk "BEGIN{exit !($s < $best_s)}"; then best_s=$s; fi
        [ "$kb" -gt "$best_kb" ] && best_kb=$kb
    done
    echo "$best_s $best_kb"
}

row() { # label pages ours_s ours_kb peer_s peer_kb
    awk -v l="$1" -v n="$2" -v os="$3" -v ok="$4" -v ps="$5" -v pk="$6" 'BEGIN {
        printf "%-34s %6d %9.1f %9.1f %8.0f %8.0f %7.2fx\n", l, n, n / os, n / ps, ok / 1024, pk / 1024, ps / os }'
}

printf "%-34s %6s %9s %9s %8s %8s %8s\n" "task (150 dpi)" "pages" "ours p/s" "peer p/s" "ours MB" "peer MB" "speed"
clean_out='rm -rf "$WORK"/*" pictures"* "$WORK/out"; mkdir -p "$WORK/out"'
for input in text100:100 photos20:20; do
    name=${input%%:*}; pages=${input##*:}
    for format in png jpeg; do
        read -r os ok < <(measure "$clean_out" "$CLI" pictures -q --format $format --dpi 150 "$WORK/$name.pdf")
        read -r ps pk < <(measure "$clean_out" pdftoppm -r 150 -$format "$WORK/$name.pdf" "$WORK/out/p")
        row "pictures $format, $name.pdf" "$pages" "$os" "$ok" "$ps" "$pk"
    done
done
clean_txt='rm -f "$WORK"/manual*.txt "$WORK/peer.txt"'
read -r os ok < <(measure "$clean_txt" "$CLI" text -q "$WORK/manual1000.pdf")
read -r ps pk < <(measure "$clean_txt" pdftotext "$WORK/manual1000.pdf" "$WORK/peer.txt")
row "text, manual1000.pdf" 1000 "$os" "$ok" "$ps" "$pk"
cp "$M" "$WORK/manual285.pdf"
read -r os285 ok285 < <(measure 'rm -f "$WORK"/manual285*.txt' "$CLI" text -q "$WORK/manual285.pdf")
read -r ps285 pk285 < <(measure "$clean_txt" pdftotext "$WORK/manual285.pdf" "$WORK/peer.txt")
row "text, manual285.pdf" 285 "$os285" "$ok285" "$ps285" "$pk285"
echo "peak memory, text: $((ok285 / 1024)) MB for 285 pages, $((ok / 1024)) MB for 1000 pages"
