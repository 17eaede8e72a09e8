#!/usr/bin/env bash
# Builds the Debian packages (libkxsupt9, libkxsupt-dev, kxsupt) with CPack
# from a build configured with the prefix /usr, and checks them: their
# dependencies, the runtime package's shlibs file, and that each holds
# exactly its own files. The packages land in BUILD_DIR/packages.
# Usage: scripts/package.sh [BUILD_DIR]   (default build-release; configured
#        and built here when it does not exist yet)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build-release}
if [ ! -f "$build/CPackConfig.cmake" ]; then
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=/usr \
    -DKXSUPT_TESTS=OFF -DKXSUPT_BENCH=OFF >/dev/null
fi
cmake --build "$build" -j"$(nproc)" --target kxsupt kxsupt_tool kxsupt_man_page >/dev/null
build=$(cd "$build" && pwd)
prefix=$(sed -nE 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
if [ "$prefix" != /usr ]; then
  echo "package: $build is configured with the prefix $prefix; packages need /usr" >&2
  exit 1
fi
rm -rf "$build/packages"
if ! (cd "$build" && cpack -G DEB >"$build/cpack.log" 2>&1); then
  cat "$build/cpack.log" >&2
  exit 1
fi

version=$(sed -nE 's/^project\(kxsupt VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)-1
arch=$(dpkg --print-architecture)
libdir=usr/$(sed -nE 's/^CMAKE_INSTALL_LIBDIR:PATH=//p' "$build/CMakeCache.txt")
status=0
fail() {
  echo "package: $*" >&2
  status=1
}
deb() { echo "$build/packages/${1}_${version}_$arch.deb"; }
files() { dpkg-deb -c "$(deb "$1")" | awk '$1 !~ /^d/ {print $6}' | sed 's|^\./||' | sort; }
depends() { dpkg-deb -f "$(deb "$1")" Depends; }

for package in libkxsupt9 libkxsupt-dev kxsupt; do
  [ -f "$(deb "$package")" ] || fail "$(deb "$package") was not built"
done
[ $status -eq 0 ] || exit 1

expect_files() {  # expect_files PACKAGE FILE...
  local package=$1
  shift
  local want
  want=$(printf '%s\n' "$@" | sort)
  [ "$(files "$package")" = "$want" ] ||
    fail "$package holds other files than expected:" \
      "$(diff <(echo "$want") <(files "$package") | grep '^[<>]' | tr '\n' ' ')"
}
expect_files libkxsupt9 "$libdir/libkxsupt.so.9" "$libdir/libkxsupt.so.9.$(cut -d. -f2- <<<"${version%-1}")" \
  usr/share/doc/kxsupt/README.md usr/share/doc/kxsupt/LICENSE
mapfile -t headers < <(cd include && ls kxsupt.h kxsupt/*.h | sed 's|^|usr/include/|')
expect_files libkxsupt-dev "${headers[@]}" "$libdir/libkxsupt.so" "$libdir/pkgconfig/kxsupt.pc" \
  "$libdir/cmake/kxsupt/kxsuptConfig.cmake" "$libdir/cmake/kxsupt/kxsuptConfigVersion.cmake" \
  "$libdir/cmake/kxsupt/kxsuptTargets.cmake" "$libdir/cmake/kxsupt/kxsuptTargets-release.cmake"
expect_files kxsupt usr/bin/kxsupt usr/share/man/man1/kxsupt.1.gz

grep -qF "libkxsupt9 (= $version)" <<<"$(depends libkxsupt-dev)" ||
  fail "libkxsupt-dev does not depend on libkxsupt9 (= $version): $(depends libkxsupt-dev)"
grep -qF "libkxsupt9 (= $version)" <<<"$(depends kxsupt)" ||
  fail "kxsupt does not depend on libkxsupt9 (= $version): $(depends kxsupt)"
grep -q "libc6 (>= " <<<"$(depends libkxsupt9)" ||
  fail "libkxsupt9 has no dependency on the C library: $(depends libkxsupt9)"
control=$(mktemp -d)
trap 'rm -rf "$control"' EXIT
dpkg-deb -e "$(deb libkxsupt9)" "$control/runtime"
[ "$(cat "$control/runtime/shlibs" 2>/dev/null)" = "libkxsupt 9 libkxsupt9 (>= $version)" ] ||
  fail "libkxsupt9's shlibs file is missing or wrong"
dpkg-deb -x "$(deb libkxsupt-dev)" "$control/dev"
grep -qx 'prefix=/usr' "$control/dev/$libdir/pkgconfig/kxsupt.pc" ||
  fail "kxsupt.pc in libkxsupt-dev does not have the prefix /usr"
dpkg-deb -x "$(deb kxsupt)" "$control/tool"
dynamic=$(readelf -d "$control/tool/usr/bin/kxsupt")
if grep -qE 'RPATH|RUNPATH' <<<"$dynamic"; then
  fail "the packaged tool carries a run path"
fi

# The three install together on this system (a simulation: nothing changes).
if command -v apt-get >/dev/null; then
  (cd "$build/packages" && apt-get install -s -qq ./*.deb >"$control/apt.log" 2>&1) ||
    fail "the packages do not install together: $(cat "$control/apt.log")"
fi

[ $status -eq 0 ] || exit 1
echo "packages: $(cd "$build/packages" && ls ./*.deb | sed 's|^\./||' | tr '\n' ' ')checked"
