#!/bin/bash
# The library at work, from an artwork to proven files: the label in docs/artwork is rastered at 1200
# pixels an inch, as one screened picture, as four separations and in gray. Each raster is
# converted to a track file, plain and deflated, checked deeply, previewed, and turned back into a
# picture that must have the pixels of the first. That last comparison shares no code with the
# library. The separations are then made once more, straight from the PostScript by the rules in
# docs/examples/autoconvert, with the same proof. Results stay in out/demo; the exit status is not 0
# if anything failed or differs.
. "$(dirname "$0")/lib.sh"

out=out/demo
dpi=1200
vor=build/release/bin/vor
pictures=(label cyan magenta yellow black gray)
inks=(Cyan Magenta Yellow Black)

raster() { # DEVICE FILE [ARGUMENT...]
    local device=$1 file=$2
    shift 2
    quietly gs -q -dSAFER -dBATCH -dNOPAUSE "-sDEVICE=$device" "-r$dpi" "$@" "-sOutputFile=$file" \
        docs/artwork/screen.ps docs/artwork/label.ps
}

make_pictures() {
    raster tiffg4 "$out/label.tif"
    raster tiffgray "$out/gray.tif" -sCompression=lzw
    raster tiffsep1 "$out/sep.tif"
    local ink
    for ink in "${inks[@]}"; do
        mv "$out/sep($ink).tif" "$out/${ink,,}.tif"
    done
    rm -f "$out/sep.tif"
}

# timed NAME COMMAND...: runs the command and puts the milliseconds it took into NAME.
timed() {
    local -n elapsed=$1
    local start=${EPOCHREALTIME/./}
    shift
    quietly "$@"
    elapsed=$(((${EPOCHREALTIME/./} - start + 500) / 1000))
}

size_of() { stat -c %s "$1"; }

# Bytes that the picture's pixels take with no coding at all.
bytes_of_pixels() {
    local bits=1
    if [ "$1" = gray ]; then bits=8; fi
    tiffinfo "$out/$1.tif" |
        awk -v bits=$bits '/Image Width:/ { print int(($3 * bits + 7) / 8) * $6 }'
}

print_row() { printf '%-9s %-9s %10s %10s %10s %7s %9s %9s %9s\n' "$@"; }

# prove PICTURE FORM [ARGUMENT...]: one line of the table. The arguments are those of the conversion.
prove() {
    local picture=$1 form=$2 convert check preview
    shift 2
    local tif=$out/$picture.tif file=$out/$picture-$form.vor
    timed convert "$vor" convert --quiet "$@" "$tif" "$file"
    timed check "$vor" check --quiet --deep "$file"
    timed preview "$vor" preview --quiet --width 600 "$file" "${file%.vor}.png"
    prove_same_pixels "$file" "$tif"
    local pixels size
    pixels=$(bytes_of_pixels "$picture")
    size=$(size_of "$file")
    print_row "$picture" "$form" "$pixels" "$(size_of "$tif")" "$size" \
        "$(awk "BEGIN { printf \"%.2f\", $pixels / $size }")" "$convert" "$check" "$preview"
}

# prove_same_pixels TRACKFILE PICTURE
prove_same_pixels() {
    local again=$out/again.tif
    quietly "$vor" convert --quiet "$1" "$again"
    scripts/compare_pixels.py "$2" "$again" >&2 || die "$1 does not have the pixels of $2"
    rm "$again"
}

# A home for autoconvert: the rules, and what they ask for.
enter_home() {
    export QUORVENTAHOME=$root/$out/home DPI=$dpi SCREENS=$root/docs/artwork/screen.ps
    export PATH=$root/${vor%/*}:$PATH
    mkdir -p "$QUORVENTAHOME/.par"
    cp docs/examples/autoconvert "$QUORVENTAHOME/.par/.autoconvert"
    cp docs/artwork/label.ps "$out"
}

# prove_plate INK: from label.ps:INK to label.INK.vor.
prove_plate() {
    local ink=$1 file=$out/label.$1.vor convert check
    timed convert "$vor" resolve --convert "$out/label.ps:$ink"
    timed check "$vor" check --quiet --deep "$file"
    prove_same_pixels "$file" "$out/${ink,,}.tif"
    printf '%-17s %-17s %10s %9s %9s\n' "label.ps:$ink" "$(basename "$file")" "$(size_of "$file")" \
        "$convert" "$check"
}

scripts/setup.sh
need gs tiffcp tiffinfo python3
configure release
build release vor_command
rm -rf "$out"
mkdir -p "$out"
make_pictures

echo "A label of 60 x 80 mm at $dpi pixels an inch. Sizes in bytes, times in milliseconds; the ratio is"
echo "that of plain pixels to the track file."
echo
print_row picture form pixels TIFF 'track file' ratio convert check preview
for picture in "${pictures[@]}"; do
    prove "$picture" plain
    prove "$picture" deflated --deflate
done
echo
echo "The plates by rule, rastering included:"
echo
printf '%-17s %-17s %10s %9s %9s\n' job 'track file' bytes convert check
enter_home
for ink in "${inks[@]}"; do
    prove_plate "$ink"
done
echo
echo "Every track file has been turned back into a picture, and all pixels are as they were."
echo "Files made:"
ls "$out" | sed "s|^|  $out/|"
