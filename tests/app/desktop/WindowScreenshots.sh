#!/usr/bin/env bash
# The windows whose look changed, each drawn by a real X server (Xvfb) and saved as a screenshot
# ("make screenshots"): runs the screenshot program on that display.
#
#   WindowScreenshots.sh APP_SCREENSHOTS SCREENSHOT_FOLDER
#
# TINTERA_SCREENSHOT_PALETTE=dark draws them in a dark palette, QT_SCALE_FACTOR=2 at 200%.
#
# Exits 77 when the X tools are missing.
set -euo pipefail

tests=$1
shots=$2
work=$(mktemp -d)
source "$(dirname "$0")/XvfbFixture.sh"
xvfb_require Xvfb xdpyinfo
mkdir -p "$shots"
rm -f "$shots"/preferences-*.png "$shots"/help-window.png "$shots"/export-*.png "$shots"/error-window.png \
  "$shots"/tray-menu-firmware.png "$shots"/selected-only-confirmation.png "$shots"/second-launch.png

xvfb_start
# A home with a documents folder, where the export's save panel opens.
export HOME="$work/home"
mkdir -p "$HOME/Documents"
TINTERA_SCREENSHOT_DIR="$shots" QT_QPA_PLATFORM=xcb "$tests" --gtest_filter='WindowScreenshots.*' >"$log" 2>&1 \
  || fail "the screenshots were not taken"
grep -q "SKIPPED" "$log" && fail "the screenshots were skipped on the X server"
cat "$log"
for shot in preferences-all-fandecks-synced preferences-device-away help-window export-save-panel \
            export-confirmation error-window tray-menu-firmware selected-only-confirmation \
            export-replace-question second-launch; do
  [ -s "$shots/$shot.png" ] || fail "no screenshot $shot.png"
done
echo "screenshots in $shots"
