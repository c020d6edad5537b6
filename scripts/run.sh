#!/usr/bin/env bash
# Starts Vantrel. Without a screen it runs under Xvfb, saves a screenshot of the
# main window under build/ and ends.
set -euo pipefail
cd "$(dirname "$0")/.."
program="$PWD/build/bin/Vantrel"
state="$PWD/build/run"

# A user who may not write the system-wide settings keeps them in the build folder.
system_settings=/etc/xdg/Orvane/serv-u.ini
if [ -z "${QUILLMERE_SETTINGS:-}" ] && [ "$(id -u)" -ne 0 ] && ! [ -w "$system_settings" ]; then
    export QUILLMERE_SETTINGS="$state/serv-u.ini"
    echo "Settings are kept in $QUILLMERE_SETTINGS"
fi

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
    exec "$program"
fi

# No screen: a settings file and runtime folder of this run's own, so that the
# picture shows the program as it opens on an installation, not the first-run greeting.
mkdir -p "$state/runtime"
chmod 700 "$state/runtime"
export XDG_RUNTIME_DIR="$state/runtime"
export QUILLMERE_SETTINGS="$state/headless.ini"
if ! [ -f "$QUILLMERE_SETTINGS" ]; then
    printf '[software]\nOrvane\\serv-u\\connectionstring\\Default="Provider=SQLite;Data Source=%s"\n' \
        "$state/accounts.db" >"$QUILLMERE_SETTINGS"
fi
screenshot="$PWD/build/vantrel-main.png"
xvfb-run -a -s "-screen 0 1280x900x24" "$program" --screenshot "$screenshot"
