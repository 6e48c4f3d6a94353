#!/usr/bin/env bash
# Screenshots of the home, sign-in and pairing windows in light and dark, under a private X server:
#   tests/views/screenshot-windows.sh BUILD_DIR OUTPUT_DIR [window ...]
set -euo pipefail
build=$1 out=$2
shift 2
windows=("$@")
((${#windows[@]})) || windows=(home signin pair)
gallery=$build/bin/windows-gallery
shoot() {
  local window=$1 appearance=$2
  QT_QPA_PLATFORM=xcb "$gallery" "$window" "$appearance" &
  local pid=$!
  local id=""
  for _ in $(seq 100); do
    id=$(xdotool search --onlyvisible --pid "$pid" 2>/dev/null | head -1 || true)
    [[ -n "$id" ]] && break
    sleep 0.1
  done
  # Let the window settle: the account check, the self test and the spring animations.
  sleep 2.5
  import -window "$id" "$out/windows-$window-$appearance.png"
  kill "$pid"
  wait "$pid" 2>/dev/null || true
}
export -f shoot
for window in "${windows[@]}"; do
  for appearance in light dark; do
    shoot "$window" "$appearance"
  done
done
