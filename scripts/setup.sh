#!/usr/bin/env bash
# Installs the Debian packages the build, the demo, the tests and the benchmarks need.
# Idempotent and silent when everything is already present.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  libsdl1.2-compat-dev libgl-dev libglu1-mesa-dev libglew-dev
  liblua5.1-0-dev libpng-dev libboost-filesystem-dev
  libopenal-dev libsndfile1-dev libfftw3-dev
  libcairo2-dev libfreetype-dev libvorbis-dev libogg-dev fonts-dejavu-core
  libgtest-dev libgmock-dev libbenchmark-dev
  xvfb xauth x11-utils libgl1-mesa-dri xdotool openbox pulseaudio pulseaudio-utils libpulse-dev libasound2-plugins libx11-dev
  clang libclang-rt-14-dev
  libavformat-dev libavcodec-dev libswscale-dev libswresample-dev libavutil-dev libegl1 libegl-mesa0 ffmpeg
  lua5.1 patchelf zip unzip mmdebstrap xxd
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
