#!/usr/bin/python3
"""A stand-in for udisks2 with one USB drive of two mounted partitions, for what the
real daemon cannot show without hardware: powering off and ejecting a drive.

usage: UDisks2MockService.py BUS_ADDRESS LOG_FILE SCENARIO DISKSEQ_FILE
SCENARIO: poweroff (the drive can power off), eject (it cannot, but is ejectable),
          poweroff-fails (power off is refused), neither (neither is possible),
          stuck (sdx1 stays mounted), replaced (the disk is replaced once sdx1 is
          unmounted: DISKSEQ_FILE, the test's sysfs diskseq of sdx, changes).
Every method call is appended to LOG_FILE as one line. The blocks are numbered
4000:0 (sdx), 4000:1 and 4000:2, a major no real device has.
"""
import os
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

ROOT = "/org/freedesktop/UDisks2"
BLOCK = "org.freedesktop.UDisks2.Block"
PARTITION = "org.freedesktop.UDisks2.Partition"
FILESYSTEM = "org.freedesktop.UDisks2.Filesystem"
DRIVE = "org.freedesktop.UDisks2.Drive"
DRIVE_PATH = ROOT + "/drives/Mock_USB_Stick"

address, log_path, scenario, diskseq_path = sys.argv[1:5]


def log(line):
    with open(log_path, "a") as log_file:
        log_file.write(line + "\n")


def path_bytes(text):
    return dbus.Array([dbus.Byte(b) for b in text.encode() + b"\0"], signature="y")


objects = {}


def block(name, minor, table=None, mount=None):
    path = ROOT + "/block_devices/" + name
    interfaces = {BLOCK: {"Device": path_bytes("/dev/" + name),
                          "DeviceNumber": dbus.UInt64(os.makedev(4000, minor)),
                          "Drive": dbus.ObjectPath(DRIVE_PATH),
                          "CryptoBackingDevice": dbus.ObjectPath("/")}}
    if table:
        interfaces[PARTITION] = {"Table": dbus.ObjectPath(ROOT + "/block_devices/" + table)}
    if mount is not None:
        interfaces[FILESYSTEM] = {"MountPoints": dbus.Array([path_bytes(mount)], signature="ay")}
    objects[path] = interfaces


block("sdx", 0)
block("sdx1", 1, "sdx", "/media/mock/ONE")
block("sdx2", 2, "sdx", "/media/mock/TWO")
objects[DRIVE_PATH] = {DRIVE: {"CanPowerOff": scenario in ("poweroff", "poweroff-fails"),
                               "Ejectable": scenario != "neither"}}


class Manager(dbus.service.Object):
    @dbus.service.method("org.freedesktop.DBus.ObjectManager", out_signature="a{oa{sa{sv}}}")
    def GetManagedObjects(self):
        return objects


class Filesystem(dbus.service.Object):
    def __init__(self, bus, path):
        super().__init__(bus, path)
        self.path = path

    @dbus.service.method(FILESYSTEM, in_signature="a{sv}")
    def Unmount(self, options):
        name = self.path.rsplit("/", 1)[1]
        log("Unmount " + name + " " + str(bool(options.get("auth.no_user_interaction", False))))
        if scenario == "stuck" and name == "sdx1":
            return
        objects[self.path][FILESYSTEM]["MountPoints"] = dbus.Array([], signature="ay")
        if scenario == "replaced" and name == "sdx1":
            with open(diskseq_path, "w") as diskseq:
                diskseq.write("78\n")


class Drive(dbus.service.Object):
    @dbus.service.method(DRIVE, in_signature="a{sv}")
    def PowerOff(self, options):
        log("PowerOff")
        if scenario == "poweroff-fails":
            raise dbus.exceptions.DBusException(
                "Error powering off drive: the drive is in use",
                name="org.freedesktop.UDisks2.Error.Failed")

    @dbus.service.method(DRIVE, in_signature="a{sv}")
    def Eject(self, options):
        log("Eject")


dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
bus = dbus.bus.BusConnection(address)
name = dbus.service.BusName("org.freedesktop.UDisks2", bus)
keep = [Manager(bus, ROOT), Drive(bus, DRIVE_PATH)]
keep += [Filesystem(bus, p) for p in objects if FILESYSTEM in objects[p]]
GLib.MainLoop().run()
