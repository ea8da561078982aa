// What the benchmarks share: one row of the table, and percentiles.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

/// One row: what was measured, its figures with their unit, and what it is compared with.
struct Figure {
    std::string subject;
    std::string conditions;
    std::vector<std::pair<std::string, double>> values;
    std::string unit;
    std::string goal;
};

/// The value below which `share` (0 to 1) of the samples lie. Sorts the samples.
inline double percentile(std::vector<double>& samples, double share) {
    if (samples.empty())
        return 0;
    std::sort(samples.begin(), samples.end());
    const auto index = static_cast<std::size_t>(share * static_cast<double>(samples.size() - 1));
    return samples[index];
}

inline double mean(const std::vector<double>& samples) {
    double sum = 0;
    for (const double value : samples)
        sum += value;
    return samples.empty() ? 0 : sum / static_cast<double>(samples.size());
}

/// Cost of one servo tick in every branch, and its allocations. The loop is stepped.
std::vector<Figure> measureTickCost();
/// Cost of one call of each slot that a timer calls, on its tab with the arm moving. The loop is stepped.
std::vector<Figure> measureSlots();
/// The longest the event loop was held on each tab, the loop on its thread, the window shown.
std::vector<Figure> measureStalls(int secondsATab);
/// Simulated seconds a second of the stepped arm, and memory before and after an hour of it.
std::vector<Figure> measureStepped();
/// Wake-up lateness of the loop beside the shown window, against cyclictest in the same minute.
std::vector<Figure> measureLateness(int seconds);
/// Wake-up lateness of the loop with the loads of the servo page on, and without.
std::vector<Figure> measureUnderLoad(int seconds);
/// Late ticks while "Clear" empties an error browser of 100,000 lines.
std::vector<Figure> measureClearing();
/// Ticks lost beside a busy window.
std::vector<Figure> measureLostTicks(int seconds);
/// From process start to first paint, against a bare window.
std::vector<Figure> measureStartUp(const std::string& firstPaintProgram, int repetitions);
/// Processor use at rest on "Select", against one scene that repaints at the same pace.
std::vector<Figure> measureRest(const std::string& restProgram, int seconds);
