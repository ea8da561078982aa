# shellcheck shell=sh
# Which device library the application is started with, and whether it can be started with it. Read by ./run and by
# the installed launcher, so it keeps to what every sh knows, under `set -eu` too.

device_library_name=libTharlenIOLib42.so

# refuse TEXT: says in one line why nothing is started; to who started it from a desktop, in a box as well.
refuse() {
    refusal=$(printf '%s: %s' "${0##*/}" "$1" | LC_ALL=C tr '[:cntrl:]' '?')
    printf '%s\n' "$refusal" >&2
    if [ ! -t 0 ] && [ ! -t 2 ] && [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
        show_box "$refusal" </dev/null >/dev/null 2>&1 || true
    fi
    exit 1
}

# show_box TEXT: a file's name may hold anything, so each program is told to take the text as it is.
show_box() {
    if command -v zenity; then
        zenity --error --no-markup --title "Nolva Diagnostic" --text "$(printf '%s' "$1" | sed 's/\\/\\\\/g')"
    elif command -v kdialog; then
        kdialog --title "Nolva Diagnostic" --error "<qt>$(printf '%s' "$1" |
            sed 's/&/\&amp;/g; s/</\&lt;/g; s/>/\&gt;/g; s/\\/\&#92;/g')</qt>"
    elif command -v xmessage; then
        xmessage -center -title "Nolva Diagnostic" "$1"
    fi
}

# find_device_library: leaves the file that NOLVA_DEVICE_LIBRARY asks for in `device_library`, empty where it asks for
# none. Relative names are the caller's, so it is called before any cd.
find_device_library() {
    device_library=
    [ -n "${NOLVA_DEVICE_LIBRARY:-}" ] || return 0
    case $NOLVA_DEVICE_LIBRARY in
        /*) device_library=$NOLVA_DEVICE_LIBRARY ;;
        *) device_library=$PWD/$NOLVA_DEVICE_LIBRARY ;;
    esac
    asked="(NOLVA_DEVICE_LIBRARY is \"$NOLVA_DEVICE_LIBRARY\")"
    if [ -d "$device_library" ]; then
        [ -x "$device_library" ] || refuse "You may not look into the folder $device_library $asked"
        [ -e "${device_library%/}/$device_library_name" ] ||
            refuse "The folder ${device_library%/} holds no $device_library_name $asked"
        device_library=${device_library%/}/$device_library_name
    fi
    [ -e "$device_library" ] || refuse "There is no $device_library $asked"
    [ "${device_library##*/}" = "$device_library_name" ] ||
        refuse "The application takes a library by the name $device_library_name, not $device_library $asked"
    [ -f "$device_library" ] || refuse "$device_library is not a file $asked"
    [ -r "$device_library" ] || refuse "You may not read $device_library $asked"
    case $device_library in
        *[:\;]*) refuse "A folder with a colon or semicolon in its name cannot be searched: $device_library $asked" ;;
    esac
}

# take_device_library PROGRAM: has the dynamic linker load everything without running it, refuses where it would fail
# at start or later, and sets the environment that PROGRAM is to be started in. Called after find_device_library.
# The linker passes over a file of another machine without a word, so where it found the library is looked at too.
take_device_library() {
    library_path=${LD_LIBRARY_PATH:-}
    [ -z "$device_library" ] || library_path=${device_library%/*}/${library_path:+:$library_path}
    traced=$(LD_LIBRARY_PATH=$library_path LD_TRACE_LOADED_OBJECTS=1 LD_WARN=yes LD_BIND_NOW=1 "$1" 2>&1) || true
    taken=$(from_trace "s/^[[:space:]]*$device_library_name => \(.*\) (0x[0-9a-f]*)\$/\1/p")
    unloaded=$(from_trace 's/^.*: error while loading shared libraries: //p')
    absent=$(from_trace 's/^[[:space:]]*\(.*\) => not found.*/\1/p' | head -n 1)
    outdated=$(from_trace "s/^.*: \(.*: version .* not found (required by .*)\)\$/\1/p" | head -n 1)
    [ -z "$unloaded" ] || refuse "This cannot be loaded: $unloaded"
    if [ -n "$device_library" ] && [ "$(readlink -f "$taken")" != "$(readlink -f "$device_library")" ]; then
        refuse "$device_library is no library for this machine; the linker passes over it"
    fi
    [ "$absent" != "$device_library_name" ] ||
        refuse "There is no $device_library_name where it is looked for; NOLVA_DEVICE_LIBRARY can name another place"
    [ -z "$absent" ] || refuse "There is no $absent, which $taken or the application needs"
    [ -z "$outdated" ] || refuse "A library is too old: $outdated"
    refuse_lacking "$1"

    if [ -n "$library_path" ]; then
        LD_LIBRARY_PATH=$library_path
        export LD_LIBRARY_PATH
    fi
    LD_BIND_NOW=1
    export LD_BIND_NOW
}

from_trace() { printf '%s\n' "$traced" | LC_ALL=C sed -n "$1"; }

# refuse_lacking PROGRAM: names the first operation that nothing offers, in words where a demangler is installed.
refuse_lacking() {
    lacking=$(from_trace 's/^undefined symbol: //p')
    [ -n "$lacking" ] || return 0
    called=$(printf '%s\n' "$lacking" | grep -F "($1)") || true
    all=${called:-$lacking}
    first=$(printf '%s\n' "$all" | sed 's/[,[:space:]].*//; q')
    first=$(c++filt "$first" 2>/dev/null || printf '%s' "$first")
    others=$(($(printf '%s\n' "$all" | wc -l) - 1))
    [ "$others" -eq 0 ] || first="$first and $others more"
    [ -n "$called" ] || refuse "$taken cannot be used: it needs $first, which no library offers"
    refuse "$taken cannot be used: it lacks $first, which the application calls"
}
