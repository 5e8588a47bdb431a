#!/bin/sh
# Renders the SVG drawings of this folder to the PNG files compiled into the program.
# Needs rsvg-convert or ImageMagick's convert; run it after changing a drawing and commit the PNGs.
set -e
cd "$(dirname "$0")"
for name in AppIcon icon-information icon-warning; do
    if command -v rsvg-convert >/dev/null 2>&1; then
        rsvg-convert -o "$name.png" "$name.svg"
    else
        convert -background none "$name.svg" -strip "PNG32:$name.png"
    fi
done
