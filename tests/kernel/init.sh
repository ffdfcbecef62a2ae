#!/bin/busybox sh
# The first process of the emulated machine.
set -u
exec 2>&1
busybox() { /bin/busybox "$@"; }
busybox mount -t proc proc /proc
busybox mount -t sysfs sys /sys
busybox mount -t devtmpfs dev /dev
. /folders
busybox modprobe virtio_pci && busybox modprobe 9pnet_virtio && busybox modprobe 9p
if busybox mount -t 9p -o trans=virtio,version=9p2000.L,ro,msize=524288,cache=loose root /root; then
    for folder in dev proc sys; do busybox mount --bind /$folder /root/$folder; done
    busybox mount -t tmpfs scratch /root/run
    busybox chroot /root /bin/sh "$here/inGuest.sh" "$here" "$programs"
fi
busybox poweroff -f
