#!/usr/bin/env bash
# Unpacks Debian's pure-ftpd and ProFTPD (with the libraries the latter needs)
# into the build tree, for the end-to-end tests of the FTP servers reading the
# accounts database. Nothing is installed: no FTP service is left on the machine.
set -euo pipefail
mkdir -p "$1"
dest=$(cd "$1" && pwd)

fetch() { # fetch <folder> <package>...
    local target="$dest/$1"
    shift
    # The marker names the packages, so that a longer list unpacks again.
    [ "$(cat "$target/.complete" 2>/dev/null)" = "$*" ] && return 0
    local work
    work=$(mktemp -d)
    (
        cd "$work"
        download() { apt-get download -o APT::Sandbox::User=root "$@" >/dev/null 2>&1; }
        if ! download "$@"; then
            # A machine whose package lists were never fetched knows none of them yet.
            if [ "$(id -u)" -eq 0 ]; then apt-get update -qq; else sudo apt-get update -qq; fi
            download "$@"
        fi
        mkdir -p "$target"
        for package in ./*.deb; do dpkg-deb -x "$package" "$target"; done
    )
    rm -rf "$work"
    echo "$*" >"$target/.complete"
    echo "unpacked into $target: $*"
}

fetch pure-ftpd pure-ftpd
# The SQL back ends (SQLite, PostgreSQL, ODBC) and mod_sql_passwd (in the crypto
# package) for the configuration the program writes.
fetch proftpd proftpd-core proftpd-mod-sqlite proftpd-mod-pgsql proftpd-mod-odbc proftpd-mod-crypto libhiredis0.14 libmemcached11 libmemcachedutil2 libpcre2-posix3 libhashkit2
