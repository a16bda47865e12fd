#!/usr/bin/env bash
# Installs the Debian packages a build needs, and only when one is missing.
# Usage: scripts/install-deps.sh [linux|windows|fuzz|wine|coverage]...
# Never prompts; safe to run on every build (a few dpkg queries when all is there).
set -euo pipefail

declare -a want=()
for target in "${@:-linux}"; do
  case "$target" in
    linux)   want+=(build-essential cmake ninja-build ccache zlib1g-dev libsqlite3-dev
                    libcpp-httplib-dev libssl-dev libcli11-dev nlohmann-json3-dev libpng-dev libgtest-dev
                    libgmock-dev libbenchmark-dev clang python3
                    libwmf-bin fonts-urw-base35 imagemagick) ;;
    windows) want+=(g++-mingw-w64-x86-64-posix libz-mingw-w64-dev cmake ninja-build dpkg-dev) ;;
    fuzz)    want+=(clang libclang-rt-14-dev) ;;
    wine)    want+=(wine64) ;;
    coverage) want+=(gcovr) ;;
    *) echo "install-deps: unknown target '$target'" >&2; exit 2 ;;
  esac
done

missing=()
for pkg in "${want[@]}"; do
  if ! dpkg -s "$pkg" >/dev/null 2>&1 || ! dpkg -s "$pkg" 2>/dev/null | grep -q '^Status: install ok installed'; then
    missing+=("$pkg")
  fi
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "install-deps: installing ${missing[*]}"
SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
