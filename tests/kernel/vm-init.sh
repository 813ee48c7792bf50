#!/bin/sh
# The kernel VM's /init: mounts the host's root (read-only) and the result share, then for
# each case loads the modules that make its devices, runs the test program's cases for them
# inside the host root, and unloads the modules again. One line per case goes to
# /run/out/summary on the host; "DONE" closes it.
export PATH=/bin
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
. /config

fail_early() {
    echo "kernel VM: $*"
    poweroff -f
}
for module in virtio_pci 9pnet_virtio 9p; do
    modprobe "$module" || fail_early "modprobe $module failed"
done
# A read-only host does not change under the VM, so its pages may be cached freely.
mount -t 9p -o trans=virtio,version=9p2000.L,ro,cache=loose,msize=262144 host /host ||
    fail_early "cannot mount the host root"
mount -t devtmpfs dev /host/dev
mkdir -p /host/dev/shm
mount -t tmpfs shm /host/dev/shm
mount -t proc proc /host/proc
mount -t sysfs sys /host/sys
mount -t tmpfs run /host/run
mkdir -p /host/run/out /host/run/tmp /host/run/home
mount -t 9p -o trans=virtio,version=9p2000.L,msize=262144 out /host/run/out ||
    fail_early "cannot mount the result share"
summary=/host/run/out/summary
: >"$summary"

# run_case NAME FILTER "MODULE OPTIONS..."...: loads each module with its options, runs the
# cases that FILTER selects, then removes the modules.
run_case() {
    name=$1
    filter=$2
    shift 2
    loaded=""
    for line in "$@"; do
        # Options are split at spaces on purpose: "vivid n_devs=2 ..."
        # shellcheck disable=SC2086
        if ! modprobe $line; then
            echo "FAIL $name (modprobe $line)" >>"$summary"
            return
        fi
        loaded="${line%% *} $loaded"
    done
    echo "==== $name: $filter"
    chroot /host /usr/bin/env -i PATH=/usr/bin:/bin HOME=/run/home TMPDIR=/run/tmp \
        XDG_RUNTIME_DIR=/run/tmp QT_QPA_PLATFORM=offscreen DUOSCOPE_KERNEL_OUT=/run/out \
        "$program" --gtest_filter="$filter" --gtest_brief=1
    status=$?
    if [ "$status" -eq 0 ]; then
        echo "PASS $name" >>"$summary"
    else
        echo "FAIL $name (status $status)" >>"$summary"
    fi
    for module in $loaded; do
        rmmod "$module" || echo "FAIL $name (rmmod $module)" >>"$summary"
    done
}

# run_hotplug_case NAME FILTER "MODULE OPTIONS...": runs the cases with nothing loaded and
# loads the module when they ask for it (by creating $plug_request in the host root), as a
# camera plugged in while the program runs.
run_hotplug_case() {
    name=$1
    filter=$2
    line=$3
    plug_request=/run/tmp/plug-request
    echo "==== $name: $filter"
    chroot /host /usr/bin/env -i PATH=/usr/bin:/bin HOME=/run/home TMPDIR=/run/tmp \
        XDG_RUNTIME_DIR=/run/tmp QT_QPA_PLATFORM=offscreen DUOSCOPE_KERNEL_OUT=/run/out \
        DUOSCOPE_KERNEL_PLUG="$plug_request" \
        "$program" --gtest_filter="$filter" --gtest_brief=1 &
    pid=$!
    plugged=""
    while kill -0 "$pid" 2>/dev/null; do
        if [ -z "$plugged" ] && [ -e "/host$plug_request" ]; then
            # shellcheck disable=SC2086
            modprobe $line || echo "FAIL $name (modprobe $line)" >>"$summary"
            plugged=${line%% *}
        fi
        sleep 0.2
    done
    wait "$pid"
    status=$?
    if [ "$status" -eq 0 ]; then
        echo "PASS $name" >>"$summary"
    else
        echo "FAIL $name (status $status)" >>"$summary"
    fi
    [ -z "$plugged" ] || rmmod "$plugged" || echo "FAIL $name (rmmod $plugged)" >>"$summary"
}

webcams="vivid n_devs=2 node_types=0x1,0x1 num_inputs=1,1 input_types=0x0,0x0 vid_cap_nr=0,1"
# Two instances whose HDMI output is looped into their own HDMI input: cameras whose
# pictures the tests write. Two loopback nodes: the virtual camera and an MJPEG camera that
# a test feeds with JPEG frames.
looped="vivid n_devs=2 node_types=0x101,0x101 num_inputs=1,1 input_types=0x3,0x3 num_outputs=1,1 output_types=0x1,0x1 vid_cap_nr=0,2 vid_out_nr=1,3"
loopbacks="v4l2loopback devices=2 video_nr=10,11 card_label=Duoscope,JPEGCam exclusive_caps=1,1"

[ -n "$only" ] || run_case default-vivid 'DefaultVivid.*' vivid "v4l2loopback devices=1 video_nr=9 exclusive_caps=0"
[ -n "$only" ] || run_case webcams 'TwoWebcams.*' "$webcams"
[ -n "$only" ] || run_hotplug_case hotplug 'Hotplug.*' "$webcams"
[ -n "$only" ] || run_case loopback-size 'LoopbackSize.*' "$loopbacks"
run_case looped 'LoopedCameras.*:VirtualCamera.*' "$looped" "$loopbacks"

echo DONE >>"$summary"
sync
umount /host/run/out
poweroff -f
