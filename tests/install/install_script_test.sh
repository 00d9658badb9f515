#!/usr/bin/env bash
# tools/install.sh from an existing build, in a home and a DESTDIR inside the build folder:
# the per-user install and the system install put every file where it belongs, and
# --uninstall takes away what they put there and nothing of the user's.
#   install_script_test.sh BUILD_FOLDER SOURCE_FOLDER
set -euo pipefail
build="$(cd "$1" && pwd)"
source="$2"
work="$build/install-script-test"
rm -rf "$work"
mkdir -p "$work/home"
export HOME="$work/home"
export XDG_DATA_HOME="$HOME/data" XDG_CONFIG_HOME="$HOME/config" VST_PATH_INSTALL="$HOME/vst"
status=0
fail() { echo "FAIL: $*"; status=1; }
must_exist() { for f in "$@"; do [ -e "$f" ] || fail "missing $f"; done; }
must_not_exist() { for f in "$@"; do [ ! -e "$f" ] || fail "still there: $f"; done; }
content="$XDG_DATA_HOME/Maple Forge/Cadenzoid"

# Per user.
bash "$source/tools/install.sh" --build-dir "$build" >"$work/user.out"
must_exist "$VST_PATH_INSTALL/Cadenzoid.so" "$VST_PATH_INSTALL/Manual.htm" \
  "$content/Presets/default.cdz" "$content/Presets/Grooves/Dub Echo.cdz" "$content/Reverb"
[ "$(grep -c "Ardour" "$work/user.out")" -eq 1 ] || fail "not one line for Ardour users"
grep "Ardour" "$work/user.out" | grep -qF "$VST_PATH_INSTALL" || fail "the Ardour line names no folder"

# The user's own: a saved preset, settings, a factory preset saved over.
mkdir -p "$content/Presets/User" "$XDG_CONFIG_HOME/Maple Forge/Cadenzoid"
printf 'mine' >"$content/Presets/User/Mine.cdz"
printf '# settings\ni firstuse=1\n' >"$XDG_CONFIG_HOME/Maple Forge/Cadenzoid/settings"
printf 'changed' >>"$content/Presets/Grooves/Dub Echo.cdz"
bash "$source/tools/install.sh" --build-dir "$build" --uninstall >"$work/user-uninstall.out"
must_not_exist "$VST_PATH_INSTALL/Cadenzoid.so" "$VST_PATH_INSTALL/Manual.htm" \
  "$content/Presets/default.cdz" "$content/Presets/Textures" "$content/Reverb" \
  "$content/install-manifest"
[ "$(cat "$content/Presets/User/Mine.cdz")" = "mine" ] || fail "the user's preset is gone"
[ "$(cat "$XDG_CONFIG_HOME/Maple Forge/Cadenzoid/settings")" = "$(printf '# settings\ni firstuse=1')" ] ||
  fail "the settings changed"
must_exist "$content/Presets/Grooves/Dub Echo.cdz"
grep -q "kept .*Dub Echo.cdz" "$work/user-uninstall.out" || fail "the kept file is not reported"

# For every user, staged under DESTDIR; nothing lands in the home folder.
find "$HOME" | sort >"$work/home-before"
root="$work/root"
DESTDIR="$root" bash "$source/tools/install.sh" --system --build-dir "$build" >"$work/system.out"
shared="$root/usr/local/share/Maple Forge/Cadenzoid"
must_exist "$root/usr/local/lib/vst/Cadenzoid.so" "$shared/Manual.htm" "$shared/Presets/default.cdz" \
  "$shared/Presets/Midi Programs" "$shared/Delay"
outside="$(find "$root" -type f | grep -v "^$root/usr/local/" || true)"
[ -z "$outside" ] || fail "files outside /usr/local: $outside"
find "$HOME" | sort | diff -u "$work/home-before" - || fail "the system install wrote into the home folder"
# An install made without the script (no manifest) is removed by comparing with the build.
rm "$shared/install-manifest"
DESTDIR="$root" bash "$source/tools/install.sh" --system --build-dir "$build" --uninstall >"$work/system-uninstall.out"
must_not_exist "$root/usr/local/lib/vst" "$root/usr/local/share/Maple Forge"
[ "$status" -eq 0 ] && echo "per-user and system install and uninstall as expected"
exit "$status"
