// The findings as a person reads them, and as a program does.
#pragma once

#include <string>
#include <vector>

#include "checks.h"

namespace librarycheck {

struct Report {
    const Options& options;
    std::string version;
    const std::vector<Finding>& findings;
    const std::vector<Cost>& costs;
};

int countOf(const Report& report, Verdict verdict);  ///< findings
/// One line a promise, grouped; of a broken one also what was seen, what was promised and where it is stated.
std::string plainText(const Report& report);
std::string jsonText(const Report& report);

}  // namespace librarycheck
