"""A second PIM speaker on a router: speaker.py INTERFACE 4|6. It sends the Hellos of RFC 7761 section
4.3, and knows nothing of Bootstrap messages, until it is killed."""

import random
import select
import socket
import struct
import sys
import time

PIM = 103
PERIOD_SECONDS, HOLDTIME_SECONDS, TRIGGERED_SECONDS = 1, 4, 0.3
HOLDTIME, DR_PRIORITY, GENERATION_ID = 1, 19, 20
IPV6_CHECKSUM = 7
GROUPS = {4: "224.0.0.13", 6: "ff02::d"}


def hello(generation_id):
    message = struct.pack("!BBHHHHHHIHHI", 0x20, 0, 0, HOLDTIME, 2, HOLDTIME_SECONDS,
                          DR_PRIORITY, 4, 1, GENERATION_ID, 4, generation_id)
    words = sum(struct.unpack(f"!{len(message) // 2}H", message))
    return message[:2] + struct.pack("!H", ~(words + (words >> 16)) & 0xFFFF) + message[4:]


def opened(interface, version):
    index = socket.if_nametoindex(interface)
    family = socket.AF_INET if version == 4 else socket.AF_INET6
    link = socket.socket(family, socket.SOCK_RAW, PIM)
    link.setsockopt(socket.SOL_SOCKET, socket.SO_BINDTODEVICE, interface.encode())
    if version == 4:
        request = struct.pack("=4s4si", socket.inet_aton(GROUPS[4]), bytes(4), index)
        link.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, request)
        link.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, request)
        link.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, 1)
    else:
        request = socket.inet_pton(family, GROUPS[6]) + struct.pack("=i", index)
        link.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_JOIN_GROUP, request)
        link.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_MULTICAST_IF, index)
        link.setsockopt(socket.IPPROTO_IPV6, IPV6_CHECKSUM, 2)  # the kernel writes it
    return link


def speak(interface, version):
    link, known = opened(interface, version), set()
    message = hello(random.getrandbits(32))
    due = time.monotonic()
    while True:
        if time.monotonic() >= due:
            link.sendto(message, (GROUPS[version], 0))
            due = time.monotonic() + PERIOD_SECONDS
        if not select.select([link], [], [], max(0, due - time.monotonic()))[0]:
            continue
        source = link.recvfrom(65535)[1][0]
        if source not in known:  # a triggered Hello
            known.add(source)
            due = min(due, time.monotonic() + random.random() * TRIGGERED_SECONDS)


if __name__ == "__main__":
    speak(sys.argv[1], int(sys.argv[2]))
