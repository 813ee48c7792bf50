#!/usr/bin/env bash
# Installs the missing Debian packages, then configures and builds Duoscope.
#   scripts/setup.sh            Release build in build/
#   scripts/setup.sh --sanitize AddressSanitizer + UndefinedBehaviorSanitizer build in build-asan/
set -euo pipefail
cd "$(dirname "$0")/.."

kind=release
[[ "${1:-}" == "--sanitize" ]] && kind=sanitize

mapfile -t wanted < <(grep -vE '^\s*(#|$)' scripts/debian-packages.txt)
missing=()
for package in "${wanted[@]}"; do
    status=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
    [[ "$status" == "install ok installed" ]] || missing+=("$package")
done
if ((${#missing[@]})); then
    echo "Installing: ${missing[*]}"
    sudo=()
    [[ $(id -u) -eq 0 ]] || sudo=(sudo)
    "${sudo[@]}" apt-get update -qq
    DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends \
        "${missing[@]}"
fi

# The tests read and write settings under a comma-decimal locale too.
if ! locale -a 2>/dev/null | grep -qi '^de_DE\.utf-\?8$'; then
    sudo=()
    [[ $(id -u) -eq 0 ]] || sudo=(sudo)
    "${sudo[@]}" localedef -i de_DE -f UTF-8 de_DE.UTF-8 || echo "de_DE.UTF-8 not available"
fi

jobs=$(nproc 2>/dev/null || echo 2)
if [[ $kind == sanitize ]]; then
    cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DDUOSCOPE_SANITIZE=ON \
        -DDUOSCOPE_BUILD_BENCH=OFF >/dev/null
    cmake --build build-asan -j "$jobs"
else
    cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
    cmake --build build -j "$jobs"
fi
