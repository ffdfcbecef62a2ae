# The IIO driver on the kernel's drivers of sensors behind a HID hub.
devices=/sys/bus/iio/devices
for driver in uhid hid-sensor-accel-3d hid-sensor-gyro-3d hid-sensor-rotation; do module $driver; done

# plugIn SENSORS [OPTION]: a hub with so many of them, which measures what is written to its pose.
plugIn() {
    rm -f pose
    mkfifo pose
    python3 "$here/hidSensors.py" $2 <pose &
    hub=$!
    exec 3>pose
    waitFor eval "[ \$(ls $devices | grep -c iio:device) -eq $1 ]"
}
unplug() {
    exec 3>&-
    wait $hub
}
# pose ACCELERATION RATES [QUATERNION], as HID defines them: at rest the acceleration points down.
pose() { echo "$1 $2 ${3:-0 0 0 1}" >&3; }
flat="0 0 -1" upright="0 -1 0" upsideDown="0 1 0"
still="0 0 0" turning="0 0 40"

motion() {
    timeout 120 "$program" --json motion sensors >out 2>err 3>&- &
    command=$!
}
end() {
    kill -TERM $command
    wait $command
    status=$?
}
buffersAre() { [ "$(cat $devices/iio:device[01]/buffer/enable | sort -u)" = "$1" ]; }
verdict() { waitFor has "$1" out; }

say "sensors: uhid"
expect "the kernel makes an accelerometer and a gyroscope" plugIn 2
run status --json
expect "status finds both" has '"gyroscope": true, "attitude": true' out

pose "$upright" "$still"
motion
expect "the device is upright" verdict '"facing": true'
expect "and held still" verdict '"stable": true'
expect "upright from the beginning" eval '! has "\"facing\": false" out'
expect "they are read through their buffers" buffersAre 1
pose "$upsideDown" "$turning"
expect "then it is upside down" verdict '"facing": false'
expect "and turns" verdict '"stable": false'
unplug
expect "unplugged sensors are an error" waitFor has 'No such (file|device)' err
end

expect "plugged in again, with a sensor of the attitude" plugIn 3 --orientation
pose "$flat" "$still" "0.6 0 0 0.8"
motion
expect "the attitude is the sensor's own" verdict '"facing": true'
end
expect "the buffers are as before" buffersAre 0
unplug
