#!/usr/bin/env bash
# The application in a real X server: Xvfb with trayer as the system tray. Starts
# "VelmoraSync --demo", finds its tray icon, opens the menu with a left click, runs "Sync Now"
# against a service that refuses every file until the stall watchdog ends it (the error alert, the
# error window from the notification), then a clean sync (its notification, "Show measurements"),
# opens the preferences window, and saves screenshots of each.
#
#   TrayDemoTest.sh VELMORASYNC SCREENSHOT_FOLDER
#
# Exits 77 (skipped) when the X tools are missing.
set -euo pipefail

program=$1
shots=$2
work=$(mktemp -d)
source "$(dirname "$0")/XvfbFixture.sh"
xvfb_require Xvfb trayer xdotool xdpyinfo import curl
mkdir -p "$shots"
rm -f "$shots"/tray-*.png "$shots"/failure.png

xvfb_start
tray_start

# A run without progress for 3 s is stopped with an error (the default is 120 s).
TINTERA_LOG=1 "$program" --demo --stall-timeout 3 >"$log" 2>&1 &
app=$!
pids+=($app)

wait_for 60 grep -q "data folder:" "$log" || fail "the demo did not start"
data=$(sed -n 's/^ *data folder: //p' "$log" | head -n 1)
service=$(sed -n 's/^ *service: *//p' "$log" | head -n 1)
echo "demo data folder: $data, service: $service"

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
click_icon() {
  xdotool mousemove "$iconX" "$iconY" click 1
  sleep "${1:-0.8}"
}

# The demo device arrives and the first look at it and at the service ends.
wait_for 60 grep -q "deviceDidBecomeAvailable" "$log" || fail "the demo device did not arrive"
wait_for 120 grep -q "syncManagerDidFinishPreliminaryInfoGathering" "$log" || fail "the first look did not end"

# The service now refuses every file: the first sync stalls at its first download.
curl -sf "$service/control/fault?target=files&http=500" >/dev/null || fail "the service emulator took no fault"

# A left click opens the menu, as a click on a menu-bar item does. "Sync Now" is its first
# enabled item.
click_icon 1
import -window root "$shots/tray-menu.png"
xdotool key Down Return
wait_for 30 grep -q "syncManagerDidBeginSync" "$log" || fail "Sync Now did not start a sync"

# While it runs, the menu's first line shows the step and its status, and "Cancel Sync" is there.
sleep 0.5
click_icon
import -window root "$shots/tray-menu-syncing.png"
xdotool key Escape

events="$data/Analytics/events.jsonl"
ended() { [ "$(grep -c '"name":"sync_end_' "$events" 2>/dev/null || true)" -ge "$1" ]; }
wait_for 60 ended 1 || fail "the stalled sync did not end"
grep -q "No progress for 3 s" "$log" || fail "the sync did not end by the stall watchdog"
# The error alert names the cause; the notification shows beside the tray.
sleep 1
import -window root "$shots/tray-stall-alert.png"
xdotool key Return
sleep 0.5
# A click on the notification opens the error window with every error.
click_icon 1
import -window root "$shots/tray-error-window.png"
xdotool key Escape
sleep 0.5

# Served again: the next sync ends cleanly and its notification says what it brought.
curl -sf "$service/control/clear" >/dev/null || fail "the service emulator kept its fault"
click_icon
xdotool key Down Return
wait_for 240 ended 2 || fail "the second sync did not end"
tail -n 1 "$events" | grep -q '"error":"0"' || fail "the second sync ended with errors"
grep -q "The sync finished. Installed .*\. [0-9]* files downloaded, 3 matches exported." "$log" \
  || fail "the notification does not say what the sync brought"
sleep 1
import -window root "$shots/tray-notification.png"
# Its click is "Show measurements"; without a file manager on this machine, the folder is named.
click_icon 1
import -window root "$shots/tray-show-measurements.png"
xdotool key Return
sleep 0.5

# The preferences window: "Preferences..." follows "Sync Now" (the date line is disabled).
click_icon
import -window root "$shots/tray-menu-after-sync.png"
xdotool key Down Down Return
sleep 1.5
import -window root "$shots/tray-preferences.png"

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
