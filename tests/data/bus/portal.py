"""Runs the desktop portal itself, its store of permissions and PipeWire, and plays the dialog.

Carries out commands, one a line ("answer granted"), and answers each with one line.
"""
import os
import signal
import subprocess
import sys
import time

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

folder = sys.argv[1]
DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
bus.set_exit_on_disconnect(False)
name = dbus.service.BusName("org.freedesktop.impl.portal.desktop.test", bus)
STORE = "org.freedesktop.impl.portal.PermissionStore"
answers, waiting, running = [], [], {}
shows, isDisabled = 0, False


class Dialog(dbus.service.Object):
    @dbus.service.method("org.freedesktop.DBus.Properties", in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return {"disable-camera": dbus.Boolean(isDisabled)} if interface.endswith("Lockdown") else {}

    @dbus.service.method("org.freedesktop.impl.portal.Access", in_signature="osssssa{sv}", out_signature="ua{sv}",
                         async_callbacks=("reply", "fail"))
    def AccessDialog(self, handle, app, parent, title, subtitle, body, options, reply, fail):
        global shows
        shows += 1
        waiting.append(reply)
        close()


def close():
    while answers and waiting:
        waiting.pop()(dbus.UInt32(answers[0]), dbus.Dictionary({}, signature="sv"))


def until(condition):
    while not condition():
        if not GLib.MainContext.default().iteration(False):
            time.sleep(0.005)


def start(program, isReady):
    path = "/usr/libexec/" + program if program.startswith("xdg") else program
    running[program] = subprocess.Popen([path], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    until(isReady)


def stop(program):
    process = running.pop(program)
    process.kill()
    process.wait()


def portal(word):
    if word == "start":
        start("xdg-desktop-portal", lambda: bus.name_has_owner("org.freedesktop.portal.Desktop"))
    elif word == "hang":
        running["xdg-desktop-portal"].send_signal(signal.SIGSTOP)
    else:
        stop("xdg-desktop-portal")


def camera(word):
    """A node that the portal takes for one. It notices only those that were there before it."""
    subprocess.run(["pw-cli", "create-node", "adapter", "{ factory.name=support.null-audio-sink media.class=Video/Source "
                    "media.role=Camera object.linger=true }"], stdout=subprocess.DEVNULL, check=True)


def manager(word):
    """The session manager, which shows cameras to the connections of the portal."""
    start("wireplumber", lambda: '"default"' in subprocess.run(["pw-cli", "ls", "Metadata"], capture_output=True,
                                                               text=True).stdout)


def source(words):
    """A camera of PipeWire: the program and its arguments."""
    running["source"] = subprocess.Popen(words.split())
    until(lambda: "Video/Source" in subprocess.run(["pw-cli", "ls", "Node"], capture_output=True, text=True).stdout)


def answer(word):
    answers[:] = {"granted": [0], "denied": [1]}.get(word, [])
    close()


def shown(word):
    until(lambda: shows >= int(word))
    return shows


def permission(word):
    store = dbus.Interface(bus.get_object(STORE, "/org/freedesktop/impl/portal/PermissionStore"), STORE)
    if word == "none":
        return store.DeletePermission("devices", "camera", "")
    store.SetPermission("devices", True, "camera", "", [word])


def lockdown(word):
    global isDisabled
    isDisabled = word == "on"


def carryOut(stream, condition):
    line = stream.readline()
    if not line:
        loop.quit()
        return False
    command, argument = line.strip().split(maxsplit=1)
    try:
        print(globals()[command](argument) or "done", flush=True)
    except Exception as error: # the loop would drop it, and this function
        print(repr(error), flush=True)
    return True


os.environ.update({"XDG_" + variable: folder for variable in ("RUNTIME_DIR", "DATA_HOME", "CONFIG_HOME", "STATE_HOME",
                                                              "DESKTOP_PORTAL_DIR")}, HOME=folder, PIPEWIRE_REMOTE="pipewire-0",
                  XDG_CURRENT_DESKTOP="test")
with open(os.path.join(folder, "test.portal"), "w") as file:
    file.write("[portal]\nDBusName=org.freedesktop.impl.portal.desktop.test\n"
               "Interfaces=org.freedesktop.impl.portal.Access;org.freedesktop.impl.portal.Lockdown;\nUseIn=test\n")
dialog = Dialog(bus, "/org/freedesktop/portal/desktop")
start("pipewire", lambda: os.path.exists(folder + "/pipewire-0"))
start("xdg-permission-store", lambda: bus.name_has_owner(STORE))
loop = GLib.MainLoop()
GLib.io_add_watch(os.fdopen(0, "r", buffering=1), GLib.IO_IN | GLib.IO_HUP, carryOut)
loop.run()
for program in list(running):
    stop(program)
