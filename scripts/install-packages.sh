#!/usr/bin/env bash
# Installs the Debian packages that build and tests need, and those given, those that are missing only.
set -euo pipefail

packages=(g++ cmake ninja-build qtbase5-dev qttools5-dev-tools libpcap-dev zlib1g-dev pkg-config
    klayout python3 fonts-dejavu-core
    tshark libopencv-imgproc-dev "$@")

missing=()
for package in "${packages[@]}"; do
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] \
        || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

sudo=()
[ "$(id -u)" = 0 ] || sudo=(sudo)
echo "installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
