#!/usr/bin/env bash
# Installs the packages of scripts/package.sh in a fresh Debian, starts what they bring from where they
# put it, removes them, and says what is left. As root; the fresh Debian comes from this machine's
# sources, and is kept as build/clean-root.tar for the next time.
set -euo pipefail
cd "$(dirname "$0")/.."
[ "$(id -u)" = 0 ] || { echo "$0 needs root" >&2; exit 1; }
ls build/packages/*.deb >/dev/null

scripts/install-packages.sh debootstrap
base=$PWD/build/clean-root.tar
root=$(mktemp -d)
leave() {
    for folder in dev/shm proc; do
        ! mountpoint -q "$root/$folder" || umount "$root/$folder"
    done
    rm -rf --one-file-system "$root"
}
trap leave EXIT
if [ ! -f "$base" ]; then
    mirror=$(apt-get indextargets --format '$(CODENAME) $(REPO_URI)' | sed -n 's/^bookworm //p' | head -1)
    debootstrap --variant=minbase bookworm "$root" "$mirror" >/dev/null
    tar -C "$root" -cf "$base.new" . && mv "$base.new" "$base"
    rm -rf --one-file-system "${root:?}"/*
fi
tar -C "$root" -xf "$base"
chmod 755 "$root" # for the users within
cp -rL /etc/resolv.conf "$root/etc/"
mount -t proc proc "$root/proc"
mkdir -p "$root/packages"
cp build/packages/*.deb build/packages/*.zip "$root/packages"
cp scripts/try/* scripts/klayoutrc "$root/packages"
chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
    /packages/inside.sh
