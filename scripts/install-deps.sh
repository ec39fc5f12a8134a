#!/usr/bin/env bash
# Installs the Debian/Ubuntu packages of scripts/debian-packages.txt that are missing.
# Elsewhere it names what to install and stops.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
mapfile -t wanted < <(grep -Ev '^\s*(#|$)' "$here/debian-packages.txt")

if ! command -v dpkg-query >/dev/null 2>&1 || ! command -v apt-get >/dev/null 2>&1; then
    cat >&2 <<TXT
This script installs dependencies with apt-get (Debian, Ubuntu). On another system install:
CMake 3.25+, a C++20 compiler, Ninja, pkg-config, Qt 6 (Core, Gui, Widgets, OpenGL,
OpenGLWidgets, Svg, Test), FFmpeg (libavformat, libavcodec, libswresample, libavutil and the
ffmpeg tool), Rubber Band 3, RtAudio 5, LodePNG, GoogleTest/GoogleMock, Google Benchmark;
for the tests also Xvfb, PulseAudio with pactl/parecord, xdotool, ImageMagick,
desktop-file-validate and appstreamcli.
TXT
    exit 1
fi

missing=()
for package in "${wanted[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" ||
        missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then
    sudo=()
elif command -v sudo >/dev/null 2>&1; then
    sudo=(sudo)
else
    echo "Run as root or install sudo; missing packages: ${missing[*]}" >&2
    exit 1
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null
