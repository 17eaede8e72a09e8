#!/usr/bin/env bash
# The consumer test: installs a build into a staging prefix, checks that
# exactly the public files were installed (library and its SONAME links,
# headers, kxsupt.pc, the CMake package, the tool, its man page, the README),
# then builds and runs examples/hello.c from a directory outside the source
# tree twice: through pkg-config and through find_package(kxsupt 9).
# Usage: scripts/check-consumer.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
build=${1:-build}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
stage=$work/stage

cmake --install "$build" --prefix "$stage" >/dev/null
libdir=$(cd "$stage" && ls -d lib*/pkgconfig | sed 's|/pkgconfig$||')

# What the install holds, against what it should hold.
expected=$(
  {
    echo bin/kxsupt
    echo include/kxsupt.h
    (cd include && ls kxsupt/*.h) | sed 's|^|include/|'
    for f in libkxsupt.so libkxsupt.so.9 libkxsupt.so.9.1.1 pkgconfig/kxsupt.pc \
      cmake/kxsupt/kxsuptConfig.cmake cmake/kxsupt/kxsuptConfigVersion.cmake \
      cmake/kxsupt/kxsuptTargets.cmake; do
      echo "$libdir/$f"
    done
    echo share/doc/kxsupt/README.md
    echo share/doc/kxsupt/LICENSE
    echo share/man/man1/kxsupt.1.gz
  } | sort
)
installed=$(cd "$stage" && find . -type f -o -type l | sed 's|^\./||' |
  grep -v "^$libdir/cmake/kxsupt/kxsuptTargets-[a-z]*\.cmake$" | sort)
if [ "$installed" != "$expected" ]; then
  echo "install: unexpected file list (< missing, > not expected):" >&2
  diff <(echo "$expected") <(echo "$installed") | grep '^[<>]' >&2
  exit 1
fi
[ "$(readlink "$stage/$libdir/libkxsupt.so")" = libkxsupt.so.9 ] &&
  [ "$(readlink "$stage/$libdir/libkxsupt.so.9")" = libkxsupt.so.9.1.1 ] || {
  echo "install: libkxsupt.so -> libkxsupt.so.9 -> libkxsupt.so.9.1.1 links are wrong" >&2
  exit 1
}
echo "install: $(wc -l <<<"$installed") files, as expected, under a staging prefix"

# The installed tool runs, finding the installed library, and its page renders.
"$stage/bin/kxsupt" --version >/dev/null
zcat "$stage/share/man/man1/kxsupt.1.gz" | groff -man -ww -z -Tutf8

# A client outside the source tree, mirroring examples/.
mkdir -p "$work/client/find_package"
cp "$root/examples/hello.c" "$work/client/"
cp "$root/examples/find_package/CMakeLists.txt" "$work/client/find_package/"
check_run() {  # check_run HOW BINARY
  local output libraries
  output=$("$2")
  libraries=$(ldd "$2")
  grep -q "^libkxsupt interface " <<<"$output" && grep -q "^hello from the library heap$" <<<"$output" ||
    {
      echo "consumer ($1): unexpected output: $output" >&2
      exit 1
    }
  grep -qF "libkxsupt.so.9 => $stage/" <<<"$libraries" || {
    echo "consumer ($1): not linked against the staged library:" >&2
    echo "$libraries" >&2
    exit 1
  }
  echo "consumer ($1): built outside the tree and ran against the staged library"
}

export PKG_CONFIG_PATH=$stage/$libdir/pkgconfig
pkg-config --atleast-version=9 kxsupt
[ "$(pkg-config --modversion kxsupt)" = "$(sed -nE 's/^project\(kxsupt VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)" ]
# shellcheck disable=SC2046
${CC:-cc} -std=c99 -Wall -Wextra -Werror -pedantic "$work/client/hello.c" \
  $(pkg-config --cflags --libs kxsupt) -Wl,-rpath,"$(pkg-config --variable=libdir kxsupt)" \
  -o "$work/client/hello-pkg-config"
check_run pkg-config "$work/client/hello-pkg-config"

cmake -S "$work/client/find_package" -B "$work/client/build" -G Ninja \
  -DCMAKE_PREFIX_PATH="$stage" -DCMAKE_C_FLAGS="-Wall -Wextra -Werror" >/dev/null
cmake --build "$work/client/build" >/dev/null
check_run find_package "$work/client/build/hello"
