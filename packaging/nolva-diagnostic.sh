#!/bin/sh
# Starts Nolva Diagnostic or, by the name nolva-bench, the way into its advanced modes. Calibration files and reports go under KNDD_HOME, by default in the user's data folder.
# NOLVA_DEVICE_LIBRARY names another libTharlenIOLib42.so, or its folder, where that of the installation is not wanted.
set -e
prefix=$(dirname "$(dirname "$(readlink -f "$0")")")
libdir=$prefix/@CMAKE_INSTALL_LIBDIR@/nolva-diagnostic
# shellcheck source=packaging/devicelibrary.sh
. "$libdir/devicelibrary.sh"
find_device_library
cd "$prefix/@CMAKE_INSTALL_DATADIR@/nolva-diagnostic" # the tabs' icons are loaded from ./Resources/
program=$libdir/QtTharlenTest
[ "${0##*/}" != nolva-bench ] || program=$libdir/nolva-bench
take_device_library "$program"
if [ -z "$KNDD_HOME" ]; then
    KNDD_HOME=${XDG_DATA_HOME:-$HOME/.local/share}/nolva-diagnostic
    export KNDD_HOME
    mkdir -p "$KNDD_HOME/config" "$KNDD_HOME/logs"
fi
records=$prefix/@CMAKE_INSTALL_BINDIR@/nolva-records
[ ! -x "$records" ] || "$records" keep --with $$ & # every report; ends with the program, which this process becomes
exec "$program" "$@"
