#!/usr/bin/env bash
# Installs what is missing (asking for root only then) and unpacks Debian's sources of the
# dependencies that both builds compile, into build/deps. Does nothing when all is there. With
# --all also what the Windows build, the checks, the bindings, the tests of the packages and the fuzz
# targets need.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
    build-essential cmake ninja-build ccache git dpkg-dev ca-certificates
    googletest libbenchmark-dev libcli11-dev
)
[ "${1:-}" != --all ] || packages+=(
    g++-mingw-w64-x86-64 wine wine64
    clang clang-format clang-tidy doxygen libclang-rt-14-dev
    llvm lld file unzip pkg-config python3 mono-mcs mono-runtime
)

missing=()
for package in "${packages[@]}"; do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
        missing+=("$package")
done
if ((${#missing[@]})); then
    root=()
    [ "$(id -u)" = 0 ] || root=(sudo)
    echo "Installing: ${missing[*]}"
    "${root[@]}" apt-get update -qq
    "${root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

deps=$PWD/build/deps
stamp=$deps/.complete-1
[ -e "$stamp" ] && exit 0
rm -rf "$deps"
mkdir -p "$deps/include" "$deps/apt/lists/partial"

# Source packages come through a list of our own, so that the system's settings stay untouched.
keyring=/usr/share/keyrings/debian-archive-keyring.gpg
cat >"$deps/apt/sources.list" <<EOF
deb-src [signed-by=$keyring] http://deb.debian.org/debian bookworm main
deb-src [signed-by=$keyring] http://deb.debian.org/debian-security bookworm-security main
EOF
apt=(apt-get -qq -o "Dir::Etc::sourcelist=$deps/apt/sources.list" -o Dir::Etc::sourceparts=-
    -o "Dir::State::lists=$deps/apt/lists" -o "Dir::Cache::pkgcache=" -o "Dir::Cache::srcpkgcache="
    -o APT::Sandbox::User=root)
"${apt[@]}" update
(cd "$deps" && "${apt[@]}" source cjson pugixml >/dev/null)
mv "$deps"/cjson-*/ "$deps/cjson"
mv "$deps"/pugixml-*/ "$deps/pugixml"
rm -f "$deps"/*.dsc "$deps"/*.tar.*

# Headers of ours and of the native include folder that the MinGW build needs as well.
mkdir -p "$deps/include/cjson"
cp "$deps/cjson/cJSON.h" "$deps/cjson/cJSON_Utils.h" "$deps/include/cjson/"
cp -r /usr/include/CLI "$deps/include/CLI"
touch "$stamp"
