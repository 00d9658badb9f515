#!/usr/bin/env bash
# The Debian package from the build folder holds exactly the plug-in, the factory content
# and the manual, all under /usr, carries the project's version, and depends on the package
# of every library the plug-in links.
#   package_test.sh BUILD_FOLDER VERSION
set -euo pipefail
build="$(cd "$1" && pwd)"
version="$2"
out="$build/package-test"
rm -rf "$out"
mkdir -p "$out"
(cd "$build" && cpack -G DEB -B "$out" >"$out/cpack.log" 2>&1) || { cat "$out/cpack.log"; exit 1; }
debs=("$out"/cadenzoid_*.deb)
if [ ${#debs[@]} -ne 1 ] || [ ! -f "${debs[0]}" ]; then
  echo "FAIL: no single package in $out"
  exit 1
fi
deb="${debs[0]}"
status=0
fail() { echo "FAIL: $*"; status=1; }

content="./usr/share/Maple Forge/Cadenzoid"
{
  echo "./usr/lib/vst/Cadenzoid.so"
  echo "$content/Manual.htm"
  (cd "$build/content" && find . -type f) | sed "s|^\./|$content/|"
} | LC_ALL=C sort >"$out/expected"
dpkg-deb --fsys-tarfile "$deb" | tar -t | grep -v '/$' | LC_ALL=C sort >"$out/files"
diff -u "$out/expected" "$out/files" || fail "the package's files differ from the plug-in, content and manual"
dpkg-deb --fsys-tarfile "$deb" | tar -t | grep -v -e '^\./usr/' -e '^\./$' && fail "entries outside /usr"
grep -q "/Presets/default.cdz$" "$out/files" || fail "no factory default preset"

[ "$(dpkg-deb -f "$deb" Version)" = "$version" ] || fail "version $(dpkg-deb -f "$deb" Version), not $version"
depends="$(dpkg-deb -f "$deb" Depends)"
echo "$depends" | grep -q "fonts-liberation2" || fail "no Liberation fonts in: $depends"
# Every library the packaged plug-in links comes from a package the package depends on.
# The package names alone, one a line.
depended="$(echo "$depends" | sed 's/[,|]/\n/g' | sed 's/(.*//; s/ //g')"
mkdir -p "$out/tree"
dpkg-deb -x "$deb" "$out/tree"
for soname in $(readelf -d "$out/tree/usr/lib/vst/Cadenzoid.so" | sed -n 's/.*Shared library: \[\(.*\)\]/\1/p'); do
  owners="$(dpkg -S "*/$soname" 2>/dev/null | cut -d: -f1 | sort -u || true)"
  [ -n "$owners" ] || { fail "no package owns $soname"; continue; }
  found=0
  for owner in $owners; do
    echo "$depended" | grep -qxF "$owner" && found=1
  done
  [ "$found" -eq 1 ] || fail "$soname ($owners) is not in: $depends"
done
[ "$status" -eq 0 ] && echo "package $(basename "$deb"): $(wc -l <"$out/files") files, depends on $depends"
exit "$status"
