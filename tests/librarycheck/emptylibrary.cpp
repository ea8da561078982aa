// A library with no operation at all, and nothing behind it.
extern "C" const char* nothing() { return ""; }
