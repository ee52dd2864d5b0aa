#!/usr/bin/env bash
# The .deb: what it depends on, what it holds, and programs built against it once it is unpacked.
. "$(dirname "$0")/common.sh"
deb=$(make_package DEB)
[ "$deb" = "packages/pci-tarn_$(version)_$(dpkg --print-architecture).deb" ] || fail "name: $deb"

[ "$(dpkg-deb -f "$deb" Package)" = pci-tarn ] || fail "package name"
[ "$(dpkg-deb -f "$deb" Version)" = "$(version)" ] || fail "version"
depends=$(dpkg-deb -f "$deb" Depends)
for package in libc6 'libstdc[+][+]6' libgcc-s1; do
    grep -qE "(^|, )$package \(>= " <<<"$depends" || fail "no $package in: $depends"
done
others=$(tr ',' '\n' <<<"$depends" | awk '{print $1}' |
    grep -vxE 'libc6|libstdc\+\+6|libgcc-s1' || true)
[ -z "$others" ] || fail "depends on $others"
dpkg-deb --ctrl-tarfile "$deb" | tar -xO ./shlibs | grep -qx "libpci_tarn 1 pci-tarn (>= .*)" ||
    fail "the shlibs file"

dpkg-deb -c "$deb" | awk '{print $2}' | sort -u >owners
[ "$(cat owners)" = root/root ] || fail "owners: $(cat owners)"
dpkg-deb -x "$deb" root
expect_linux_installation "$work/root/usr"
echo "The .deb is complete and can be built against."
