# The X server the desktop tests run in, sourced by each of them: Xvfb on a free display, and
# trayer as the system tray when asked. Sets DISPLAY; everything started here ends with the script.
#
#   source XvfbFixture.sh; xvfb_require TOOL...; xvfb_start; tray_start
#
# Needs: $work (a scratch folder) and $shots (the screenshot folder) set by the caller.

pids=()
xvfb_cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap xvfb_cleanup EXIT

# Exits 77 (skipped) when a tool is missing.
xvfb_require() {
  for tool in "$@"; do
    command -v "$tool" >/dev/null || { echo "skipped: $tool is not installed"; exit 77; }
  done
}

log="$work/app.log"
fail() {
  echo "FAILED: $*"
  echo "---- application log (last 60 lines) ----"
  tail -n 60 "$log" 2>/dev/null || true
  import -window root "$shots/failure.png" 2>/dev/null || true
  cp "$log" "$shots/failure.log" 2>/dev/null || true
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

# A free display: Xvfb picks the number and writes it to descriptor 3. XVFB_SCREEN sets its size
# (a 200% scale wants the screen of a high-density display, 2560x1600x24).
xvfb_start() {
  Xvfb -displayfd 3 -screen 0 "${XVFB_SCREEN:-1024x768x24}" -nolisten tcp 3>"$work/display" >"$work/xvfb.log" 2>&1 &
  pids+=($!)
  wait_for 10 test -s "$work/display" || fail "Xvfb did not start"
  export DISPLAY=":$(head -n 1 "$work/display")"
  wait_for 10 xdpyinfo >/dev/null 2>&1 || fail "the X server does not answer"
}

tray_start() {
  trayer --edge top --align left --widthtype pixel --width 200 --height 32 --SetDockType false \
    >"$work/trayer.log" 2>&1 &
  pids+=($!)
  sleep 0.5
}
