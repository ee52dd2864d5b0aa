#!/usr/bin/env bash
# The long runs: rounds of open, start, stop and close (ROUNDS, default 20,000), and the tests of
# several processes over and over (REPEAT, default 50).
set -euo pipefail
cd "$(dirname "$0")/.."
bin=$PWD/build/linux/bin
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
TARN_ROUNDS=${ROUNDS:-20000} "$bin/test-card" --gtest_filter=WholeBus.AThousandRoundsLeakNothing
for ((i = 1; i <= ${REPEAT:-50}; i++)); do
    for test in OneProcessWritesAnotherReadsAndTheOtherChannelSeesNothing \
        NoReaderEverSeesAHalfWrittenImage AProcessThatDiesInTheMiddleLeavesTheChannelUsable \
        RequestsOfManyProcessesNeverMixTheirReplies; do
        "$bin/test-process" --gtest_brief=1 --gtest_filter="ChannelSharing.$test" || exit 1
    done
done
echo "Soak finished."
