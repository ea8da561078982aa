// Linked into tests of the address sanitizer's build: modules stay loaded to the end, so that a leak inside one of
// them has a name which lsan.supp can tell.
extern "C" int dlclose(void*) { return 0; }
