#!/usr/bin/python3
"""A stand-in for the desktop portal's settings (the colour scheme), for the
user-interface tests and the demo. The tray is never faked: a stand-in watcher
accepts items that a real host shows blank (testing/xfce_panel.h starts one).

Run with Debian's /usr/bin/python3 (python3-gi) on the bus given by
DBUS_SESSION_BUS_ADDRESS. Control it over the bus: org.vantor.FakeDesktop on
/org/vantor/FakeDesktop has SetColorScheme(u), which answers Read from then on
and emits SettingChanged.

  fake_desktop.py [--portal] [--color-scheme N]
"""
import argparse
import sys

from gi.repository import Gio, GLib

PORTAL_XML = """
<node>
  <interface name="org.freedesktop.portal.Settings">
    <method name="Read">
      <arg type="s" name="namespace" direction="in"/>
      <arg type="s" name="key" direction="in"/>
      <arg type="v" name="value" direction="out"/>
    </method>
    <signal name="SettingChanged">
      <arg type="s" name="namespace"/>
      <arg type="s" name="key"/>
      <arg type="v" name="value"/>
    </signal>
    <property name="version" type="u" access="read"/>
  </interface>
</node>
"""

CONTROL_XML = """
<node>
  <interface name="org.vantor.FakeDesktop">
    <method name="SetColorScheme"><arg type="u" direction="in"/></method>
  </interface>
</node>
"""


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--portal", action="store_true")
    parser.add_argument("--color-scheme", type=int, default=0)
    args = parser.parse_args()

    state = {"scheme": args.color_scheme}
    bus = Gio.bus_get_sync(Gio.BusType.SESSION, None)
    loop = GLib.MainLoop()

    def emit_setting():
        bus.emit_signal(None, "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Settings",
                        "SettingChanged", GLib.Variant("(ssv)", ("org.freedesktop.appearance", "color-scheme",
                                                                 GLib.Variant("u", state["scheme"]))))

    def portal_call(conn, sender, path, iface, method, params, invocation):
        namespace, key = params.unpack()
        if namespace == "org.freedesktop.appearance" and key == "color-scheme":
            # The portal's Read nests the value in a second variant.
            invocation.return_value(GLib.Variant("(v)", (GLib.Variant("v", GLib.Variant("u", state["scheme"])),)))
        else:
            invocation.return_dbus_error("org.freedesktop.portal.Error.NotFound", "Requested setting not found")

    def portal_property(conn, sender, path, iface, name):
        return GLib.Variant("u", 1)

    def control_call(conn, sender, path, iface, method, params, invocation):
        (state["scheme"],) = params.unpack()
        emit_setting()
        invocation.return_value(None)

    def export(xml, path, call, prop=None):
        info = Gio.DBusNodeInfo.new_for_xml(xml).interfaces[0]
        bus.register_object(path, info, call, prop, None)

    export(CONTROL_XML, "/org/vantor/FakeDesktop", control_call)
    names = ["org.vantor.FakeDesktop"]
    if args.portal:
        export(PORTAL_XML, "/org/freedesktop/portal/desktop", portal_call, portal_property)
        names.append("org.freedesktop.portal.Desktop")
    # The control name last: once it is owned, everything else is in place.
    for name in reversed(names):
        Gio.bus_own_name_on_connection(bus, name, Gio.BusNameOwnerFlags.NONE, None, None)
    loop.run()


if __name__ == "__main__":
    sys.exit(main())
