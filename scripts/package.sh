#!/usr/bin/env bash
# Makes the Debian package from build/ and checks it: the files where they belong,
# the desktop entry and the AppStream file valid, lintian without errors, and the
# program, unpacked into a throwaway root, finding its manual and companions there.
set -euo pipefail
cd "$(dirname "$0")/../build"

rm -f quillmere_*.deb
cpack -G DEB
deb=$(ls quillmere_*.deb)
echo "Made $deb"

listing=$(dpkg-deb -c "$deb" | awk '{print $6}')
expected=(
    ./usr/bin/Vantrel
    ./usr/lib/quillmere/gatewick
    ./usr/lib/quillmere/update
    ./usr/lib/quillmere/migration-v2
    ./usr/lib/quillmere/migration-v4
    ./usr/lib/quillmere/sign-package
    ./usr/share/quillmere/Pellbrook_Manual.pdf
    ./usr/share/applications/net.quillmere.vantrel.desktop
    ./usr/share/metainfo/net.quillmere.vantrel.metainfo.xml
    ./usr/share/icons/hicolor/scalable/apps/net.quillmere.vantrel.svg
    ./usr/share/icons/hicolor/48x48/apps/net.quillmere.vantrel.png
    ./usr/share/icons/hicolor/256x256/apps/net.quillmere.vantrel.png
    ./usr/share/man/man1/Vantrel.1.gz
    ./usr/share/doc/quillmere/copyright
    ./usr/share/doc/quillmere/changelog.Debian.gz
    ./usr/share/lintian/overrides/quillmere
    ./lib/systemd/system/quillmere-authd.service
    ./lib/systemd/system/quillmere-sweep.service
    ./lib/systemd/system/quillmere-sweep.timer
)
for path in "${expected[@]}"; do
    grep -qxF "$path" <<<"$listing" || { echo "The package lacks $path" >&2; exit 1; }
done
# Only the program and the manual page's command belong in the search path.
if grep -E '^\./usr/bin/.' <<<"$listing" | grep -vxF ./usr/bin/Vantrel; then
    echo "The package puts more than Vantrel in /usr/bin" >&2
    exit 1
fi
dpkg-deb -f "$deb" Depends Recommends

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg-deb -x "$deb" "$root"
desktop-file-validate "$root/usr/share/applications/net.quillmere.vantrel.desktop"
appstreamcli validate --no-net "$root/usr/share/metainfo/net.quillmere.vantrel.metainfo.xml"
lintian --fail-on error "$deb"

# Without a display, as an administrator's shell over SSH would run it.
version=$(env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM "$root/usr/bin/Vantrel" --version)
[ "$version" = "Vantrel $(dpkg-deb -f "$deb" Version | cut -d- -f1)" ] || { echo "Unexpected version: $version" >&2; exit 1; }
paths=$(env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM "$root/usr/bin/Vantrel" --paths)
echo "$paths"
grep -qxF "migration-v4: $root/usr/lib/quillmere/migration-v4" <<<"$paths"
grep -qxF "manual: $root/usr/share/quillmere/Pellbrook_Manual.pdf" <<<"$paths"
# The daily timer's sweep runs the installed program; without a display and without a
# database it ends with status 1, not waiting for anybody.
grep -qE '^ExecStart=/.*/Vantrel --sweep$' "$root/lib/systemd/system/quillmere-sweep.service"
status=0
env -u DISPLAY -u WAYLAND_DISPLAY -u QT_QPA_PLATFORM QUILLMERE_SETTINGS="$root/no-database.ini" \
    timeout 60 "$root/usr/bin/Vantrel" --sweep >/dev/null || status=$?
[ "$status" = 1 ] || { echo "The installed sweep ended with status $status without a database, not 1" >&2; exit 1; }
echo "Package $deb checked"
