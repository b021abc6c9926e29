#!/usr/bin/env bash
# Installs the Debian packages the build needs, when they are missing.
set -euo pipefail
# dpkg-dev and file let CPack work out the package's dependencies; python3
# and man-db run the checks of the terminal and the installed layout.
# libsqlite3-dev is for bench/sqlite_bench.cpp only (the comparison with a
# general-purpose store); the program does not use it.
pkgs=(cmake ninja-build g++ libgtest-dev nlohmann-json3-dev qt6-base-dev
  dpkg-dev file python3 man-db libsqlite3-dev)
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
