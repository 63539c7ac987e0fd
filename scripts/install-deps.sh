#!/usr/bin/env bash
# Installs the Debian packages Quirebook needs to build, run and test;
# `install-deps.sh asan` adds what the asan tree and the fuzz targets need.
# Does nothing (and needs no network) when everything is already there.
set -euo pipefail

packages=(
  build-essential cmake ninja-build ccache pkg-config
  qt6-base-dev qt6-base-dev-tools libgl-dev
  libqpdf-dev libpoppler-qt6-dev libpoppler-private-dev poppler-data qt6-image-formats-plugins
  libtesseract-dev libleptonica-dev tesseract-ocr-eng tesseract-ocr-osd
  libheif-dev libjpeg-dev libopenjp2-7-dev
  adwaita-icon-theme
  qpdf poppler-utils
  clang-format
  # The package, its manual pages and icons, and the tools its test checks it with.
  dpkg-dev file lintian help2man librsvg2-bin appstream desktop-file-utils man-db
  bash-completion parallel
  # The fuzz targets' replay reads the corpus passwords with jq.
  jq
)
if [ "${1:-}" = asan ]; then
  # clang with libFuzzer and the sanitizer runtimes, llvm-symbolizer for
  # readable reports.
  packages+=(clang-14 libclang-rt-14-dev llvm)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update
$sudo apt-get install -y --no-install-recommends "${missing[@]}"
