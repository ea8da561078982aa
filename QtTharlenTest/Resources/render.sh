#!/bin/bash
# Renders every picture of this folder from its source in svg/.
#
# Needs the Debian packages librsvg2-bin (rsvg-convert), icoutils (icotool),
# pngquant and imagemagick (for the .bmp and .jpg only). No font is needed: all lettering in
# the sources is drawn as strokes. With the same tool versions the output is the
# same bytes on every run.
set -euo pipefail
cd "$(dirname "$0")"

im=
for c in convert-im6.q16 convert-im6 /usr/bin/convert convert; do
    if version=$("$c" -version 2>/dev/null) && [[ $version == *ImageMagick* ]]; then
        im=$c
        break
    fi
done
if [[ -z $im ]]; then
    echo "render.sh: ImageMagick's convert not found" >&2
    exit 1
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# png WIDTH HEIGHT SOURCE OUTPUT; sizes in pixels
png() {
    rsvg-convert -w "$1" -h "$2" "svg/$3.svg" -o "$4"
}

# Icons of tabs and lists, shown at 16 to 64, and the faces of square buttons.
for n in Home select calibrate read calibdetails cycle_amps force friction \
         passivity box rate servorate summary position workspace Temperature \
         filter_data record stop button_border; do
    png 64 64 "$n" "$n.png"
done

# Arrows. The wizard's buttons are 48 square; twice that stays crisp on dense screens.
png 96 96 prev prev.png
png 96 96 next next.png
png 128 128 prev left-128.png
png 128 128 next right-128.png
png 32 32 b1 b1.png
png 32 32 f1 f1.png

# Application icons. The sizes up to 32 have a plainer drawing of their own.
png 256 256 Kerwolde_Nolva_Diagnostic Kerwolde_Nolva_Diagnostic.png
png 16 16 Kerwolde_Nolva_Diagnostic-small "$work/s16.png"
png 32 32 Kerwolde_Nolva_Diagnostic-small "$work/s32.png"
png 48 48 Kerwolde_Nolva_Diagnostic "$work/k48.png"
png 48 48 THARLeNTest "$work/t48.png"
icotool -c -o Kerwolde_Nolva_Diagnostic.ico "$work/s16.png" "$work/s32.png" \
    "$work/k48.png" --raw=Kerwolde_Nolva_Diagnostic.png
icotool -c -o THARLeNTest.ico "$work/s16.png" "$work/s32.png" "$work/t48.png"

# Maker's mark on a button of 200 by 212, and the word-mark.
png 400 424 maker_logo_mark maker_logo_mark.png
rsvg-convert -h 176 svg/marlvane_logo.svg -o marlvane_logo.png

# Calibration illustrations, stretched over a frame of about 300 by 230.
for n in corvale_calibration_illustration nolva_calirbration_illustration \
         nolva2_calibration_illustration Nolva_calibration_Illustration \
         orda_calibration_illustration Tharlen1.5_calibration; do
    png 640 480 "$n" "$n.png"
done

# Opaque pictures in formats that rsvg-convert does not write.
png 640 480 cartesian_space "$work/axes.png"
"$im" "$work/axes.png" -alpha off -strip -sampling-factor 1x1 -quality 88 cartesian_space.jpg
png 600 360 Splash_Nolva "$work/splash.png"
"$im" "$work/splash.png" -alpha off -strip -type TrueColor BMP3:Splash_Nolva.bmp

# At most 256 colours each, with their shades of transparency: not to be told apart, and a third of the bytes for the
# application to unpack as it starts.
pngquant --force --ext .png --speed 1 --nofs --quality 90-100 256 -- *.png
