// A run of `measure` as text, as JSON and as the generated part of a page.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "figures.h"

/// What a run was made on and how, and what it gave.
struct Run {
    std::string machine;  ///< system and number of cores
    std::string processor;
    std::string kernel;
    std::string date;          ///< UTC, as 2026-01-31T12:00:00Z
    std::string commit;        ///< with "-dirty" where the tree had changes; "unknown" without a checkout
    std::string scheduling;    ///< whether real-time scheduling was permitted
    std::vector<double> load;  ///< load averages at the start: of one, five and fifteen minutes
    int repeats = 0;
    int seconds = 0;  ///< of each timed turn; 0 where each topic took its own
    std::deque<Figure> figures;
};

/// Throws std::runtime_error with a sentence where the file is none that `writeRun` wrote, damaged or of another
/// schema.
Run readRun(const std::string& file);
Run parseRun(const std::string& text, const std::string& file);
std::string jsonOf(const Run& run);

/// The figures, each with its verdict, and a summary. True when every goal is met and all is measured.
bool print(const Run& run);
/// What got better or worse than in an earlier run.
void printAgainst(const Run& before, const Run& after);
/// Replaces what stands between the markers of the page. Throws std::runtime_error where there are none.
void writePage(const Run& run, const std::string& page);
