// What a device library promises, one row a promise, in the order and the groups of device/tharlenio.h; and what became
// of each on one library.
#pragma once

#include <string>
#include <vector>

namespace librarycheck {

struct Promise {
    const char* id;      ///< a word for programs, unlike any other
    const char* group;   ///< heading of the report
    const char* text;    ///< what is promised
    const char* stated;  ///< where
};

const std::vector<Promise>& promises();

enum class Verdict { Kept, Broken, NotTried };
const char* wordOf(Verdict verdict);

/// What became of one promise on one device; without a device where none is needed.
struct Finding {
    std::string promise;  ///< its id
    Verdict verdict;
    std::string seen;  ///< what was seen, or why it was not tried
    std::string device;
};

/// An operation that is not called any more, and why.
struct Distrust {
    std::string operation;
    std::string why;
};

/// Time that one operation takes on one thread, microseconds.
struct Cost {
    std::string operation;
    bool servo;  ///< on the servo thread, else on the graphical one
    double median, longest;
};

}  // namespace librarycheck
