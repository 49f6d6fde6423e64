#!/usr/bin/python3
"""A stand-in for udisks2 with one USB drive of two mounted partitions, for what the
real daemon cannot show without hardware: powering off and ejecting a drive.

usage: UDisks2MockService.py BUS_ADDRESS LOG_FILE SCENARIO DISKSEQ_FILE
SCENARIO: poweroff (the drive can power off), eject (it cannot, but is ejectable),
          poweroff-fails (power off is refused), neither (neither is possible),
          stuck (sdx1 stays mounted), replaced (the disk is replaced once sdx1 is
          unmounted: DISKSEQ_FILE, the test's sysfs diskseq of sdx, changes),
          renumbered (the device number beside DISKSEQ_FILE changes once sdx2, the
          first, is unmounted),
          moved (sdx1 is mounted elsewhere than the check saw it),
          not-authorized (polkit refuses the first unmount), slow (each unmount takes
          two seconds),
          dies (udisks2 exits in the middle of power off), layered (sdx2 is an encrypted
          container holding another one, whose cleartext holds a volume group with one
          mounted logical volume, dm2), lock-fails (locking sdx2 fails), stays-unlocked
          (locking sdx2 seems to work, but its cleartext stays).
Every method call is appended to LOG_FILE as one line. The blocks are numbered
4000:0 (sdx), 4000:1 and 4000:2, a major no real device has.
"""
import os
import sys
import time

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

ROOT = "/org/freedesktop/UDisks2"
BLOCK = "org.freedesktop.UDisks2.Block"
PARTITION = "org.freedesktop.UDisks2.Partition"
FILESYSTEM = "org.freedesktop.UDisks2.Filesystem"
DRIVE = "org.freedesktop.UDisks2.Drive"
ENCRYPTED = "org.freedesktop.UDisks2.Encrypted"
LVM_BLOCK = "org.freedesktop.UDisks2.Block.LVM2"
LOGICAL_VOLUME = "org.freedesktop.UDisks2.LogicalVolume"
DRIVE_PATH = ROOT + "/drives/Mock_USB_Stick"
LV_PATH = ROOT + "/lvm/vg/lv"
LAYERED = ("layered", "lock-fails", "stays-unlocked")

address, log_path, scenario, diskseq_path = sys.argv[1:5]


def log(line):
    with open(log_path, "a") as log_file:
        log_file.write(line + "\n")


def path_bytes(text):
    return dbus.Array([dbus.Byte(b) for b in text.encode() + b"\0"], signature="y")


objects = {}


def block_path(name):
    return ROOT + "/block_devices/" + name


def block(name, minor, table=None, mount=None, backing=None, encrypted=False, volume=None):
    path = block_path(name)
    backing_path = block_path(backing) if backing else "/"
    interfaces = {BLOCK: {"Device": path_bytes("/dev/" + name),
                          "DeviceNumber": dbus.UInt64(os.makedev(4000, minor)),
                          "Drive": dbus.ObjectPath(DRIVE_PATH if minor < 3 else "/"),
                          "CryptoBackingDevice": dbus.ObjectPath(backing_path)}}
    if table:
        interfaces[PARTITION] = {"Table": dbus.ObjectPath(block_path(table))}
    if mount is not None:
        interfaces[FILESYSTEM] = {"MountPoints": dbus.Array([path_bytes(mount)], signature="ay")}
    if encrypted:
        interfaces[ENCRYPTED] = {}
    if volume:
        interfaces[LVM_BLOCK] = {"LogicalVolume": dbus.ObjectPath(volume)}
    objects[path] = interfaces


block("sdx", 0)
block("sdx1", 1, "sdx", "/media/mock/MOVED" if scenario == "moved" else "/media/mock/ONE")
if scenario in LAYERED:
    block("sdx2", 2, "sdx", encrypted=True)
    block("dm0", 3, backing="sdx2", encrypted=True)
    block("dm1", 4, backing="dm0")
    block("dm2", 5, mount="/media/mock/LV", volume=LV_PATH)
    objects[LV_PATH] = {LOGICAL_VOLUME: {"Name": "lv"}}
else:
    block("sdx2", 2, "sdx", "/media/mock/TWO")
objects[DRIVE_PATH] = {DRIVE: {"CanPowerOff": scenario not in ("eject", "neither"),
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
        log("Unmount " + name + " " + str(bool(options.get("auth.no_user_interaction", True))))
        if scenario == "not-authorized":
            raise dbus.exceptions.DBusException(
                "Not authorized to perform operation",
                name="org.freedesktop.UDisks2.Error.NotAuthorized")
        if scenario == "slow":
            time.sleep(2)
        if scenario == "stuck" and name == "sdx1":
            return
        objects[self.path][FILESYSTEM]["MountPoints"] = dbus.Array([], signature="ay")
        if scenario == "replaced" and name == "sdx1":
            with open(diskseq_path, "w") as diskseq:
                diskseq.write("78\n")
        if scenario == "renumbered" and name == "sdx2":
            with open(os.path.join(os.path.dirname(diskseq_path), "dev"), "w") as number:
                number.write("4000:7\n")


def held(name):
    """Whether a block still exists on top of `name`."""
    return any(BLOCK in interfaces and interfaces[BLOCK]["CryptoBackingDevice"] == block_path(name)
               for interfaces in objects.values()) or (name == "dm1" and block_path("dm2") in objects)


class Encrypted(dbus.service.Object):
    def __init__(self, bus, name, cleartext):
        super().__init__(bus, block_path(name))
        self.name = name
        self.cleartext = cleartext

    @dbus.service.method(ENCRYPTED, in_signature="a{sv}")
    def Lock(self, options):
        log("Lock " + self.name)
        if scenario == "lock-fails" and self.name == "sdx2":
            raise dbus.exceptions.DBusException(
                "Error locking /dev/sdx2: Device or resource busy",
                name="org.freedesktop.UDisks2.Error.Failed")
        if held(self.cleartext):
            raise dbus.exceptions.DBusException(
                "Error locking " + self.name + ": its cleartext device is in use",
                name="org.freedesktop.UDisks2.Error.DeviceBusy")
        if scenario == "stays-unlocked" and self.name == "sdx2":
            return
        del objects[block_path(self.cleartext)]


class LogicalVolume(dbus.service.Object):
    @dbus.service.method(LOGICAL_VOLUME, in_signature="a{sv}")
    def Deactivate(self, options):
        log("Deactivate lv")
        if objects[block_path("dm2")][FILESYSTEM]["MountPoints"]:
            raise dbus.exceptions.DBusException(
                "Error deactivating: mounted", name="org.freedesktop.UDisks2.Error.DeviceBusy")
        del objects[block_path("dm2")]


class Drive(dbus.service.Object):
    @dbus.service.method(DRIVE, in_signature="a{sv}")
    def PowerOff(self, options):
        log("PowerOff")
        if scenario == "dies":
            os._exit(1)
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
if scenario in LAYERED:
    keep += [Encrypted(bus, "sdx2", "dm0"), Encrypted(bus, "dm0", "dm1"),
             LogicalVolume(bus, LV_PATH)]
GLib.MainLoop().run()
