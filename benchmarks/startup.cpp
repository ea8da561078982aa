// Start to first paint, as whole processes, the two windows in turn.
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>

#include "topics.h"

// A spawned process shares nothing that would have to be copied, however large this one has become.
Reading timeOf(const std::string& program, const char* argument) {
    std::string path = program, word = argument;
    char* const arguments[] = {path.data(), word.data(), nullptr};
    const auto start = std::chrono::steady_clock::now();
    pid_t child = 0;
    if (const int error = posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments, environ); error != 0)
        return Reading::none(program + ": " + std::strerror(error));
    int status = 0;
    waitpid(child, &status, 0);
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
    if (WIFSIGNALED(status))
        return Reading::none(program + " " + argument + " ended by signal " + std::to_string(WTERMSIG(status)));
    if (WEXITSTATUS(status) != 0)
        return Reading::none(program + " " + argument + " ended with " + std::to_string(WEXITSTATUS(status)));
    return taken.count();
}

void measureStartUp(Table& table, const Options& options) {
    constexpr int kPairs = 2;  // a round
    const std::string program = options.folder + "/firstpaint";
    Figure& figure = table.figure("start to first paint", "whole processes in pairs");
    if (options.round == 0) {  // warms the caches
        timeOf(program, "bare");
        timeOf(program, "window");
    }
    for (int pair = 0; pair < kPairs; ++pair) {
        Reading window = 0.0, bare = 0.0;
        inTurn(
            pair, [&] { window = timeOf(program, "window"); }, [&] { bare = timeOf(program, "bare"); });
        figure.add("window", "ms", window);
        figure.add("bare window", "ms", bare);
        figure.add("window / bare window", "", window / bare, atMost(1.35));
    }
}
