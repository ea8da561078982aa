#include "report.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "device/foreign.h"
#include "runner.h"

namespace librarycheck {
namespace {

using Json = nlohmann::json;

/// Of a tick, from where on an operation on the servo thread is marked.
constexpr double kMedianShare = 0.05;
constexpr double kLongestShare = 0.5;

/// What a library or the machine said, on one line.
std::string shown(const std::string& seen) {
    constexpr std::size_t kMost = 4000;  // characters
    return foreign::printable(seen, kMost);
}

bool couldEatATick(const Report& report, const Cost& cost) {
    const double period = 1e6 / report.options.rate;
    return cost.servo && (cost.median > kMedianShare * period || cost.longest > kLongestShare * period);
}

std::string line(const char* word, const std::string& text) {
    char start[32];
    std::snprintf(start, sizeof start, "  %-10s ", word);
    return start + text + "\n";
}

std::string onDevice(const Finding& finding) {
    return finding.device.empty() ? "" : " on \"" + foreign::printable(utf8(finding.device)) + "\"";
}

/// Where all devices agree, one line for all of them; else a line for each that does not keep it.
std::string linesOf(const Promise& promise, const std::vector<const Finding*>& findings) {
    std::string text;
    std::vector<const Finding*> kept, untried;
    for (const Finding* finding : findings) {
        if (finding->verdict == Verdict::Kept)
            kept.push_back(finding);
        else if (finding->verdict == Verdict::NotTried)
            untried.push_back(finding);
        else
            text += line("broken", promise.text + onDevice(*finding)) + line("", "  seen: " + shown(finding->seen))
                    + line("", std::string("  stated: ") + promise.stated);
    }
    const auto together = [&](const char* word, const std::vector<const Finding*>& some) {
        if (some.empty())
            return;
        const bool same = std::all_of(some.begin(), some.end(),
                                      [&](const Finding* finding) { return finding->seen == some.front()->seen; });
        std::string note = same ? shown(some.front()->seen) : "";
        if (some.size() > 1)
            note = std::to_string(some.size()) + " devices" + (note.empty() ? "" : ": " + note);
        text += line(word, promise.text + (note.empty() ? "" : " (" + note + ")"));
    };
    together("kept", kept);
    together("not tried", untried);
    return text;
}

std::string costLines(const Report& report) {
    if (report.costs.empty())
        return "";
    std::string text = "\nCost, microseconds: median and longest\n";
    for (const Cost& cost : report.costs) {
        char row[200];
        std::snprintf(row, sizeof row, "  %-42s %-10s %9.2f %9.2f%s\n", cost.operation.c_str(),
                      cost.servo ? "servo" : "graphical", cost.median, cost.longest,
                      couldEatATick(report, cost) ? "  could eat a tick" : "");
        text += row;
    }
    return text;
}

}  // namespace

int countOf(const Report& report, Verdict verdict) {
    return static_cast<int>(std::count_if(report.findings.begin(), report.findings.end(),
                                          [verdict](const Finding& f) { return f.verdict == verdict; }));
}

std::string plainText(const Report& report) {
    std::ostringstream text;
    text << foreign::printable(report.options.file) << ", \"" << foreign::printable(report.version) << "\"\n";
    const char* group = "";
    for (const Promise& promise : promises()) {
        std::vector<const Finding*> findings;
        for (const Finding& finding : report.findings)
            if (finding.promise == promise.id)
                findings.push_back(&finding);
        if (findings.empty())
            continue;
        if (std::strcmp(group, promise.group) != 0)
            text << "\n" << promise.group << "\n";
        group = promise.group;
        text << linesOf(promise, findings);
    }
    text << costLines(report) << "\n"
         << countOf(report, Verdict::Kept) << " kept, " << countOf(report, Verdict::Broken) << " broken, "
         << countOf(report, Verdict::NotTried) << " not tried\n";
    return text.str();
}

std::string jsonText(const Report& report) {
    Json all = {{"file", foreign::printable(report.options.file)},
                {"version", foreign::printable(report.version)},
                {"kept", countOf(report, Verdict::Kept)},
                {"broken", countOf(report, Verdict::Broken)},
                {"notTried", countOf(report, Verdict::NotTried)},
                {"findings", Json::array()},
                {"costs", Json::array()}};
    for (const Finding& finding : report.findings) {
        const auto promise = std::find_if(promises().begin(), promises().end(),
                                          [&](const Promise& p) { return finding.promise == p.id; });
        all["findings"].push_back({{"promise", finding.promise},
                                   {"group", promise->group},
                                   {"text", promise->text},
                                   {"stated", promise->stated},
                                   {"verdict", wordOf(finding.verdict)},
                                   {"seen", shown(finding.seen)},
                                   {"device", utf8(finding.device)}});
    }
    for (const Cost& cost : report.costs)
        all["costs"].push_back({{"operation", cost.operation},
                                {"thread", cost.servo ? "servo" : "graphical"},
                                {"median", cost.median},
                                {"longest", cost.longest},
                                {"couldEatATick", couldEatATick(report, cost)}});
    return all.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace librarycheck
