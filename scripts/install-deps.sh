#!/usr/bin/env bash
# Installs every Debian package the build, the tests, the demo and the desktop tests need.
# Idempotent: packages already present are skipped, so a warm machine pays one dpkg query.
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config make git
  qt6-base-dev qt6-base-dev-tools qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools libgl-dev
  libqt6sql6-sqlite
  libxml2-dev libxml2-utils
  libplist-dev libplist++-dev
  liblcms2-dev
  libcpp-httplib-dev libssl-dev zlib1g-dev libbrotli-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  zip unzip curl python3 openssl ca-certificates
  argyll
  xvfb trayer x11-utils xdotool imagemagick xdg-utils desktop-file-utils dbus-daemon
  dpkg-dev file fakeroot lintian appstream man-db bash-completion
  clang llvm libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then
  as_root=()
elif command -v sudo >/dev/null 2>&1; then
  as_root=(sudo)
else
  echo "install-deps: need root or sudo to install: ${missing[*]}" >&2
  exit 1
fi

export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
