// Runs each check in a process of its own, so that a crash or a hang is a finding and the rest goes on. This process
// never loads the library.
#pragma once

#include <string>
#include <vector>

#include "checks.h"

namespace librarycheck {

class Runner {
public:
    explicit Runner(const Options& options);
    ~Runner();
    Runner(const Runner&) = delete;
    Runner& operator=(const Runner&) = delete;

    /// Runs all checks. False where it was interrupted.
    bool run();

    const std::vector<Finding>& findings() const { return findings_; }
    const std::vector<Cost>& costs() const { return costs_; }
    const std::string& version() const { return version_; }

private:
    struct Process;

    void tryCheck(const Check& check, const std::string& device);
    void runProcess(const Check& check, const std::string& device);
    void hear(Process& process, const std::string& line);
    void answer(Process& process, const std::string& text);
    void conclude(Process& process);
    void makeSafe(Process& process);
    void add(const char* promise, Verdict verdict, const std::string& seen, const std::string& device);
    bool isBroken(const char* promise, const std::string& device) const;
    const char* reasonAgainst(const Check& check, const std::string& device) const;

    const Options& options_;
    std::vector<std::string> devices_;  ///< Latin-1
    std::vector<Finding> findings_;
    std::vector<Distrust> distrusted_;
    std::vector<Cost> costs_;
    std::string version_;
    bool safe_ = false;  ///< the device of a check that died was switched off
};

/// UTF-8 of Latin-1 text.
std::string utf8(const std::string& latin1);
/// Latin-1 of UTF-8 text, '?' for what it has not.
std::string latin1(const std::string& utf8);

}  // namespace librarycheck
