#!/usr/bin/env bash
# Runs bench-dictation with a private sound server as its microphone.
#   bench/dictation/run.sh BUILD_DIR [ROUNDS]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
runtime=$(mktemp -d /tmp/tavrin-bench-vmic.XXXXXX)
microphone=$here/../../tests/dictation/virtual-microphone.sh
trap '"$microphone" stop "$runtime"' EXIT
"$microphone" start "$runtime"
PULSE_SERVER=unix:$runtime/pulse/native XDG_RUNTIME_DIR=$runtime "$build/bin/bench-dictation" "${2:-5}"
