#!/usr/bin/env bash
# check-ranks.sh SIMULATOR FILE...: many runs of the scenarios say the same alone, on three ranks of
# mpirun, and on three of which one is killed under way.
set -euo pipefail
simulator=$1
shift
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
ranks=(mpirun --oversubscribe --mca oob_tcp_if_include lo --mca btl self,vader -n 3)
runs=("$simulator" run "$@" --seeds 1..60 --faults)

"${runs[@]}" >"$folder/alone"
"${ranks[@]}" "${runs[@]}" >"$folder/ranks"
cmp "$folder/alone" "$folder/ranks"

"${ranks[@]}" --enable-recovery "${runs[@]}" >"$folder/fewer" 2>"$folder/complaints" &
job=$!
# A rank is at work once it has a process of its own.
until victim=$(pgrep -P "$job" | tail -n 1) && [ -n "$victim" ] && pgrep -P "$victim" >/dev/null; do
  kill -0 "$job"
done
kill -KILL "$victim"
wait "$job"
cmp "$folder/alone" "$folder/fewer"
echo "three ranks, and two of three, agree with one"
