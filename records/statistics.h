// Statistics of measurements, on plain numbers. Results have the unit of the values unless it is said. Any thread.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace records {

/// Probability that a ratio of variances with these degrees of freedom, of equal true variances, exceeds `f`.
/// Source: Abramowitz & Stegun, 26.6.2 and the continued fraction 26.5.8.
double fTail(double f, double above, double below);

/// Shewhart's chart of individual values in the order of time; source: ISO 7870-2.
struct Individuals {
    double mean = 0, deviation = 0;      ///< of the sample, n - 1
    double lowLimit = 0, highLimit = 0;  ///< mean -+ 2.66 times the mean moving range of two
    double least = 0, greatest = 0;      ///< of the values
    bool isOutside(double value) const { return value < lowLimit || value > highLimit; }
};

/// Of at least one value; a single one has no deviation and limits that mean nothing.
Individuals individualsChart(const std::vector<double>& values);

/// Which parts and appraisers, by index, and how many trials each pair of them has at least.
struct Balanced {
    std::vector<std::size_t> parts, appraisers;
    std::size_t trials = 0;
};

/// Appraisers that the largest set is looked for among; of more, those with the most parts.
constexpr std::size_t kMostAppraisers = 16;
/// Fewest trials of a part by an appraiser that tell repeatability.
constexpr std::size_t kLeastTrials = 2;

/// The largest set in which each part has kLeastTrials by each appraiser, at least two of both: the most pairs, then
/// the most parts, then the most trials. `counts` are those of the trials, [part][appraiser]. Nothing where none is.
std::optional<Balanced> largestBalanced(const std::vector<std::vector<std::size_t>>& counts);

/// Above this probability of its F test the interaction is taken for error.
constexpr double kPoolAbove = 0.25;

/// A crossed study of a gauge by analysis of variance. Source: AIAG, Measurement Systems Analysis, 4th edition.
/// Standard deviations; an estimated variance below 0 counts as 0.
struct GaugeStudy {
    double repeatability = 0;    ///< EV: the same part by the same appraiser
    double reproducibility = 0;  ///< AV: between appraisers, with the interaction where it is not pooled
    double gauge = 0;            ///< GRR: both of them
    double parts = 0;            ///< PV: between parts
    double total = 0;            ///< TV
    double interactionF = 0;     ///< ratio of variances, to its degrees of freedom and those of the error
    double interactionP = 1;     ///< probability of such a ratio without an interaction
    double interactionDegrees = 0, errorDegrees = 0;
    bool pooled = false;               ///< whether the interaction is part of the repeatability
    std::optional<double> categories;  ///< ndc, whole ones: 1.41 PV / GRR; nothing where GRR is 0
};

/// Values as [part][appraiser][trial], at least two of each and as many trials everywhere.
GaugeStudy gaugeStudy(const std::vector<std::vector<std::vector<double>>>& values);

}  // namespace records
