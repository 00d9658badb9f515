#!/usr/bin/env bash
# Installs the plug-in, its manual and its factory presets, or removes them again.
#
#   bash tools/install.sh                   for you: the plug-in and manual into ~/.vst (or
#                                           $VST_PATH_INSTALL), the presets into the XDG data
#                                           folder, "Maple Forge/Cadenzoid"
#   bash tools/install.sh CONTENT_FOLDER    the same, with the presets in a folder of your
#                                           choice, recorded as "contentpath" in the settings
#   sudo bash tools/install.sh --system     for every user: <prefix>/lib/vst and
#                                           "<prefix>/share/Maple Forge/Cadenzoid", read-only
#   add --uninstall to remove what the same install put there
#
# Options: --prefix DIR (system install, default /usr/local; DESTDIR is honoured),
# --build-dir DIR (install an existing build instead of building a release).
# An install writes the list of its files with their checksums ("install-manifest" in the
# content folder); --uninstall removes exactly those files that are still as installed, so
# presets of your own and your settings stay.
set -euo pipefail
cd "$(dirname "$0")/.."

manifest_name="install-manifest"
system=0
uninstall=0
prefix="/usr/local"
build_dir=""
content_arg=""
while [ $# -gt 0 ]; do
  case "$1" in
    --system) system=1 ;;
    --uninstall) uninstall=1 ;;
    --prefix) prefix="${2:?--prefix needs a folder}"; shift ;;
    --build-dir) build_dir="${2:?--build-dir needs a folder}"; shift ;;
    -h|--help) sed -n '2,18p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    -*) echo "install.sh: unknown option $1" >&2; exit 2 ;;
    *) content_arg="$1" ;;
  esac
  shift
done
prefix="${prefix%/}"
destdir="${DESTDIR:-}"
destdir="${destdir%/}"

if [ "$system" -eq 1 ]; then
  [ -z "$content_arg" ] || { echo "install.sh: --system takes no content folder" >&2; exit 2; }
  vst_dir="$prefix/lib/vst"
  content_dir="$prefix/share/Maple Forge/Cadenzoid"
  manual_dir="$content_dir"
  # Empty folders are removed up to here, never this one.
  content_top="$prefix/share"
else
  [ -z "$destdir" ] || { echo "install.sh: DESTDIR is for --system" >&2; exit 2; }
  data_home="${XDG_DATA_HOME:-$HOME/.local/share}"
  content_dir="${content_arg:-$data_home/Maple Forge/Cadenzoid}"
  content_dir="${content_dir%/}"
  vst_dir="${VST_PATH_INSTALL:-$HOME/.vst}"
  vst_dir="${vst_dir%/}"
  # The plug-in looks for its manual beside itself first.
  manual_dir="$vst_dir"
  content_top="$(dirname "$(dirname "$content_dir")")"
fi
manifest="$destdir$content_dir/$manifest_name"
if [ "$system" -eq 1 ] && [ -z "$destdir" ]; then
  probe="$prefix"
  while [ ! -e "$probe" ]; do probe="$(dirname "$probe")"; done
  [ -w "$probe" ] || { echo "install.sh: $prefix is not writable: run it with sudo" >&2; exit 1; }
fi

# The build and its staging run as the user who asked, not as root under sudo, so that the
# build folder stays theirs.
as_user=()
if [ "$(id -u)" -eq 0 ] && [ -n "${SUDO_USER:-}" ]; then
  as_user=(sudo -u "$SUDO_USER")
fi
if [ -z "$build_dir" ]; then
  bash tools/setup.sh
  build_dir="build/release"
  "${as_user[@]}" cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=Release -DCADENZOID_TESTS=OFF \
    -DCADENZOID_BENCH=OFF >/dev/null
  "${as_user[@]}" cmake --build "$build_dir" -j"$(nproc)" \
    --target cadenzoid cadenzoid-content cadenzoid-settings >/dev/null
fi

# The files of an install, through the build's own install rules, in a folder of our own.
stage="$("${as_user[@]}" mktemp -d)"
trap 'rm -rf "$stage"' EXIT
"${as_user[@]}" env -u DESTDIR cmake --install "$build_dir" --prefix "$stage" --strip >/dev/null
staged_vst="$stage/lib/vst"
staged_content="$stage/share/Maple Forge/Cadenzoid"
if [ ! -f "$staged_vst/Cadenzoid.so" ] || [ ! -f "$staged_content/Presets/default.cdz" ]; then
  echo "install.sh: $build_dir holds no built plug-in and factory presets" >&2
  exit 1
fi

# Where a staged file goes: prints "staged-path<TAB>installed-path" for every file.
each_file() {
  (cd "$staged_vst" && find . -type f) | sort | while IFS= read -r f; do
    printf '%s\t%s\n' "$staged_vst/${f#./}" "$vst_dir/${f#./}"
  done
  (cd "$staged_content" && find . -type f) | sort | while IFS= read -r f; do
    f="${f#./}"
    if [ "$f" = "Manual.htm" ]; then
      printf '%s\t%s\n' "$staged_content/$f" "$manual_dir/$f"
    else
      printf '%s\t%s\n' "$staged_content/$f" "$content_dir/$f"
    fi
  done
}

# Removes the empty folders from folder up to (not including) top.
remove_empty_up() {
  local folder="$1" top="$2"
  while [ "$folder" != "$top" ] && [ "${folder#"$top"/}" != "$folder" ]; do
    rmdir "$destdir$folder" 2>/dev/null || return 0
    folder="$(dirname "$folder")"
  done
}

if [ "$uninstall" -eq 1 ]; then
  list="$stage/manifest"
  if [ -f "$manifest" ]; then
    cp "$manifest" "$list"
  else
    # An install from before the manifest: what this build would install, compared by content.
    each_file | while IFS=$'\t' read -r from to; do
      printf '%s  %s\n' "$(sha256sum <"$from" | cut -d' ' -f1)" "$to"
    done >"$list"
  fi
  removed=0
  kept=0
  while IFS= read -r line; do
    sum="${line%%  *}"
    path="${line#*  }"
    file="$destdir$path"
    [ -f "$file" ] || continue
    if [ "$(sha256sum <"$file" | cut -d' ' -f1)" = "$sum" ]; then
      rm -f "$file"
      removed=$((removed + 1))
    else
      echo "kept $path: changed since it was installed"
      kept=$((kept + 1))
    fi
  done <"$list"
  rm -f "$manifest"
  while IFS= read -r line; do
    path="${line#*  }"
    case "$path" in
      "$content_dir"/*) remove_empty_up "$(dirname "$path")" "$content_top" ;;
    esac
  done <"$list"
  remove_empty_up "$content_dir" "$content_top"
  # An empty plug-in folder goes too; one holding other plug-ins stays.
  rmdir "$destdir$vst_dir" 2>/dev/null || true
  echo "removed $removed installed files, kept $kept changed ones; presets of your own and your settings stay"
  exit 0
fi

mkdir -p "$destdir$vst_dir" "$destdir$content_dir" "$destdir$manual_dir"
new_manifest="$stage/manifest"
each_file | while IFS=$'\t' read -r from to; do
  case "$to" in
    *.so) mode=0755 ;;
    *) mode=0644 ;;
  esac
  install -D -m "$mode" "$from" "$destdir$to"
  printf '%s  %s\n' "$(sha256sum <"$from" | cut -d' ' -f1)" "$to"
done >"$new_manifest"
install -m 0644 "$new_manifest" "$manifest"

if [ "$system" -eq 1 ]; then
  echo "installed $vst_dir/Cadenzoid.so and the manual and factory presets in $content_dir"
  echo "every host that scans $vst_dir finds it: Ardour, REAPER, Bitwig, Carla"
else
  if [ -n "$content_arg" ]; then
    # The preset folders follow the content folder at the plug-in's next start.
    "$build_dir/cadenzoid-settings" set contentpath "$content_dir/"
    "$build_dir/cadenzoid-settings" set-integer firstuse 0
  fi
  echo "installed $vst_dir/Cadenzoid.so with its manual, and the factory presets in $content_dir"
  echo "Ardour does not look in $vst_dir: add it under Preferences > Plugins > VST (Linux VST path), or install with sudo bash tools/install.sh --system"
fi
