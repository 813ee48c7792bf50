#!/usr/bin/env bash
# Boots Debian's stock kernel under qemu with the vivid test driver and v4l2loopback, and runs
# the kernel test program from the build tree inside it against those real devices.
#
#   run-kernel-vm.sh TEST_PROGRAM [RESULT_FOLDER]
#   DUOSCOPE_KERNEL_ONLY_LAST=1 runs only the last case (the looped cameras and the product).
#
# The kernel and the v4l2loopback headers come from Debian's archive (downloaded and
# unpacked, never installed) and are kept under $DUOSCOPE_KERNEL_CACHE
# (default ~/.cache/duoscope-kernel/ABI) for the next run. The host's root is shared with the
# VM read-only over 9p; the VM chroots into it, so the program runs with the host's own
# libraries. A second, writable share carries the results back.
#
# Exit status: 0 when every case passed, 1 when one failed, 77 when this machine cannot run
# the VM (no qemu, no Debian archive); the reason is printed.
set -euo pipefail

skip() {
    echo "SKIPPED: $*"
    exit 77
}

program=$(realpath "${1:?usage: run-kernel-vm.sh TEST_PROGRAM [RESULT_FOLDER]}")
results=$(realpath -m "${2:-$(dirname "$program")/kernel-results}")
here=$(cd "$(dirname "$0")" && pwd)

for tool in qemu-system-x86_64 busybox depmod modprobe cpio gzip apt-get dpkg make gcc; do
    command -v "$tool" >/dev/null || skip "$tool is not installed (scripts/debian-packages.txt lists the packages)"
done
# The initramfs runs busybox before the host root is mounted, so it must not need libraries.
busybox_path=$(command -v busybox)
if ldd "$busybox_path" >/dev/null 2>&1; then
    skip "$busybox_path is linked dynamically (install busybox-static)"
fi

cache_root=${DUOSCOPE_KERNEL_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/duoscope-kernel}
mkdir -p "$cache_root"

# The archive keeps only the newest kernel ABI, so the one to fetch is read at run time;
# without the archive, the newest kernel prepared earlier is used.
abi=$(apt-cache depends linux-image-amd64 2>/dev/null |
      sed -n 's/^ *Depends: linux-image-\([0-9].*-amd64\)$/\1/p' | head -n1 || true)
if [[ -z "$abi" ]]; then
    abi=$(ls -1 "$cache_root" 2>/dev/null | grep -- '-amd64$' | sort -V | tail -n1 || true)
    [[ -n "$abi" && -f "$cache_root/$abi/ready" ]] ||
        skip "the Debian archive does not list linux-image-amd64 (run apt-get update) and no kernel is cached"
fi
cache=$cache_root/$abi

prepare_kernel() {
    local work=$cache.partial
    rm -rf "$work"
    mkdir -p "$work/debs"
    local base=${abi%-amd64}                                   # 6.1.0-56
    local series
    series=$(echo "$base" | cut -d. -f1-2)                     # 6.1
    echo "Downloading linux-image-$abi and the v4l2loopback sources"
    (cd "$work/debs" &&
        apt-get download -qq "linux-image-$abi" "linux-headers-$abi" \
            "linux-headers-$base-common" "linux-kbuild-$series" v4l2loopback-dkms) 2>&1 |
        grep -v 'Download is performed unsandboxed' || true
    ls "$work"/debs/linux-image-*.deb "$work"/debs/v4l2loopback-dkms*.deb >/dev/null 2>&1 ||
        return 1
    for deb in "$work"/debs/*.deb; do
        dpkg -x "$deb" "$work/root"
    done
    rm -rf "$work/debs"

    # The flavour's Makefile includes the common tree by its installed absolute path.
    local headers=$work/root/usr/src/linux-headers-$abi
    sed -i "s|^include /usr/src/|include $work/root/usr/src/|" "$headers/Makefile"
    local source
    source=$(ls -d "$work"/root/usr/src/v4l2loopback-* | head -n1)
    make -s -C "$headers" M="$source" modules >"$work/v4l2loopback-build.log" 2>&1 || {
        cat "$work/v4l2loopback-build.log"
        return 1
    }
    mkdir -p "$work/root/lib/modules/$abi/extra"
    cp "$source/v4l2loopback.ko" "$work/root/lib/modules/$abi/extra/"
    depmod -b "$work/root" "$abi"
    # Only the kernel image and the modules are kept; headers and sources are large.
    mkdir -p "$work/keep"
    mv "$work/root/boot" "$work/root/lib" "$work/keep/"
    rm -rf "$work/root"
    mv "$work/keep" "$work/root"
    touch "$work/ready"
    rm -rf "$cache"
    mv "$work" "$cache"
}

if [[ ! -f "$cache/ready" ]]; then
    prepare_kernel || skip "could not download or build the kernel $abi from the Debian archive"
fi
modules=$cache/root/lib/modules/$abi

# The initramfs: busybox, the modules the cases load with everything they need, the init
# script and the program's path. Built each run (under a second).
initramfs_dir=$(mktemp -d)
trap 'rm -rf "$initramfs_dir"' EXIT
mkdir -p "$initramfs_dir"/{bin,dev,proc,sys,host,lib/modules/"$abi"}
cp "$busybox_path" "$initramfs_dir/bin/busybox"
for applet in sh mount umount mkdir modprobe rmmod lsmod chroot poweroff sleep cat echo ls \
              grep seq; do
    ln -s busybox "$initramfs_dir/bin/$applet"
done
for module in virtio_pci 9pnet_virtio 9p vivid v4l2loopback; do
    modprobe -d "$cache/root" -S "$abi" --show-depends "$module" |
        sed -n 's/^insmod \([^ ]*\).*/\1/p'
done | sort -u | while read -r file; do
    relative=${file#"$cache/root/lib/modules/$abi/"}
    mkdir -p "$initramfs_dir/lib/modules/$abi/$(dirname "$relative")"
    cp "$file" "$initramfs_dir/lib/modules/$abi/$relative"
done
cp "$modules"/modules.order "$modules"/modules.builtin* "$initramfs_dir/lib/modules/$abi/"
depmod -b "$initramfs_dir" "$abi"
cp "$here/vm-init.sh" "$initramfs_dir/init"
chmod +x "$initramfs_dir/init"
echo "program=$program" >"$initramfs_dir/config"
echo "only=${DUOSCOPE_KERNEL_ONLY_LAST:-}" >>"$initramfs_dir/config"
(cd "$initramfs_dir" && find . | cpio -o -H newc --quiet | gzip -1) >"$initramfs_dir.cpio.gz"
trap 'rm -rf "$initramfs_dir" "$initramfs_dir.cpio.gz"' EXIT

# KVM only with a hardware module: a paravirtual /dev/kvm cannot run a stock kernel.
accel=(-accel tcg -cpu max)
if [[ -w /dev/kvm ]] && grep -qE '^kvm_(intel|amd) ' /proc/modules; then
    accel=(-accel kvm -cpu host)
fi

rm -rf "$results"
mkdir -p "$results"
echo "Booting $abi (${accel[1]}); results in $results"
status=0
timeout "${DUOSCOPE_KERNEL_TIMEOUT:-900}" qemu-system-x86_64 "${accel[@]}" -smp 2 -m 1536 \
    -nodefaults -no-reboot -nographic -serial stdio \
    -kernel "$cache/root/boot/vmlinuz-$abi" -initrd "$initramfs_dir.cpio.gz" \
    -append 'console=ttyS0 panic=-1 quiet' \
    -virtfs local,path=/,mount_tag=host,security_model=none,readonly=on,multidevs=remap \
    -virtfs "local,path=$results,mount_tag=out,security_model=none" || status=$?
if ((status == 124)); then
    echo "FAILED: the VM did not finish in time"
    exit 1
fi

[[ -f "$results/summary" ]] || { echo "FAILED: the VM wrote no results (qemu status $status)"; exit 1; }
echo "---- results"
cat "$results/summary"
grep -q '^DONE$' "$results/summary" || { echo "FAILED: the VM stopped before the last case"; exit 1; }
if grep -q '^FAIL' "$results/summary"; then
    exit 1
fi
exit 0
