#!/usr/bin/env bash
# Unpacks Debian's pure-ftpd into the build tree for the end-to-end tests of the
# authentication handler. Nothing is installed: no FTP service is left on the machine.
set -euo pipefail
mkdir -p "$1"
dest=$(cd "$1" && pwd)
[ -x "$dest/usr/sbin/pure-ftpd" ] && [ -x "$dest/usr/sbin/pure-authd" ] && exit 0

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
download() { apt-get download -o APT::Sandbox::User=root pure-ftpd >/dev/null 2>&1; }
if ! download; then
    # A machine whose package lists were never fetched knows no pure-ftpd yet.
    if [ "$(id -u)" -eq 0 ]; then apt-get update -qq; else sudo apt-get update -qq; fi
    download
fi
mkdir -p "$dest"
dpkg-deb -x pure-ftpd_*.deb "$dest"
echo "pure-ftpd unpacked into $dest"
