#!/usr/bin/env bash
# Renders the drawings into the icons and bitmaps beside applet.rc. Run after changing a drawing; the results are
# committed, so that a build needs neither librsvg nor ImageMagick.
set -euo pipefail
cd "$(dirname "$0")"
for tool in rsvg-convert convert; do
  command -v "$tool" >/dev/null || { echo "render: $tool is missing" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Up to 24 pixels the detail of the large drawing turns to mud, so those sizes have a drawing of their own.
icon() {
  local name=$1 size source images=()
  for size in 16 24 32 48 256; do
    source=$name.svg
    [ "$size" -gt 24 ] || source=$name-small.svg
    rsvg-convert -w "$size" -h "$size" "$source" -o "$work/$name-$size.png"
    images+=("$work/$name-$size.png")
  done
  # The 256-pixel image is stored as PNG, the others as 32-bit bitmaps.
  convert "${images[@]}" -define png:compression-level=9 "../$name.ico"
}

# The marks of the check's report stand beside lines of text only.
mark() {
  local size images=()
  for size in 16 20 24 32; do
    rsvg-convert -w "$size" -h "$size" "mark-$1.svg" -o "$work/mark-$1-$size.png"
    images+=("$work/mark-$1-$size.png")
  done
  convert "${images[@]}" "../mark-$1.ico"
}

# Sixteen colours without dithering: four bits a pixel.
bitmap() {
  rsvg-convert "$1.svg" -w "$2" -h "$3" -o "$work/$1.png"
  convert "$work/$1.png" -alpha off +dither -colors 16 -type Palette -compress None "BMP3:../$1.bmp"
}

for name in product readers random carriers; do icon "$name"; done
for name in succeeded failed note; do mark "$name"; done
bitmap header 53 53
bitmap watermark 145 290
echo "render: seven icons and two bitmaps written"
