#!/usr/bin/env bash
# The application in a real X server: Xvfb with trayer as the system tray. Starts
# "VelmoraSync --demo", finds its tray icon, opens the menu, runs "Sync Now" to the end, opens the
# preferences window, and saves screenshots of the menu and the window.
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

# A free display: Xvfb picks the number and writes it to a pipe.
exec 3<> <(:)
Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
pids+=($!)
read -r -t 10 display <&3 || { echo "Xvfb did not start"; cat "$work/xvfb.log"; exit 1; }
export DISPLAY=:$display
for _ in $(seq 100); do xdpyinfo >/dev/null 2>&1 && break; sleep 0.1; done

trayer --edge top --align left --widthtype pixel --width 200 --height 32 --SetDockType false \
  >"$work/trayer.log" 2>&1 &
pids+=($!)
sleep 0.5

export TINTERA_LOG=1
"$program" --demo >"$work/app.log" 2>&1 &
app=$!
pids+=($app)

fail() {
  echo "FAILED: $*"
  echo "---- application log (last 60 lines) ----"
  tail -n 60 "$work/app.log"
  import -window root "$shots/failure.png" 2>/dev/null || true
  exit 1
}

# The tray icon: a window of the application's class embedded in the tray.
icon=""
for _ in $(seq 150); do
  icon=$(xdotool search --classname VelmoraSync 2>/dev/null | while read -r w; do
    geometry=$(xdotool getwindowgeometry "$w" 2>/dev/null) || continue
    if grep -q "Geometry: 22x" <<<"$geometry"; then echo "$w"; break; fi
  done)
  [ -n "$icon" ] && break
  kill -0 "$app" 2>/dev/null || fail "the application ended early"
  sleep 0.2
done
[ -n "$icon" ] || fail "no tray icon"
eval "$(xdotool getwindowgeometry --shell "$icon")"
iconX=$((X + WIDTH / 2))
iconY=$((Y + HEIGHT / 2))
echo "tray icon $icon at $iconX,$iconY"

# Wait until the demo device is ready (the menu offers "Sync Now").
for _ in $(seq 300); do
  grep -q "deviceDidBecomeAvailable" "$work/app.log" && break
  sleep 0.2
done
grep -q "deviceDidBecomeAvailable" "$work/app.log" || fail "the demo device did not arrive"
# ... and until the first look at the device and the service has ended.
for _ in $(seq 600); do
  grep -q "syncManagerDidFinishPreliminaryInfoGathering" "$work/app.log" && break
  sleep 0.2
done

# A left click opens the menu, as a click on a menu-bar item does.
xdotool mousemove "$iconX" "$iconY" click 1
sleep 1
import -window root "$shots/tray-menu.png"

# "Sync Now" is the menu's first enabled item.
xdotool key Down Return
for _ in $(seq 900); do
  grep -q '"sync_end_' "$TINTERA_DATA_DIR_FOR_TEST/Analytics/events.jsonl" 2>/dev/null && break
  sleep 0.2
done
