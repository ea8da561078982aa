#include "runner.h"

#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>

#include "bench.h"
#include "device/foreign.h"

namespace librarycheck {

using Json = nlohmann::json;

namespace {

constexpr std::int64_t kPatience = 3000000000LL;  ///< ns that a check has to end, once it is interrupted

constexpr char kSafe[] = "safe";  ///< the check that switches a device off, and is not interrupted

volatile sig_atomic_t interrupted = 0;

void interrupt(int) { interrupted = 1; }

/// Calls that may be interrupted by a signal are to come back with EINTR, so that the prompt ends.
void catchInterrupts() {
    onInterrupt(&interrupt);
    signal(SIGPIPE, SIG_IGN);
}

bool writeAll(int descriptor, const std::string& text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = ::write(descriptor, text.data() + done, text.size() - done);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

/// The check's side of the pipes.
class ChildBench : public Bench {
public:
    ChildBench(Library& library, const Options& options, const std::string& device, int say, int listen)
        : Bench(library, options, device), say_(say), listen_(listen) {}

    void kept(const char* promise, const std::string& seen) override { say({{"kept", promise}, {"seen", seen}}); }
    void broken(const char* promise, const std::string& seen) override { say({{"broken", promise}, {"seen", seen}}); }
    void notTried(const char* promise, const std::string& why) override {
        say({{"not tried", promise}, {"seen", why}});
    }
    void distrust(const std::string& operation, const std::string& why) override {
        lib.distrust(operation, why);
        say({{"distrust", operation}, {"seen", why}});
    }
    void longer(double milliseconds) override {
        if (const unsigned left = alarm(0))
            alarm(left + static_cast<unsigned>(milliseconds / 1e3) + 1);
        say({{"longer", milliseconds}});
    }
    void cost(const Cost& cost) override {
        say({{"cost", cost.operation}, {"servo", cost.servo}, {"median", cost.median}, {"longest", cost.longest}});
    }
    void ask(const std::string& text) override {
        say({{"ask", text}});
        char reply = 0;
        if (::read(listen_, &reply, 1) != 1 || reply != 'y')
            throw NotTried("nobody answered");
    }
    void say(const Json& message) {
        writeAll(say_, message.dump(-1, ' ', true, Json::error_handler_t::replace) + "\n");
    }

private:
    int say_, listen_;
};

}  // namespace

// --- One process -----------------------------------------------------------------------------------

struct Runner::Process {
    Process(const Check& tried, std::string on) : check(tried), device(std::move(on)) {}

    const Check& check;
    std::string device;
    pid_t pid = -1;
    int hears = -1, says = -1, errors = -1;
    std::vector<std::string> spoken;  ///< promises
    bool ended = false, late = false;
    std::int64_t deadline = 0;  ///< ns
    int status = 0;
};

namespace {

/// Only in the check's own process. Never returns.
[[noreturn]] void serve(const Check& check, const Options& options, const std::string& device,
                        const std::vector<Distrust>& distrusted, int say, int listen) {
    stopAtInterrupt();
    // Should nobody wait any more. Waiting for a person has no end of its own.
    alarm(check.needs == Check::Person ? 0 : static_cast<unsigned>(check.limit) + 10);
    static Library library;  // outlives whatever thread the library leaves behind
    ChildBench bench(library, options, device, say, listen);
    const char* const promise = check.promises.size() == 1 ? check.promises[0] : nullptr;
    try {
        library.load(options.file);
        for (const Distrust& operation : distrusted)
            library.distrust(operation.operation, operation.why);
        const std::string seen = check.run(bench);
        if (promise)
            bench.kept(promise, seen);
    } catch (const NotTried& why) {
        bench.say({{"rest", "not tried"}, {"seen", why.what()}});
    } catch (const Threw& threw) {
        bench.distrust(threw.name, "throws");
        bench.say({{"rest", "broken"}, {"seen", threw.what()}});
    } catch (const std::exception& seen) {
        bench.say({{"rest", "broken"}, {"seen", seen.what()}});
    }
    bench.say({{"end", true}});
    _exit(0);
}

/// The last line of what a process said on its standard output and error.
std::string lastLine(int descriptor) {
    char tail[2000];
    const off_t size = lseek(descriptor, 0, SEEK_END);
    const off_t from = std::max<off_t>(0, size - static_cast<off_t>(sizeof tail));
    const ssize_t count = pread(descriptor, tail, sizeof tail, from);
    std::string text(tail, static_cast<std::size_t>(std::max<ssize_t>(0, count)));
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text.substr(text.rfind('\n') + 1);
}

}  // namespace

Runner::Runner(const Options& options) : options_(options), devices_(options.devices) {
    void* const shared = mmap(nullptr, sizeof(Underway), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED)
        throw std::runtime_error("no memory to share with the checks");
    underway = new (shared) Underway;
    catchInterrupts();
}

Runner::~Runner() {
    munmap(underway, sizeof(Underway));
    underway = nullptr;
}

void Runner::runProcess(const Check& check, const std::string& device) {
    int fromChild[2], toChild[2];
    if (pipe(fromChild) != 0 || pipe(toChild) != 0)
        throw std::runtime_error("no pipe to a check");
    FILE* const said = std::tmpfile();
    if (!said)
        throw std::runtime_error("no temporary file for what the library says");
    underway->graphical = nullptr;
    underway->servo = nullptr;
    std::cout.flush();
    Process process(check, device);
    process.pid = fork();
    if (process.pid < 0)
        throw std::runtime_error("no process for a check");
    if (process.pid == 0) {
        close(fromChild[0]);
        close(toChild[1]);
        dup2(fileno(said), STDOUT_FILENO);
        dup2(fileno(said), STDERR_FILENO);
        serve(check, options_, device, distrusted_, fromChild[1], toChild[0]);
    }
    close(fromChild[1]);
    close(toChild[0]);
    process.hears = fromChild[0];
    process.says = toChild[1];
    process.errors = fileno(said);
    process.deadline = nanoseconds() + check.limit * 1000000000LL;

    std::string heard;
    bool told = false, dead = false;
    while (!process.ended) {
        if (interrupted && !told && check.name != kSafe) {
            kill(process.pid, SIGINT);  // it may have been for us alone; the check ends with the amplifiers off
            told = true;
            process.deadline = std::min(process.deadline, nanoseconds() + kPatience);
        }
        pollfd waiting{process.hears, POLLIN, 0};
        const std::int64_t left = (process.deadline - nanoseconds()) / 1000000;
        if (left <= 0) {
            if (!dead) {
                process.late = true;
                kill(process.pid, SIGKILL);
            }
            break;
        }
        if (poll(&waiting, 1, dead ? 0 : static_cast<int>(std::min<std::int64_t>(left, 200))) <= 0) {
            if (dead)
                break;
            // Its end of the pipe may be held open by a process that the library has started.
            dead = waitpid(process.pid, &process.status, WNOHANG) == process.pid;
            continue;
        }
        char part[4096];
        const ssize_t count = ::read(process.hears, part, sizeof part);
        if (count == 0 || (count < 0 && errno != EINTR))
            break;
        heard.append(part, static_cast<std::size_t>(std::max<ssize_t>(0, count)));
        for (std::size_t end; (end = heard.find('\n')) != std::string::npos; heard.erase(0, end + 1))
            hear(process, heard.substr(0, end));
    }
    while (!dead && waitpid(process.pid, &process.status, 0) < 0 && errno == EINTR) {
    }
    close(process.hears);
    close(process.says);
    conclude(process);
    std::fclose(said);
}

void Runner::hear(Process& process, const std::string& line) {
    const Json message = Json::parse(line, nullptr, false);
    if (!message.is_object())
        return;
    const std::string seen = message.value("seen", "");
    const auto speak = [&](const std::string& id, Verdict verdict) {
        for (const char* promise : process.check.promises) {
            if (id == promise) {
                add(promise, verdict, seen, process.device);
                process.spoken.push_back(id);
            }
        }
    };
    for (const Verdict verdict : {Verdict::Kept, Verdict::Broken, Verdict::NotTried})
        if (message.contains(wordOf(verdict)))
            speak(message[wordOf(verdict)], verdict);
    if (message.contains("rest")) {
        const Verdict verdict = message["rest"] == "broken" ? Verdict::Broken : Verdict::NotTried;
        // What broke is the promise that was being tried; those behind it were not come to.
        Verdict next = verdict;
        for (const char* promise : process.check.promises) {
            if (std::find(process.spoken.begin(), process.spoken.end(), promise) != process.spoken.end())
                continue;
            speak(promise, next);
            next = Verdict::NotTried;
        }
    }
    if (message.contains("longer"))
        process.deadline += static_cast<std::int64_t>(message["longer"].get<double>() * 1e6);
    if (message.contains("distrust"))
        distrusted_.push_back({message["distrust"], seen});
    if (message.contains("cost"))
        costs_.push_back({message["cost"], message["servo"], message["median"], message["longest"]});
    if (message.contains("version"))
        version_ = message["version"];
    if (message.contains("device"))
        devices_.push_back(latin1(message["device"]));
    if (message.contains("safe"))
        safe_ = true;
    if (message.contains("ask"))
        answer(process, message["ask"]);
    if (message.contains("end"))
        process.ended = true;
}

/// Waits for a line of standard input, however long it takes.
void Runner::answer(Process& process, const std::string& text) {
    const std::int64_t asked = nanoseconds();
    std::cout << "\n  " << text << "\n  Then press Enter. " << std::flush;
    char c = 0;
    ssize_t count = 0;
    while (!interrupted && (count = ::read(STDIN_FILENO, &c, 1)) == 1 && c != '\n') {
    }
    process.deadline += nanoseconds() - asked;
    writeAll(process.says, !interrupted && count == 1 ? "y" : "n");
}

void Runner::conclude(Process& process) {
    if (process.ended && WIFEXITED(process.status))
        return;
    const char* graphical = underway->graphical;
    const char* servo = underway->servo;
    if (graphical && servo && std::strcmp(graphical, "stopServoLoop") == 0)
        graphical = nullptr;  // it waits for the tick, as it should
    std::string seen =
        process.late && interrupted ? text("it did not end when it was interrupted")
        : process.late              ? text("it did not come back within %d s", process.check.limit)
        : WIFSIGNALED(process.status)
            ? text("it crashed, by signal %d (%s)", WTERMSIG(process.status), strsignal(WTERMSIG(process.status)))
            : text("it ended the process, with status %d", WEXITSTATUS(process.status));
    if (graphical || servo)
        seen += std::string(graphical ? ", in " : ", on the servo thread in ") + (graphical ? graphical : servo);
    if (graphical && servo && !process.late)
        seen += std::string(" or, on the servo thread, in ") + servo;
    const std::string said = foreign::printable(lastLine(process.errors));
    if (!process.late && !said.empty())
        seen += "; it said last: " + said;
    if (graphical || servo)
        distrusted_.push_back({graphical ? graphical : servo, process.late ? "does not come back" : "crashes"});
    Verdict verdict = Verdict::Broken;
    for (const char* promise : process.check.promises) {
        if (std::find(process.spoken.begin(), process.spoken.end(), promise) != process.spoken.end())
            continue;
        add(promise, verdict, verdict == Verdict::Broken ? seen : "the check before it died", process.device);
        verdict = Verdict::NotTried;
    }
    if (process.check.needs != Check::Nothing)
        makeSafe(process);
}

/// A process that died with a device open may have left its amplifiers on.
void Runner::makeSafe(Process& process) {
    if (isBroken("life.opens", process.device))
        return;
    const Check safe{kSafe, {}, Check::Nothing, 30, [](Bench& bench) {
                         std::string why;
                         const int id = openByName(bench.lib, bench.device, why);
                         demand(id >= 0, "%s", why.c_str());
                         switchOff(bench.lib, id);
                         static_cast<ChildBench&>(bench).say({{"safe", true}});
                         return std::string();
                     }};
    safe_ = false;
    runProcess(safe, process.device);
    std::cout << "  " << process.check.name << " died with the device open. "
              << (safe_ ? "It was opened and switched off once more.\n"
                        : "IT COULD NOT BE SWITCHED OFF: use the switch at the arm.\n");
}

// --- All of them -----------------------------------------------------------------------------------

void Runner::add(const char* promise, Verdict verdict, const std::string& seen, const std::string& device) {
    findings_.push_back({promise, verdict, seen, device});
}

bool Runner::isBroken(const char* promise, const std::string& device) const {
    return std::any_of(findings_.begin(), findings_.end(), [&](const Finding& finding) {
        return finding.promise == promise && finding.device == device && finding.verdict == Verdict::Broken;
    });
}

const char* Runner::reasonAgainst(const Check& check, const std::string& device) const {
    if (std::strcmp(check.name, "file.loads") != 0 && isBroken("file.loads", ""))
        return "the file does not load";
    if (check.needs != Check::Nothing && device.empty())
        return options_.allDevices ? "the store lists no device" : "no device was named: --device NAME, or --all";
    if (check.needs != Check::Nothing && isBroken("life.opens", device))
        return "the device does not open";
    if (check.needs == Check::Person && !options_.person)
        return "it needs a person at the arm: --person";
    return nullptr;
}

void Runner::tryCheck(const Check& check, const std::string& device) {
    if (interrupted)
        return;
    const std::string of = check.needs == Check::Nothing ? "" : device;
    if (const char* reason = reasonAgainst(check, of)) {
        for (const char* promise : check.promises)
            add(promise, Verdict::NotTried, reason, of);
        return;
    }
    runProcess(check, of);
}

bool Runner::run() {
    std::vector<Check> checks;
    for (const auto& group : {fileChecks(), storeChecks(), lifeChecks(), loopChecks(), motorChecks(), sensorChecks(),
                              identityChecks(), personChecks(), costChecks()})
        checks.insert(checks.end(), group.begin(), group.end());
    for (const Check& check : checks)
        if (check.needs == Check::Nothing)
            tryCheck(check, "");
    if (!isBroken("file.loads", "")) {
        runProcess({"version",
                    {},
                    Check::Nothing,
                    10,
                    [this](Bench& bench) {
                        const char* version = bench.lib.get_library_version();
                        auto& child = static_cast<ChildBench&>(bench);
                        child.say({{"version", version ? std::string(version, strnlen(version, 200)) : ""}});
                        if (options_.allDevices) {
                            const Devices list(bench.lib);
                            for (int i = 0; i < list.count(); ++i)
                                child.say({{"device", utf8(list.name(i))}});
                        }
                        return std::string();
                    }},
                   "");
    }
    if (devices_.empty())
        devices_.emplace_back();
    for (std::size_t i = 0; i < devices_.size(); ++i)
        for (const Check& check : checks)
            if (check.needs == Check::EachArm || (i == 0 && check.needs != Check::Nothing))
                tryCheck(check, devices_[i]);
    return !interrupted;
}

// --- Texts -----------------------------------------------------------------------------------------

std::string utf8(const std::string& latin1) {
    std::string text;
    for (const char c : latin1) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xC0 | code >> 6);
            text += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    return text;
}

std::string latin1(const std::string& utf8) {
    std::string text;
    for (std::size_t i = 0; i < utf8.size();) {
        unsigned code = 0;
        const std::size_t length = foreign::characterAt(utf8, i, code);
        text += length == 0 || code > 0xFF ? '?' : static_cast<char>(code);
        i += std::max<std::size_t>(length, 1);
    }
    return text;
}

}  // namespace librarycheck
