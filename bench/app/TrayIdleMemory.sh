#!/usr/bin/env bash
# The tray application at rest, measured from /proc: resident memory after start, after ten syncs
# with the preferences window opened and closed each time and an export from it, and how often its
# threads wake while nothing happens. Runs "VelmoraSync --demo" in Xvfb with trayer as the system tray; syncs are
# started as a user's link would start them (a second launch with an "x-tintera-sync:" URL).
#
#   TrayIdleMemory.sh VELMORASYNC [SYNCS]
#
# Goals: at most 45 MB resident at rest after the syncs; no wake-ups while idle; no memory both
# writable and executable.
# For a closer look: TRAY_IDLE_SMAPS=FILE keeps the smaps at rest, TRAY_IDLE_LOG=FILE the program's
# log, TRAY_IDLE_SHOT=FILE.png a screenshot when a window is not as expected, TRAY_IDLE_GDB=1 the C
# library's heap statistics at rest in that log (gdb attaches, so the wake-up count is then void).
set -euo pipefail

program=$1
syncs=${2:-10}
for tool in Xvfb trayer xdotool xdpyinfo; do
  command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
done

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  [ -z "${TRAY_IDLE_LOG:-}" ] || cp "$work/app.log" "$TRAY_IDLE_LOG" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
wait_for() {
  local tries=$(($1 * 5)); shift
  for _ in $(seq "$tries"); do
    "$@" && return 0
    sleep 0.2
  done
  return 1
}
fail() { echo "FAILED: $*"; tail -n 30 "$work/app.log" 2>/dev/null || true; exit 1; }
# A failure about the program's windows: which are open, and the screen when asked for.
fail_with_windows() {
  for w in $(open_windows); do echo "open: $(xdotool getwindowname "$w") $(xdotool getwindowgeometry "$w" | grep Geometry)"; done
  [ -z "${TRAY_IDLE_SHOT:-}" ] || import -window root "$TRAY_IDLE_SHOT"
  fail "$@"
}

# Resident memory in MB, from /proc.
rss() { awk '/^VmRSS:/ {printf "%.1f", $2 / 1024}' "/proc/$1/status"; }
threads() { ls /proc/"$1"/task | wc -l; }

Xvfb -displayfd 3 -screen 0 1024x768x24 -nolisten tcp 3>"$work/display" >"$work/xvfb.log" 2>&1 &
pids+=($!)
wait_for 10 test -s "$work/display" || fail "Xvfb did not start"
export DISPLAY=":$(head -n 1 "$work/display")"
wait_for 10 xdpyinfo >/dev/null 2>&1 || fail "the X server does not answer"
trayer --edge top --align left --widthtype pixel --width 200 --height 32 --SetDockType false >/dev/null 2>&1 &
pids+=($!)
sleep 0.5

export HOME="$work/home" XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data" XDG_RUNTIME_DIR="$work/run"
mkdir -p "$XDG_RUNTIME_DIR" "$HOME/Documents" && chmod 700 "$XDG_RUNTIME_DIR"
TINTERA_LOG=1 QT_QPA_PLATFORM=xcb "$program" --demo >"$work/app.log" 2>&1 &
app=$!
pids+=($app)
wait_for 60 grep -q "data folder:" "$work/app.log" || fail "the demo did not start"
data=$(sed -n 's/^ *data folder: //p' "$work/app.log" | head -n 1)
events="$data/Analytics/events.jsonl"
wait_for 120 grep -q "syncManagerDidFinishPreliminaryInfoGathering" "$work/app.log" || fail "the first look did not end"
sleep 2
start_rss=$(rss "$app")

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

open_preferences() {
  xdotool mousemove "$iconX" "$iconY" click 1
  sleep 0.6
  xdotool key Down Down Return
  sleep 1.0
  prefs=$(open_windows)
  [ -n "$prefs" ] || fail_with_windows "the preferences window did not open"
  prefs=${prefs%%$'\n'*}
}
# The confirmation the preferences window shows over itself, closed with Escape. With no window
# manager the focus does not move to it by itself.
close_confirmation() {
  local box
  box=$(open_windows | grep -vx "$prefs" || true)
  [ -n "$box" ] || fail_with_windows "no confirmation is shown"
  xdotool windowfocus --sync "${box%%$'\n'*}" key Escape
  wait_for 3 test "$(open_windows)" = "$prefs" || fail_with_windows "the confirmation did not close"
}
# The program's own windows other than the tray icon, one id per line.
open_windows() {
  xdotool search --onlyvisible --classname VelmoraSync 2>/dev/null | while read -r w; do
    xdotool getwindowgeometry "$w" 2>/dev/null | grep -q "Geometry: 22x" || echo "$w"
  done
}
# A sync ends with a message drawn over the tray icon. A user who wants the menu clicks it away,
# which shows the measurements; with no file manager here, a box tells where they are, and OK closes it.
dismiss_sync_message() {
  local box
  wait_for 3 test -n "$(open_windows)" || return 0
  xdotool mousemove "$iconX" "$iconY" click 1
  sleep 0.5
  box=$(open_windows)
  box=${box%%$'\n'*}
  [ -z "$box" ] || xdotool windowfocus --sync "$box" key Return
  wait_for 3 test -z "$(open_windows)" || fail_with_windows "the message or the box after the sync did not close"
}
# Ctrl+W closes it (it is no dialog: Escape leaves it open), given the focus first.
close_preferences() {
  xdotool windowfocus --sync "$prefs" key ctrl+w
  wait_for 3 test -z "$(open_windows)" || fail_with_windows "the preferences window did not close"
}
ended() { [ "$(cat "$events" 2>/dev/null | grep -c '"name":"sync_end_')" -ge "$1" ]; }
for i in $(seq "$syncs"); do
  # The running instance is found by its data folder.
  TINTERA_DATA_DIR="$data" timeout 20 "$program" "x-tintera-sync://sync" >/dev/null 2>&1 || true
  wait_for 240 ended "$i" || fail "sync $i did not end"
  dismiss_sync_message
  # The preferences window, opened from the menu and closed again.
  open_preferences
  close_preferences
  echo "after sync $i: $(rss "$app") MB resident, $(threads "$app") threads"
done

# An export as a user makes it: Alt+E in the preferences window opens the save panel in the
# documents folder with a suggested name, Return takes it; Escape closes the confirmation, Ctrl+W the
# window.
open_preferences
xdotool key alt+e
sleep 1.0
xdotool key Return
exported() { find "$HOME/Documents" -name "*.cxf" | grep -q .; }
wait_for 60 exported || fail "the export wrote nothing"
sleep 0.5
close_confirmation
close_preferences
echo "after the export: $(rss "$app") MB resident, $(threads "$app") threads"

# Settling: what was started by the activity ends (freed memory handed back a moment after the last
# window closes; Qt's pixmap cache and its thread pool let go of idle entries and threads after 30 s).
# Per thread, by thread id: a thread that ends meanwhile takes its count with it, so totals of two
# moments are compared thread by thread (a new thread counts from zero).
per_thread() {
  for t in /proc/"$1"/task/*; do
    echo "${t##*/} $(cat "$t/comm" 2>/dev/null | tr ' ' _) $(awk '/^(voluntary|nonvoluntary)_ctxt_switches:/ {n += $2} END {print n + 0}' "$t/status" 2>/dev/null)"
  done
}
# Wake-ups between two snapshots: the total, then a line per thread that woke.
wakeups_between() {
  awk 'NR == FNR {before[$1] = $3; next} {d = $3 - before[$1]; total += d; if (d) lines = lines "  thread " $2 ": " d " wake-ups\n"}
       END {print total + 0; printf "%s", lines}' "$1" "$2"
}
per_thread "$app" >"$work/settle-start"
sleep 35
per_thread "$app" >"$work/before"
echo "wake-ups while settling (35 s after the last window closed, threads that ended not counted):" \
  "$(wakeups_between "$work/settle-start" "$work/before" | head -n 1)"
rest_rss=$(rss "$app")
# Memory both writable and executable (code generated at run time) is none of a tray's business.
writable_code=$(grep -c ' rwxp ' "/proc/$app/maps" || true)
# Where the resident memory is, mapping by mapping, for a closer look.
[ -z "${TRAY_IDLE_SMAPS:-}" ] || cat "/proc/$app/smaps" >"$TRAY_IDLE_SMAPS"
[ -z "${TRAY_IDLE_GDB:-}" ] || gdb -p "$app" -batch -ex "call (int) malloc_stats()" >/dev/null 2>&1 || true
sleep 30
per_thread "$app" >"$work/after"
wakeups=$(wakeups_between "$work/before" "$work/after" | head -n 1)
wakeups_between "$work/before" "$work/after" | tail -n +2

echo "resident at start (after the first look): $start_rss MB"
echo "resident at rest after $syncs syncs, the preferences window and an export: $rest_rss MB (goal <= 45 MB): \
$(awk -v r="$rest_rss" 'BEGIN {print (r <= 45 ? "met" : "NOT MET")}')"
echo "wake-ups of all threads in 30 s at rest: $wakeups (goal 0): $([ "$wakeups" -eq 0 ] && echo met || echo "NOT MET")"
echo "mappings both writable and executable at rest: $writable_code (goal 0): $([ "$writable_code" -eq 0 ] && echo met || echo "NOT MET")"
grep -c '"name":"sync_end_' "$events" | xargs echo "syncs ended:"
