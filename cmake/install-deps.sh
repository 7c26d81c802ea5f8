#!/usr/bin/env bash
# Installs Debian packages. Usage: cmake/install-deps.sh run|test
# Asks the package database first, so that a second call costs nothing and needs no rights.
set -euo pipefail

build=(g++ cmake ninja-build ccache pkg-config git ca-certificates
  qt6-base-dev libgl-dev libegl-dev libglu1-mesa-dev libgl1-mesa-dri
  libsqlite3-dev libturbojpeg0-dev libpng-dev zlib1g-dev libproj-dev proj-data liblcms2-dev
  libfmt-dev libgdal-dev libcli11-dev nlohmann-json3-dev libgtest-dev libgmock-dev libbenchmark-dev)
run=(libqt6svg6 qt6-wayland qt6-translations-l10n)
check=(gdal-bin python3-gdal python3-numpy sqlite3 xvfb xdotool x11-utils openbox imagemagick clang libclang-rt-14-dev
  clang-format clang-tidy desktop-file-utils appstream shared-mime-info libxml2-utils file dpkg-dev jq)

case "${1:-run}" in
  run) wanted=("${build[@]}" "${run[@]}") ;;
  test) wanted=("${build[@]}" "${run[@]}" "${check[@]}") ;;
  *) echo "usage: $0 run|test" >&2; exit 1 ;;
esac

missing=()
for package in "${wanted[@]}"; do
  state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$state" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "Needs root or sudo to install packages." >&2; exit 1; }
  sudo=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" \
  >/tmp/tarnvale-apt-$$.log 2>&1 || { cat /tmp/tarnvale-apt-$$.log >&2; exit 1; }
rm -f /tmp/tarnvale-apt-$$.log
