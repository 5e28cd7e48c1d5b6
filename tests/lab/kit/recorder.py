"""Records the PIM frames of an interface: recorder.py INTERFACE FILE. Says "recording" once it does.

Needs no user of its own to change to, so it runs in a user namespace too.
"""

import errno
import socket
import struct
import sys
import time

ETH_P_ALL = 3
PIM, FRAGMENT_HEADER = 103, 44
LONGEST_FRAME = 65535


def record(interface, path):
    with open(path, "wb", buffering=0) as file:
        file.write(struct.pack("<IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, LONGEST_FRAME, 1))
        ether = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ETH_P_ALL))
        ether.bind((interface, ETH_P_ALL))
        print("recording", flush=True)
        while True:
            try:
                octets = ether.recv(LONGEST_FRAME)
            except OSError as error:
                if error.errno != errno.ENETDOWN:
                    raise
                continue  # the link is down for a while; this is said once
            if is_wanted(octets):
                seconds, micros = divmod(time.time_ns() // 1000, 1_000_000)
                file.write(struct.pack("<IIII", seconds, micros, len(octets), len(octets)) + octets)


def is_wanted(octets):
    if octets[12:14] == b"\x08\x00":
        return len(octets) > 23 and octets[23] == PIM
    return octets[12:14] == b"\x86\xdd" and len(octets) > 20 and octets[20] in (PIM, FRAGMENT_HEADER)


if __name__ == "__main__":
    record(*sys.argv[1:])
