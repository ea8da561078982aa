#!/bin/sh
# Starts Nolva Diagnostic. Calibration files and reports go under KNDD_HOME, by default in the user's data folder.
set -e
share=@CMAKE_INSTALL_FULL_DATADIR@/nolva-diagnostic
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
cd "$share" # the tabs' icons are loaded from ./Resources/
exec @CMAKE_INSTALL_FULL_LIBDIR@/nolva-diagnostic/QtTharlenTest "$@"
