#!/usr/bin/env bash
# The desktop entry is valid, and once installed it is the handler of "morvik:" links, which is how the
# browser hands the Google sign-in back to the agent.
set -euo pipefail
entry=$1
desktop-file-validate "$entry"
grep -qx 'Exec=tavrin %u' "$entry"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
export XDG_DATA_HOME=$scratch/data XDG_CONFIG_HOME=$scratch/config XDG_DATA_DIRS=$scratch/system
mkdir -p "$XDG_DATA_HOME/applications" "$XDG_CONFIG_HOME" "$XDG_DATA_DIRS"
cp "$entry" "$XDG_DATA_HOME/applications/tavrin.desktop"
update-desktop-database "$XDG_DATA_HOME/applications"
handler=$(xdg-mime query default x-scheme-handler/morvik)
if [[ "$handler" != tavrin.desktop ]]; then
  echo "morvik: links open with '$handler', not tavrin.desktop" >&2
  exit 1
fi
