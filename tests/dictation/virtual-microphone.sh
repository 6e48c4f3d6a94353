#!/usr/bin/env bash
# A private sound server for the dictation tests: what is played into the sink "vmic" is heard from
# the source "vmic_in", the server's default input. A decoy input comes first in the server's list, so
# that picking the first input instead of the default one shows.
#   virtual-microphone.sh start|stop RUNTIME_DIR
set -euo pipefail
action=$1
runtime=$2
export XDG_RUNTIME_DIR=$runtime HOME=$runtime
export PULSE_SERVER=unix:$runtime/pulse/native

case $action in
start)
  "$0" stop "$runtime" 2>/dev/null || true
  mkdir -p -m 0700 "$runtime/pulse"
  cat >"$runtime/server.pa" <<PA
load-module module-native-protocol-unix auth-anonymous=1 socket=$runtime/pulse/native
load-module module-null-sink sink_name=decoy rate=16000 channels=1 format=s16le norewinds=1
load-module module-remap-source master=decoy.monitor source_name=decoy_in
load-module module-null-sink sink_name=vmic rate=16000 channels=1 format=s16le norewinds=1
load-module module-remap-source master=vmic.monitor source_name=vmic_in
set-default-source vmic_in
PA
  pulseaudio -n -F "$runtime/server.pa" --daemonize=yes --exit-idle-time=-1 \
    --log-target=file:"$runtime/server.log"
  for _ in $(seq 100); do
    pactl info >/dev/null 2>&1 && exit 0
    sleep 0.05
  done
  echo "virtual-microphone: the sound server did not come up; see $runtime/server.log" >&2
  exit 1
  ;;
stop)
  if [[ -d $runtime ]]; then
    pulseaudio --kill 2>/dev/null || true
    rm -rf "$runtime"
  fi
  ;;
esac
