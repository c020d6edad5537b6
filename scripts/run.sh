#!/usr/bin/env bash
# Starts Vantrel on its embedded default: an SQLite accounts database made from the
# template, in a per-user demo environment prepared on the first run. Without a
# screen it runs under Xvfb, saves a screenshot of the main window under build/
# and ends.
set -euo pipefail
cd "$(dirname "$0")/.."
program="$PWD/build/bin/Vantrel"
template="$PWD/build/embedded/template.sqlite"
demo="${QUILLMERE_DEMO_DIR:-${XDG_DATA_HOME:-$HOME/.local/share}/Quillmere-demo}"

# The values are quoted because a connection string holds ";", which the INI
# format would otherwise read as the start of a comment.
write_settings() {
    cat >"$demo/serv-u.ini" <<INI
[software]
Orvane\\serv-u\\connectionstring\\Default="Provider=SQLite;Data Source=$demo/accounts.db"
Orvane\\serv-u\\settings\\servu_path="$demo/server/"
Orvane\\serv-u\\settings\\ftp_directory="$demo/ftp/"
Orvane\\serv-u\\settings\\ini_path="$demo/server/ServUDaemon.ini"
INI
}

write_server_ini() {
    printf '%s\r\n' \
        '[GLOBAL]' \
        'Version=6.4.0.6' \
        'ProcessID=0' \
        'LocalSetupPassword=' \
        '' \
        '[Domain1]' \
        'Domain1=0.0.0.0||21|Demo FTP domain|1|0|0' \
        >"$demo/server/ServUDaemon.ini"
}

if ! [ -f "$demo/serv-u.ini" ]; then
    echo "Preparing the demo environment in $demo"
    mkdir -p "$demo/ftp" "$demo/server" "$demo/runtime"
    cp "$template" "$demo/accounts.db"
    write_server_ini
    write_settings
fi
chmod 700 "$demo/runtime"
export QUILLMERE_SETTINGS="$demo/serv-u.ini"

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec "$program"
fi

# No screen: a runtime folder of the demo's own keeps the instance lock apart.
export XDG_RUNTIME_DIR="$demo/runtime"
screenshot="$PWD/build/vantrel-main.png"
xvfb-run -a -s "-screen 0 1280x900x24" "$program" --screenshot "$screenshot"
