#!/usr/bin/env bash
# Installs what Lamina needs from Debian's archive; quick when everything is already there.
set -euo pipefail

packages=(
    build-essential cmake pkg-config git zip ccache
    juce-modules-source libtinyxml2-dev libgtest-dev libbenchmark-dev
    libflac-dev libvorbis-dev libogg-dev libpng-dev libjpeg-dev zlib1g-dev
    libfreetype-dev libfontconfig1-dev libx11-dev libxrandr-dev libxinerama-dev libxcursor-dev libxext-dev
    libxcomposite-dev libasound2-dev libjack-jackd2-dev libgl-dev
    fonts-dejavu-core fonts-roboto-unhinted fonts-inter python3-numpy python3-pil
    jalv jackd2 lilv-utils sordi serdi xvfb x11-utils xdotool imagemagick
)
if [[ "${1:-}" == "--test-extras" ]]; then
    packages+=(clang-format valgrind)
fi

missing=()
for p in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$p")
    fi
done

if ((${#missing[@]})); then
    echo "setup: installing ${missing[*]}"
    sudo_cmd=()
    [[ $(id -u) -ne 0 ]] && sudo_cmd=(sudo)
    export DEBIAN_FRONTEND=noninteractive
    "${sudo_cmd[@]}" apt-get update -qq
    "${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
echo "setup: all dependencies present"
