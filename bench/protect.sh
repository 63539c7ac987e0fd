#!/usr/bin/env bash
# Password protection, measured and checked from the outside:
#  1. time to protect a ~1,000-page manual with quirebook-cli against
#     `qpdf --encrypt U O 256 --` (target: at most 1.5 times qpdf's time);
#  2. when Node is present, the independent readers (pdf.js, MuPDF, PDFium)
#     plus poppler's pdfinfo and qpdf open what `protect` writes only with
#     its password and report exactly the permissions chosen, and open what
#     `unlock` writes from every encrypted corpus file without any password.
#
#   bench/protect.sh [BUILD_DIR]        (default build/dev)
# Environment: QUIREBOOK_CORPUS, QUIREBOOK_VALIDATORS (default ../shared/...),
# RUNS (timing repetitions, default 5).
# Exit status 0 when the target is met and every check passed.
set -uo pipefail

repo=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$repo/build/dev}
[[ $build = /* ]] || build=$repo/$build
cli=$build/src/cli/quirebook-cli
corpus=${QUIREBOOK_CORPUS:-$repo/../shared/corpus}
validators=${QUIREBOOK_VALIDATORS:-$repo/../shared/validators}
runs=${RUNS:-5}
[[ -x $cli ]] || { echo "no quirebook-cli in $build (build it first)" >&2; exit 2; }
[[ -d $corpus ]] || { echo "no corpus at $corpus (set QUIREBOOK_CORPUS)" >&2; exit 2; }
command -v qpdf >/dev/null || { echo "qpdf is needed" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/quirebook-protect.XXXXXX")
trap 'rm -rf "$work"' EXIT
unset QUIREBOOK_PASSWORD QUIREBOOK_NEW_PASSWORD
failures=0
fail() { echo "FAIL $*"; failures=$((failures + 1)); }
pass() { echo "ok   $*"; }

# --- 1. Speed -----------------------------------------------------------------
# 1,000 distinct pages (qpdf shares what comes from one file named twice,
# so the second helpings are copies under other names).
manual=$work/manual.pdf
cp "$corpus/manual-mupdf-285pages.pdf" "$work/m1.pdf"
cp "$corpus/manual-mupdf-285pages.pdf" "$work/m2.pdf"
cp "$corpus/book-freeculture-352pages.pdf" "$work/b1.pdf"
cp "$corpus/book-freeculture-352pages.pdf" "$work/b2.pdf"
qpdf --empty --pages "$work/m1.pdf" "$work/b1.pdf" "$work/m2.pdf" "$work/b2.pdf" 1-78 -- "$manual"
pages=$(qpdf --show-npages "$manual")
printf 'open\n' >"$work/user.txt"
printf 'owner\n' >"$work/owner.txt"

now() { echo "${EPOCHREALTIME/,/.}"; }
median() { sort -g | awk '{a[NR]=$1} END {print (NR % 2) ? a[(NR + 1) / 2] : (a[NR / 2] + a[NR / 2 + 1]) / 2}'; }
: >"$work/qpdf.times"
: >"$work/ours.times"
for ((i = 1; i <= runs; i++)); do
    rm -f "$work/q.pdf" "$work/out/"*
    mkdir -p "$work/out"
    t0=$(now)
    qpdf --encrypt open owner 256 -- "$manual" "$work/q.pdf"
    t1=$(now)
    "$cli" protect --quiet --new-password-file "$work/user.txt" \
        --new-owner-password-file "$work/owner.txt" -o "$work/out" "$manual" >/dev/null \
        || fail "quirebook-cli protect of the manual"
    t2=$(now)
    echo "$t1 - $t0" | bc -l >>"$work/qpdf.times"
    echo "$t2 - $t1" | bc -l >>"$work/ours.times"
done
q=$(median <"$work/qpdf.times")
o=$(median <"$work/ours.times")
ratio=$(echo "$o / $q" | bc -l)
printf 'protect %s pages (%s bytes), median of %s runs:\n' "$pages" "$(stat -c %s "$manual")" "$runs"
printf '  qpdf --encrypt ... 256   %.3f s\n' "$q"
printf '  quirebook-cli protect    %.3f s\n' "$o"
printf '  ratio                    %.2f (target <= 1.5)\n' "$ratio"
if (($(echo "$ratio <= 1.5" | bc -l))); then pass "speed"; else fail "speed: ratio $ratio"; fi
[[ $(qpdf --show-npages --password=open "$work/out/manual protected.pdf") == "$pages" ]] \
    && pass "protected manual has $pages pages" || fail "protected manual page count"

# --- 2. Independent readers ---------------------------------------------------
if ! command -v node >/dev/null; then
    echo "Node is not installed: the pdf.js, MuPDF and PDFium checks are skipped."
    exit $((failures > 0))
fi
readers=$validators
if [[ ! -d $readers/node_modules ]]; then
    readers=${XDG_CACHE_HOME:-$HOME/.cache}/quirebook-validators
    mkdir -p "$readers"
    cp "$validators"/*.mjs "$validators"/package*.json "$readers"/
    chmod -R u+w "$readers"
    if [[ ! -d $readers/node_modules ]] && ! (cd "$readers" && npm ci --no-audit --no-fund --silent >/dev/null 2>&1); then
        echo "Couldn't install the readers (npm ci in $readers): their checks are skipped."
        exit $((failures > 0))
    fi
fi

# check.mjs FILE.json EXPECTED-JSON: compares dotted paths, prints what differs.
cat >"$work/check.mjs" <<'EOF'
import { readFileSync } from "node:fs";
const got = JSON.parse(readFileSync(process.argv[2], "utf8"));
const want = JSON.parse(process.argv[3]);
const at = (o, path) => path.split(".").reduce((v, k) => (v == null ? v : v[k]), o);
const bad = Object.entries(want).filter(([k, v]) => JSON.stringify(at(got, k)) !== JSON.stringify(v))
    .map(([k, v]) => `${k}=${JSON.stringify(at(got, k))} (wanted ${JSON.stringify(v)})`);
if (bad.length) { console.log(bad.join(", ")); process.exit(1); }
EOF
# read READER FILE EXPECTED [--password PW]
read_with() {
    local reader=$1 file=$2 expected=$3
    shift 3
    local json=$work/$reader.json
    node "$readers/$reader.mjs" "$file" --no-text "$@" >"$json" 2>/dev/null
    local why
    if why=$(node "$work/check.mjs" "$json" "$expected"); then return 0; fi
    echo "$why"
    return 1
}

pw='Grüße-пароль-密码'
printf '%s\n' "$pw" >"$work/new.txt"
printf 'owner-ключ\n' >"$work/owner2.txt"
for combo in "both::true:true" "no-printing:--no-printing:false:true" \
             "no-copying:--no-copying:true:false" "neither:--no-printing --no-copying:false:false"; do
    IFS=: read -r name switches print copy <<<"$combo"
    mkdir -p "$work/$name"
    cp "$corpus/plain-pdflatex-4pages.pdf" "$work/$name/paper.pdf"
    # shellcheck disable=SC2086
    out=$("$cli" protect --quiet --new-password-file "$work/new.txt" \
        --new-owner-password-file "$work/owner2.txt" $switches "$work/$name/paper.pdf") \
        || { fail "protect ($name)"; continue; }
    perms="\"permissions.print\":$print,\"permissions.printHighQuality\":$print,\"permissions.copy\":$copy"
    perms+=",\"permissions.modify\":true,\"permissions.annotate\":true,\"permissions.fillForms\":true"
    perms+=",\"permissions.accessibility\":true,\"permissions.assemble\":true"
    for reader in pdfjs mupdf pdfium; do
        why=$(read_with $reader "$out" '{"ok":false,"error.kind":"password-required"}') \
            && pass "$reader refuses $name without a password" || fail "$reader without password ($name): $why"
        why=$(read_with $reader "$out" '{"ok":false}' --password wrong) \
            && pass "$reader refuses $name with a wrong password" || fail "$reader wrong password ($name): $why"
        why=$(read_with $reader "$out" "{\"ok\":true,\"encrypted\":true,\"pageCount\":4,$perms}" --password "$pw") \
            && pass "$reader opens $name, print $print, copy $copy" || fail "$reader with password ($name): $why"
    done
    info=$(pdfinfo -upw "$pw" "$out" 2>/dev/null | sed -n 's/^Encrypted: *//p')
    want="yes (print:$([[ $print == true ]] && echo yes || echo no) copy:$([[ $copy == true ]] && echo yes || echo no) change:yes addNotes:yes algorithm:AES-256)"
    [[ $info == "$want" ]] && pass "pdfinfo: $info" || fail "pdfinfo ($name): $info"
    qpdf --show-npages "$out" >/dev/null 2>&1 && fail "qpdf opened $name without a password" \
        || pass "qpdf refuses $name without a password"
done

# Every encrypted corpus file with a known password, unlocked.
node -e '
const p = require(process.argv[1]);
for (const [f, e] of Object.entries(p))
    console.log([f, e.user_as_typed ?? e.user ?? "", e.user ?? "", e.owner ?? ""].join("\t"));
' "$corpus/passwords.json" >"$work/passwords.tsv"
mkdir -p "$work/unlocked"
# The program gets the password as a person types it; qpdf needs it prepared.
while IFS=$'\t' read -r file typed user owner; do
    args=(unlock --quiet -o "$work/unlocked")
    [[ -n $owner ]] && args+=(--owner-password "$owner")
    out=$(QUIREBOOK_PASSWORD=$typed "$cli" "${args[@]}" "$corpus/$file" </dev/null) \
        || { fail "unlock $file"; continue; }
    count=$(qpdf --show-npages --password="$user" "$corpus/$file" 2>/dev/null) || count=null
    for reader in pdfjs mupdf pdfium; do
        why=$(read_with $reader "$out" "{\"ok\":true,\"encrypted\":false,\"pageCount\":$count}") \
            && pass "$reader opens $(basename "$out") without a password" || fail "$reader ($file): $why"
    done
    pdfinfo "$out" | grep -q '^Encrypted: *no' && pass "pdfinfo: $(basename "$out") not encrypted" \
        || fail "pdfinfo ($file)"
done <"$work/passwords.tsv"

# Forms and attachments survive protecting and then unlocking.
for file in form-acroform-libreoffice.pdf attachment-embedded-file.pdf; do
    mkdir -p "$work/round"
    cp "$corpus/$file" "$work/round/$file"
    locked=$(QUIREBOOK_NEW_PASSWORD=$pw "$cli" protect --quiet "$work/round/$file") || { fail "protect $file"; continue; }
    plain=$(QUIREBOOK_PASSWORD=$pw "$cli" unlock --quiet "$locked") || { fail "unlock $file"; continue; }
    for probe in "pdfinfo" "pdfdetach -list"; do
        a=$($probe "$corpus/$file" 2>/dev/null | grep -E '^(Form|Pages|[0-9]+ embedded|[0-9]+:)')
        b=$($probe "$plain" 2>/dev/null | grep -E '^(Form|Pages|[0-9]+ embedded|[0-9]+:)')
        [[ $a == "$b" ]] && pass "$probe agrees after the round trip of $file" \
            || fail "$probe differs after the round trip of $file: [$a] vs [$b]"
    done
    for reader in pdfjs mupdf pdfium; do
        why=$(read_with $reader "$plain" '{"ok":true,"encrypted":false}') \
            && pass "$reader opens the round trip of $file" || fail "$reader round trip ($file): $why"
    done
done

echo "$failures check(s) failed"
exit $((failures > 0))
