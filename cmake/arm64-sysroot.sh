#!/bin/sh
# arm64-sysroot.sh: fetches what the command-line host links with on 64-bit ARM, the picture libraries, from Debian and
# unpacks it in a folder of its own, once. The system's own package database hears nothing of the second architecture,
# whose packages it could not install beside all others. Prints the folder.
set -eu
sysroot=${KYVMATH_ARM64_SYSROOT:-${XDG_CACHE_HOME:-$HOME/.cache}/kyvmath/arm64}
packages="libpng-dev libpng16-16 zlib1g-dev zlib1g libjpeg62-turbo-dev libjpeg62-turbo libtiff-dev libtiff6
  libexif-dev libexif12 libdeflate0 libjbig0 liblerc4 liblzma5 libwebp7 libzstd1"

echo "$sysroot"
[ ! -e "$sysroot" ] || exit 0
if ! command -v apt-get >/dev/null; then
  echo "arm64-sysroot.sh: not a Debian system; the host is left out" >&2
  exit 0
fi

# Made beside its place and moved there whole, so that an interrupted run leaves nothing that looks finished.
mkdir -p "$(dirname "$sysroot")"
work=$(mktemp -d "$sysroot.XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/state/lists/partial" "$work/cache/archives/partial" "$work/root"
touch "$work/status"
arm64_apt() {
  apt-get -q -o Dir::State="$work/state" -o Dir::State::status="$work/status" -o Dir::Cache="$work/cache" \
    -o APT::Architecture=arm64 -o APT::Architectures=arm64 -o APT::Sandbox::User=root "$@" >&2
}
arm64_apt update || echo "arm64-sysroot.sh: apt-get update was not complete; going on" >&2
# shellcheck disable=SC2086
(cd "$work/cache" && arm64_apt download $packages)
for package in "$work"/cache/*.deb; do dpkg-deb -x "$package" "$work/root"; done
# As on an installed system: one folder of libraries. Links that lead elsewhere begin at its root.
cp -a "$work/root/lib/." "$work/root/usr/lib"
rm -r "$work/root/lib"
for link in "$work"/root/usr/lib/aarch64-linux-gnu/*.so; do
  ln -sf "$(basename "$(readlink "$link")")" "$link"
done
mv -T "$work/root" "$sysroot"
