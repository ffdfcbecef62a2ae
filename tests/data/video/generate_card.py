#!/usr/bin/env python3
"""Makes generated_card.mp4: what the camera of the phone of ../motion/generated_held_moved_held_tilted.csv would see.

    python3 tests/data/video/generate_card.py [OUT.mp4]      # anywhere; needs ImageMagick 6, zint, ffmpeg, DejaVu fonts

A card of nobody, with the portrait ../face/astronaut_grey.jpg and a PDF417 symbol, leans on a small stand on a desk. The back
camera of a phone that lies flat looks straight down; so the phone, at 12 degrees of pitch, sees the desk and, at the edge and
from above, the stand; with its top lifted to 60 degrees it looks ahead, and the card faces it. Pitch is the log's attitude;
heading and roll are its rotation rates about z and y, summed; where the phone is, is made up. 640 x 480, 15 frames a second.
"""
import csv
import math
import os
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

HERE = os.path.dirname(os.path.abspath(__file__))
PORTRAIT = HERE + "/../face/astronaut_grey.jpg"
LOG = HERE + "/../motion/generated_held_moved_held_tilted.csv"
WIDTH, HEIGHT, RATE, SECONDS = 640, 480, 15, 12
FOCAL = WIDTH / 2 / math.tan(math.radians(30))  # pixels: 60 degrees from the left to the right
SHUTTER = 1 / 30
PLACES = (-70, -40, 215), (4, -60, 190), (0, -77, 103)  # of the camera, in mm: held, held again, lifted
# Planes, in millimetres: x to the right, y ahead, z up. Each texture has its top left, its directions and its pixels per mm.
SLOPE = math.radians(66)  # of the stand
UP = (0, math.cos(SLOPE), math.sin(SLOPE))
STAND_WIDTH, STAND_HEIGHT, STAND_THICKNESS = 124, 90, 6
STAND_SCALE, DESK_SCALE = 10, 3
STAND_TOP = [-STAND_WIDTH / 2, STAND_HEIGHT * UP[1], STAND_HEIGHT * UP[2]]
DESK_TOP = [-450, 650, 0]


def convert(*arguments):
    return subprocess.run(["convert", *map(str, arguments)], check=True, stdout=subprocess.PIPE).stdout


def draw_textures(folder):
    """The desk, the card and the stand with the card on it, as files that ImageMagick maps into memory."""
    symbol = folder + "/symbol.png"
    subprocess.run(["zint", "--quietzones", "-b", "PDF417", "--cols=3", "--secure=2", "--scale=1", "-o", symbol,
                    "-d", "SAMPLE CARD 0123456789"], check=True)

    def grain(seed, size, weight):  # stripes along x
        return ["(", "-seed", seed, "-size", size, "xc:gray50", "+noise", "Random", "-colorspace", "Gray", "-filter", "Cubic",
                "-resize", "2700x2700!", "-auto-level", "+level", f"{50 - weight}%,{50 + weight}%", ")"]
    convert(*grain(3, "5x90", 40), *grain(4, "9x420", 30), *grain(5, "30x1500", 24), "-evaluate-sequence", "Mean",
            "-swirl", 8, "-auto-level", "-sigmoidal-contrast", "4x50%",
            "(", "-size", "1x256", "gradient:#6a4c36-#b69470", ")", "-clut",
            # the shadow of the stand: broad behind it, narrow where it touches
            "(", "-size", "2700x2700", "xc:white", "-fill", "gray45",
            "-draw", "polygon 1164,1955 1536,1955 1620,1790 1240,1790", "-blur", "0x22",
            "-fill", "gray30", "-draw", "rectangle 1166,1944 1534,1953", "-blur", "0x5", ")",
            "-compose", "Multiply", "-composite", folder + "/desk.mpc")

    def text(font, size, colour, place, words):
        return ["-font", font, "-pointsize", size, "-fill", colour, "-annotate", place, words]
    waves = " ".join("path 'M 0,%d C 260,%d 560,%d 856,%d'" % (y, y - 90, y + 110, y - 20) for y in range(60, 480, 14))
    label, value = ("DejaVu-Sans", 17, "#5d7688"), ("DejaVu-Sans-Bold", 31, "#20303c")
    convert("-size", "856x540", "gradient:#eef3f2-#cfe0e6", "-fill", "none", "-stroke", "#b4cdd8", "-draw", waves, "-stroke",
            "none", "-fill", "#2c5d78", "-draw", "rectangle 0,0 856,74",
            *text("DejaVu-Sans-Bold", 38, "#f4f8f8", "+34+51", "SAMPLE CARD"),
            *text("DejaVu-Sans", 20, "#c4dbe4", "+662+48", "not a document"),
            "(", PORTRAIT, "-crop", "132x158+106+6", "+repage", "-resize", "224x268!", "-bordercolor", "#8fa9b6", "-border",
            "2", ")", "-geometry", "+34+92", "-composite",
            *text(*label, "+292+114", "Name"), *text(*value, "+292+149", "A. Sample"),
            *text(*label, "+292+190", "Number"), *text(*value, "+292+225", "0123 456 789"),
            *text(*label, "+292+266", "Valid"), *text(*value, "+292+301", "always"),
            *text("DejaVu-Serif-Italic", 34, "#3a4c74", "+610+330", "A. Sample"),
            "-fill", "white", "-draw", "roundrectangle 34,374 822,526 6,6",
            "(", symbol, "-scale", "300%", ")", "-geometry", "+56+375", "-composite",
            "(", "-size", "856x540", "xc:black", "-fill", "white", "-draw", "roundrectangle 0,0 855,539 32,32", ")",
            "-alpha", "off", "-compose", "CopyOpacity", "-composite", folder + "/card.png")
    convert("-size", f"{STAND_WIDTH * 10}x{STAND_HEIGHT * 10}", "-seed", 8, "xc:#4a5963", "-attenuate", "0.5", "+noise",
            "Gaussian", "-blur", "0x1.5", "-modulate", "100,40",
            "(", folder + "/card.png", "-background", "#000", "-shadow", "70x9+0+0", ")", "-geometry", "+176+140",
            "-composite", folder + "/card.png", "-geometry", "+192+150", "-composite",
            "(", "-size", "1240x90", "gradient:#8a6a4a-#5d4229", ")", "-geometry", "+0+690", "-composite",  # the ledge
            "-fill", "#b08a62", "-draw", "rectangle 0,688 1240,694", "-fill", "#00000060", "-draw",
            "rectangle 0,780 1240,792",
            "(", "-size", "900x1240", "gradient:white-gray82", "-rotate", "-90", ")", "-geometry", "+0+0", "-compose",
            "Multiply", "-composite", folder + "/stand.mpc")


def smooth(t, start, end):
    x = min(1, max(0, (t - start) / (end - start)))
    return x * x * (3 - 2 * x)


class Phone:
    """Where the camera is and how it is turned, at a time of the log."""

    def __init__(self):
        with open(LOG, newline="", encoding="ascii") as log:
            rows = [[float(field) for field in row] for row in list(csv.reader(log))[1:]]
        self.samples, heading, roll = [], 0, 0
        for _, _, y, z, *attitude in rows:
            heading += z / 50
            roll += y / 50
            self.samples.append([2 * math.atan2(attitude[0], attitude[3]), heading, roll])
        rest = self.samples[525]  # straight ahead at last
        self.samples = [[pitch, heading - rest[1], roll - rest[2]] for pitch, heading, roll in self.samples]

    def at(self, t):
        i = min(max(int(t * 50), 0), len(self.samples) - 2)
        pitch, heading, roll = (a + (b - a) * (t * 50 - i) for a, b in zip(self.samples[i], self.samples[i + 1]))
        carried, lifted = smooth(t, 3, 4.5), smooth(t, 8, 9.4)
        place = [a + (b - a) * carried + (c - b) * lifted for a, b, c in zip(*PLACES)]
        place[2] += 18 * math.sin(math.pi * carried)
        place = [v + 0.5 * math.sin(t * (1.9 + 0.4 * k) + k) for k, v in enumerate(place)]  # a hand is never quite still
        (sp, cp), (sh, ch), (sr, cr) = ((math.sin(a), math.cos(a)) for a in (pitch, heading, roll))

        def turned(x, y, z):  # lifted, then turned to where it heads
            return ch * x - sh * (cp * y - sp * z), sh * x + ch * (cp * y - sp * z), sp * y + cp * z
        # the device's own axes in the room: to its right, to its top, out of its screen
        return place, (turned(cr, 0, -sr), turned(0, 1, 0), turned(sr, 0, cr))


def seen(view, point, is_direction=False):
    """A point, or a direction, as it is on the picture: x, y, both times the last, the depth."""
    place, axes = view
    x, y, z = (sum(a * (p - (0 if is_direction else c)) for a, p, c in zip(axis, point, place)) for axis in axes)
    return FOCAL * x - WIDTH / 2 * z, -FOCAL * y - HEIGHT / 2 * z, -z


def warp(view, texture, origin, right, down, scale):
    """ImageMagick's words for a texture as it is seen."""
    columns = [[v / scale for v in seen(view, right, True)], [v / scale for v in seen(view, down, True)], seen(view, origin)]
    numbers = [columns[k][row] / columns[2][2] for row in range(3) for k in range(3)][:8]
    return ["(", texture, "-virtual-pixel", "Transparent", "-define", f"distort:viewport={WIDTH}x{HEIGHT}+0+0",
            "-distort", "Perspective-Projection", ",".join("%.9g" % v for v in numbers), "+repage", ")"]


def frame(phone, folder, t):
    ways = []  # of the card's corners while the shutter is open, in pixels
    for corner in ((x, u * UP[1], u * UP[2]) for x in (-43, 43) for u in (21, 75)):
        places = [seen(phone.at(u), corner) for u in (t, t + SHUTTER)]
        ways.append(math.dist(*([x / z, y / z] for x, y, z in places)))
    count = min(16, math.ceil(max(ways) / 1.4))
    words = ["-size", f"{WIDTH}x{HEIGHT}"]
    for k in range(count):
        view = phone.at(t + SHUTTER * k / count)
        edge = []  # the upper side of the stand
        for x, d in ((-1, 0), (1, 0), (1, STAND_THICKNESS), (-1, STAND_THICKNESS)):
            px, py, pz = seen(view, (x * STAND_WIDTH / 2, STAND_TOP[1] + d * UP[2], STAND_TOP[2] - d * UP[1]))
            edge.append("%.2f,%.2f" % (px / pz, py / pz))
        far = smooth(math.degrees(phone.samples[min(600, int(t * 50))][0]), 12, 60)  # what is far is out of focus
        words += ["(", "gradient:#b9b4a8-#8f897c", *warp(view, folder + "/desk.mpc", DESK_TOP, (1, 0, 0), (0, -1, 0), DESK_SCALE),
                  "-composite", "-blur", "0x%.2f" % (0.6 + 2.6 * far), "-fill", "#5a666e", "-draw", "polygon " + " ".join(edge),
                  *warp(view, folder + "/stand.mpc", STAND_TOP, (1, 0, 0), [-v for v in UP], STAND_SCALE), "-composite", ")"]
    return convert(*words, "-evaluate-sequence", "Mean", "-blur", "0x0.5", "-depth", 8, "rgb:-")


def encode(pictures, out):
    clicks = "+".join(f"gte(t,{t})*exp(-160*abs(t-{t}))*sin({f}*(t-{t}))" for t, f in
                      ((3.02, 3100), (4.46, 2300), (8.03, 2800), (9.37, 2100)))
    encoder = subprocess.Popen(
        ["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "rgb24", "-video_size", f"{WIDTH}x{HEIGHT}",
         "-framerate", str(RATE), "-i", "-", "-f", "lavfi", "-i", "anoisesrc=color=pink:amplitude=0.03:seed=5:sample_rate=44100",
         "-f", "lavfi", "-i", f"aevalsrc='0.05*({clicks})':sample_rate=44100", "-filter_complex",
         "[0]vignette=angle=0.36,noise=alls=5:all_seed=9:allf=t,format=yuv420p[v];[1][2]amix=normalize=0[a]",
         "-map", "[v]", "-map", "[a]", "-t", str(SECONDS), "-c:v", "libx264", "-preset", "slow", "-crf", "27", "-g", "30",
         "-bsf:v", "filter_units=remove_types=6",  # the encoder's name and settings
         "-c:a", "aac", "-b:a", "32k", "-ac", "1", "-map_metadata", "-1", "-fflags", "+bitexact", "-flags:v", "+bitexact",
         "-flags:a", "+bitexact", "-movflags", "+faststart", out], stdin=subprocess.PIPE)
    for picture in pictures:
        encoder.stdin.write(picture)
    encoder.stdin.close()
    if encoder.wait() != 0:
        sys.exit("ffmpeg failed")


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as folder, ThreadPoolExecutor(2) as workers:
        draw_textures(folder)
        phone = Phone()
        encode(workers.map(lambda i: frame(phone, folder, i / RATE), range(RATE * SECONDS)),
               sys.argv[1] if len(sys.argv) > 1 else HERE + "/generated_card.mp4")
