# Looks at THARLEN_IO_LIBRARY as configuring does.
include(${CMAKE_CURRENT_LIST_DIR}/../../device/outsidelibrary.cmake)
nolva_check_outside_library("${THARLEN_IO_LIBRARY}")
