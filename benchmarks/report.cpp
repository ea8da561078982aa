#include "report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

namespace {

using nlohmann::json;

constexpr int kSchema = 1;
constexpr const char* kProgram = "nolva-diagnostic measure";
constexpr const char* kBegin = "<!-- measured: begin -->";
constexpr const char* kEnd = "<!-- measured: end -->";

const char* nameOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::Met:
            return "met";
        case Verdict::Missed:
            return "missed";
        case Verdict::NotMeasured:
            return "not measured";
        case Verdict::NoGoal:
            break;
    }
    return "";
}

std::string formatted(const char* format, double a, double b = 0, double c = 0) {
    char text[160];
    std::snprintf(text, sizeof text, format, a, b, c);
    return text;
}

std::string contentsOf(const std::string& file) {
    std::ifstream stream(file);
    std::ostringstream text;
    text << stream.rdbuf();
    if (!stream)
        throw std::runtime_error(file + " cannot be read.");
    return text.str();
}

// --- JSON ------------------------------------------------------------------------------------------

json toJson(const Value& value) {
    json goal;
    if (value.aim.limit) {
        goal = {{"comparison", value.aim.better == Aim::Better::Lower ? "at most" : "at least"},
                {"limit", *value.aim.limit},
                {"of", value.aim.of == Aim::Of::Sum ? "sum" : "median"}};
    }
    json result{{"name", value.name},
                {"unit", value.unit},
                {"better", value.aim.better == Aim::Better::Lower ? "lower" : "higher"},
                {"samples", value.samples},
                {"goal", goal},
                {"minimum", nullptr},
                {"median", nullptr},
                {"maximum", nullptr}};
    if (value.measured()) {
        result["minimum"] = value.minimum();
        result["median"] = value.median();
        result["maximum"] = value.maximum();
    } else {
        result["why"] = value.why;
    }
    if (value.verdict() != Verdict::NoGoal)
        result["verdict"] = nameOf(value.verdict());
    return result;
}

Value valueOf(const json& from) {
    Value value{from.at("name"), from.at("unit"), {}, from.at("samples"), from.value("why", "")};
    if (value.samples.empty() && value.why.empty())
        throw std::runtime_error("\"" + value.name + "\" has neither samples nor a reason");
    const std::string better = from.at("better");
    if (better != "lower" && better != "higher")
        throw std::runtime_error("\"better\" is \"" + better + "\"");
    value.aim.better = better == "lower" ? Aim::Better::Lower : Aim::Better::Higher;
    if (const json& goal = from.at("goal"); !goal.is_null()) {
        value.aim.limit = goal.at("limit").get<double>();
        value.aim.of = goal.at("of") == "sum" ? Aim::Of::Sum : Aim::Of::Median;
    }
    return value;
}

}  // namespace

std::string jsonOf(const Run& run) {
    json figures = json::array();
    for (const Figure& figure : run.figures) {
        json values = json::array();
        for (const Value& value : figure.values)
            values.push_back(toJson(value));
        figures.push_back({{"topic", figure.topic},
                           {"subject", figure.subject},
                           {"conditions", figure.conditions},
                           {"values", values}});
    }
    const json report{
        {"program", kProgram},  {"schema", kSchema},      {"machine", run.machine}, {"processor", run.processor},
        {"kernel", run.kernel}, {"date", run.date},       {"commit", run.commit},   {"scheduling", run.scheduling},
        {"load", run.load},     {"repeats", run.repeats}, {"seconds", run.seconds}, {"figures", figures}};
    return report.dump(2) + '\n';
}

Run parseRun(const std::string& text, const std::string& file) {
    const json from = json::parse(text, nullptr, false);
    if (from.is_discarded())
        throw std::runtime_error(file + " is no JSON: it is another file, or damaged.");
    if (!from.is_object() || from.value("program", json()) != kProgram)
        throw std::runtime_error(file + " is no file of measure.");
    if (from.value("schema", json()) != kSchema)
        throw std::runtime_error(file + " is of another version of measure.");
    try {
        Run run{from.at("machine"),    from.at("processor"), from.at("kernel"),  from.at("date"),    from.at("commit"),
                from.at("scheduling"), from.at("load"),      from.at("repeats"), from.at("seconds"), {}};
        for (const json& row : from.at("figures")) {
            Figure figure{row.at("topic"), row.at("subject"), row.at("conditions"), {}};
            for (const json& value : row.at("values"))
                figure.values.push_back(valueOf(value));
            run.figures.push_back(figure);
        }
        return run;
    } catch (const std::exception& error) {
        throw std::runtime_error(file + " is damaged: " + error.what() + '.');
    }
}

Run readRun(const std::string& file) { return parseRun(contentsOf(file), file); }

// --- Text ------------------------------------------------------------------------------------------

namespace {

void printHead(const Run& run) {
    std::printf(
        "%s, kernel %s\n%s\n%s, commit %s\n%s, load at the start %s\n", run.machine.c_str(), run.kernel.c_str(),
        run.processor.c_str(), run.date.c_str(), run.commit.c_str(), run.scheduling.c_str(),
        run.load.size() == 3 ? formatted("%.2f %.2f %.2f", run.load[0], run.load[1], run.load[2]).c_str() : "?");
    std::printf(
        "Minimum, median and maximum of %d rounds; a goal is held against the median, of rare events against the "
        "sum.%s\n",
        run.repeats, run.repeats < 5 ? " So few rounds tell little of the spread." : "");
}

void printRow(const Value& value) {
    const std::string goal = value.aim.limit ? "(" + value.aim.text() + ")" : "";
    const char* name = value.name.c_str();
    if (!value.measured())
        std::printf("    %-30s not measured: %s %s\n", name, value.why.c_str(), goal.c_str());
    else
        std::printf("    %-30s %11.3f %11.3f %11.3f %-8s %s %s\n", name, value.minimum(), value.median(),
                    value.maximum(), value.unit.c_str(), nameOf(value.verdict()), goal.c_str());
}

/// What a figure lacks, each reason once, with the values it is the reason of.
std::vector<std::string> lackOf(const Figure& figure) {
    std::vector<std::pair<std::string, std::string>> reasons;
    for (const Value& value : figure.values) {
        if (value.measured())
            continue;
        const auto same = [&value](const auto& reason) { return reason.first == value.why; };
        const auto found = std::find_if(reasons.begin(), reasons.end(), same);
        if (found == reasons.end())
            reasons.emplace_back(value.why, value.name);
        else
            found->second += "; " + value.name;
    }
    std::vector<std::string> lines;
    for (const auto& [why, names] : reasons)
        lines.push_back(figure.title() + ": " + names + ": " + why);
    return lines;
}

}  // namespace

bool print(const Run& run) {
    printHead(run);
    int met = 0, notMeasured = 0;
    std::vector<std::string> missed;
    for (const Figure& figure : run.figures) {
        std::printf("\n%s\n", figure.title().c_str());
        for (const Value& value : figure.values) {
            printRow(value);
            const Verdict verdict = value.verdict();
            met += verdict == Verdict::Met;
            notMeasured += verdict == Verdict::NotMeasured;
            if (verdict == Verdict::Missed)
                missed.push_back(figure.title() + ": " + value.name + formatted(": %.3f, ", value.judged())
                                 + value.aim.text());
        }
    }
    std::printf("\n%d goals met, %zu missed, %d values not measured\n", met, missed.size(), notMeasured);
    for (const std::string& line : missed)
        std::printf("    missed        %s\n", line.c_str());
    for (const Figure& figure : run.figures) {
        for (const std::string& line : lackOf(figure))
            std::printf("    not measured  %s\n", line.c_str());
    }
    return missed.empty() && notMeasured == 0;
}

namespace {

std::string spreadOf(const std::optional<Value>& value) {
    if (!value)
        return "-";
    if (!value->measured())
        return "not measured (" + value->why + ")";
    return formatted("%.3f (%.3f to %.3f)", value->median(), value->minimum(), value->maximum());
}

void printChanges(const std::vector<Change>& changes, Change::Kind kind, const char* title) {
    std::size_t count = 0;
    for (const Change& change : changes)
        count += change.kind == kind;
    std::printf("%s: %zu\n", title, count);
    if (kind == Change::Kind::Within)
        return;
    for (const Change& change : changes) {
        if (change.kind == kind) {
            const Value& any = change.after ? *change.after : *change.before;
            std::printf("    %s: %s -> %s %s\n", change.name.c_str(), spreadOf(change.before).c_str(),
                        spreadOf(change.after).c_str(), any.unit.c_str());
        }
    }
}

}  // namespace

void printAgainst(const Run& before, const Run& after) {
    std::printf("\nAgainst an earlier run; a change counts where minimum to maximum do not overlap.\n");
    for (const Run* run : {&before, &after}) {
        std::printf("    %s  %s, %s, kernel %s, %s, commit %s, %s\n", run == &before ? "before" : "now   ",
                    run->machine.c_str(), run->processor.c_str(), run->kernel.c_str(), run->date.c_str(),
                    run->commit.c_str(), run->scheduling.c_str());
    }
    if (before.machine != after.machine || before.processor != after.processor)
        std::printf("    The machines differ.\n");
    if (before.seconds != after.seconds || before.repeats != after.repeats)
        std::printf("    The runs differ in length: %d and %d rounds, --seconds %d and %d (0: each topic's own).\n",
                    before.repeats, after.repeats, before.seconds, after.seconds);
    if (before.repeats < 5 || after.repeats < 5)
        std::printf("    Of so few rounds the spread is hardly known.\n");
    const std::vector<Change> changes = compare(before.figures, after.figures);
    printChanges(changes, Change::Kind::Worse, "Worse");
    printChanges(changes, Change::Kind::Better, "Better");
    printChanges(changes, Change::Kind::NotComparable, "Not to be compared");
    printChanges(changes, Change::Kind::New, "New");
    printChanges(changes, Change::Kind::Gone, "Gone");
    printChanges(changes, Change::Kind::Within, "Within the spread");
}

// --- The page --------------------------------------------------------------------------------------

namespace {

std::string shortSpread(const Value& value) {
    if (!value.measured())
        return "not measured: " + value.why;
    std::string text = formatted("%.4g (%.4g to %.4g)", value.median(), value.minimum(), value.maximum());
    if (value.aim.of == Aim::Of::Sum)
        text += formatted(", together %.4g", value.judged());
    return value.unit.empty() ? text : text + ' ' + value.unit;
}

std::string sectionOf(const Run& run) {
    std::ostringstream out;
    out << run.machine << ", " << run.processor << ", kernel " << run.kernel << "; " << run.date << ", commit "
        << run.commit << "; " << run.scheduling;
    if (run.load.size() == 3)
        out << "; load at the start " << formatted("%.2f, %.2f, %.2f", run.load[0], run.load[1], run.load[2]);
    out << ".\n"
        << run.repeats
        << " rounds. Each value is a median, with the smallest and the largest beside it; goals are held against it, "
           "or against "
           "the sum where they say so.\n";
    out << "\n| Goal of | Value | Measured | Goal | |\n|---|---|---|---|---|\n";
    for (const Figure& figure : run.figures) {
        for (const Value& value : figure.values) {
            if (value.verdict() != Verdict::NoGoal)
                out << "| " << figure.title() << " | " << value.name << " | " << shortSpread(value) << " | "
                    << value.aim.text() << " | " << nameOf(value.verdict()) << " |\n";
        }
    }
    out << "\n| Without a goal | Measured |\n|---|---|\n";
    for (const Figure& figure : run.figures) {
        std::string row;
        for (const Value& value : figure.values) {
            if (value.verdict() == Verdict::NoGoal)
                row += (row.empty() ? "" : "; ") + value.name + ' ' + shortSpread(value);
        }
        if (!row.empty())
            out << "| " << figure.title() << " | " << row << " |\n";
    }
    return out.str();
}

}  // namespace

void writePage(const Run& run, const std::string& page) {
    std::string text = contentsOf(page);
    const std::size_t begin = text.find(kBegin);
    const std::size_t end = begin == std::string::npos ? begin : text.find(kEnd, begin);
    if (end == std::string::npos)
        throw std::runtime_error(page + " has no lines \"" + kBegin + "\" and \"" + kEnd + "\".");
    const std::size_t from = begin + std::char_traits<char>::length(kBegin);
    text.replace(from, end - from, "\n" + sectionOf(run) + "\n");
    std::ofstream file(page);
    file << text;
    if (!file.flush())
        throw std::runtime_error(page + " cannot be written.");
}
