#!/usr/bin/env bash
# A tour on a virtual card: from an empty folder to a bus that moves a drive. Needs the programs of
# `make`; prints every command before it runs, and leaves nothing running. TARN_BIN and TARN_DEMO
# name other folders for the programs and for what is made here.
set -euo pipefail
cd "$(dirname "$0")/.."

bin=$(realpath "${TARN_BIN:-build/linux/bin}")
folder=${TARN_DEMO:-$PWD/build/demo}
export PATH=$bin:$PATH XDG_RUNTIME_DIR=$folder/run
# The names of sockets are short: a deep folder does not do for them.
[ ${#XDG_RUNTIME_DIR} -lt 80 ] || XDG_RUNTIME_DIR=${TMPDIR:-/tmp}/tarn-demo-$(id -u)

end() { tarn-vcard stop >/dev/null 2>&1 || true; }
trap end EXIT
end # of a demo that was killed
rm -rf "$folder" "$XDG_RUNTIME_DIR"
mkdir -p "$folder"
mkdir -m 700 "$XDG_RUNTIME_DIR"
cd "$folder"

if [ -t 1 ]; then
    bold=$'\e[1m' plain=$'\e[0m'
else
    bold='' plain=''
fi

say() { printf '\n%s\n' "# $*"; }
run() {
    printf '%s$ %s%s\n' "$bold" "$*" "$plain"
    "$@"
}

say "To repeat any of this by hand, in another terminal:"
printf '%s$ cd %q\n$ export XDG_RUNTIME_DIR=%q PATH=%q:$PATH%s\n' \
    "$bold" "$folder" "$XDG_RUNTIME_DIR" "$bin" "$plain"

say "A card in software, and an ENI file for a network of a drive and digital I/O"
run tarn-vcard start --each start-ms=1500
run tarn-vcard make-eni -o cell.xml --slave coupler --slave drive:1 --slave dio16:2 --cycle-us 1000 --mapping
run tarn eni check cell.xml

say "The card is found; the bus starts with the file"
run tarn boards
run tarn start cell.xml
run tarn slaves
run tarn status

say "Digital outputs of slave 2 come back as its inputs"
run tarn pi read --slave 2 --format bin
run tarn pi write --slave 2 0xa5f0
sleep 0.1
run tarn pi read --slave 2 --format bin
run tarn pi write --slave 2 --bit 15 0
sleep 0.1
run tarn pi read --slave 2 --format bin

say "The drive, slave 1: controlword at byte 0, mode at 2 and target position at 4 of its outputs."
echo "# Profile position mode, then the power states up to operation enabled"
run tarn pi write --slave 1 --offset 2 --format i8 1
for controlword in 0x06 0x07 0x0f; do
    run tarn pi write --slave 1 --offset 0 --format u16 $controlword
    sleep 0.05
done
run tarn pi read --slave 1 --offset 0 --length 2

say "A new target, and the actual position at byte 4 of its inputs on the way there"
run tarn pi write --slave 1 --offset 4 --format i32 50000
run tarn pi write --slave 1 --offset 0 --format u16 0x1f
run tarn pi watch --slave 1 --offset 4 --format i32 --count 14 --interval-ms 150

say "Stop the bus and the card"
run tarn stop
run tarn-vcard stop
