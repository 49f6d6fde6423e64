"""Desktop programs that offer (or do not offer) a way to be asked to quit, on the
session bus named by DBUS_SESSION_BUS_ADDRESS. Run with /usr/bin/python3.

  app ID [quit [leave]]  a desktop application owning ID; "quit" adds its quit action;
                         "leave" then exits, leaving its bus connection to a child that
                         answers nothing for ten seconds
  player NAME CANQUIT    a media player owning org.mpris.MediaPlayer2.NAME (CANQUIT: 0/1)

Each prints "ready" once it owns its name, and "asked to quit" then exits when asked.
"""
import os
import sys
import time

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402


def say(text):
    print(text, flush=True)


def run_app(app_id, with_quit, leave):
    app = Gio.Application(application_id=app_id, flags=Gio.ApplicationFlags.IS_SERVICE)

    def startup(_):
        if with_quit:
            action = Gio.SimpleAction.new("quit", None)
            action.connect("activate", lambda *_: (say("asked to quit"), app.quit()))
            app.add_action(action)
        app.hold()
        say("ready")
        if leave:
            if os.fork() != 0:
                os._exit(0)
            time.sleep(10)
            os._exit(0)

    app.connect("startup", startup)
    app.run(None)


PLAYER_XML = """
<node><interface name="org.mpris.MediaPlayer2">
  <method name="Quit"/><method name="Raise"/>
  <property name="CanQuit" type="b" access="read"/>
  <property name="CanRaise" type="b" access="read"/>
  <property name="Identity" type="s" access="read"/>
</interface></node>"""


def run_player(name, can_quit):
    loop = GLib.MainLoop()
    info = Gio.DBusNodeInfo.new_for_xml(PLAYER_XML).interfaces[0]

    def call(connection, sender, path, interface, method, parameters, invocation):
        invocation.return_value(None)
        if method == "Quit":
            say("asked to quit")
            loop.quit()

    def get(connection, sender, path, interface, prop):
        return {"CanQuit": GLib.Variant("b", can_quit), "CanRaise": GLib.Variant("b", False),
                "Identity": GLib.Variant("s", name)}[prop]

    def acquired(connection, _):
        connection.register_object("/org/mpris/MediaPlayer2", info, call, get, None)

    Gio.bus_own_name(Gio.BusType.SESSION, "org.mpris.MediaPlayer2." + name,
                     Gio.BusNameOwnerFlags.NONE, acquired, lambda *_: say("ready"), None)
    loop.run()


if __name__ == "__main__":
    if sys.argv[1] == "app":
        run_app(sys.argv[2], "quit" in sys.argv[3:], "leave" in sys.argv[3:])
    else:
        run_player(sys.argv[2], sys.argv[3] == "1")
