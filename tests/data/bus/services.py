"""Plays logind and iio-sensor-proxy on a bus, with python3-dbusmock, and runs the real iio-sensor-proxy.

Carries out commands, one a line ("lock on"), and answers each with one line.
"""
import glob
import json
import os
import shutil
import subprocess
import sys
import time

import dbus
import dbusmock

MOCK = dbusmock.MOCK_IFACE
MANAGER = "org.freedesktop.login1.Manager"
SESSION = "org.freedesktop.login1.Session"
PROXY = "net.hadess.SensorProxy"
running = {}


def start(template, name, path, parameters):
    # As a program of its own it answers only when the template is loaded.
    process = subprocess.Popen([sys.executable, "-m", "dbusmock", "--system", "--template", template,
                                "--parameters", json.dumps(parameters)], stdout=subprocess.DEVNULL)
    dbusmock.DBusTestCase.wait_for_bus_object(name, path, system_bus=True)
    running[template] = process, dbusmock.DBusTestCase.get_dbus(True).get_object(name, path)
    return running[template][1]


def stop(template):
    process = running.pop(template)[0]
    process.terminate()
    process.wait()


def session():
    return dbusmock.DBusTestCase.get_dbus(True).get_object("org.freedesktop.login1", "/org/freedesktop/login1/session/auto")


def logind(word):
    if word != "start":
        return stop("logind")
    start("logind", "org.freedesktop.login1", "/org/freedesktop/login1", {}).AddSession("auto", "seat0", dbus.UInt32(0), "user", True, dbus_interface=MOCK)


def sensors(word):
    if word == "stop":
        return stop("iio-sensors-proxy")
    start("iio-sensors-proxy", PROXY, "/net/hadess/SensorProxy",
          {"has_accelerometer": word != "none", "accelerometer_orientation": word})


def hold(word):
    running["iio-sensors-proxy"][1].SetInternalProperty(PROXY, "AccelerometerOrientation", word, dbus_interface=MOCK)


def proxy(folder):
    """Runs iio-sensor-proxy itself over an accelerometer that umockdev keeps in this folder."""
    program = shutil.which("iio-sensor-proxy", path="/usr/sbin:/usr/libexec")
    if not program or not shutil.which("umockdev-run"):
        return "missing"
    accelerometer = os.path.join(folder, "accelerometer")
    with open(accelerometer, "w") as device:
        device.write("P: /devices/iio:device0\nN: iio:device0\nE: SUBSYSTEM=iio\nE: IIO_SENSOR_PROXY_TYPE=iio-poll-accel\n"
                     "A: in_accel_x_raw=0\nA: in_accel_y_raw=0\nA: in_accel_z_raw=-981\nA: in_accel_scale=0.01\n")
    process = subprocess.Popen(["umockdev-run", "--device", accelerometer, "--", program], env={**os.environ, "TMPDIR": folder})
    dbusmock.DBusTestCase.wait_for_bus_object(PROXY, "/net/hadess/SensorProxy", system_bus=True)
    running["proxy"] = process, glob.glob(folder + "/umockdev.*/sys/devices/iio:device0/")[0]


def turn(words):
    for axis, value in zip("xyz", words.split(",")):
        with open(running["proxy"][1] + "in_accel_" + axis + "_raw", "w") as attribute:
            attribute.write(value)


def sleep(word):
    manager = running["logind"][1]
    manager.UpdateProperties(MANAGER, {"PreparingForSleep": word == "on"}, dbus_interface=MOCK)
    manager.EmitSignal(MANAGER, "PrepareForSleep", "b", [word == "on"], dbus_interface=MOCK)


def lock(word):
    getattr(session(), "Lock" if word == "on" else "Unlock")(dbus_interface=SESSION)


def locked_hint(word):
    session().SetLockedHint(word == "on", dbus_interface=SESSION)


def active(word):
    session().UpdateProperties(SESSION, {"Active": word == "on"}, dbus_interface=MOCK)


def delays(word):
    """Waits until sleep is delayed by so many, and says when that was."""
    end = time.time() + 60
    while len(running["logind"][1].ListInhibitors(dbus_interface=MANAGER)) != int(word):
        if time.time() > end:
            return "never"
        time.sleep(0.002)
    return time.time()


for line in sys.stdin:
    command, argument = line.split()
    print(globals()[command](argument) or "done", flush=True)
for name in list(running):
    stop(name)
