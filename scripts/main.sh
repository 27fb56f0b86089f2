#!/usr/bin/env bash
# The main job: shows a person what the library does.
#   1. Installs dependencies and builds the Release flavour quietly: their
#      output goes to out/logs/, and only when a step fails is the end of its
#      log shown.
#   2. Runs the example program (which pushes an error on purpose).
#   3. Runs the qv tool on examples/data/sample.bmp: what the picture is, a
#      few conversions, each followed by what it produced, and one failure
#      on purpose to show how qv reports one. Results go to out/.
set -euo pipefail
cd "$(dirname "$0")/.."
mkdir -p out/logs

# quietly NAME COMMAND...: runs COMMAND with its output in out/logs/NAME.log;
# when it fails, shows the log's last lines and stops.
quietly() {
  local name=$1 log="out/logs/$1.log"
  shift
  if ! "$@" >"$log" 2>&1; then
    echo "$name failed; the last lines of $log:" >&2
    tail -n 40 "$log" >&2
    exit 1
  fi
}

echo "== Setting up and building (logs in out/logs/)"
quietly deps bash scripts/deps.sh
quietly build bash scripts/build.sh release
echo "built build/release/libVOSK32PD.so, the qv tool and the example program"

echo
echo "== The example program, examples/hello_vosk.c"
echo "It prints the library's version, then pushes an error on purpose and reads it back."
./build/release/examples/hello_vosk

qv=./build/release/tools/qv
sample=examples/data/sample.bmp
# show ARGS...: shows and runs `qv ARGS...`.
show() {
  echo "\$ qv $*"
  "$qv" "$@"
}
# step TEXT ARGS...: says what the step does, then shows and runs it.
step() {
  echo
  echo "-- $1"
  shift
  show "$@"
}
# made FILE: what a step produced, as `qv info` sees it.
made() { echo "   made $("$qv" info "$1")"; }

echo
echo "== The qv tool on $sample"
step "What the sample is:" info "$sample"
step "256 greys at half size:" convert "$sample" out/sample_grey.bmp --reduce 4 --size 32x20 --quiet
made out/sample_grey.bmp
step "A 48 x 32 crop in the 16 VGA colours:" \
  convert "$sample" out/sample_vga.bmp --reduce 2 --rect 8,4,48,32 --quiet
made out/sample_vga.bmp
step "Black and white, by error diffusion:" convert "$sample" out/sample_bw.bmp --reduce 1 --quiet
made out/sample_bw.bmp
step "Twice the size, bilinear:" resize "$sample" out/sample_big.bmp 128x80 --quiet
made out/sample_big.bmp
step "A wider canvas, padded with blue (blue, green, red bytes):" \
  resize "$sample" out/sample_canvas.bmp 96x40 --method 4 --background 255,0,0 --quiet
made out/sample_canvas.bmp
step "A PCX copy (the format follows the extension):" convert "$sample" out/sample.pcx --quiet
made out/sample.pcx
rm -f out/sample.dcx
step "A DCX file of two pages, the colour picture and the black and white one:" \
  convert "$sample" out/sample.dcx --append --quiet
show convert out/sample_bw.bmp out/sample.dcx --append --quiet
made out/sample.dcx
step "Page 2 of the DCX file back as BMP:" convert out/sample.dcx out/sample_page2.bmp --page 2 --quiet
made out/sample_page2.bmp

step "PNG and JPEG copies (quality 90):" convert "$sample" out/sample.png --quiet
made out/sample.png
show convert "$sample" out/sample.jpg --quality 90 --quiet
made out/sample.jpg
rm -f out/pages.tif
step "A two-page TIFF: the picture with LZW, the black and white page with Group 4:" \
  convert "$sample" out/pages.tif --compression lzw --quiet
show convert out/sample_bw.bmp out/pages.tif --compression g4 --append --quiet
made out/pages.tif
step "Turned by 30 degrees, the picture grown to hold it:" \
  rotate "$sample" out/sample_rot.bmp 30 --grow --quiet
made out/sample_rot.bmp
step "An optimised palette of 16 colours:" reduce "$sample" out/sample_16.bmp --octree 16 --quiet
made out/sample_16.bmp

rm -f out/sample.xyz
step "A failure, on purpose: no image format is known for the extension .xyz:" \
  convert "$sample" out/sample.xyz --quiet 2>&1 || true
if [ -e out/sample.xyz ]; then
  echo "   out/sample.xyz was left behind" >&2
  exit 1
fi
echo "   nothing was written: out/sample.xyz does not exist"
