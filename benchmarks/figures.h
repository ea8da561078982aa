// A figure: what the rounds of a run gave, what it is held against, and how two runs of it compare.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

/// A number, or the reason why there is none. One that is not finite is none.
struct Reading {
    Reading(double value);
    static Reading none(std::string why);

    std::optional<double> number;
    std::string why;

private:
    Reading() = default;
};

/// The value below which `share` (0 to 1) of the samples lie.
Reading percentile(std::vector<double> samples, double share);
Reading mean(const std::vector<double>& samples);
Reading operator/(const Reading& of, const Reading& to);
Reading operator-(const Reading& of, const Reading& to);

/// Which way is better, and the limit where a value has one. It is held against the median of the rounds, or against
/// their sum where the value counts what is rare, of which a median would see nothing.
struct Aim {
    enum class Better { Lower, Higher } better = Better::Lower;
    std::optional<double> limit;
    enum class Of { Median, Sum } of = Of::Median;

    /// "at most 1.1", "all rounds together at most 0"; empty without a limit.
    std::string text() const;
};
inline Aim atMost(double limit) { return {Aim::Better::Lower, limit, Aim::Of::Median}; }
inline Aim atLeast(double limit) { return {Aim::Better::Higher, limit, Aim::Of::Median}; }
inline Aim togetherAtMost(double limit) { return {Aim::Better::Lower, limit, Aim::Of::Sum}; }

enum class Verdict { NoGoal, Met, Missed, NotMeasured };

struct Value {
    std::string name;
    std::string unit;  ///< empty for a ratio
    Aim aim;
    std::vector<double> samples;  ///< one a round, several where a round has several pairs
    std::string why;              ///< of the first round that gave no number; the value then counts as not measured

    void add(const Reading& reading);
    bool measured() const { return why.empty() && !samples.empty(); }
    double minimum() const;
    double median() const;
    double maximum() const;
    double judged() const;  ///< what is held against the limit
    /// The one place that judges. What was not measured is never met.
    Verdict verdict() const;
};

struct Figure {
    std::string topic;  ///< as named by --only
    std::string subject;
    std::string conditions;
    std::deque<Value> values;

    std::string title() const { return conditions.empty() ? subject : subject + ", " + conditions; }
    void add(const std::string& name, const std::string& unit, const Reading& reading, const Aim& aim = {});
};

/// The figures in the order in which they were first taken. Each round adds to them.
struct Table {
    std::deque<Figure> figures;
    std::string topic;  ///< of the figures that are made from here on

    Figure& figure(const std::string& subject, const std::string& conditions);
    /// A whole topic, or a part of it, that could not be measured.
    void missing(const std::string& subject, const std::string& why);
};

/// How a value stands to the same one of an earlier run. Where the spreads, minimum to maximum, overlap, it may be the
/// same.
struct Change {
    enum class Kind { Better, Worse, Within, New, Gone, NotComparable } kind;
    std::string name;
    std::optional<Value> before, after;
};
/// Topics of which the later run has nothing are left out: they were not asked for.
std::vector<Change> compare(const std::deque<Figure>& before, const std::deque<Figure>& after);
