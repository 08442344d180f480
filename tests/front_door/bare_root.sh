#!/bin/sh
# tests/front_door/bare_root.sh COMMAND [ARGUMENT...]: runs ./dev COMMAND in a fresh Debian 12 that holds nothing but
# what debootstrap's smallest variant brings, and prints what was downloaded and how long it took.
#
# Needs root, debootstrap and Debian's packages. The fresh system is made once and kept in
# $XDG_CACHE_HOME/kyvmath/bare-root.tar; each run unpacks a copy, clones the commit that is checked out here into it, and
# removes it again (KYVMATH_KEEP_ROOT=1 leaves it). Package sources are those of the machine that runs the script.
set -eu
cd "$(dirname "$0")/../.."
[ $# -gt 0 ] || { sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$0" >&2 && exit 2; }
[ "$(id -u)" -eq 0 ] || { echo "bare_root.sh: must be root" >&2 && exit 2; }

cache=${XDG_CACHE_HOME:-$HOME/.cache}/kyvmath
fresh=$cache/bare-root.tar
work=$(mktemp -d)
root=$work/root
log=$work/log

clean_up() {
  for mounted in proc dev; do umount -l "$root/$mounted" 2>/dev/null || true; done
  if [ -n "${KYVMATH_KEEP_ROOT:-}" ]; then echo "kept: $root"; else rm -rf --one-file-system "$work"; fi
}
trap clean_up EXIT
trap 'exit 130' INT TERM

if [ ! -e "$fresh" ]; then
  mkdir -p "$cache"
  debootstrap --variant=minbase bookworm "$root" >"$log" 2>&1 || { tail -n 20 "$log" >&2 && exit 1; }
  rm -f "$root"/var/cache/apt/archives/*.deb "$root"/var/lib/apt/lists/*_*
  tar -C "$root" -cf "$fresh.new" .
  mv "$fresh.new" "$fresh"
  rm -rf --one-file-system "$root"
fi

mkdir "$root"
tar -C "$root" -xf "$fresh"
# Debian's own sources, and how to reach them.
for part in resolv.conf apt/sources.list apt/sources.list.d/debian.sources; do
  [ ! -s "/etc/$part" ] || cp -L "/etc/$part" "$root/etc/$part"
done
git clone -q --no-hardlinks . "$root/kyvmath"
mount --bind /dev "$root/dev"
mount -t proc proc "$root/proc"

started=$(date +%s)
code=0
# In a shell of its own, whose processor time says what a machine without other work would need.
(
  chroot "$root" /usr/bin/env -i HOME=/root TERM=dumb PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    sh -c 'cd /kyvmath && exec ./dev "$@"' dev "$@" </dev/null >"$log" 2>&1 || echo $? >"$work/code"
  times >"$work/times"
)
[ ! -e "$work/code" ] || code=$(cat "$work/code")

# apt says "Need to get 93.1 MB of archives" before packages and "Fetched 8,902 kB in 2s" after anything.
megabytes() {
  sed -n "s/^$1 \([0-9.,]*\) \([kMG]\?B\).*/\1 \2/p" "$log" | tr -d , |
    awk '{ sum += $1 * ($2 == "GB" ? 1000 : $2 == "MB" ? 1 : $2 == "kB" ? 0.001 : 0) } END { printf "%.0f", sum }'
}
grep -v -e '^Get:' -e '^Hit:' -e '^Ign:' -e '^Selecting ' -e '^Preparing ' -e '^Unpacking ' -e '^Setting up ' "$log" |
  tail -n 60
printf '\n./dev %s: exit %s; %s MB of packages, %s MB with their indices; %s s; processor time: %s\n' "$*" "$code" \
  "$(megabytes 'Need to get')" "$(megabytes Fetched)" "$(($(date +%s) - started))" "$(tail -n 1 "$work/times")"
exit "$code"
