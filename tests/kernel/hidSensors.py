#!/usr/bin/env python3
"""A HID sensor hub in user space (/dev/uhid): accelerometer, gyroscope and, if asked for, device orientation.

Reads what the sensors measure from the standard input, one line at a time: ax ay az gx gy gz qx qy qz qw, in multiples of
gravity, degrees per second, and parts of a unit quaternion, all in HID's own convention. Its end unplugs the hub.
Numbers of usages: "HID Usage Tables", Sensors page (0x20).
"""
import os
import select
import struct
import sys
import time

CREATE2, DESTROY, GET_REPORT, GET_REPORT_REPLY, INPUT2, SET_REPORT, SET_REPORT_REPLY = 11, 1, 9, 10, 12, 13, 14
FEATURE, INPUT = 0, 2
INTERVAL = 20  # milliseconds, until a client wants another


def item(tag, value, size):
    return bytes([tag | (size if size < 4 else 3)]) + value.to_bytes(size, "little", signed=value < 0)


def selector(usage, choices):
    """A named array of one byte: the property, and the usages of its values."""
    return (item(0x08, usage, 2) + item(0x14, 1, 1) + item(0x24, len(choices), 1) + item(0x74, 8, 1) + item(0x94, 1, 1)
            + item(0xA0, 2, 1) + b"".join(item(0x08, choice, 2) for choice in choices) + item(0xB0, 0, 1) + b"\xC0")


def sensor(report, usage, fields, size, count, exponent):
    """A sensor of so many fields of count values each. The exponent is that of ten."""
    most = 2 ** (size - 1) - 1
    return (item(0x08, usage, 1) + item(0xA0, 0, 1) + item(0x84, report, 1)
            + selector(0x0316, range(0x0840, 0x0846)) + selector(0x0319, range(0x0850, 0x0856))
            + item(0x08, 0x030E, 2) + item(0x14, 0, 1) + item(0x24, 10000, 4) + item(0x74, 32, 1) + item(0x94, 1, 1)
            + item(0x54, 0, 1) + item(0xB0, 2, 1)
            + b"".join(item(0x08, field, 2) + item(0x14, -most, 4) + item(0x24, most, 4) + item(0x74, size, 1)
                       + item(0x94, count, 1) + item(0x54, exponent & 15, 1) + item(0x80, 2, 1) for field in fields)
            + b"\xC0")


ACCELEROMETER, GYROSCOPE, ORIENTATION = 1, 2, 3
descriptor = (item(0x04, 0x20, 1) + item(0x08, 1, 1) + item(0xA0, 1, 1)
              + sensor(ACCELEROMETER, 0x73, [0x0453, 0x0454, 0x0455], 16, 1, -3)
              + sensor(GYROSCOPE, 0x76, [0x0457, 0x0458, 0x0459], 16, 1, -2))
if "--orientation" in sys.argv:
    descriptor += sensor(ORIENTATION, 0x8A, [0x0483], 32, 4, -6)
descriptor += b"\xC0"
features = {report: [1, 1, INTERVAL] for report in (ACCELEROMETER, GYROSCOPE, ORIENTATION)}
pose = [0.0] * 6 + [0.0, 0.0, 0.0, 1.0]


def measured(report):
    if report == ACCELEROMETER:
        return struct.pack("<B3h", report, *(round(value * 1000) for value in pose[:3]))
    if report == GYROSCOPE:
        return struct.pack("<B3h", report, *(round(value * 100) for value in pose[3:6]))
    return struct.pack("<B4i", report, *(round(value * 1e6) for value in pose[6:]))


def answer(device, event):
    kind, number, report, what = struct.unpack_from("<IIBB", event)
    if kind == GET_REPORT:
        data = struct.pack("<BBBi", report, *features[report]) if what == FEATURE else measured(report)
        os.write(device, struct.pack("<IIHH", GET_REPORT_REPLY, number, 0, len(data)) + data)
    elif kind == SET_REPORT:
        size = struct.unpack_from("<H", event, 10)[0]
        if what == FEATURE and size >= 7:
            features[report] = list(struct.unpack_from("<xBBi", event, 12))
        os.write(device, struct.pack("<IIH", SET_REPORT_REPLY, number, 0))


def main():
    device = os.open("/dev/uhid", os.O_RDWR)
    os.write(device, struct.pack("<I128s64s64sHHIIII", CREATE2, b"test hub", b"", b"", len(descriptor), 3, 0x1234, 1, 0, 0)
             + descriptor)
    due = dict.fromkeys(features, 0.0)
    text = b""
    while True:
        # Those that are to report, at full power.
        active = [report for report, (reporting, power, _) in features.items() if reporting == 2 and power == 2]
        wait = min((max(due[report] - time.monotonic(), 0) for report in active), default=None)
        ready = select.select([device, 0], [], [], wait)[0]
        if device in ready:
            answer(device, os.read(device, 8192))
        if 0 in ready:
            read = os.read(0, 4096)
            if not read:
                break
            *lines, text = (text + read).split(b"\n")
            for line in lines:
                pose[:] = map(float, line.split())
        for report in active:
            now = time.monotonic()
            if now >= due[report]:
                due[report] = now + max(features[report][2], 1) / 1000
                data = measured(report)
                os.write(device, struct.pack("<IH", INPUT2, len(data)) + data)
    os.write(device, struct.pack("<I", DESTROY))


main()
