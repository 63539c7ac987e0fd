#!/usr/bin/env bash
# Compression against Ghostscript (pdfwrite /screen, /ebook, /printer) and
# qpdf (--recompress-flate --compression-level=9 --object-streams=generate),
# all in one run on this machine. For every input and tool: output size (and
# its ratio to the source), wall time, peak memory, SSIM of page 1 drawn at
# 100 dpi against the source, whether pdftotext finds the same words, and
# qpdf --check. Then the goals: at balanced, at most 0.9x Ghostscript
# /ebook's size with an SSIM at least as high, in at most half its time; on
# text-only PDFs never bigger than the source nor than qpdf's flate-9 output.
#
#   bench/compress.sh [BUILD_DIR]      (default build/release, else build/dev)
#
# Inputs are made here (bench/make_inputs.py): 20 camera-like photos
# (3000x4000 JPEG, q90), a mixed report (text, photos, vector and raster
# charts), a 10-page 300-dpi greyscale scan and a 100-page text-only PDF;
# the colour kinds (bench_pictures, the tests' fixtures, built in
# build/dev): a CMYK brochure page as a plain and as an Adobe CMYK JPEG
# (1800x2400, 300 dpi), an indexed-colour chart and a JPEG 2000 scan; plus
# the corpus's two large manuals. COMPRESS_INPUTS="brochure-cmyk scan-jpx"
# runs only those.
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-}
if [ -z "$BUILD" ]; then
    if [ -x "$ROOT/build/release/src/cli/quirebook-cli" ]; then BUILD=$ROOT/build/release; else BUILD=$ROOT/build/dev; fi
fi
CLI=${QUIREBOOK_CLI:-$BUILD/src/cli/quirebook-cli}
CORPUS=${QUIREBOOK_CORPUS:-$ROOT/../shared/corpus}

command -v gs >/dev/null || apt-get install -y ghostscript >/dev/null
for tool in "$CLI" gs qpdf pdftoppm pdftotext python3 cc /usr/bin/time; do
    command -v "$tool" >/dev/null || { echo "compress.sh: $tool is missing" >&2; exit 1; }
done
[ -x /usr/bin/convert ] || command -v convert >/dev/null || { echo "compress.sh: ImageMagick's convert is missing" >&2; exit 1; }
MANUALS="manual-mupdf-285pages book-freeculture-352pages"
for m in $MANUALS; do
    [ -f "$CORPUS/$m.pdf" ] || { echo "compress.sh: no $m.pdf in $CORPUS" >&2; exit 1; }
done

WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT
cc -O2 -o "$WORK/ssim" "$ROOT/bench/ssim.c" -lm
INPUTS=${COMPRESS_INPUTS:-"photos report scan text brochure-cmyk brochure-adobe chart-indexed scan-jpx $MANUALS"}
wants() { case " $INPUTS " in *" $1 "*) return 0 ;; esac; return 1; }
echo "making inputs in $WORK/in ..." >&2
mkdir -p "$WORK/in"
if wants photos || wants report || wants scan || wants text; then
    python3 "$ROOT/bench/make_inputs.py" "$WORK/in"
fi
if wants brochure-cmyk || wants brochure-adobe || wants chart-indexed || wants scan-jpx; then
    cmake --build "$ROOT/build/dev" --target bench_pictures >/dev/null
    QT_QPA_PLATFORM=offscreen "$ROOT/build/dev/bench/bench_pictures" "$WORK/in"
fi
for m in $MANUALS; do cp "$CORPUS/$m.pdf" "$WORK/in/"; done

# words FILE: the words pdftotext finds inside the crop boxes (what a reader
# shows), sorted, as one checksum.
words() { pdftotext -q -cropbox "$1" - 2>/dev/null | tr -s '[:space:]' '\n' | sort | md5sum | cut -c1-16; }
# page1 FILE OUT: page 1 at 100 dpi, grey, as the reader shows it (crop box).
page1() { pdftoppm -q -r 100 -gray -cropbox -f 1 -l 1 -singlefile "$1" "$2"; }

RESULTS=$WORK/results.tsv
: > "$RESULTS"
# run INPUT TOOL OUTFILE COMMAND...: one measured run.
run() {
    local input=$1 tool=$2 out=$3
    shift 3
    local src="$WORK/in/$input.pdf"
    local seconds kb size ssim same check try s k
    # The faster of two runs, so that a burst of other work on the machine
    # counts less; the larger peak memory.
    for try in 1 2; do
        rm -f "$out"
        if ! /usr/bin/time -f "%e %M" -o "$WORK/time" "$@" >/dev/null 2>"$WORK/err"; then
            printf '%s\t%s\tFAILED\n' "$input" "$tool" >> "$RESULTS"
            echo "  $tool failed on $input: $(tail -1 "$WORK/err")" >&2
            return
        fi
        read -r s k < <(tail -1 "$WORK/time")
        if [ "$try" = 1 ]; then seconds=$s kb=$k; else
            seconds=$(python3 -c "print(min($seconds, $s))"); kb=$(( k > kb ? k : kb )); fi
    done
    size=$(stat -c %s "$out")
    page1 "$out" "$WORK/out"
    ssim=$("$WORK/ssim" "$WORK/src-$input.pgm" "$WORK/out.pgm")
    if [ "$(words "$out")" = "$(words "$src")" ]; then same=yes; else same=no; fi
    if qpdf --check "$out" >/dev/null 2>&1; then check=ok; else check="exit $?"; fi
    printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$input" "$tool" "$size" "$seconds" "$kb" "$ssim" "$same" "$check" >> "$RESULTS"
}

for input in $INPUTS; do
    src="$WORK/in/$input.pdf"
    echo "compressing $input.pdf ($(stat -c %s "$src") bytes) ..." >&2
    page1 "$src" "$WORK/src-$input"
    for level in small balanced high; do
        run "$input" "ours-$level" "$WORK/o-$input-$level.pdf" \
            "$CLI" compress --quiet --level "$level" -o "$WORK/o-$input-$level.pdf" "$src"
    done
    for setting in screen ebook printer; do
        run "$input" "gs-$setting" "$WORK/g-$input-$setting.pdf" \
            gs -q -dNOPAUSE -dBATCH -dSAFER -sDEVICE=pdfwrite -dPDFSETTINGS=/$setting \
            -sOutputFile="$WORK/g-$input-$setting.pdf" "$src"
    done
    run "$input" "qpdf-flate9" "$WORK/q-$input.pdf" \
        qpdf --recompress-flate --compression-level=9 --object-streams=generate "$src" "$WORK/q-$input.pdf"
done

python3 - "$RESULTS" "$WORK/in" $INPUTS <<'EOF'
import os, sys
results, folder, inputs = sys.argv[1], sys.argv[2], sys.argv[3:]
rows = {}
for line in open(results):
    f = line.rstrip("\n").split("\t")
    rows[(f[0], f[1])] = f[2:]

def fig(input, tool):
    r = rows.get((input, tool))
    if not r or r[0] == "FAILED":
        return None
    return {"size": int(r[0]), "time": float(r[1]), "mb": int(r[2]) / 1024, "ssim": float(r[3]),
            "words": r[4], "check": r[5]}

print("%-26s %-13s %11s %7s %7s %8s %7s %6s %s" % ("input", "tool", "bytes", "ratio", "seconds", "peak MB", "SSIM", "words", "qpdf --check"))
for input in inputs:
    source = os.path.getsize(os.path.join(folder, input + ".pdf"))
    print("%-26s %-13s %11d %7s" % (input, "(source)", source, "1.000"))
    for tool in ["ours-small", "ours-balanced", "ours-high", "gs-screen", "gs-ebook", "gs-printer", "qpdf-flate9"]:
        f = fig(input, tool)
        if not f:
            print("%-26s %-13s FAILED" % (input, tool))
            continue
        print("%-26s %-13s %11d %7.3f %7.2f %8.0f %7.4f %6s %s" % (input, tool, f["size"], f["size"] / source,
              f["time"], f["mb"], f["ssim"], f["words"], f["check"]))

print()
print("Goals (ours at balanced against Ghostscript /ebook):")
missed = 0
for input in inputs:
    o, g = fig(input, "ours-balanced"), fig(input, "gs-ebook")
    if not o or not g:
        print("  %-26s could not compare" % input)
        missed += 1
        continue
    size, speed = o["size"] / g["size"], o["time"] / max(g["time"], 0.01)
    ok = size <= 0.9 and o["ssim"] >= g["ssim"] and speed <= 0.5
    missed += 0 if ok else 1
    print("  %-26s size %.2fx, SSIM %.4f vs %.4f, time %.2fx  %s" % (input, size, o["ssim"], g["ssim"], speed,
          "met" if ok else "MISSED"))
for input in [i for i in ["text"] if i in inputs]:
    source = os.path.getsize(os.path.join(folder, input + ".pdf"))
    q = fig(input, "qpdf-flate9")
    for level in ["small", "balanced", "high"]:
        o = fig(input, "ours-" + level)
        ok = o and o["size"] <= source and q and o["size"] <= q["size"]
        missed += 0 if ok else 1
        print("  text-only at %-8s %d bytes; source %d, qpdf flate-9 %d  %s" % (level, o["size"] if o else -1, source,
              q["size"] if q else -1, "met" if ok else "MISSED"))
bad = [k for k, r in rows.items() if k[1].startswith("ours") and (r[0] == "FAILED" or r[5] != "ok")]
print("  every output of ours passes qpdf --check: %s" % ("yes" if not bad else "NO: %s" % bad))
print("  goals missed: %d" % missed)
EOF
