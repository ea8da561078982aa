// Loading, and the one thing that is read of the file itself: its SONAME.
#include "library.h"

#include <dlfcn.h>
#include <link.h>

namespace librarycheck {

Underway* underway = nullptr;
thread_local bool onServoThread = false;

namespace {

std::string sonameOf(void* handle) {
    link_map* map = nullptr;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || !map)
        return "";
    const char* strings = nullptr;
    const ElfW(Dyn)* name = nullptr;
    for (const ElfW(Dyn)* entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
        if (entry->d_tag == DT_STRTAB)
            strings = reinterpret_cast<const char*>(entry->d_un.d_ptr);
        if (entry->d_tag == DT_SONAME)
            name = entry;
    }
    return strings && name ? strings + name->d_un.d_val : "";
}

template <typename Op>
void bindTo(void* handle, const char* symbol, Op& operation, std::vector<std::string>& missing) {
    void* const place = dlsym(handle, symbol);
    operation.bind(place);
    if (place)
        return;
    operation.distrust("is missing");
    missing.emplace_back(operation.name());
}

}  // namespace

void Library::load(const std::string& file) {
    // A path, so that no search goes on.
    const std::string path = file.find('/') == std::string::npos ? "./" + file : file;
    void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle)
        throw Broken(dlerror());
    soname_ = sonameOf(handle);
    missing_.clear();
#define X(op) bindTo(handle, #op, op, missing_);
    LIBRARYCHECK_OPERATIONS(X)
#undef X
#define X(op, type, symbol, shown) bindTo(handle, symbol, op, missing_);
    LIBRARYCHECK_MEMBERS(X)
#undef X
}

void Library::distrust(const std::string& operation, const std::string& why) {
    const auto consider = [&](auto& candidate) {
        if (operation == candidate.name())
            candidate.distrust(why);
    };
#define X(op) consider(op);
    LIBRARYCHECK_OPERATIONS(X)
#undef X
#define X(op, type, symbol, shown) consider(op);
    LIBRARYCHECK_MEMBERS(X)
#undef X
}

}  // namespace librarycheck
