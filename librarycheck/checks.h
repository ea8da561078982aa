// The checks: each tries some promises in a process of its own.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "library.h"
#include "promises.h"

namespace librarycheck {

struct Options {
    std::string file;
    std::vector<std::string> devices;  ///< Latin-1; empty for the checks without an arm
    bool allDevices = false;           ///< every one that the library lists
    int rate = 1000;                   ///< Hz, of the loop beside the checks
    bool person = false;
    std::string json;  ///< file to write, or empty
};

/// What a check has in hand. It lives in the check's own process.
class Bench {
public:
    Bench(Library& library, const Options& options, std::string device)
        : lib(library), options(options), device(std::move(device)) {}
    virtual ~Bench() = default;

    /// A check of several promises says of each as it comes to it; what it leaves unsaid is not tried.
    virtual void kept(const char* promise, const std::string& seen) = 0;
    virtual void broken(const char* promise, const std::string& seen) = 0;
    virtual void notTried(const char* promise, const std::string& why) = 0;
    /// The operation is not called from here on, in later checks neither.
    virtual void distrust(const std::string& operation, const std::string& why) = 0;
    /// The check may take so much longer: how long an opening takes is the library's.
    virtual void longer(double milliseconds) = 0;
    virtual void cost(const Cost& cost) = 0;
    /// Asks the person, and waits for Enter outside the time limit. NotTried where nobody answers.
    virtual void ask(const std::string& text) = 0;

    Library& lib;
    const Options& options;
    const std::string device;  ///< Latin-1
};

struct Check {
    const char* name;                   ///< of its process
    std::vector<const char*> promises;  ///< that it speaks of
    enum Needs { Nothing, OneArm, EachArm, Person } needs;
    int limit;  ///< s, without the waiting for a person
    /// The result is what was seen of a single promise that was kept; Broken and NotTried are caught. After Broken
    /// or a death, the promises that were not spoken of yet are taken as meant by `promises`' order.
    std::function<std::string(Bench&)> run;
};

std::vector<Check> fileChecks();
std::vector<Check> storeChecks();
std::vector<Check> lifeChecks();
std::vector<Check> loopChecks();
std::vector<Check> motorChecks();
std::vector<Check> sensorChecks();
std::vector<Check> identityChecks();
std::vector<Check> personChecks();
std::vector<Check> costChecks();

}  // namespace librarycheck
