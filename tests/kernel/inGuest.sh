# Runs as root in the emulated machine: inGuest.sh THIS-FOLDER FOLDER-OF-PROGRAMS
# Lines that begin with # are for the caller; the last one says whether all checks passed.
here="$1" program="$2/tamsel-capture"
export PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/run TMPDIR=/run LC_ALL=C.UTF-8
cd /run || exit
failures=0

say() { read -r up _ </proc/uptime; echo "# $(printf '%5.0f' "$up") s  $*"; }
# The kernel's modules are in the initial file system, outside of this root.
module() { chroot /proc/1/root /bin/busybox modprobe "$@"; }
control() { v4l2-ctl -d "$node" -c "$1"; }

# run ARGUMENT…: the command, with its output in out, its errors in err, its status in $status.
run() { timeout 120 "$program" "$@" >out 2>err; status=$?; }
# expect WHAT COMMAND…: a check.
expect() {
    what="$1"
    shift
    if "$@"; then
        say "ok      $what"
    else
        say "FAILED  $what"
        failures=$((failures + 1))
        echo "not so: $*; status $status"
        tail -n 20 out err
        dmesg | tail -n 5
    fi
}
# The number after "NAME": in the last line that has it.
number() { grep -o "\"$1\": [-0-9.]*" out | tail -n 1 | cut -d ' ' -f 2; }
between() { awk -v value="$1" -v least="$2" -v most="$3" 'BEGIN { exit !(value != "" && value >= least && value <= most) }'; }
has() { grep -qE "$1" "$2"; }
waitFor() { # until the command succeeds, at most a minute
    read -r up _ </proc/uptime
    limit=$((${up%.*} + 60))
    until "$@"; do
        read -r up _ </proc/uptime
        [ "${up%.*}" -lt "$limit" ] || return 1
        sleep 0.1
    done
}

. "$here/camera.sh"
. "$here/sensors.sh"

if [ "$failures" -eq 0 ]; then echo "# all checks passed"; else echo "# $failures checks failed"; fi
