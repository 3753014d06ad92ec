#!/usr/bin/env bash
# A desktop session of its own: a virtual X display, a window manager, a session bus, an empty home directory, and a
# desktop entry that starts the installed Chromium (or Chrome) quietly. For machines without a display, and for tests.
#
# Usage: private-session.sh start FOLDER [SECONDS]   starts one and writes FOLDER/environment, to be sourced by users;
#                                                    it ends by itself after SECONDS (default 600)
#        private-session.sh stop FOLDER              ends it, with what runs in it
set -euo pipefail
self=$(realpath "$0")

is_running() { [[ -s $1/supervisor.pid ]] && kill -0 "$(<"$1/supervisor.pid")" 2>/dev/null; }

# The browser's main process holds a lock that names it: a link to HOST-PID.
browser_pid() {
    local lock
    for lock in "$1"/home/.config/{chromium,google-chrome}/SingletonLock; do
        [[ -L $lock ]] && readlink "$lock" | sed 's/.*-//'
    done
    return 0
}

write_desktop_entry() {
    local folder=$1 id=chromium program
    program=$(command -v chromium || true)
    if [[ -z $program ]] && program=$(command -v google-chrome); then id=google-chrome; fi
    [[ -n $program ]] || { echo "neither chromium nor google-chrome is installed" >&2; return 1; }
    # No dialogs, no network beyond this machine. Chromium refuses to run as root with its sandbox.
    local options=(--no-first-run --test-type --disable-gpu --disable-sync --disable-background-networking
        --disable-component-update --password-store=basic
        "\"--host-resolver-rules=MAP * ~NOTFOUND , EXCLUDE 127.0.0.1\"")
    ((EUID != 0)) || options+=(--no-sandbox)
    mkdir -p "$folder/home/.local/share/applications"
    cat >"$folder/home/.local/share/applications/$id.desktop" <<ENTRY
[Desktop Entry]
Type=Application
Name=Chromium of the private session
Exec=$program ${options[*]} %U
ENTRY
}

# Two profiles with names, as Chromium keeps them.
write_profiles() {
    local data=$1/home/.config/chromium
    mkdir -p "$data/Default" "$data/Profile 1"
    cat >"$data/Local State" <<'JSON'
{"profile": {"info_cache": {"Default": {"name": "Work"}, "Profile 1": {"name": "Home"}},
             "profiles_order": ["Default", "Profile 1"]}}
JSON
    echo '{"profile": {"name": "Work"}}' >"$data/Default/Preferences"
    echo '{"profile": {"name": "Home"}}' >"$data/Profile 1/Preferences"
}

supervise() {
    local folder=$1 seconds=$2 children=() display bus
    # Sockets have short paths wherever the folder lies.
    runtime=$(mktemp -d "${TMPDIR:-/tmp}/corvana-session.XXXXXX")
    finish() {
        trap - EXIT TERM INT
        local browser
        browser=$(browser_pid "$folder")
        if [[ -n $browser ]] && kill "$browser" 2>/dev/null; then
            for _ in {1..50}; do kill -0 "$browser" 2>/dev/null || break; sleep 0.1; done
        fi
        kill "${children[@]}" 2>/dev/null || true
        wait
        rm -rf "$runtime" "$folder/environment" "$folder/supervisor.pid"
    }
    trap finish EXIT
    trap 'exit 0' TERM INT

    Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$runtime/display" &
    children+=($!)
    for _ in {1..100}; do [[ -s $runtime/display ]] && break; sleep 0.1; done
    display=:$(<"$runtime/display")
    dbus-daemon --session --nofork --address="unix:path=$runtime/bus" &
    children+=($!)
    bus=unix:path=$runtime/bus
    export HOME=$folder/home DISPLAY=$display DBUS_SESSION_BUS_ADDRESS=$bus XDG_RUNTIME_DIR=$runtime
    unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME WAYLAND_DISPLAY
    openbox &
    children+=($!)
    for _ in {1..100}; do wmctrl -m >/dev/null 2>&1 && break; sleep 0.1; done
    {
        for name in HOME DISPLAY DBUS_SESSION_BUS_ADDRESS XDG_RUNTIME_DIR; do printf 'export %s=%q\n' "$name" "${!name}"; done
        echo "unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME WAYLAND_DISPLAY"
    } >"$folder/environment.new"
    mv "$folder/environment.new" "$folder/environment"
    sleep "$seconds" &
    children+=($!)
    wait $!
}

start() {
    local folder=$1 seconds=${2:-600}
    is_running "$folder" && return
    rm -rf "$folder"
    mkdir -p "$folder"
    write_desktop_entry "$folder"
    write_profiles "$folder"
    setsid "$self" supervise "$folder" "$seconds" </dev/null >"$folder/log" 2>&1 &
    echo $! >"$folder/supervisor.pid"
    for _ in {1..200}; do
        [[ -f $folder/environment ]] && return
        is_running "$folder" || break
        sleep 0.1
    done
    echo "the private session did not start:" >&2
    cat "$folder/log" >&2
    return 1
}

stop() {
    is_running "$1" || return 0
    local supervisor
    supervisor=$(<"$1/supervisor.pid")
    kill "$supervisor"
    for _ in {1..100}; do kill -0 "$supervisor" 2>/dev/null || return 0; sleep 0.1; done
}

(($# >= 2)) || { sed -n '2,9s/^# \?//p' "$self" >&2; exit 2; }
command=$1
folder=$(realpath -m "$2")
case $command in
    start) start "$folder" "${3:-600}" ;;
    stop) stop "$folder" ;;
    supervise) supervise "$folder" "$3" ;;
    *) echo "unknown command: $command" >&2; exit 2 ;;
esac
