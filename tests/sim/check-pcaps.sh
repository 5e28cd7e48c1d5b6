#!/usr/bin/env bash
# check-pcaps.sh PIMBSR_SIM SCENARIO...: runs each scenario with faults and without and has tshark
# decode every packet of the captures: all of them PIM, no bad checksum, nothing malformed.
# Exit code 77: there is no tshark.
set -euo pipefail
command -v tshark mergecap >/dev/null || exit 77
simulator=$1
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

# record SCENARIO OPTION...: writes a capture and adds its packets to the number that must be found.
packets=0
record() {
  local said
  said=$("$simulator" run "$@" --quiet --pcap "$folder/$(basename "$1" .yaml)${2:-}.pcap") ||
    { echo "$*: $said"; exit 1; }
  packets=$((packets + $(sed -n 's/.*events, \([0-9]*\) packets.*/\1/p' <<<"$said")))
}

# Packets that tshark takes offence at.
offences() {
  tshark -r "$1" -o ip.check_checksum:TRUE -Y "!pim || !(pim.type in {0, 4, 8}) ||
    pim.cksum.status != 1 || (ip && ip.checksum.status != 1) || _ws.malformed || _ws.short ||
    _ws.expert.severity >= warning" 2>/dev/null
}

for scenario in "$@"; do
  record "$scenario"
  record "$scenario" --faults
done
mergecap -a -F pcap -w "$folder/all" "$folder"/*.pcap
decoded=$(tshark -r "$folder/all" -Y pim -T fields -e frame.number 2>/dev/null | wc -l)
[ "$packets" -gt 0 ] && [ "$decoded" = "$packets" ] ||
  { echo "$packets packets sent, $decoded decoded"; exit 1; }
offences "$folder/all" >"$folder/offences"
if [ -s "$folder/offences" ]; then
  for capture in "$folder"/*.pcap; do
    offences "$capture" | head -5 | sed "s|^|$(basename "$capture"): |"
  done
  exit 1
fi
echo "$packets packets decoded, all checksums good"
