#!/usr/bin/python3
"""A stand-in for the desktop portal's file chooser, for the folder-picker
tests: owns org.freedesktop.portal.Desktop on the bus given by
DBUS_SESSION_BUS_ADDRESS, writes the options of each OpenFile call to RECORD
as JSON (byte strings as lists of numbers), answers through the request's
Response signal as MODE says (choose: URI; empty: success without URIs;
anything else: cancelled), and creates RECORD.ready once it owns the name.

  fake_file_chooser.py MODE RECORD URI
"""
import json, sys
import gi
gi.require_version('Gio', '2.0')
from gi.repository import Gio, GLib
mode, record, uri = sys.argv[1:4]
node = Gio.DBusNodeInfo.new_for_xml('''<node><interface name="org.freedesktop.portal.FileChooser">
<method name="OpenFile"><arg type="s" direction="in"/><arg type="s" direction="in"/>
<arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method></interface></node>''')
def call(conn, sender, path, iface, method, params, invocation):
    options = params.unpack()[2]
    with open(record, 'w') as f:
        json.dump({k: list(v) if isinstance(v, (bytes, bytearray)) else v for k, v in options.items()}, f)
    handle = '/org/freedesktop/portal/desktop/request/%s/%s' % (sender[1:].replace('.', '_'), options['handle_token'])
    invocation.return_value(GLib.Variant('(o)', (handle,)))
    code, results = {'choose': (0, {'uris': GLib.Variant('as', [uri])}), 'empty': (0, {})}.get(mode, (1, {}))
    def respond():
        conn.emit_signal(sender, handle, 'org.freedesktop.portal.Request', 'Response',
                         GLib.Variant('(ua{sv})', (code, results)))
        return False
    GLib.idle_add(respond)
def acquired(conn, name):
    conn.register_object('/org/freedesktop/portal/desktop', node.interfaces[0], call, None, None)
Gio.bus_own_name(Gio.BusType.SESSION, 'org.freedesktop.portal.Desktop', Gio.BusNameOwnerFlags.NONE,
                 acquired, lambda conn, name: open(record + '.ready', 'w').close(), None)
GLib.MainLoop().run()
