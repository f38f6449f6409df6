#!/usr/bin/env bash
# Installs the missing Debian packages that are needed to build, run and test the panel.
set -euo pipefail

packages=(
  cmake ninja-build ccache                                # build
  g++-mingw-w64-x86-64-posix                              # cross compiler, with its resource compiler
  libgcrypt-mingw-w64-dev                                 # the software provider's cryptography
  libcli11-dev nlohmann-json3-dev                         # the console program's arguments and documents
  googletest                                              # tests, built from its sources
  python3-jsonschema                                      # the console program's documents, read by another program
  clang libclang-rt-14-dev                                # fuzzers, with their sanitizers
  wine64 fonts-wine locales                               # run, with Windows fonts and the users' code page
  wixl msitools osslsigncode                              # the installer package and its signatures
  openssl libengine-gost-openssl                          # the other implementation in the provider's tests
  xvfb xauth imagemagick                                  # screenshots where there is no display
  librsvg2-bin                                            # icons from their drawings
)

missing=()
for package in "${packages[@]}"; do
  state=$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)
  [ "$state" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "setup: not root and no sudo; install: ${missing[*]}" >&2; exit 1; }
  root=(sudo)
fi

echo "setup: installing ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
"${root[@]}" apt-get update -qq >"$log" 2>&1 || true   # an old package list may suffice; otherwise the installation fails
if ! DEBIAN_FRONTEND=noninteractive "${root[@]}" apt-get install -y -qq --no-install-recommends \
    "${missing[@]}" >>"$log" 2>&1; then
  tail -n 20 "$log" >&2
  echo "setup: apt-get could not install: ${missing[*]}" >&2
  exit 1
fi
echo "setup: done"
