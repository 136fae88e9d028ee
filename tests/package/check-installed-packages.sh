#!/usr/bin/env bash
# Installs the built Debian packages on this machine with dpkg, runs the installed programs from
# their installed paths in a bare environment, validates the installed metadata, and removes the
# packages again, whatever happened.
#   check-installed-packages.sh PACKAGE_DIR VERSION
set -uo pipefail

packages_dir=$1
version=$2
skip=77

# What the package declares needs no root: https needs the system's CA certificates, and an
# export's --zip needs zip.
declared_app_deb=$(ls "$packages_dir"/tintera-sync_"$version"_*.deb 2>/dev/null | head -n 1)
declared_emulators_deb=$(ls "$packages_dir"/tintera-sync-emulators_"$version"_*.deb 2>/dev/null | head -n 1)
if [ -n "$declared_emulators_deb" ]; then
  dpkg-deb -f "$declared_emulators_deb" Description | grep -q "With them 'tintera demo' and 'VelmoraSync --demo'$" \
    || { echo "FAIL: the description of tintera-sync-emulators is garbled"; exit 1; }
fi
if [ -n "$declared_app_deb" ]; then
  dpkg-deb -f "$declared_app_deb" Depends | grep -qw ca-certificates \
    || { echo "FAIL: tintera-sync does not depend on ca-certificates"; exit 1; }
  dpkg-deb -f "$declared_app_deb" Depends Recommends | grep -qw zip \
    || { echo "FAIL: tintera-sync neither depends on nor recommends zip"; exit 1; }
fi

if [ "$(id -u)" -ne 0 ]; then
  echo "SKIP: installing the packages needs root (dpkg -i); run the tests as root to check them"
  exit $skip
fi

failures=0
fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

app_deb=$(ls "$packages_dir"/tintera-sync_"$version"_*.deb 2>/dev/null | head -n 1)
emulators_deb=$(ls "$packages_dir"/tintera-sync-emulators_"$version"_*.deb 2>/dev/null | head -n 1)
if [ -z "$app_deb" ] || [ -z "$emulators_deb" ]; then
  echo "FAIL: no packages of version $version in $packages_dir"
  exit 1
fi

work=$(mktemp -d)

# dpkg with the same arguments until no other package manager holds its lock (an apt run of
# someone else on this machine), for up to two minutes.
dpkg_waiting() {
  local tries=0
  while :; do
    dpkg "$@" >"$work/dpkg.log" 2>&1 && return 0
    grep -q "lock" "$work/dpkg.log" && [ $tries -lt 120 ] || return 1
    tries=$((tries + 1))
    sleep 1
  done
}
remove_packages() {
  dpkg_waiting --purge tintera-sync tintera-sync-emulators
}
cleanup() {
  remove_packages
  if dpkg-query -W -f='${Status}' tintera-sync 2>/dev/null | grep -q installed; then
    echo "FAIL: tintera-sync is still installed after dpkg --purge"
  fi
  rm -rf "$work"
}
trap cleanup EXIT
trap 'exit 130' INT TERM HUP

# A run killed before its cleanup leaves the packages behind.
remove_packages
if ! dpkg_waiting -i "$app_deb" "$emulators_deb"; then
  cat "$work/dpkg.log"
  echo "FAIL: dpkg -i"
  exit 1
fi

# The installed programs with nothing of the build or of the test run around them: no tools
# folder, no device folder, no display, no runtime folder.
mkdir -p "$work/home"
bare() {
  env -i HOME="$work/home" PATH=/usr/local/bin:/usr/bin:/bin LANG=C.UTF-8 "$@"
}

out=$(bare /usr/bin/tintera --version 2>"$work/err")
[[ $out == "tintera (TINTERA Sync) $version build "* ]] || fail "tintera --version printed '$out'"
[ -s "$work/err" ] && fail "tintera --version wrote to standard error: $(cat "$work/err")"
out=$(bare /usr/bin/VelmoraSync --version 2>"$work/err")
[[ $out == "VelmoraSync (TINTERA Sync) $version build "* ]] || fail "VelmoraSync --version printed '$out' $(cat "$work/err")"

# Without a runtime folder or a device folder named, as under cron or over ssh: no warning.
bare /usr/bin/tintera devices --wait 1 >"$work/out" 2>"$work/err" || fail "tintera devices: $(cat "$work/out" "$work/err")"
[ -s "$work/err" ] && fail "tintera devices wrote to standard error: $(cat "$work/err")"

# The demo finds the emulators of the other package beside itself.
(cd "$work" && bare /usr/bin/tintera demo >"$work/demo.out" 2>&1)
status=$?
if [ $status -ne 0 ] || ! grep -q "Demo finished." "$work/demo.out"; then
  cat "$work/demo.out"
  fail "tintera demo exited with $status"
fi
# Its "nothing moved" rests on the service emulator's counters, read over Qt's HTTP.
grep -Eq "Downloaded [1-9][0-9]* file\(s\)" "$work/demo.out" || fail "the demo read no counters: $(cat "$work/demo.out")"

for page in tintera VelmoraSync tintera-devsim; do
  path=$(bare man -w "$page" 2>&1)
  [ "$path" = "/usr/share/man/man1/$page.1.gz" ] || fail "man -w $page: $path"
done

appstreamcli validate --no-net /usr/share/metainfo/com.velmora.VelmoraSync.metainfo.xml >"$work/appstream" 2>&1 ||
  fail "appstreamcli validate: $(cat "$work/appstream")"
desktop-file-validate /usr/share/applications/com.velmora.VelmoraSync.desktop >"$work/desktop" 2>&1 ||
  fail "desktop-file-validate: $(cat "$work/desktop")"
grep -q '^Exec="/usr/bin/VelmoraSync" %u$' /usr/share/applications/com.velmora.VelmoraSync.desktop ||
  fail "the desktop entry does not start /usr/bin/VelmoraSync"

completed=$(bare bash -c 'source /usr/share/bash-completion/completions/tintera
  COMP_WORDS=(tintera s); COMP_CWORD=1; _tintera; echo "${COMPREPLY[*]}"')
[ "$completed" = "status sync settings" ] || fail "bash completion of 'tintera s' gave '$completed'"
for completion in /usr/share/zsh/vendor-completions/_tintera /usr/share/fish/vendor_completions.d/tintera.fish; do
  [ -f "$completion" ] || fail "not installed: $completion"
done
if command -v zsh >/dev/null; then zsh -n /usr/share/zsh/vendor-completions/_tintera || fail "zsh completion"; fi
if command -v fish >/dev/null; then fish -n /usr/share/fish/vendor_completions.d/tintera.fish || fail "fish completion"; fi

if command -v lintian >/dev/null; then
  lintian --fail-on error,warning "$app_deb" "$emulators_deb" >"$work/lintian" 2>&1 ||
    fail "lintian: $(grep -v 'root privileges' "$work/lintian")"
fi

remove_packages
[ -e /usr/bin/tintera ] && fail "/usr/bin/tintera is left after removing the package"

if [ $failures -ne 0 ]; then
  echo "$failures check(s) failed"
  exit 1
fi
echo "The packages install, run and remove cleanly."
