#!/usr/bin/env bash
# The layer check passes on a tree that keeps the rules and fails, naming the file, on each wrong include.
set -euo pipefail
checker=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

tree() {
  rm -rf "$scratch/root"
  mkdir -p "$scratch/root"/{src/{base,protocol,config,service,cli,session,app,platform},src/desktop/x11,server/upstream}
  echo '#include "base/Error.h"' >"$scratch/root/src/protocol/AskRequest.cpp"
  printf '#include "desktop/FocusReader.h"\n#include <xcb/xcb.h>\n' >"$scratch/root/src/desktop/x11/X11Keys.cpp"
  printf '#include "protocol/AskRequest.h"\n#include "upstream/Prompt.h"\n' >"$scratch/root/server/AskRoute.cpp"
  printf '#include "app/AgentPanel.h"\n#include "platform/Platform.h"\n' >"$scratch/root/src/cli/main.cpp"
}

expect_pass() {
  if ! "$checker" --root "$scratch/root" >/dev/null 2>"$scratch/err"; then
    echo "FAIL: a tree that keeps the rules was refused:" >&2
    cat "$scratch/err" >&2
    exit 1
  fi
}

# $1: file under the tree, $2: its contents, $3: what the complaint must say
expect_refused() {
  tree
  mkdir -p "$(dirname "$scratch/root/$1")"
  printf '%s\n' "$2" >"$scratch/root/$1"
  if "$checker" --root "$scratch/root" >/dev/null 2>"$scratch/err"; then
    echo "FAIL: $1 with '$2' was accepted" >&2
    exit 1
  fi
  if ! grep -qF "$3" "$scratch/err"; then
    echo "FAIL: the complaint about $1 does not say '$3':" >&2
    cat "$scratch/err" >&2
    exit 1
  fi
}

tree
expect_pass
expect_refused src/session/Session.cpp '#include "app/Preferences.h"' 'src/session/Session.cpp:1: src/session may not include app/Preferences.h'
expect_refused src/desktop/FocusContext.cpp '#include "desktop/x11/X11Windows.h"' 'src/desktop may not include desktop/x11/X11Windows.h'
expect_refused src/desktop/HotKey.cpp '#include <xcb/xcb.h>' 'only desktop/x11 may include <xcb/xcb.h>'
expect_refused src/desktop/atspi/Atspi.cpp '#include "desktop/x11/X11Keys.h"' 'src/desktop/atspi may not include desktop/x11/X11Keys.h'
expect_refused server/AnswerEngine.h '#include "cli/CommandLineAsk.h"' 'server may not include cli/CommandLineAsk.h'
expect_refused src/service/AgentClient.cpp '#include "session/Session.h"' 'src/service may not include session/Session.h'
expect_refused src/app/AgentPanel.cpp '#include <xcb/xcb.h>' 'only desktop/x11 may include <xcb/xcb.h>'
expect_refused src/views/PanelView.cpp '#include "platform/Platform.h"' 'src/views may not include platform/Platform.h'
echo "check-layers refuses every wrong include it was shown"
