#!/usr/bin/env bash
# Runs one desktop session for the desktop tests and stays in the foreground until killed, so that
# everything it starts shares its process group: Xvfb, a session bus with the accessibility bus
# enabled, openbox without its own Alt+Space binding, mousepad and xterm.
# Writes DIR/session.env (KEY=VALUE lines) once every part answers.
set -euo pipefail
dir=$1
mkdir -p "$dir/home" "$dir/runtime" "$dir/files"
chmod 700 "$dir/runtime"
export HOME=$dir/home XDG_RUNTIME_DIR=$dir/runtime
unset SESSION_MANAGER DBUS_SESSION_BUS_ADDRESS WAYLAND_DISPLAY

until_ready() { # timeout-seconds description command...
  local deadline=$((SECONDS + $1)) what=$2
  shift 2
  until "$@" >/dev/null 2>&1; do
    if ((SECONDS >= deadline)); then
      echo "desktop session: $what did not come up" >&2
      exit 1
    fi
    sleep 0.1
  done
}

# Xvfb picks a free display number itself and writes it once it accepts connections.
Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp -noreset 3>"$dir/display" &
until_ready 20 "Xvfb" test -s "$dir/display"
export DISPLAY=:$(<"$dir/display")

dbus-daemon --session --nofork --address="unix:path=$XDG_RUNTIME_DIR/bus" &
export DBUS_SESSION_BUS_ADDRESS=unix:path=$XDG_RUNTIME_DIR/bus
until_ready 20 "the session bus" dbus-send --session --dest=org.freedesktop.DBus --print-reply \
  /org/freedesktop/DBus org.freedesktop.DBus.GetId
# Asking for the address lets D-Bus start the accessibility bus launcher; starting it by hand races.
until_ready 20 "the accessibility bus" dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus \
  org.a11y.Bus.GetAddress
dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.freedesktop.DBus.Properties.Set \
  string:org.a11y.Status string:IsEnabled variant:boolean:true >/dev/null

# openbox takes Alt+Space for its window menu by default; the tests need it free.
perl -0pe 's{<keybind key="A-space">.*?</keybind>}{}gs' /etc/xdg/openbox/rc.xml >"$dir/openbox-rc.xml"
openbox --config-file "$dir/openbox-rc.xml" &
until_ready 20 "openbox" sh -c 'xprop -root _NET_SUPPORTING_WM_CHECK | grep -q "window id"'

: >"$dir/files/editor.txt"
mousepad "$dir/files/editor.txt" &
until_ready 30 "mousepad" xdotool search --onlyvisible --class mousepad
xterm -geometry 80x24+600+300 -e sh -c 'echo SELECTME; exec cat >"$0"' "$dir/files/xterm.out" &
until_ready 30 "xterm" xdotool search --onlyvisible --class xterm

cat >"$dir/session.env.part" <<ENV
DISPLAY=$DISPLAY
DBUS_SESSION_BUS_ADDRESS=$DBUS_SESSION_BUS_ADDRESS
HOME=$HOME
XDG_RUNTIME_DIR=$XDG_RUNTIME_DIR
TAVRIN_SESSION_FILES=$dir/files
ENV
mv "$dir/session.env.part" "$dir/session.env"
wait
