#!/usr/bin/env bash
# Installs the Debian packages that building, running and testing Quillmere need,
# as root or through sudo. Packages already present are left alone.
set -euo pipefail

packages=(
    # build
    cmake make g++ pkg-config
    qt6-base-dev qt6-base-dev-tools qt6-svg-dev libsodium-dev
    # run: SVG icons, database drivers, fonts
    libqt6svg6 libqt6sql6-sqlite libqt6sql6-psql libqt6sql6-odbc fonts-dejavu-core
    # SQL Server through ODBC (FreeTDS), PostgreSQL for the tests' throwaway cluster
    unixodbc tdsodbc postgresql
    # the FTP server's libraries and an FTP client for the end-to-end tests, the sqlite3 shell for the benchmarks
    libsodium23 libcap2 libpam0g libssl3 curl sqlite3
    # run and screenshots without a screen
    xvfb xauth
    # the Debian package (make package): dependencies from the libraries, and its checks
    dpkg-dev file lintian desktop-file-utils appstream
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
    sudo=()
elif command -v sudo >/dev/null 2>&1; then
    sudo=(sudo)
else
    echo "These packages are missing and neither root nor sudo is available to install them:" >&2
    echo "  ${missing[*]}" >&2
    exit 1
fi

echo "Installing: ${missing[*]}"
"${sudo[@]}" apt-get update -qq
DEBIAN_FRONTEND=noninteractive "${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
