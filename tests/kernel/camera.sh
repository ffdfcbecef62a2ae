# The V4L2 driver on the kernel's virtual camera. Emulation is too slow for every frame: late ones are no failure.
node=/dev/video0
vivid() { module vivid n_devs=1 node_types=1 num_inputs=1 input_types=0 "$@" && waitFor test -c "$node"; }
unplug() { chroot /proc/1/root /bin/busybox rmmod vivid; }
frames() { run --back "$node" --preset none --json frames --count "$1"; }
# whileStreaming CONTROL: sets it when the tenth frame has come, and waits for the command.
whileStreaming() {
    timeout 120 "$program" --back "$node" --preset none --json frames --seconds 60 >out 2>err &
    waitFor has '"index": 10,' out
    control "$1"
    wait $!
    status=$?
}
delivered() { [ "$(number delivered)" = "$1" ] && [ "$(number width)" = "$2" ] && [ "$(number deviceLost)" = 0 ]; }
isLost() { [ $status -eq 1 ] && [ "$(number deviceLost)" = 1 ] && [ "$(grep -c 'the camera was lost$' err)" -eq 1 ]; }
isRefused() { [ $status -eq 2 ] && [ "$(wc -l <err)" -eq 1 ] && has "$1" err; }
isFile() { # FILE FORMAT,WIDTH,HEIGHT
    [ $status -eq 0 ] && ffprobe -v error -select_streams v -show_entries stream=codec_name,width,height -of csv=p=0 "$1" >out \
        && has "^$2\$" out
}
# All frames count, also those that did not come: as many as the kernel's times of them say.
dropped() {
    [ "$(number delivered)" = 20 ] || return 1
    awk -v produced="$(number produced)" -v late="$(number late)" -v time="$(number mediaTime)" \
        'BEGIN { exit !(late > 0.5 * produced && produced > 29 * time && produced < 31 * time + 4) }'
}

say "camera: vivid"
expect "the kernel makes a camera" vivid

run status --json
expect "status finds a camera that works" has '"back": \{"input": "/dev/video0", "active": true' out
run devices
expect "devices names it" has "$node" out

frames 20
expect "live frames of 640 x 360" delivered 20 640
run --back "$node" --preset photo --json frames --count 2
expect "live frames of 3840 x 2160" delivered 2 3840

# Its picture is eight bars. The fourth begins at three eighths of the width, where a zoom of 4 begins: 200 mm / (86 mm / tan 60°).
run --back "$node" --preset none --minimum-focus-distance 200 --minimum-object-size 86 frames --count 1 --save-every 1
convert frame-*.png -format '%[fx:p{8,180}.g > 0.6 && p{8,180}.r < 0.2 && p{8,180}.b < 0.2]' info: >out
expect "digital zoom shows the middle" has '^1$' out

run --back "$node" --preset none still still.jpg
expect "a still" isFile still.jpg mjpeg,640,360
run --back "$node" record film.mp4 --seconds 2 --silent
expect "a movie" isFile film.mp4 h264,640,360

control percentage_of_dropped_buffers=80
frames 20
expect "buffers that the device drops are counted" dropped
control percentage_of_dropped_buffers=0

whileStreaming inject_fatal_streaming_error=1
expect "a fatal streaming error loses the camera" isLost
frames 5
expect "it opens again" delivered 5 640

whileStreaming disconnect=1
expect "a device that disconnects is lost" isLost
frames 5
expect "it opens again" delivered 5 640

unplug
frames 5
expect "a camera that was unplugged is refused in one line" isRefused "$node"
node=/dev/video5
vivid vid_cap_nr=5
run --preset none --json frames --count 5
expect "plugged in under another number it is found" delivered 5 640
unplug
vivid vid_cap_nr=5 multiplanar=2
frames 5
expect "a device with separate planes is refused in one line" isRefused 'captures no video'
unplug
