#!/usr/bin/awk -f
# Makes generated_held_moved_held_tilted.csv: awk -f generate.awk > generated_held_moved_held_tilted.csv
# Fifty samples a second of a phone that nobody has held: a hand that trembles a little holds it at about 12 degrees of pitch,
# carries it about from 3 to 4.5 s, holds it again, lifts its top to about 60 degrees from 8 to 9.4 s, and holds it there.

function tremor(axis) { # about -0.05 to 0.05 radians per second, of a linear congruential generator
    state[axis] = (state[axis] * 16807) % 2147483647
    return 0.6 * before[axis] + 0.04 * (state[axis] / 1073741823.5 - 1)
}
function swing(t, from, to) { return t < from || t > to ? 0 : sin(pi * (t - from) / (to - from)) }

BEGIN {
    pi = 3.14159265358979
    state["x"] = 1; state["y"] = 20; state["z"] = 300
    pitch = 12 * pi / 180
    print "time (s),rotationRate.x (rad/s),rotationRate.y (rad/s),rotationRate.z (rad/s)," \
        "attitude.x,attitude.y,attitude.z,attitude.w"
    for (i = 0; i <= 600; ++i) {
        t = i / 50
        before["x"] = tremor("x"); before["y"] = tremor("y"); before["z"] = tremor("z")
        x = before["x"] + 0.9 * swing(t, 3, 4.5) * sin(9 * t) + 50 * pi / 180 / 1.4 * pi / 2 * swing(t, 8, 9.4)
        y = before["y"] + 1.3 * swing(t, 3, 4.5) * cos(7 * t)
        z = before["z"] + 0.7 * swing(t, 3, 4.5)
        pitch += x / 50
        printf "%.2f,%.6f,%.6f,%.6f,%.8f,0,0,%.8f\n", t, x, y, z, sin(pitch / 2), cos(pitch / 2)
    }
}
