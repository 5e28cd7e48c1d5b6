#!/usr/bin/env bash
# check-digests.sh PIMBSR_SIM [--update]: in all shipped scenarios, with and without faults, every packet
# leaves at the instant at which it left when tests/data/digests.txt was written. A commit that means
# to change packets says why and brings the new file.
set -euo pipefail
simulator=$(realpath "$1")
cd "$(dirname "$0")/../.."
known=tests/data/digests.txt
digests() {
  local scenarios=(sim/scenarios/*.yaml sim/scenarios/continuity/*.yaml)
  "$simulator" run "${scenarios[@]}"
  "$simulator" run "${scenarios[@]}" --faults
}
if [ "${2:-}" = --update ]; then
  digests >"$known"
else
  diff "$known" <(digests) || { echo "other packets than before"; exit 1; }
fi
