#!/usr/bin/env bash
# Installs the Debian packages the build needs; does nothing when all are present.
set -euo pipefail

packages=(
  build-essential cmake locales ninja-build pkg-config ccache
  qt6-base-dev qt6-svg-dev libxkbcommon-dev
  libxlsxwriter-dev libminizip-dev libpugixml-dev
  libfmt-dev libcli11-dev nlohmann-json3-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  xvfb xauth
  pybind11-dev python3-dev python3-pytest python3-numpy dpkg-dev fakeroot
)

# A comma-decimal locale for the tests that check files keep a point whatever the locale.
ensure_test_locale() {
  locale -a 2>/dev/null | grep -qi '^de_DE.utf8$' && return 0
  command -v localedef >/dev/null || return 0
  local sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo localedef -i de_DE -f UTF-8 de_DE.UTF-8 2>/dev/null || true
}

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -eq 0 ]; then
  ensure_test_locale
  exit 0
fi

echo "Installing: ${missing[*]}"
sudo=""
if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
ensure_test_locale
