#!/usr/bin/env bash
# Makes docs/exports.md from api/exports.txt. With --check it changes nothing and fails when the
# index is out of date, or when an export names no test or one that does not exist.
set -euo pipefail
cd "$(dirname "$0")/.."

rows='^[A-Za-z_?]'

index() {
    cat <<'EOF'
# What the library exports

Made from `api/exports.txt` by `scripts/exports.sh`; do not edit. Each name is documented in the
public header of its family (`api/include/pci_tarn/FAMILY.h`; `cjson` is cJSON's own interface,
exported under its own names). The last column names the test that shows the export at work.

| Name | Kind | Family | Since | Shown by |
|---|---|---|---|---|
EOF
    grep -E "$rows" api/exports.txt | sort -f | while read -r entry kind family since test; do
        name=${entry%%=*}
        [ "$name" = "$entry" ] || kind="$kind, is \`${entry#*=}\`"
        echo "| \`$name\` | $kind | $family | $since | $test |"
    done
}

check() {
    local failed=0 all
    all=$(grep -rhoE '^(TEST|TEST_F|TEST_P)\(\w+, *\w+\)' tests |
        sed -E 's/.*\((\w+), *(\w+)\)/\1.\2/' | sort -u)
    while read -r name _ _ _ test; do
        if [ "$test" = - ]; then
            echo "$name: no test shows it"
            failed=1
        elif ! grep -qxF "$test" <<<"$all"; then
            echo "$name: there is no test $test"
            failed=1
        fi
    done < <(grep -E "$rows" api/exports.txt)
    if ! diff -q <(index) docs/exports.md >/dev/null; then
        echo "docs/exports.md is out of date: run scripts/exports.sh"
        failed=1
    fi
    return $failed
}

if [ "${1:-}" = --check ]; then
    check
    echo "Every export names a test that exists, and docs/exports.md is up to date."
else
    index >docs/exports.md
fi
