#!/usr/bin/env bash
# Installs what the build and tests need beyond a fresh machine's compiler,
# CMake, GoogleTest, Google Benchmark, zlib and OpenSSL, and what the
# packaging checks use: Doxygen (API reference), libabigail's tools (ABI
# guard), gcovr (coverage report), pkg-config, dpkg-dev (dpkg-shlibdeps for
# the Debian packages) and groff (man page). Idempotent and quiet when
# everything is present.
set -euo pipefail

packages=(cmake ninja-build g++ clang libclang-rt-14-dev libgtest-dev libbenchmark-dev
          zlib1g-dev libssl-dev libxml2-dev libcli11-dev nlohmann-json3-dev libisal-dev
          iproute2 libinih-dev libglib2.0-dev pkg-config libspdlog-dev libboost-dev
          doxygen abigail-tools gcovr dpkg-dev groff-base)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
