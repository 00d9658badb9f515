#!/usr/bin/env bash
# Builds the plug-in and its factory content and installs them for the current user:
# the plug-in into ~/.vst, the presets into the content folder (the XDG data folder,
# "Maple Forge/Cadenzoid"), and the content folder into the settings as "contentpath".
#
#   bash tools/install.sh [content folder]
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup.sh
cmake -S . -B build/release -DCMAKE_BUILD_TYPE=Release -DCADENZOID_TESTS=OFF -DCADENZOID_BENCH=OFF >/dev/null
cmake --build build/release -j"$(nproc)" --target cadenzoid cadenzoid-content cadenzoid-settings >/dev/null

data_home="${XDG_DATA_HOME:-$HOME/.local/share}"
content="${1:-$data_home/Maple Forge/Cadenzoid}"
content="${content%/}/"
vst_folder="${VST_PATH_INSTALL:-$HOME/.vst}"

mkdir -p "$vst_folder" "$content"
install -m 0755 build/release/Cadenzoid.so "$vst_folder/Cadenzoid.so"
# The manual goes beside the plug-in: the folder the plug-in records as "installpath".
install -m 0644 build/release/Manual.htm "$vst_folder/Manual.htm"
# Factory presets are copied over; presets of the user's own (in "User" and elsewhere)
# are left alone.
cp -R build/release/content/. "$content"
./build/release/cadenzoid-settings set contentpath "$content"
# The preset folders are derived from the content folder at the next first start.
./build/release/cadenzoid-settings set-integer firstuse 0
echo "installed $vst_folder/Cadenzoid.so and its Manual.htm"
echo "installed the factory presets into $content"
