// Stands for the application where its start is tried: says which device library it got, and calls little of it.
#include <dlfcn.h>

#include <cstdio>

#include "device/tharlenio.h"

int main(int argc, char**) {
    if (argc > 1)
        return static_cast<int>(get_pinch_value(-1));
    Dl_info info{};
    dladdr(reinterpret_cast<void*>(&get_library_version), &info);
    std::printf("started with %s %s\n", info.dli_fname, get_library_version());
}
