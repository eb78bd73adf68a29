#!/usr/bin/env bash
# Installs the Debian packages this project builds, tests and benchmarks with.
# Does nothing when every package is already present; uses sudo when not root.
set -euo pipefail

packages=(
  # toolchain
  cmake ninja-build g++ clang pkg-config libclang-rt-14-dev ccache
  # packaging: CPack's Debian generator reads shared-library dependencies;
  # help2man writes the tools' manual pages; lintian checks the packages
  dpkg-dev file help2man lintian
  # test and benchmark frameworks
  libgtest-dev libgmock-dev libbenchmark-dev
  # JSON libraries the JSON benchmark compares with
  rapidjson-dev nlohmann-json3-dev
  # libraries the code links
  libglib2.0-dev libgdk-pixbuf-2.0-dev libicu-dev libcurl4-openssl-dev ca-certificates
  libplist-dev libexpat1-dev zlib1g-dev libdeflate-dev libsimdjson-dev
  # vantor-devices --connected: attached Apple devices through usbmuxd
  libimobiledevice-dev libusbmuxd-dev
  # run-time data and tools the tests and demo drive for real
  dbus-daemon dbus-bin libglib2.0-bin shared-mime-info hicolor-icon-theme
  python3 python3-dbusmock python3-gi gir1.2-glib-2.0 libcpp-httplib-dev procps gzip iproute2 util-linux
  # check the autostart entries vantor-login-item writes (systemd: its
  # autostart generator, run by hand; no systemd instance is started)
  desktop-file-utils systemd
  # Plinth's user interface (plinth_qt) and its tests on Xvfb and a private bus
  qt6-base-dev qt6-image-formats-plugins libqt6svg6 xvfb xauth fonts-dejavu-core python3-gi
  # a real StatusNotifierItem host for the tray tests and make demo-ui: the
  # panel's Status Tray, its settings daemon, and pointer clicks into it
  xfce4-panel xfconf xdotool
)

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}" >&2
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
