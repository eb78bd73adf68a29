#!/usr/bin/env python3
"""A stand-in usbmuxd with devices that answer lockdown's questions.

Usage: fake_usbmuxd.py SOCKET UDID=PRODUCTTYPE...

Listens on the Unix socket SOCKET, says "ready" on stdout, and lists each
UDID as a device on USB.
A connection to a device's lockdown port answers QueryType, GetValue (the
given ProductType; an empty one is missing) and Goodbye, as a device does
before it is paired. Runs until killed.
"""
import os
import plistlib
import socket
import socketserver
import struct
import sys

LOCKDOWN_PORT = 62078
DEVICES = []  # (device id, udid, product type)


def read_exactly(stream, size):
    data = b""
    while len(data) < size:
        chunk = stream.recv(size - len(data))
        if not chunk:
            raise EOFError
        data += chunk
    return data


class Client(socketserver.BaseRequestHandler):
    def handle(self):
        try:
            while True:
                # usbmuxd's framing: length, version 1, message 8 (plist), tag.
                length, _, _, tag = struct.unpack("<IIII", read_exactly(self.request, 16))
                request = plistlib.loads(read_exactly(self.request, length - 16))
                kind = request.get("MessageType")
                if kind == "ListDevices":
                    self.reply(tag, {"DeviceList": [
                        {"DeviceID": number, "MessageType": "Attached",
                         "Properties": {"ConnectionType": "USB", "DeviceID": number, "LocationID": 0,
                                        "ProductID": 0x12A8, "SerialNumber": udid}}
                        for number, udid, _ in DEVICES]})
                elif kind == "Connect":
                    port = socket.ntohs(request["PortNumber"])
                    device = [d for d in DEVICES if d[0] == request["DeviceID"]]
                    if port != LOCKDOWN_PORT or not device:
                        self.reply(tag, {"MessageType": "Result", "Number": 3})
                        return
                    self.reply(tag, {"MessageType": "Result", "Number": 0})
                    self.lockdown(device[0][2])
                    return
                else:
                    self.reply(tag, {"MessageType": "Result", "Number": 1})
        except (EOFError, ConnectionError):
            pass

    def reply(self, tag, value):
        body = plistlib.dumps(value)
        self.request.sendall(struct.pack("<IIII", 16 + len(body), 1, 8, tag) + body)

    def lockdown(self, product_type):
        # Lockdown's framing: a big-endian length, then the plist.
        while True:
            (length,) = struct.unpack(">I", read_exactly(self.request, 4))
            request = plistlib.loads(read_exactly(self.request, length))
            name = request.get("Request")
            answer = {"Request": name}
            if name == "QueryType":
                answer["Type"] = "com.apple.mobile.lockdown"
            elif name == "GetValue":
                values = {"ProductType": product_type, "ProductVersion": "16.0"}
                key = request.get("Key")
                answer["Key"] = key
                if values.get(key):
                    answer["Value"] = values[key]
                else:
                    answer["Error"] = "MissingValue"
            elif name != "Goodbye":
                answer["Error"] = "InvalidRequest"
            body = plistlib.dumps(answer)
            self.request.sendall(struct.pack(">I", len(body)) + body)


def main():
    path = sys.argv[1]
    for number, argument in enumerate(sys.argv[2:], start=1):
        udid, _, product_type = argument.partition("=")
        DEVICES.append((number, udid, product_type))
    if os.path.exists(path):
        os.unlink(path)
    socketserver.ThreadingUnixStreamServer.daemon_threads = True
    with socketserver.ThreadingUnixStreamServer(path, Client) as server:
        print("ready", flush=True)
        server.serve_forever()


if __name__ == "__main__":
    main()
