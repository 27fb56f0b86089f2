#!/usr/bin/env bash
# The main job: installs dependencies, builds the Release flavour, runs the
# example program, then shows the qv tool on the sample picture: its header
# information, a conversion to 256 greys at half size, a 16-colour crop and a
# PCX copy, each checked back with `qv info`. Results go to out/.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
bash scripts/build.sh release
./build/release/examples/hello_vosk
qv=./build/release/tools/qv
sample=examples/data/sample.bmp
mkdir -p out
"$qv" info "$sample"
"$qv" convert "$sample" out/sample_grey.bmp --reduce 4 --size 32x20 --quiet
"$qv" convert "$sample" out/sample_vga.bmp --reduce 2 --rect 8,4,48,32 --quiet
"$qv" convert "$sample" out/sample.pcx --quiet
"$qv" info out/sample_grey.bmp out/sample_vga.bmp out/sample.pcx
