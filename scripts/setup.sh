#!/usr/bin/env bash
# Installs, through apt-get and only when missing, everything Lumevar needs to build, test and run
# on Debian 12. Safe to run again: it does nothing when every package is present.
set -euo pipefail

packages=(
  # toolchain
  build-essential cmake ninja-build pkg-config
  # Qt 6.4: Core, Gui, Widgets, Network, Concurrent, DBus, Test (qt6-base-dev), Svg
  qt6-base-dev qt6-base-dev-tools qt6-svg-dev qt6-qpa-plugins libgl-dev
  # coroutines over Qt
  qcoro-qt6-dev
  # store, playback, tags
  libsqlite3-dev libmpv-dev libtag1-dev
  # tests and benchmarks
  libgtest-dev libgmock-dev googletest libbenchmark-dev
  # demo library encoders (MP3, FLAC, Ogg Vorbis)
  libmp3lame-dev libflac-dev libvorbis-dev libogg-dev
  # the server backend: its keyring, and a Subsonic-API server for its tests and demo
  qtkeychain-qt6-dev supysonic python3-waitress
  # session bus for the MPRIS tests and a virtual display for running the app headless
  dbus dbus-x11 xvfb xauth fonts-dejavu-core
  # the system journal, read for feedback that includes another process's logs
  libsystemd-dev
  # a dark desktop theme and screenshots under Xvfb
  qt6-gtk-platformtheme gnome-themes-extra imagemagick xdotool
  # reading the window as a screen reader does (the Sign In window's check)
  python3-pyatspi at-spi2-core
  # the desktop entry's check
  desktop-file-utils
  # bench/memory-at-scale.sh times the quit
  bc
  # the fuzz preset: clang with libFuzzer and the sanitizers' runtimes
  clang-14 libclang-rt-14-dev
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "setup: installing ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "setup: done"
