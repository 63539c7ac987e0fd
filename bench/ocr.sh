#!/usr/bin/env bash
# Text recognition against ocrmypdf, in one run on this machine, on a 10-page
# 300-dpi greyscale scan of known English prose (bench/make_scan.py: slightly
# turned, blurred and noisy pages, and where every word lies on them).
# For both tools: wall time (the better of two runs), peak memory (the largest
# single process, as /usr/bin/time reports it, and the whole process tree,
# sampled in a third run), output size; word accuracy (ground-truth words, as
# a case-folded multiset without punctuation, found in pdftotext's text of the
# page); box placement (pdftotext -bbox words matched to ground-truth words of
# the same text on the same page, nearest centre first: how much of the
# reported box lies on the word, and how much of the word it covers); and
# whether lines come out whole and in order. Then the goals: at most 0.3x
# ocrmypdf's time, at least its accuracy, at most 1.05x its size, a mean
# overlap of at least 0.8, and qpdf --check passes on our output.
#
#   bench/ocr.sh [BUILD_DIR]      (default build/release, else build/dev)
#
# KEEP=1 keeps the work folder (scan, ground truth, outputs, per-word details)
# and prints where it is. OMP_THREAD_LIMIT is left unset for both tools, as a
# user would have it.
set -euo pipefail

ROOT=$(cd "$(dirname "$0")/.." && pwd)
BUILD=${1:-}
if [ -z "$BUILD" ]; then
    if [ -x "$ROOT/build/release/src/cli/quirebook-cli" ]; then BUILD=$ROOT/build/release; else BUILD=$ROOT/build/dev; fi
fi
CLI=${QUIREBOOK_CLI:-$BUILD/src/cli/quirebook-cli}

missing() { echo "ocr.sh: $1 is missing${2:+ (apt-get install $2)}" >&2; exit 1; }
[ -x "$CLI" ] || missing "$CLI" ""
"$CLI" searchable --help >/dev/null 2>&1 || { echo "ocr.sh: $CLI has no searchable verb yet" >&2; exit 1; }
command -v ocrmypdf >/dev/null || missing "the peer tool ocrmypdf" ocrmypdf
tesseract --list-langs 2>/dev/null | grep -qx eng || missing "tesseract's English data" tesseract-ocr-eng
for tool in pdftotext:poppler-utils qpdf:qpdf /usr/bin/time:time fc-match:fontconfig; do
    command -v "${tool%%:*}" >/dev/null || missing "${tool%%:*}" "${tool##*:}"
done
# The scan is drawn with PIL; a python3 of its own (pyenv and the like) may lack it.
PY=
for p in python3 /usr/bin/python3; do
    if command -v "$p" >/dev/null && "$p" -c "import PIL" 2>/dev/null; then PY=$p; break; fi
done
[ -n "$PY" ] || missing "PIL for python3" python3-pil

WORK=$(mktemp -d "${TMPDIR:-/tmp}/quirebook-bench-ocr.XXXXXX")
if [ "${KEEP:-}" = 1 ]; then trap 'echo "work folder kept: $WORK" >&2' EXIT; else trap 'rm -rf "$WORK"' EXIT; fi
unset OMP_THREAD_LIMIT

echo "making the scan in $WORK ..." >&2
"$PY" "$ROOT/bench/make_scan.py" "$WORK"
SCAN=$WORK/scan.pdf
LOAD_BEFORE=$(cut -d' ' -f1-3 /proc/loadavg)

# The peak of the summed resident memory of a command and all its
# descendants, sampled ten times a second; the command's output is dropped.
tree_peak() {
    "$PY" - "$@" <<'EOF'
import os, subprocess, sys, time
child = subprocess.Popen(sys.argv[1:], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
page_kb = os.sysconf("SC_PAGE_SIZE") // 1024
peak = 0
while child.poll() is None:
    parents = {}
    for pid in os.listdir("/proc"):
        if pid.isdigit():
            try:
                with open("/proc/%s/stat" % pid) as f:
                    fields = f.read().rsplit(")", 1)[1].split()
                parents[int(pid)] = (int(fields[1]), int(fields[21]))
            except (OSError, IndexError, ValueError):
                pass
    tree, grew = {child.pid}, True
    while grew:
        more = {p for p, (pp, _) in parents.items() if pp in tree} - tree
        grew = bool(more)
        tree |= more
    peak = max(peak, sum(parents[p][1] for p in tree if p in parents) * page_kb)
    time.sleep(0.1)
print(peak)
EOF
}

RESULTS=$WORK/results.tsv
: > "$RESULTS"
# run TOOL OUTFILE COMMAND...: two timed runs, the better time and the larger
# peak; then one run for the process tree's memory.
run() {
    local tool=$1 out=$2
    shift 2
    local seconds kb try s k tree
    echo "running $tool ..." >&2
    for try in 1 2; do
        rm -f "$out"
        if ! /usr/bin/time -f "%e %M" -o "$WORK/time" "$@" >/dev/null 2>"$WORK/err-$tool"; then
            echo "  $tool failed: $(tail -1 "$WORK/err-$tool")" >&2
            printf '%s\tFAILED\n' "$tool" >> "$RESULTS"
            return
        fi
        read -r s k < <(tail -1 "$WORK/time")
        if [ "$try" = 1 ]; then seconds=$s kb=$k; else
            seconds=$(awk -v a="$seconds" -v b="$s" 'BEGIN { print (a < b ? a : b) }'); kb=$(( k > kb ? k : kb )); fi
    done
    cp "$out" "$out.kept"
    rm -f "$out"
    tree=$(tree_peak "$@")
    mv "$out.kept" "$out"
    printf '%s\t%s\t%s\t%s\t%s\n' "$tool" "$out" "$seconds" "$kb" "$tree" >> "$RESULTS"
}

run quirebook "$WORK/quirebook.pdf" "$CLI" searchable --language eng -o "$WORK/quirebook.pdf" "$SCAN"
run ocrmypdf "$WORK/ocrmypdf.pdf" ocrmypdf --output-type pdf --jobs 2 -l eng "$SCAN" "$WORK/ocrmypdf.pdf"
LOAD_AFTER=$(cut -d' ' -f1-3 /proc/loadavg)

"$PY" - "$WORK" "$RESULTS" "$(nproc)" "$LOAD_BEFORE" "$LOAD_AFTER" <<'EOF'
import collections, html, json, os, re, subprocess, sys, unicodedata

work, results, cores, load_before, load_after = sys.argv[1:6]
truth = json.load(open(os.path.join(work, "scan.json")))["pages"]

FOLD = str.maketrans({"\u2018": "'", "\u2019": "'", "\u201c": '"', "\u201d": '"', "\u2013": "-",
                      "\u2014": "-", "\ufb01": "fi", "\ufb02": "fl", "\ufb00": "ff"})


def light(text):
    """Typographic look-alikes folded, whitespace made single spaces."""
    return " ".join(unicodedata.normalize("NFC", text).translate(FOLD).split())


def norm(word):
    return "".join(c for c in light(word).casefold() if c.isalnum())


def area(b):
    return max(0.0, b[2] - b[0]) * max(0.0, b[3] - b[1])


def intersection(a, b):
    return area((max(a[0], b[0]), max(a[1], b[1]), min(a[2], b[2]), min(a[3], b[3])))


def centre(b):
    return ((b[0] + b[2]) / 2, (b[1] + b[3]) / 2)


def pieces(word, known):
    """The fewest known words that make up word, 0 when there are none."""
    best = [0] + [None] * len(word)
    for end in range(1, len(word) + 1):
        for start in range(end):
            if best[start] is not None and word[start:end] in known:
                n = best[start] + 1
                best[end] = n if best[end] is None else min(best[end], n)
    return best[-1] or 0


def page_texts(pdf):
    text = subprocess.run(["pdftotext", "-q", "-enc", "UTF-8", pdf, "-"], capture_output=True,
                          text=True).stdout
    return text.split("\f")[:len(truth)]


def page_boxes(pdf):
    """pdftotext -bbox words per page, as (text, box in points, origin lower left)."""
    out = subprocess.run(["pdftotext", "-q", "-enc", "UTF-8", "-bbox", pdf, "-"], capture_output=True,
                         text=True).stdout
    pages = []
    for page in re.finditer(r'<page width="([\d.]+)" height="([\d.]+)">(.*?)</page>', out, re.S):
        height = float(page.group(2))
        words = []
        for w in re.finditer(r'<word xMin="([-\d.]+)" yMin="([-\d.]+)" xMax="([-\d.]+)" '
                             r'yMax="([-\d.]+)">(.*?)</word>', page.group(3), re.S):
            x0, y0, x1, y1 = map(float, w.groups()[:4])
            words.append((html.unescape(w.group(5)), (x0, height - y1, x1, height - y0)))
        pages.append(words)
    return pages


def measure(pdf, details):
    texts, boxes = page_texts(pdf), page_boxes(pdf)
    total = found = 0
    lines_all = lines_verbatim = 0
    pairs_all = pairs_kept = 0
    order_pairs = order_ok = 0
    overlaps_out, overlaps_truth, offsets = [], [], []
    matched = reported = 0
    split, merged, worst, out_of_order, missing_lines = [], [], [], [], []
    for index, page in enumerate(truth):
        text = texts[index] if index < len(texts) else ""
        flat = light(text)
        out_words = [n for n in (norm(w) for w in text.split()) if n]
        truth_lines = [[norm(w["text"]) for w in line["words"]] for line in page["lines"]]
        truth_words = [n for line in truth_lines for n in line if n]
        have = collections.Counter(out_words)
        want = collections.Counter(truth_words)
        total += sum(want.values())
        found += sum(min(c, have[w]) for w, c in want.items())

        # Lines verbatim, and in the page's order.
        # A short line may also occur inside an earlier one: look after the
        # line found before it first.
        after = 0
        for line in page["lines"]:
            lines_all += 1
            wanted = light(line["text"])
            at = flat.find(wanted, after)
            if at >= 0:
                lines_verbatim += 1
                order_pairs += 1
                order_ok += 1
                after = at + len(wanted)
            elif flat.find(wanted) >= 0:
                lines_verbatim += 1
                order_pairs += 1
                if len(out_of_order) < 200:
                    out_of_order.append((index + 1, line["text"]))
            elif len(missing_lines) < 200:
                missing_lines.append((index + 1, line["text"]))

        # Neighbours in a line stay neighbours in the text.
        out_pairs = collections.Counter(zip(out_words, out_words[1:]))
        for line in truth_lines:
            words = [w for w in line if w]
            for pair in zip(words, words[1:]):
                pairs_all += 1
                if out_pairs[pair] > 0:
                    out_pairs[pair] -= 1
                    pairs_kept += 1

        # Words split in two, or two words run together.
        # (Run together also across lines: a word of one line between two
        # of the next shows up here.)
        truth_set = set(truth_words)
        for a, b in zip(out_words, out_words[1:]):
            if a + b in truth_set and (a not in truth_set or b not in truth_set) and have[a + b] < want[a + b]:
                split.append((index + 1, a, b))
        for w in out_words:
            if w not in truth_set and pieces(w, truth_set) > 1:
                merged.append((index + 1, w))

        # Boxes: the nearest ground-truth word of the same text, each used once.
        page_out = boxes[index] if index < len(boxes) else []
        reported += len(page_out)
        truth_by = collections.defaultdict(list)
        for line in page["lines"]:
            for w in line["words"]:
                truth_by[norm(w["text"])].append((w["text"], w["box"]))
        candidates = []
        for i, (word, box) in enumerate(page_out):
            n = norm(word)
            if not n:
                continue
            cx, cy = centre(box)
            for j, (_, tbox) in enumerate(truth_by.get(n, [])):
                tx, ty = centre(tbox)
                candidates.append(((cx - tx) ** 2 + (cy - ty) ** 2, i, n, j))
        used_out, used_truth = set(), set()
        for _, i, n, j in sorted(candidates):
            if i in used_out or (n, j) in used_truth:
                continue
            used_out.add(i)
            used_truth.add((n, j))
            word, box = page_out[i]
            tbox = truth_by[n][j][1]
            inter = intersection(box, tbox)
            o_out = inter / area(box) if area(box) > 0 else 0.0
            o_truth = inter / area(tbox) if area(tbox) > 0 else 0.0
            overlaps_out.append(o_out)
            overlaps_truth.append(o_truth)
            offsets.append((centre(box)[0] - centre(tbox)[0], centre(box)[1] - centre(tbox)[1],
                            (box[3] - box[1]) - (tbox[3] - tbox[1])))
            worst.append((o_out, index + 1, word, box, tbox))
        matched += len(used_out)

    def mean(v):
        return sum(v) / len(v) if v else 0.0

    def median(v):
        v = sorted(v)
        return v[len(v) // 2] if v else 0.0

    worst.sort(key=lambda w: w[0])
    with open(details, "w") as f:
        f.write("words split in two (page, parts):\n")
        for s in split:
            f.write("  %d  %s | %s\n" % s)
        f.write("words run together (page, word):\n")
        for m in merged:
            f.write("  %d  %s\n" % m)
        f.write("lines not found verbatim (page, line):\n")
        for m in missing_lines:
            f.write("  %d  %s\n" % m)
        f.write("lines found only before the line above them (page, line):\n")
        for m in out_of_order:
            f.write("  %d  %s\n" % m)
        f.write("boxes, least overlap first (overlap, page, word, reported, truth):\n")
        for o, p, w, b, t in worst[:100]:
            f.write("  %.2f  %d  %-16s [%.1f %.1f %.1f %.1f]  [%.1f %.1f %.1f %.1f]\n" % ((o, p, w) + tuple(b) + tuple(t)))
    return {
        "accuracy": found / total if total else 0.0, "words": total,
        "reported": reported, "matched": matched,
        "overlap_out": mean(overlaps_out), "overlap_truth": mean(overlaps_truth),
        "dx": median([o[0] for o in offsets]), "dy": median([o[1] for o in offsets]),
        "dh": median([o[2] for o in offsets]),
        "lines": lines_verbatim / lines_all if lines_all else 0.0,
        "order": order_ok / order_pairs if order_pairs else 0.0,
        "pairs": pairs_kept / pairs_all if pairs_all else 0.0,
        "split": split, "merged": merged, "worst": worst[:5], "missing": missing_lines, "late": out_of_order,
    }


figures = {}
for line in open(results):
    f = line.rstrip("\n").split("\t")
    if f[1] == "FAILED":
        figures[f[0]] = None
        continue
    pdf = f[1]
    m = measure(pdf, os.path.join(work, "details-%s.txt" % f[0]))
    check = subprocess.run(["qpdf", "--check", pdf], capture_output=True, text=True)
    m.update({"time": float(f[2]), "mb": int(f[3]) / 1024, "tree_mb": int(f[4]) / 1024,
              "size": os.path.getsize(pdf), "check": "ok" if check.returncode == 0 else
              "exit %d: %s" % (check.returncode, (check.stdout + check.stderr).strip().splitlines()[-1])})
    figures[f[0]] = m

total_words = sum(len(l["words"]) for p in truth for l in p["lines"])
print("scan: %d pages, %d words, %d lines, %d bytes; %s cores, load %s before, %s after"
      % (len(truth), total_words, sum(len(p["lines"]) for p in truth),
         os.path.getsize(os.path.join(work, "scan.pdf")), cores, load_before, load_after))
print()
rows = [("wall seconds (better of 2)", "time", "%.2f"), ("peak MB (largest process)", "mb", "%.0f"),
        ("peak MB (process tree)", "tree_mb", "%.0f"), ("output bytes", "size", "%d"),
        ("word accuracy", "accuracy", "%.4f"), ("words reported (-bbox)", "reported", "%d"),
        ("words matched to truth", "matched", "%d"),
        ("overlap / reported box", "overlap_out", "%.3f"), ("overlap / true box", "overlap_truth", "%.3f"),
        ("median centre dx pt", "dx", "%+.2f"), ("median centre dy pt", "dy", "%+.2f"),
        ("median height diff pt", "dh", "%+.2f"),
        ("lines verbatim", "lines", "%.4f"), ("found lines in order", "order", "%.4f"),
        ("line neighbours kept", "pairs", "%.4f"), ("qpdf --check", "check", "%s")]
ours, peer = figures.get("quirebook"), figures.get("ocrmypdf")
print("%-28s %14s %14s %8s" % ("", "quirebook", "ocrmypdf", "ratio"))
for label, key, fmt in rows:
    cells = [(fmt % f[key]) if f else "FAILED" for f in (ours, peer)]
    ratio = ""
    if ours and peer and key in ("time", "mb", "tree_mb", "size") and peer[key]:
        ratio = "%.2fx" % (ours[key] / peer[key])
    print("%-28s %14s %14s %8s" % (label, cells[0], cells[1], ratio))

print()
print("Goals:")
missed = 0
def goal(text, ok):
    global missed
    missed += 0 if ok else 1
    print("  %-52s %s" % (text, "met" if ok else "MISSED"))
if ours and peer:
    goal("time at most 0.3x ocrmypdf's (%.2fx)" % (ours["time"] / peer["time"]), ours["time"] <= 0.3 * peer["time"])
    goal("word accuracy at least ocrmypdf's (%.4f vs %.4f)" % (ours["accuracy"], peer["accuracy"]),
         ours["accuracy"] >= peer["accuracy"])
    goal("size at most 1.05x ocrmypdf's (%.3fx)" % (ours["size"] / peer["size"]), ours["size"] <= 1.05 * peer["size"])
if ours:
    goal("mean overlap at least 0.8 (%.3f)" % ours["overlap_out"], ours["overlap_out"] >= 0.8)
    goal("qpdf --check passes on our output (%s)" % ours["check"], ours["check"] == "ok")
else:
    print("  quirebook failed: no goals can be judged")
    missed += 1
if not peer:
    print("  ocrmypdf failed: nothing to compare with")
print("  goals missed: %d" % missed)

if ours:
    print()
    print("Our output, examples (all of them in details-quirebook.txt):")
    print("  words split in two: %d  %s" % (len(ours["split"]), "; ".join("p%d %s|%s" % s for s in ours["split"][:6])))
    print("  words run together: %d  %s" % (len(ours["merged"]), "; ".join("p%d %s" % m for m in ours["merged"][:6])))
    print("  lines not verbatim: %d  %s" % (len(ours["missing"]), " / ".join("p%d %s" % m for m in ours["missing"][:3])))
    print("  lines out of order: %d  %s" % (len(ours["late"]), " / ".join("p%d %s" % m for m in ours["late"][:3])))
    for o, p, w, b, t in ours["worst"]:
        print("  overlap %.2f  p%d %-14s reported [%.1f %.1f %.1f %.1f]  true [%.1f %.1f %.1f %.1f]"
              % ((o, p, w) + tuple(b) + tuple(t)))
EOF
