#!/usr/bin/env bash
# CTest fixture setup: starts desktop-session.sh in a process group of its own and waits until it has
# written DIR/session.env, which the desktop tests read (fixtures cannot export environment variables).
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
dir=$1
if [[ -f $dir/session.pgid ]]; then
  "$here/stop-desktop-session.sh" "$dir"
fi
rm -rf "$dir"
mkdir -p "$dir"
setsid "$here/desktop-session.sh" "$dir" >"$dir/session.log" 2>&1 </dev/null &
echo $! >"$dir/session.pgid"
deadline=$((SECONDS + 90))
until [[ -f $dir/session.env ]]; do
  if ! kill -0 "$(cat "$dir/session.pgid")" 2>/dev/null || ((SECONDS >= deadline)); then
    echo "could not start the desktop session; its log:" >&2
    cat "$dir/session.log" >&2
    "$here/stop-desktop-session.sh" "$dir"
    exit 1
  fi
  sleep 0.2
done
echo "desktop session ready in $dir:"
cat "$dir/session.env"
