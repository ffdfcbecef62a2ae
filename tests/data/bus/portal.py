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
os.environ.update(HOME=folder, XDG_RUNTIME_DIR=folder, XDG_DATA_HOME=folder, XDG_CONFIG_HOME=folder, XDG_STATE_HOME=folder,
                  XDG_DESKTOP_PORTAL_DIR=folder, XDG_CURRENT_DESKTOP="test")
DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
bus.set_exit_on_disconnect(False)
name = dbus.service.BusName("org.freedesktop.impl.portal.desktop.test", bus)
ANSWERS = {"granted": 0, "denied": 1}
running = {}


class Dialog(dbus.service.Object):
    answer = None  # none yet
    disabled = False
    shown = 0
    waiting = []

    @dbus.service.method("org.freedesktop.DBus.Properties", in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return {"disable-camera": dbus.Boolean(self.disabled)} if interface.endswith("Lockdown") else {}

    @dbus.service.method("org.freedesktop.impl.portal.Access", in_signature="osssssa{sv}", out_signature="ua{sv}",
                         async_callbacks=("reply", "fail"))
    def AccessDialog(self, handle, app, parent, title, subtitle, body, options, reply, fail):
        self.shown += 1
        self.waiting.append(reply)
        self.close()

    def close(self):
        while self.answer is not None and self.waiting:
            self.waiting.pop()(dbus.UInt32(self.answer), dbus.Dictionary({}, signature="sv"))


dialog = Dialog(bus, "/org/freedesktop/portal/desktop")
with open(os.path.join(folder, "test.portal"), "w") as file:
    file.write("[portal]\nDBusName=org.freedesktop.impl.portal.desktop.test\n"
               "Interfaces=org.freedesktop.impl.portal.Access;org.freedesktop.impl.portal.Lockdown;\nUseIn=test\n")


def start(program, *arguments):
    running[program] = subprocess.Popen(["/usr/libexec/" + program if program.startswith("xdg") else program, *arguments],
                                        stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


start("pipewire")
start("xdg-permission-store")
while not bus.name_has_owner("org.freedesktop.impl.portal.PermissionStore") or not os.path.exists(folder + "/pipewire-0"):
    time.sleep(0.01)


def stop(program):
    process = running.pop(program)
    process.kill()
    process.wait()


def portal(word):
    if word == "stop":
        return stop("xdg-desktop-portal")
    if word == "hang":
        return running["xdg-desktop-portal"].send_signal(signal.SIGSTOP)
    start("xdg-desktop-portal")
    while not bus.name_has_owner("org.freedesktop.portal.Desktop"):
        GLib.MainContext.default().iteration(False)  # it asks for the lockdown


def camera(word):
    """A node that the portal takes for one; it notices only those that were there before it."""
    subprocess.run(["pw-cli", "create-node", "adapter",
                    "{ factory.name=support.null-audio-sink media.class=Video/Source media.role=Camera object.linger=true }"],
                   stdout=subprocess.DEVNULL, check=True)


def answer(word):
    dialog.answer = ANSWERS.get(word)
    dialog.close()


def shown(word):
    """Waits for so many dialogs."""
    while dialog.shown < int(word):
        GLib.MainContext.default().iteration(True)
    return dialog.shown


def permission(word):
    store = bus.get_object("org.freedesktop.impl.portal.PermissionStore", "/org/freedesktop/impl/portal/PermissionStore")
    if word == "none":
        return store.DeletePermission("devices", "camera", "", dbus_interface="org.freedesktop.impl.portal.PermissionStore")
    store.SetPermission("devices", True, "camera", "", [word], dbus_interface="org.freedesktop.impl.portal.PermissionStore")


def lockdown(word):
    dialog.disabled = word == "on"


def carryOut(stream, condition):
    line = stream.readline()
    if not line:
        loop.quit()
        return False
    command, argument = line.split()
    print(globals()[command](argument) or "done", flush=True)
    return True


loop = GLib.MainLoop()
GLib.io_add_watch(os.fdopen(0, "r", buffering=1), GLib.IO_IN | GLib.IO_HUP, carryOut)
loop.run()
for program in list(running):
    stop(program)
