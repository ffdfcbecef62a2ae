#!/usr/bin/env bash
# Boots Debian's kernel in an emulated machine, whose root is this one's, read only, and runs inGuest.sh there:
# boot.sh FOLDER-OF-PROGRAMS SCRATCH-FOLDER
# Exits with 0 when all checks passed, or when such a machine is not possible here.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
programs="$(cd "$1" && pwd)"
scratch="$2"
longest=600 # seconds, on a busy machine; a guest that hangs ends then

skip() { echo "Skipped: $*"; exit 0; }

[ "$(uname -m)" = x86_64 ] || skip "the emulated machine is an x86-64 one, and this one is not."
for tool in apt-get dpkg-deb qemu-system-x86_64 busybox v4l2-ctl ffprobe python3; do
    command -v "$tool" >/dev/null || skip "$tool is missing."
done
package="$(apt-cache depends linux-image-amd64 2>/dev/null | awk '/Depends: linux-image-/ { print $2; exit }')"
[ -n "$package" ] || skip "apt does not know the kernel package linux-image-amd64."
kernel="$scratch/$package"

# Downloads and unpacks the kernel; nothing is installed. Keeps the modules that the guest needs, in an initial file system.
fetch() {
    local unpacked="$kernel/unpacked" version modules file
    rm -rf "$kernel"
    mkdir -p "$unpacked" "$kernel/initrd/bin" "$kernel/initrd/dev" "$kernel/initrd/proc" "$kernel/initrd/sys" "$kernel/initrd/root"
    echo "+ apt-get download $package"
    (cd "$kernel" && apt-get download -qq -o APT::Sandbox::User=root "$package") || skip "$package cannot be downloaded."
    dpkg-deb --extract "$kernel"/*.deb "$unpacked"
    version="${package#linux-image-}"
    modules="lib/modules/$version"
    busybox depmod -b "$unpacked" "$version"
    sed -nE '/\/(virtio_pci|9pnet_virtio|9p|vivid|uhid|hid-sensor-(accel-3d|gyro-3d|rotation))\.ko:/p' \
        "$unpacked/$modules/modules.dep" | tr -d : | tr ' ' '\n' | sort -u >"$kernel/modules"
    while read -r file; do
        mkdir -p "$kernel/initrd/$modules/$(dirname "$file")"
        cp "$unpacked/$modules/$file" "$kernel/initrd/$modules/$file"
    done <"$kernel/modules"
    busybox depmod -b "$kernel/initrd" "$version"
    cp "$unpacked/boot/vmlinuz-$version" "$kernel/vmlinuz"
    cp "$(command -v busybox)" "$kernel/initrd/bin/busybox"
    rm -rf "$unpacked" "$kernel"/*.deb
    touch "$kernel/complete"
}

[ -e "$kernel/complete" ] || fetch
cp "$here/init.sh" "$kernel/initrd/init"
chmod +x "$kernel/initrd/init"
printf 'here=%q\nprograms=%q\n' "$here" "$programs" >"$kernel/initrd/folders"
(cd "$kernel/initrd" && find . | busybox cpio -o -H newc 2>/dev/null) >"$kernel/initrd.cpio"

log="$scratch/guest.log"
echo "+ qemu-system-x86_64, $package, at most $longest s; everything is in $log"
status=0
timeout "$longest" qemu-system-x86_64 -accel tcg,thread=multi -smp 2 -m 1500 -cpu Nehalem -nodefaults -display none -serial stdio \
    -no-reboot -nic none -kernel "$kernel/vmlinuz" -initrd "$kernel/initrd.cpio" \
    -append "console=ttyS0 loglevel=1 panic=-1 mitigations=off" \
    -fsdev local,id=root,path=/,security_model=none,readonly=on,multidevs=remap \
    -device virtio-9p-pci,fsdev=root,mount_tag=root </dev/null 2>&1 \
    | sed -u 's/\r$//' | tee "$log" | sed -un 's/^# //p' || status=$?
grep -q '^# all checks passed' "$log" && exit 0
[ "$status" -ne 124 ] || echo "The guest did not end within $longest s."
echo "The end of $log:"
tail -n 30 "$log"
exit 1
