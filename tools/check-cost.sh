#!/usr/bin/env bash
# Counts the instructions of typical operations, and fails when one of them needs more than 3 % more
# than bench/cost.txt says. Instructions are counted, not time taken, so that a busy machine does not
# matter; but another compiler or C library does, and then there is nothing to compare.
#
#   tools/check-cost.sh PROGRAM          PROGRAM is bin/Cost of a release build
#   tools/check-cost.sh --renew PROGRAM  writes bench/cost.txt anew, to be committed with the reason
#
# Exits with 0 if nothing became dearer, 1 if something did, 77 if nothing could be compared.
set -euo pipefail

figures=$(dirname "$0")/../bench/cost.txt
renew=0
[[ ${1-} == --renew ]] && { renew=1; shift; }
program=${1:?usage: check-cost.sh [--renew] PROGRAM}
command -v valgrind > /dev/null || { echo "skipped: valgrind is not installed"; exit 77; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
valgrind --tool=callgrind --callgrind-out-file="$work/out" --toggle-collect=costOf --dump-after=costOf \
    "$program" > "$work/names" 2> "$work/log" || { cat "$work/log" >&2; exit 1; }

# The program prints what it was built with, and then one name for each part of callgrind's output.
{
    read -r built
    echo "$built"
    part=0
    while IFS= read -r name; do
        part=$((part + 1))
        counted=$(sed -n 's/^\(totals\|summary\): //p' "$work/out.$part" | head -n 1)
        printf '%6d  %s\n' $((counted / ${built%% *})) "$name"
    done
} < "$work/names" > "$work/figures"

if ((renew)); then
    cp "$work/figures" "$figures"
    exit
fi
if [[ $(head -n 1 "$figures") != $(head -n 1 "$work/figures") ]]; then
    echo "skipped: the figures are those of '$(head -n 1 "$figures")', and this is '$(head -n 1 "$work/figures")'"
    exit 77
fi
awk '
    FNR == 1 { next }
    { count = $1; sub(/^ *[0-9]+ +/, "") }
    NR == FNR { before[$0] = count; next }
    !($0 in before) { printf "%6s -> %6d  %s: not among the figures\n", "", count, $0; failed = 1; next }
    {
        verdict = count > before[$0] * 1.03 ? ": dearer" : count < before[$0] * 0.97 ? ": cheaper" : ""
        printf "%6d -> %6d  %s%s\n", before[$0], count, $0, verdict
        failed = failed || verdict == ": dearer"
        changed = changed || verdict != ""
    }
    END {
        if (failed) print "An operation needs more instructions than bench/cost.txt says."
        if (failed || changed) print "If that is meant: tools/check-cost.sh --renew PROGRAM, and commit bench/cost.txt."
        exit failed
    }' "$figures" "$work/figures"
