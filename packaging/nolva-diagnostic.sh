#!/bin/sh
# Starts Nolva Diagnostic. Calibration files and reports go under KNDD_HOME, by default in the user's data folder.
set -e
prefix=$(dirname "$(dirname "$(readlink -f "$0")")")
if [ -z "$KNDD_HOME" ]; then
    KNDD_HOME=${XDG_DATA_HOME:-$HOME/.local/share}/nolva-diagnostic
    export KNDD_HOME
    mkdir -p "$KNDD_HOME/config" "$KNDD_HOME/logs"
fi
# A folder that holds another libTharlenIOLib42.so, where the device library of an installation is not to be used.
if [ -n "$NOLVA_DEVICE_LIBRARY" ]; then
    LD_LIBRARY_PATH=$NOLVA_DEVICE_LIBRARY${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}
    export LD_LIBRARY_PATH
fi
cd "$prefix/@CMAKE_INSTALL_DATADIR@/nolva-diagnostic" # the tabs' icons are loaded from ./Resources/
exec "$prefix/@CMAKE_INSTALL_LIBDIR@/nolva-diagnostic/QtTharlenTest" "$@"
