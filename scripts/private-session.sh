#!/usr/bin/env bash
# A desktop session of its own: a virtual X display, a window manager, a session bus, an empty home directory, and a
# desktop entry that starts the installed Chromium quietly. For machines without a display, and for tests.
#
# Usage: private-session.sh start FOLDER [SECONDS]   starts one and writes FOLDER/environment, to be sourced by users;
#                                                    it ends by itself after SECONDS (default 600); one that is running
#                                                    stays as long from now on
#        private-session.sh stop FOLDER              ends it, with what runs in it
set -euo pipefail
self=$(realpath "$0")

# The supervisor holds a lock for as long as it lives. Only then is the number that it has left its own.
is_running() { [[ -e $1/session.lock ]] && ! flock --nonblock "$1/session.lock" true; }

# Waits until the condition holds, for SECONDS at most.
wait_until() {
    local tries=$(($1 * 10))
    shift
    until "$@"; do
        ((tries-- > 0)) || return 1
        sleep 0.1
    done
}

# The main process of the session's browser, which holds a lock that names it: a link to HOST-PID.
browser_pid() {
    local lock=$1/home/.config/chromium/SingletonLock pid
    [[ -L $lock ]] || return 0
    pid=$(readlink "$lock" | sed 's/.*-//')
    [[ $(readlink "/proc/$pid/exe") == */chromium ]] && echo "$pid"
}

write_desktop_entries() {
    local applications=$1/home/.local/share/applications id
    mkdir -p "$applications"
    # No dialogs, no network beyond this machine. Chromium refuses to run as root with its sandbox.
    local options=(--no-first-run --test-type --disable-gpu --disable-sync --disable-background-networking
        --disable-component-update --password-store=basic
        "\"--host-resolver-rules=MAP * ~NOTFOUND , EXCLUDE 127.0.0.1\"")
    ((EUID != 0)) || options+=(--no-sandbox)
    cat >"$applications/chromium.desktop" <<ENTRY
[Desktop Entry]
Type=Application
Name=Chromium of the private session
Exec=$(command -v chromium) ${options[*]} %U
MimeType=text/html;x-scheme-handler/http;x-scheme-handler/https;
ENTRY
    # Google Chrome, where it is installed, stays out of it.
    for id in google-chrome google-chrome-stable com.google.Chrome; do
        printf '[Desktop Entry]\nType=Application\nName=Hidden\nHidden=true\n' >"$applications/$id.desktop"
    done
    update-desktop-database "$applications"
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

foreign_variables=(XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME WAYLAND_DISPLAY CHROME_USER_DATA_DIR CHROME_CONFIG_HOME)

finish() {
    trap - EXIT TERM INT
    local browser
    browser=$(browser_pid "$folder" || true)
    if [[ -n $browser ]] && kill "$browser"; then
        wait_until 5 eval "! kill -0 $browser 2>/dev/null" || true
    fi
    ((${#children[@]} == 0)) || kill "${children[@]}" 2>/dev/null || true
    wait
    rm -rf "$runtime" "$folder/environment"
}

supervise() {
    folder=$1
    children=()
    exec 9<"$folder/session.lock"
    flock --timeout 2 9 || exit 0 # another is there; who only asks whether one is holds it for a moment
    echo $$ >"$folder/supervisor.pid"
    runtime=$(mktemp -d "${TMPDIR:-/tmp}/corvana-session.XXXXXX") # sockets have short paths wherever the folder lies
    trap finish EXIT
    trap 'exit 0' TERM INT

    Xvfb -displayfd 3 -screen 0 1280x800x24 -nolisten tcp 3>"$runtime/display" 9<&- &
    children+=($!)
    wait_until 10 test -s "$runtime/display"
    # What the bus starts has the bus's environment. Of the home directory the bus asks the system, not the environment.
    export HOME=$folder/home DISPLAY=:$(<"$runtime/display") XDG_RUNTIME_DIR=$runtime
    export DBUS_SESSION_BUS_ADDRESS=unix:path=$runtime/bus
    unset "${foreign_variables[@]}"
    XDG_DATA_HOME=$HOME/.local/share dbus-daemon --session --nofork --address="$DBUS_SESSION_BUS_ADDRESS" 9<&- &
    children+=($!)
    wait_until 10 test -S "$runtime/bus"
    openbox 9<&- &
    children+=($!)
    wait_until 10 eval "wmctrl -m >/dev/null 2>&1"

    {
        for name in HOME DISPLAY DBUS_SESSION_BUS_ADDRESS XDG_RUNTIME_DIR; do printf 'export %s=%q\n' "$name" "${!name}"; done
        echo "unset ${foreign_variables[*]}"
    } >"$folder/environment.new"
    echo $(($(date +%s) + $(<"$folder/seconds"))) >"$folder/deadline"
    mv "$folder/environment.new" "$folder/environment"
    stay
    exit 0
}

# Until the deadline, which another start may put off for as long as there is a session to find.
stay() {
    local seconds
    while :; do
        exec 8>"$folder/deadline.lock"
        flock 8
        seconds=$(($(<"$folder/deadline") - $(date +%s)))
        ((seconds > 0)) || break
        exec 8>&-
        sleep "$seconds" 9<&- &
        children+=($!)
        wait $! || true
    done
    rm -f "$folder/environment"
    exec 8>&-
}

# Whether the session was there to be prolonged.
prolong() {
    local folder=$1 seconds=$2 deadline
    [[ -e $folder/deadline ]] || return 1
    exec 8>"$folder/deadline.lock"
    flock 8
    deadline=$(($(date +%s) + seconds))
    if [[ -e $folder/environment ]]; then
        ((deadline <= $(<"$folder/deadline"))) || echo "$deadline" >"$folder/deadline"
        exec 8>&-
        return 0
    fi
    exec 8>&-
    return 1
}

start() {
    local folder=$1 seconds=${2:-600} attempts=2
    mkdir -p "$(dirname "$folder")"
    exec 7>"$folder.lock" # of two starts at once the second finds the session of the first
    flock 7
    # One that is just ending is waited for.
    until is_running "$folder" && prolong "$folder" "$seconds"; do
        wait_until 20 eval "! is_running '$folder' || [[ -e '$folder/environment' ]]" || break
        is_running "$folder" && continue
        ((attempts-- > 0)) || break
        launch "$folder" "$seconds"
        wait_until 40 eval "[[ -f '$folder/environment' ]] || ! is_running '$folder'" || break
    done
    if [[ ! -f $folder/environment ]]; then
        echo "the private session did not start:" >&2
        cat "$folder/log" >&2
        return 1
    fi
}

launch() {
    local folder=$1
    if [[ -e $folder && ! -e $folder/session.lock && -n $(ls -A "$folder") ]]; then
        echo "$folder is not empty and holds no private session" >&2
        exit 1
    fi
    rm -rf "$folder"
    mkdir -p "$folder"
    : >"$folder/session.lock"
    echo "$2" >"$folder/seconds"
    write_desktop_entries "$folder"
    write_profiles "$folder"
    setsid "$self" supervise "$folder" </dev/null >"$folder/log" 2>&1 7>&- &
    wait_until 10 is_running "$folder"
}

stop() {
    is_running "$1" || return 0
    kill "$(<"$1/supervisor.pid")"
    wait_until 15 eval "! is_running '$1'" || { echo "the private session does not end; see $1/log" >&2; return 1; }
}

(($# >= 2)) || { sed -n '2,8s/^# \?//p' "$self" >&2; exit 2; }
command=$1
folder=$(realpath -m "$2")
case $command in
    start) start "$folder" "${3:-600}" ;;
    stop) stop "$folder" ;;
    supervise) supervise "$folder" ;;
    *) echo "unknown command: $command" >&2; exit 2 ;;
esac
