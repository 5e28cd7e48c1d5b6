"""PIM frames as octets, laid out by hand after RFC 5059 section 4 and RFC 7761 section 4.9, and the
capture files that hold them. Independent of the product's codec, so that one can check the other."""

import ipaddress
import struct
from dataclasses import dataclass, field

PIM = 103
ALL_PIM_ROUTERS = {4: ipaddress.ip_address("224.0.0.13"), 6: ipaddress.ip_address("ff02::d")}
BOOTSTRAP = 4
NO_FORWARD = 0x80
BIDIR, ZONE = 0x80, 0x01
_ETHERTYPE = {4: 0x0800, 6: 0x86DD}
_SENDER_MAC = bytes.fromhex("020000000002")
_IP_HEADER = {4: 20, 6: 40}


@dataclass
class Rp:
    address: str
    holdtime: int = 150
    priority: int = 0


@dataclass
class GroupRange:
    """One group range of a bootstrap message; `rp_count` is that of the whole message."""

    prefix: str
    rps: list = field(default_factory=list)
    bidir: bool = False
    zone: bool = False
    rp_count: int = None


@dataclass
class Bootstrap:
    """One bootstrap message, or one fragment of it."""

    bsr: str
    ranges: list
    tag: int = 0x4001
    priority: int = 100
    hash_mask_len: int = None
    no_forward: bool = False

    def encode(self):
        bsr = ipaddress.ip_address(self.bsr)
        hash_mask_len = self.hash_mask_len
        if hash_mask_len is None:
            hash_mask_len = bsr.max_prefixlen - 2
        flags = NO_FORWARD if self.no_forward else 0
        octets = struct.pack("!BBH", 0x20 | BOOTSTRAP, flags, 0)
        octets += struct.pack("!HBB", self.tag, hash_mask_len, self.priority) + _unicast(bsr)
        return octets + b"".join(_range(group_range) for group_range in self.ranges)


def frame(sender, message, ttl=1):
    """A whole Ethernet frame with the PIM `message` to all PIM routers, its checksum filled in."""
    sender = ipaddress.ip_address(sender)
    destination = ALL_PIM_ROUTERS[sender.version]
    packet = _ip_header(sender, destination, len(message), ttl) + message
    octets = bytearray(_multicast_mac(destination) + _SENDER_MAC +
                       struct.pack("!H", _ETHERTYPE[sender.version]) + packet)
    fix_checksum(octets)
    return bytes(octets)


def family(octets):
    """4 or 6, or None for a frame without PIM right behind an IP header of the usual length."""
    if len(octets) >= 34 and octets[12:15] == b"\x08\x00\x45" and octets[23] == PIM:
        return 4
    if len(octets) >= 54 and octets[12:14] == b"\x86\xdd" and octets[20] == PIM:
        return 6
    return None


def without_padding(octets):
    """A PIM frame without what follows its IP datagram."""
    if family(octets) == 4:
        return octets[:14 + struct.unpack_from("!H", octets, 16)[0]]
    return octets[:54 + struct.unpack_from("!H", octets, 18)[0]]


def pim_offset(octets):
    """Where the PIM message of a PIM frame starts."""
    return 14 + _IP_HEADER[family(octets)]


def source(octets):
    """The IP source address of a frame."""
    raw = octets[26:30] if family(octets) == 4 else octets[22:38]
    return ipaddress.ip_address(bytes(raw))


def set_source(octets, address):
    """Gives a frame (a bytearray) another source address; a right PIM checksum stays right."""
    address = ipaddress.ip_address(address)
    was_right = checksum_is_right(octets)
    if address.version == 4:
        octets[26:30] = address.packed
        _fix_ip_checksum(octets)
    else:
        octets[22:38] = address.packed
    if was_right:
        fix_checksum(octets)


def set_message(octets, message):
    """Puts another PIM message into a frame (a bytearray); its PIM checksum is left alone."""
    start = pim_offset(octets)
    octets[start:] = message
    if family(octets) == 4:
        octets[16:18] = struct.pack("!H", _IP_HEADER[4] + len(message))
        _fix_ip_checksum(octets)
    else:
        octets[18:20] = struct.pack("!H", len(message))


def checksum(octets):
    """The PIM checksum that a frame should carry (RFC 7761 section 4.9)."""
    start = pim_offset(octets)
    message = bytearray(octets[start:])
    message[2:4] = b"\0\0"
    pseudo = b""
    if family(octets) == 6:
        pseudo = bytes(octets[22:54]) + struct.pack("!II", len(message), PIM)
    return _ones_complement(pseudo + message)


def fix_checksum(octets):
    """Writes the right PIM checksum into a frame (a bytearray)."""
    start = pim_offset(octets)
    if len(octets) >= start + 4:
        octets[start + 2:start + 4] = struct.pack("!H", checksum(octets))


def checksum_is_right(octets):
    start = pim_offset(octets)
    return octets[start + 2:start + 4] == struct.pack("!H", checksum(octets))


def break_checksum(octets):
    """Sees to it that the PIM checksum of a frame (a bytearray) is wrong."""
    if checksum_is_right(octets):
        octets[pim_offset(octets) + 2] ^= 0x55


def read_pcap(path):
    """The (seconds, octets) of each Ethernet frame of a capture file in the classic format."""
    with open(path, "rb") as file:
        data = file.read()
    order = {b"\xd4\xc3\xb2\xa1": "<", b"\xa1\xb2\xc3\xd4": ">"}.get(data[:4])
    if order is None:
        raise ValueError(f"{path} is no classic capture file with microseconds")
    if struct.unpack_from(order + "I", data, 20)[0] != 1:
        raise ValueError(f"{path} holds no Ethernet frames")
    frames, offset = [], 24
    while offset + 16 <= len(data):
        seconds, micros, length, _ = struct.unpack_from(order + "IIII", data, offset)
        frames.append((seconds + micros / 1e6, data[offset + 16:offset + 16 + length]))
        offset += 16 + length
    return frames


def write_pcap(path, frames):
    """Writes Ethernet frames, one second apart, as a classic capture file."""
    with open(path, "wb") as file:
        file.write(struct.pack("<IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 1))
        for second, octets in enumerate(frames):
            file.write(struct.pack("<IIII", second, 0, len(octets), len(octets)) + octets)


def _unicast(address):
    return struct.pack("!BB", 1 if address.version == 4 else 2, 0) + address.packed


def _range(group_range):
    prefix = ipaddress.ip_network(group_range.prefix)
    flags = (BIDIR if group_range.bidir else 0) | (ZONE if group_range.zone else 0)
    count = len(group_range.rps) if group_range.rp_count is None else group_range.rp_count
    octets = struct.pack("!BBBB", 1 if prefix.version == 4 else 2, 0, flags, prefix.prefixlen)
    octets += prefix.network_address.packed
    octets += struct.pack("!BBH", count, len(group_range.rps), 0)
    for rp in group_range.rps:
        octets += _unicast(ipaddress.ip_address(rp.address))
        octets += struct.pack("!HBB", rp.holdtime, rp.priority, 0)
    return octets


def _ip_header(sender, destination, length, ttl):
    if sender.version == 6:
        return (struct.pack("!IHBB", 0x6C000000, length, PIM, ttl) +
                sender.packed + destination.packed)
    header = struct.pack("!BBHHHBBH", 0x45, 0xC0, 20 + length, 0, 0, ttl, PIM, 0)
    header += sender.packed + destination.packed
    return header[:10] + struct.pack("!H", _ones_complement(header)) + header[12:]


def _fix_ip_checksum(octets):
    octets[24:26] = b"\0\0"
    octets[24:26] = struct.pack("!H", _ones_complement(octets[14:34]))


def _multicast_mac(group):
    if group.version == 4:
        return b"\x01\x00\x5e" + bytes([group.packed[1] & 0x7F]) + group.packed[2:]
    return b"\x33\x33" + group.packed[-4:]


def _ones_complement(octets):
    if len(octets) % 2:
        octets = bytes(octets) + b"\0"
    total = sum(struct.unpack(f"!{len(octets) // 2}H", octets))
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return ~total & 0xFFFF
