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

# little_endian BYTES NUMBER
little_endian() {
  local i
  for ((i = 0; i < $1; ++i)); do printf '%b' "\\x$(printf %02x $(($2 >> 8 * i & 255)))"; done
}

# pack NAME SIZE…: the icon NAME from its images. Large images are stored as PNG, which is a fifth of a bitmap's size;
# the others as 32-bit bitmaps, which open faster.
pack() {
  local name=$1 size place
  shift
  : >"$work/entries" && : >"$work/images"
  place=$((6 + 16 * $#))
  for size; do
    if [ "$size" -ge 48 ]; then
      convert "$work/$name-$size.png" -define png:compression-level=9 -define png:exclude-chunks=all PNG32:"$work/image"
    else
      convert "$work/$name-$size.png" ico:- | tail -c +23 >"$work/image"  # without its file and directory headers
    fi
    {
      little_endian 1 "$size" && little_endian 1 "$size" && little_endian 2 0  # width, height; no palette
      little_endian 2 1 && little_endian 2 32                                  # planes, bits a pixel
      little_endian 4 "$(stat -c %s "$work/image")" && little_endian 4 "$place"
    } >>"$work/entries"
    cat "$work/image" >>"$work/images"
    place=$((place + $(stat -c %s "$work/image")))
  done
  { little_endian 2 0 && little_endian 2 1 && little_endian 2 $#; cat "$work/entries" "$work/images"; } >"../$name.ico"
}

# Up to 24 pixels the details of the large drawing cannot be told apart, so those sizes have a drawing of their own.
icon() {
  local name=$1 size source
  for size in 16 24 32 48 256; do
    source=$name.svg
    [ "$size" -gt 24 ] || source=$name-small.svg
    rsvg-convert -w "$size" -h "$size" "$source" -o "$work/$name-$size.png"
  done
  pack "$name" 16 24 32 48 256
}

# The marks of the check's report are shown beside lines of text only.
mark() {
  local size
  for size in 16 20 24 32; do
    rsvg-convert -w "$size" -h "$size" "mark-$1.svg" -o "$work/mark-$1-$size.png"
  done
  pack "mark-$1" 16 20 24 32
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
