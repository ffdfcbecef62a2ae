#!/usr/bin/env bash
# makePage.sh PROGRAM FOLDER: shows one scene through every output of tamsel-capture, for every mount of the sensor, every pose
# of the device and both cameras, on one page. Every picture must show the arrow upright and not mirrored.
set -euo pipefail
program="$1" folder="$2"
codes="$(dirname "$0")/../data/codes"
poses=(portrait landscapeLeft portraitUpsideDown landscapeRight) # each a quarter turn clockwise from the one before
rm -rf "$folder"
mkdir -p "$folder"
convert -size 320x240 xc:white -fill '#c33' -draw 'polygon 160,20 230,110 185,110 185,220 135,220 135,110 90,110' \
    \( "$codes/qr.png" -scale 80x80 \) -geometry +10+150 -composite "$folder/scene.png"
{
    echo '<!doctype html><meta charset="utf-8"><title>Orientation</title>'
    echo '<meta name="viewport" content="width=device-width"><style>body{font:14px sans-serif;margin:1em}'
    echo 'td{border:1px solid #999;padding:4px;vertical-align:top}img,video{height:72px;display:inline-block}</style>'
    echo '<h1>Every arrow points up, with the code at its lower left</h1><table>'
    printf '<tr><td>sensor mounted for'
    printf '<td>held %s' "${poses[@]}"
    echo
} >"$folder/index.html"
for mount in 0 1 2 3; do
    echo "<tr><td>${poses[mount]}" >>"$folder/index.html"
    for held in 0 1 2 3; do
        name="${poses[mount]}-${poses[held]}"
        # The sensor sees the scene turned against the device, from the pose in which its pictures are upright.
        convert "$folder/scene.png" -rotate "$((90 * ((mount - held + 4) % 4)))" "$folder/$name.png"
        echo "<td>" >>"$folder/index.html"
        for side in back front; do
            [ -t 2 ] && printf '\r%s %-60s' "$name" "$side" >&2
            run() {
                "$program" "--$side" "$folder/$name.png" --sensor-orientation "${poses[mount]}" \
                    --interface-orientation "${poses[held]}" "$@" --camera "$side" >"$folder/log" 2>&1 || {
                    cat "$folder/log" >&2
                    exit 1
                }
            }
            run frames --count 1 --save-every 1 --out "$folder/$name-$side"
            run still "$folder/$name-$side.jpg"
            run record "$folder/$name-$side.mp4" --seconds 0.3
            echo "<div>$side<br><img src='$name-$side/frame-000000.png' alt='live frame'>" \
                "<img src='$name-$side.jpg' alt='still'> <video src='$name-$side.mp4' muted autoplay loop></video></div>" \
                >>"$folder/index.html"
        done
    done
done
echo '</table>' >>"$folder/index.html"
[ ! -t 2 ] || echo >&2
