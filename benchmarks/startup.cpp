// Start to first paint, as whole processes, the two windows in turn.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "figures.h"

namespace {

/// Milliseconds of one run, negative when it failed.
double runOnce(const std::string& program, const char* what) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        execl(program.c_str(), program.c_str(), what, static_cast<char*>(nullptr));
        std::_Exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? taken.count() : -1;
}

}  // namespace

std::vector<Figure> measureStartUp(const std::string& firstPaintProgram, int repetitions) {
    setenv("NOLVA_ARM_SOCKET", "off", 1);
    std::vector<double> window, bare, ratio;
    for (int i = 0; i <= repetitions; ++i) {
        const double bareTime = runOnce(firstPaintProgram, "bare");
        const double windowTime = runOnce(firstPaintProgram, "window");
        if (i == 0 || bareTime < 0 || windowTime < 0)
            continue;  // the first pair warms the caches
        bare.push_back(bareTime);
        window.push_back(windowTime);
        ratio.push_back(windowTime / bareTime);
    }
    return {{"start to first paint",
             std::to_string(ratio.size()) + " pairs, whole processes",
             {{"window", percentile(window, 0.5)}, {"bare", percentile(bare, 0.5)}},
             "ms, median",
             ""},
            {"start to first paint, window / bare",
             "",
             {{"min", percentile(ratio, 0)}, {"median", percentile(ratio, 0.5)}, {"max", percentile(ratio, 1)}},
             "ratio",
             "at most 1.6"}};
}
