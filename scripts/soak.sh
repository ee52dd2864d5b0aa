#!/usr/bin/env bash
# The long runs: process images at 1 kHz (SECONDS_1KHZ, default ten minutes) and at 10 kHz
# (SECONDS_10KHZ, default one minute), for both generations of the triple buffer with and without
# logical mapping; rounds of open, start, stop and close (ROUNDS, default 20,000); the tests of
# several processes over and over (REPEAT, default 50).
set -euo pipefail
cd "$(dirname "$0")/.."
bin=$PWD/build/linux/bin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
export TARN_SOAK_SECONDS=${SECONDS_1KHZ:-600} TARN_SOAK_FAST_SECONDS=${SECONDS_10KHZ:-60}
# Runs the tests of a program that a filter names. One that names none is a failure.
run() {
    local program=$1 filter=$2
    if ! "$bin/$program" --gtest_list_tests --gtest_filter="$filter" | grep '^  ' >/dev/null; then
        echo "$program has no test $filter" >&2
        return 1
    fi
    "$bin/$program" --gtest_brief=1 --gtest_filter="$filter"
}
for rate in OneKilohertz TenKilohertz; do
    for kind in 0 1 2 3; do
        run test-soak "$rate/*/$kind"
    done
done
TARN_ROUNDS=${ROUNDS:-20000} run test-card WholeBus.AThousandRoundsLeakNothing
for ((i = 1; i <= ${REPEAT:-50}; i++)); do
    for test in OneProcessWritesAnotherReadsAndTheOtherChannelSeesNothing \
        NoReaderEverSeesAHalfWrittenImage AProcessThatDiesInTheMiddleLeavesTheChannelUsable \
        RequestsOfManyProcessesNeverMixTheirReplies; do
        run test-process "ChannelSharing.$test"
    done
done
echo "Soak finished."
