#include "figures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <set>

Reading::Reading(double value) {
    if (std::isfinite(value))
        number = value;
    else
        why = "no finite number";
}

Reading Reading::none(std::string why) {
    Reading reading;
    reading.why = std::move(why);
    return reading;
}

Reading percentile(std::vector<double> samples, double share) {
    if (samples.empty())
        return Reading::none("nothing was sampled");
    const auto place = samples.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(samples.size() - 1));
    std::nth_element(samples.begin(), place, samples.end());
    return *place;
}

Reading mean(const std::vector<double>& samples) {
    if (samples.empty())
        return Reading::none("nothing was sampled");
    return std::accumulate(samples.begin(), samples.end(), 0.0) / static_cast<double>(samples.size());
}

Reading operator/(const Reading& of, const Reading& to) {
    if (!of.number || !to.number)
        return of.number ? to : of;
    return *to.number == 0 ? Reading::none("it is compared with zero") : Reading(*of.number / *to.number);
}

Reading operator-(const Reading& of, const Reading& to) {
    if (!of.number || !to.number)
        return of.number ? to : of;
    return *of.number - *to.number;
}

std::string Aim::text() const {
    if (!limit)
        return {};
    char number[40];
    std::snprintf(number, sizeof number, "%g", *limit);
    return std::string(of == Of::Sum ? "all rounds together " : "")
           + (better == Better::Lower ? "at most " : "at least ") + number;
}

void Value::add(const Reading& reading) {
    if (reading.number)
        samples.push_back(*reading.number);
    else if (why.empty())
        why = reading.why;
}

double Value::minimum() const { return *std::min_element(samples.begin(), samples.end()); }
double Value::maximum() const { return *std::max_element(samples.begin(), samples.end()); }

double Value::median() const {
    std::vector<double> sorted = samples;
    std::sort(sorted.begin(), sorted.end());
    const std::size_t half = sorted.size() / 2;
    return sorted.size() % 2 == 1 ? sorted[half] : (sorted[half - 1] + sorted[half]) / 2;
}

double Value::judged() const {
    return aim.of == Aim::Of::Sum ? std::accumulate(samples.begin(), samples.end(), 0.0) : median();
}

Verdict Value::verdict() const {
    if (!measured())
        return Verdict::NotMeasured;
    if (!aim.limit)
        return Verdict::NoGoal;
    const bool met = aim.better == Aim::Better::Lower ? judged() <= *aim.limit : judged() >= *aim.limit;
    return met ? Verdict::Met : Verdict::Missed;
}

void Figure::add(const std::string& name, const std::string& unit, const Reading& reading, const Aim& aim) {
    auto value = std::find_if(values.begin(), values.end(), [&name](const Value& v) { return v.name == name; });
    if (value == values.end())
        value = values.insert(values.end(), Value{name, unit, aim, {}, {}});
    value->add(reading);
}

Figure& Table::figure(const std::string& subject, const std::string& conditions) {
    for (Figure& figure : figures) {
        if (figure.topic == topic && figure.subject == subject && figure.conditions == conditions)
            return figure;
    }
    return figures.emplace_back(Figure{topic, subject, conditions, {}});
}

void Table::missing(const std::string& subject, const std::string& why) {
    figure(subject, "").add("all", "", Reading::none(why));
}

// --- Two runs --------------------------------------------------------------------------------------

namespace {

const Value* find(const std::deque<Figure>& figures, const Figure& like, const std::string& name) {
    for (const Figure& figure : figures) {
        if (figure.topic != like.topic || figure.subject != like.subject || figure.conditions != like.conditions)
            continue;
        for (const Value& value : figure.values) {
            if (value.name == name)
                return &value;
        }
    }
    return nullptr;
}

Change::Kind kindOf(const Value& before, const Value& after) {
    if (!before.measured() || !after.measured() || before.unit != after.unit)
        return Change::Kind::NotComparable;
    const bool lower = after.maximum() < before.minimum();
    const bool higher = after.minimum() > before.maximum();
    if (!lower && !higher)
        return Change::Kind::Within;
    return lower == (after.aim.better == Aim::Better::Lower) ? Change::Kind::Better : Change::Kind::Worse;
}

}  // namespace

std::vector<Change> compare(const std::deque<Figure>& before, const std::deque<Figure>& after) {
    std::vector<Change> changes;
    std::set<std::string> topics;
    for (const Figure& figure : after) {
        topics.insert(figure.topic);
        for (const Value& value : figure.values) {
            const std::string name = figure.title() + ": " + value.name;
            if (const Value* old = find(before, figure, value.name))
                changes.push_back({kindOf(*old, value), name, *old, value});
            else
                changes.push_back({Change::Kind::New, name, std::nullopt, value});
        }
    }
    for (const Figure& figure : before) {
        for (const Value& value : figure.values) {
            if (topics.count(figure.topic) != 0 && !find(after, figure, value.name))
                changes.push_back({Change::Kind::Gone, figure.title() + ": " + value.name, value, std::nullopt});
        }
    }
    return changes;
}
