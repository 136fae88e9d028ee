#!/usr/bin/env bash
# The application in a real X server: Xvfb with trayer as the system tray. Starts
# "VelmoraSync --demo", finds its tray icon, opens the menu with a left click, runs "Sync Now" to
# the end, opens the preferences window, and saves screenshots of the menu (idle and syncing) and
# of the window.
#
#   TrayDemoTest.sh VELMORASYNC SCREENSHOT_FOLDER
#
# Exits 77 (skipped) when the X tools are missing.
set -euo pipefail

program=$1
shots=$2
for tool in Xvfb trayer xdotool xdpyinfo import; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap cleanup EXIT
mkdir -p "$shots"
rm -f "$shots"/*.png

log="$work/app.log"
fail() {
  echo "FAILED: $*"
  echo "---- application log (last 60 lines) ----"
  tail -n 60 "$log" 2>/dev/null || true
  import -window root "$shots/failure.png" 2>/dev/null || true
  exit 1
}
# wait_for SECONDS COMMAND...: polls every 0.2 s until the command succeeds.
wait_for() {
  local tries=$(($1 * 5)); shift
  for _ in $(seq "$tries"); do
    "$@" && return 0
    sleep 0.2
  done
  return 1
}

# A free display: Xvfb picks the number and writes it to descriptor 3.
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$work/display" >"$work/xvfb.log" 2>&1 &
pids+=($!)
wait_for 10 test -s "$work/display" || fail "Xvfb did not start"
export DISPLAY=":$(head -n 1 "$work/display")"
wait_for 10 xdpyinfo >/dev/null 2>&1 || fail "the X server does not answer"

trayer --edge top --align left --widthtype pixel --width 200 --height 32 --SetDockType false \
  >"$work/trayer.log" 2>&1 &
pids+=($!)
sleep 0.5

TINTERA_LOG=1 "$program" --demo >"$log" 2>&1 &
app=$!
pids+=($app)

wait_for 60 grep -q "data folder:" "$log" || fail "the demo did not start"
data=$(sed -n 's/^ *data folder: //p' "$log" | head -n 1)
echo "demo data folder: $data"

# The tray icon: a window of the application's class, embedded in the tray at icon size.
find_icon() {
  icon=$(xdotool search --classname VelmoraSync 2>/dev/null | while read -r w; do
    if xdotool getwindowgeometry "$w" 2>/dev/null | grep -q "Geometry: 22x"; then echo "$w"; break; fi
  done)
  [ -n "$icon" ]
}
wait_for 30 find_icon || fail "no tray icon"
eval "$(xdotool getwindowgeometry --shell "$icon")"
iconX=$((X + WIDTH / 2))
iconY=$((Y + HEIGHT / 2))
echo "tray icon $icon at $iconX,$iconY"

# The demo device arrives and the first look at it and at the service ends.
wait_for 60 grep -q "deviceDidBecomeAvailable" "$log" || fail "the demo device did not arrive"
wait_for 120 grep -q "syncManagerDidFinishPreliminaryInfoGathering" "$log" || fail "the first look did not end"

# A left click opens the menu, as a click on a menu-bar item does. "Sync Now" is its first
# enabled item.
xdotool mousemove "$iconX" "$iconY" click 1
sleep 1
import -window root "$shots/tray-menu.png"
xdotool key Down Return
wait_for 30 grep -q "syncManagerDidBeginSync" "$log" || fail "Sync Now did not start a sync"

# While it runs, the menu's first line shows the status.
sleep 0.5
xdotool mousemove "$iconX" "$iconY" click 1
sleep 0.8
import -window root "$shots/tray-menu-syncing.png"
xdotool key Escape

events="$data/Analytics/events.jsonl"
wait_for 240 grep -q '"name":"sync_end_' "$events" || fail "the sync did not end"
grep '"name":"sync_end_' "$events"
grep -q '"name":"sync_end_err".*"error":"0"\|"error":"0".*"name":"sync_end_err"' "$events" \
  || fail "the sync ended with errors"

# The preferences window: "Preferences..." follows "Sync Now" (the date line is disabled).
sleep 0.5
xdotool mousemove "$iconX" "$iconY" click 1
sleep 0.8
import -window root "$shots/tray-menu-after-sync.png"
xdotool key Down Down Return
sleep 1.5
import -window root "$shots/preferences.png"

kill -0 "$app" 2>/dev/null || fail "the application ended"

# Asked to stop, the application quits normally: the emulators stop and the demo folder goes.
root=$(dirname "$data")
kill -TERM "$app"
( sleep 20; kill -KILL "$app" 2>/dev/null ) &
watchdog=$!
status=0
wait "$app" || status=$?
kill "$watchdog" 2>/dev/null || true
[ "$status" -eq 0 ] || fail "the application did not quit cleanly on SIGTERM (status $status)"
[ ! -e "$root" ] || fail "the demo folder $root was left behind"
echo "screenshots in $shots"
