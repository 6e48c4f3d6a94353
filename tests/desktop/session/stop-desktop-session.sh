#!/usr/bin/env bash
# CTest fixture cleanup: ends the process group that start-desktop-session.sh created, and only that.
set -uo pipefail
dir=$1
[[ -f $dir/session.pgid ]] || exit 0
group=$(cat "$dir/session.pgid")
kill -TERM -- "-$group" 2>/dev/null
for _ in $(seq 50); do
  kill -0 -- "-$group" 2>/dev/null || break
  sleep 0.1
done
kill -KILL -- "-$group" 2>/dev/null
rm -f "$dir/session.pgid"
exit 0
