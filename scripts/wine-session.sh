#!/bin/bash
# Sourced by scripts/wine-run, ./check and ./play. One Wine session of the project's own: a prefix under build/wine, a
# virtual display and a wineserver that stays until wine_session_stop. Nothing outside build/ is touched.
#
#   FLT_WINEPREFIX   use this prefix instead (it is kept as it is, never recreated)
#   FLT_WINE_SCREEN  "own" (default) starts an Xvfb; "user" shows windows on the caller's DISPLAY

wine_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
wine_state=$wine_root/build/wine
export WINEPREFIX=${FLT_WINEPREFIX:-$wine_state/prefix}
export WINEDEBUG=${WINEDEBUG:--all}
# The first two only avoid download questions; the third keeps the host's menus clean.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
export LC_ALL=C.UTF-8  # file names are UTF-8 whatever the caller's language is
wine_user_display=${DISPLAY:-}

# True when process $1 runs and its command line contains $2.
wine_process_is() {
    [ -n "$1" ] && [ -r "/proc/$1/cmdline" ] && tr '\0' ' ' <"/proc/$1/cmdline" | grep -qF -- "$2"
}

wine_kept() { cat "$wine_state/$1" 2>/dev/null || true; }

# True when the display and the server of an earlier start still run for this prefix; sets DISPLAY.
wine_session_runs() {
    [ "$(wine_kept session.prefix)" = "$WINEPREFIX" ] || return 1
    [ "$(wine_kept session.screen)" = "${FLT_WINE_SCREEN:-own}" ] || return 1
    wine_process_is "$(wine_kept wineserver.pid)" wineserver || return 1
    DISPLAY=$(wine_kept session.display)
    export DISPLAY
    [ "${FLT_WINE_SCREEN:-own}" = user ] || wine_process_is "$(wine_kept xvfb.pid)" Xvfb
}

wine_start_display() {
    if [ "${FLT_WINE_SCREEN:-own}" = user ]; then
        DISPLAY=$wine_user_display
    else
        # The server picks a free number itself and writes it when it accepts connections.
        rm -f "$wine_state/display.number"
        setsid Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp \
            3>"$wine_state/display.number" >/dev/null 2>&1 9>&- </dev/null &
        echo $! >"$wine_state/xvfb.pid"
        for _ in $(seq 100); do
            [ -s "$wine_state/display.number" ] && break
            sleep 0.1
        done
        [ -s "$wine_state/display.number" ] || { echo "wine-session: no virtual display" >&2; return 1; }
        DISPLAY=:$(cat "$wine_state/display.number")
    fi
    export DISPLAY
    echo "$DISPLAY" >"$wine_state/session.display"
}

# The persistent server must be there before the first program: a server that a program starts ends with it.
wine_start_server() {
    setsid wineserver -f -p >/dev/null 2>&1 9>&- </dev/null &
    echo $! >"$wine_state/wineserver.pid"
    echo "$WINEPREFIX" >"$wine_state/session.prefix"
    echo "${FLT_WINE_SCREEN:-own}" >"$wine_state/session.screen"
}

# What a prefix depends on: a new Wine, or 32-bit support that came later, asks for a new one.
wine_stamp() {
    echo "$(/usr/bin/wine --version 9>&- 2>/dev/null)" /usr/lib/*/wine/*-windows
}

wine_prepare_prefix() {
    [ "$(cat "$WINEPREFIX/talv.stamp" 2>/dev/null)" = "$(wine_stamp)" ] && return 0
    echo "wine-session: preparing $WINEPREFIX (once, about 20 seconds)" >&2
    {
        timeout 180 wine wineboot -i &&
            timeout 60 wine reg add 'HKCU\Software\Wine\Drivers' /v Audio /d '' /f &&
            timeout 60 wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f
    } </dev/null >"$wine_state/prefix.log" 2>&1 9>&- || {
        echo "wine-session: the prefix could not be made, see $wine_state/prefix.log" >&2
        return 1
    }
    wine_stamp >"$WINEPREFIX/talv.stamp"
}

# The first program of a session starts Wine's services. Better this one than a test with a clock running. They end
# with the last program and do not come back, and each later window would wait 10 seconds for them: so one program, which
# waits for input that never comes, lives as long as the session.
wine_start_services() {
    timeout 60 wine cmd /c exit </dev/null >/dev/null 2>&1 9>&-
    rm -f "$wine_state/no-input"
    mkfifo "$wine_state/no-input" || return 1
    setsid wine cmd <>"$wine_state/no-input" >/dev/null 2>&1 9>&- &
    timeout 60 wine cmd /c exit </dev/null >/dev/null 2>&1 9>&-
}

# Starts what is not running. Safe from any number of processes at once: the first one does the work.
wine_session_start() {
    mkdir -p "$wine_state"
    exec 9>"$wine_state/lock"
    flock 9
    if ! wine_session_runs || [ ! -e "$WINEPREFIX/talv.stamp" ]; then
        wine_stop_locked
        if [ -z "${FLT_WINEPREFIX:-}" ] && [ -e "$WINEPREFIX" ] &&
            [ "$(cat "$WINEPREFIX/talv.stamp" 2>/dev/null)" != "$(wine_stamp)" ]; then
            rm -rf "$wine_state/prefix"
        fi
        mkdir -p "$WINEPREFIX"
        wine_start_display && wine_start_server && wine_prepare_prefix && wine_start_services || {
            wine_stop_locked
            exec 9>&-
            return 1
        }
    fi
    exec 9>&-
}

# Ends every process of this prefix and the display, and waits until they are gone.
wine_session_stop() {
    [ -d "$wine_state" ] || return 0
    exec 9>"$wine_state/lock"
    flock 9
    wine_stop_locked
    exec 9>&-
}

wine_stop_locked() {
    local prefix server display pid
    prefix=$(wine_kept session.prefix)
    server=$(wine_kept wineserver.pid)
    display=$(wine_kept xvfb.pid)
    if [ -n "$prefix" ]; then
        wine_process_is "$server" wineserver && WINEPREFIX=$prefix timeout 20 wineserver -k 9>&- >/dev/null 2>&1
        for _ in $(seq 50); do
            wine_process_is "$server" wineserver || break
            sleep 0.1
        done
        # A service process can outlive the server; it is known by the prefix in its environment.
        for pid in $(grep -lzxF -- "WINEPREFIX=$prefix" /proc/[0-9]*/environ 2>/dev/null | cut -d/ -f3); do
            if wine_process_is "$pid" .exe || wine_process_is "$pid" wineserver; then kill -9 "$pid" 2>/dev/null; fi
        done
    fi
    wine_process_is "$display" Xvfb && kill "$display" 2>/dev/null
    for _ in $(seq 50); do
        wine_process_is "$display" Xvfb || break
        sleep 0.1
    done
    rm -f "$wine_state"/session.* "$wine_state"/*.pid "$wine_state/display.number"
    return 0
}
