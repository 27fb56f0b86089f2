#!/usr/bin/env bash
# The main job: installs dependencies, builds the Release flavour and runs the
# example program against the library.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/deps.sh
bash scripts/build.sh release
./build/release/examples/hello_vosk
