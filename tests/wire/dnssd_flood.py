"""A device that announces many servers by multicast DNS (RFC 6762), once, as soon as another device asks for them.

    dnssd_flood.py ADDRESS short|long NAMES

Long names have 63 bytes, most of which Avahi escapes: they cost it the most time.
"""

import socket
import struct
import sys

GROUP = ("224.0.0.251", 5353)
TYPE = ("_moxtelserver", "_tcp", "local")
LARGEST_PACKET = 1400
PREFIXES = {"short": "Server ", "long": "." * 58}


def encoded(labels):
    return b"".join(bytes([len(label)]) + label for label in (text.encode() for text in labels)) + b"\0"


def pointer(name):
    """A PTR record: a server has this name."""
    data = encoded((name, *TYPE))
    return encoded(TYPE) + struct.pack(">HHIH", 12, 1, 4500, len(data)) + data


def response(records):
    return struct.pack(">HHHHHH", 0, 0x8400, 0, len(records), 0, 0) + b"".join(records)


def responses(prefix, count):
    records = []
    for number in range(count):
        record = pointer(f"{prefix}{number:05}")
        if len(response(records + [record])) > LARGEST_PACKET:
            yield response(records)
            records = []
        records.append(record)
    yield response(records)


def main():
    address, prefix, count = sys.argv[1], PREFIXES[sys.argv[2]], int(sys.argv[3])
    own = socket.inet_aton(address)
    peer = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    peer.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    peer.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton(GROUP[0]) + own)
    peer.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, own)
    peer.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 255)
    peer.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_LOOP, 0)
    peer.bind(("", GROUP[1]))
    print("ready", flush=True)
    while encoded(TYPE) not in peer.recv(9000):
        pass
    for packet in responses(prefix, count):
        peer.sendto(packet, GROUP)
    print("announced", flush=True)


if __name__ == "__main__":
    main()
