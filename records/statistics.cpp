// See statistics.h.
#include "statistics.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>

namespace records {
namespace {

constexpr double kIndividuals = 2.66;  // three deviations a mean range of two: 3 / 1.128
constexpr double kCategories = 1.41;   // of the source; it does not take the root of 2 with more digits
constexpr double kRounding = 1e-18;    // a variance below this share of the sum of squares is none

double mean(const std::vector<double>& values) {
    // From the first one: equal values have themselves as their mean, to the last bit.
    const double first = values.front();
    return first + std::accumulate(values.begin(), values.end(), 0.0, [first](double sum, double value) {
                       return sum + (value - first);
                   }) / static_cast<double>(values.size());
}

double squares(const std::vector<double>& values, double from) {
    return std::accumulate(values.begin(), values.end(), 0.0,
                           [from](double sum, double value) { return sum + (value - from) * (value - from); });
}

/// 1 + d1 / (1 + d2 / (1 + ...)) of 26.5.8, from the front (Lentz).
double betaFraction(double a, double b, double x) {
    constexpr double kTiny = 1e-300, kEnough = 1e-15;
    constexpr int kMost = 100000;
    const auto nonzero = [](double value) { return value == 0 ? kTiny : value; };
    double fraction = 1, c = 1, d = 0;
    for (int i = 1; i < kMost; ++i) {
        const double m = std::floor(i / 2.0);
        const double term = i % 2 == 0 ? m * (b - m) * x / ((a + 2 * m - 1) * (a + 2 * m))
                                       : -(a + m) * (a + b + m) * x / ((a + 2 * m) * (a + 2 * m + 1));
        d = 1 / nonzero(1 + term * d);
        c = nonzero(1 + term / c);
        fraction *= c * d;
        if (std::abs(c * d - 1) < kEnough)
            break;
    }
    return fraction;
}

/// The regularized incomplete beta function.
double incompleteBeta(double a, double b, double x) {
    if (x <= 0 || x >= 1)
        return x <= 0 ? 0 : 1;
    if (x > (a + 1) / (a + b + 2))  // the fraction converges fast below
        return 1 - incompleteBeta(b, a, 1 - x);
    const double front =
        std::exp(a * std::log(x) + b * std::log1p(-x) + std::lgamma(a + b) - std::lgamma(a) - std::lgamma(b));
    return front / (a * betaFraction(a, b, x));
}

std::size_t bits(std::size_t mask) {
    std::size_t count = 0;
    for (; mask != 0; mask &= mask - 1)
        ++count;
    return count;
}

/// Of the appraisers, those with the most parts that can be used, in their order.
std::vector<std::size_t> candidates(const std::vector<std::vector<std::size_t>>& counts) {
    std::vector<std::size_t> all(counts.empty() ? 0 : counts.front().size()), usable(all.size());
    std::iota(all.begin(), all.end(), 0);
    for (const auto& part : counts)
        for (std::size_t i = 0; i < part.size(); ++i)
            usable[i] += part[i] >= kLeastTrials ? 1 : 0;
    std::stable_sort(all.begin(), all.end(), [&](std::size_t a, std::size_t b) { return usable[a] > usable[b]; });
    all.resize(std::min(all.size(), kMostAppraisers));
    std::sort(all.begin(), all.end());
    return all;
}

/// For each part the set of candidates, a bit each, by whom it has trials enough.
std::vector<std::size_t> masksOf(const std::vector<std::vector<std::size_t>>& counts,
                                 const std::vector<std::size_t>& appraisers) {
    std::vector<std::size_t> masks;
    for (const auto& part : counts) {
        std::size_t mask = 0;
        for (std::size_t bit = 0; bit < appraisers.size(); ++bit)
            mask |= std::size_t(part[appraisers[bit]] >= kLeastTrials) << bit;
        masks.push_back(mask);
    }
    return masks;
}

/// For each set of candidates the number of parts that have trials enough by all of them.
std::vector<std::size_t> partsOfSets(const std::vector<std::size_t>& masks, std::size_t appraisers) {
    std::vector<std::size_t> parts(std::size_t(1) << appraisers);
    for (std::size_t mask : masks)
        ++parts[mask];
    for (std::size_t bit = 1; bit < parts.size(); bit <<= 1)
        for (std::size_t set = 0; set < parts.size(); ++set)
            if (!(set & bit))
                parts[set] += parts[set | bit];
    return parts;
}

/// Sums of squares of the analysis of variance.
struct Squares {
    double parts = 0, appraisers = 0, both = 0, error = 0;
};

Squares squaresOf(const std::vector<std::vector<std::vector<double>>>& values) {
    const std::size_t parts = values.size(), appraisers = values[0].size();
    const double trials = static_cast<double>(values[0][0].size());
    Squares sums;
    std::vector<std::vector<double>> rows(parts), columns(appraisers);  // means of the trials
    for (std::size_t p = 0; p < parts; ++p)
        for (std::size_t a = 0; a < appraisers; ++a) {
            const double cell = mean(values[p][a]);
            sums.error += squares(values[p][a], cell);
            rows[p].push_back(cell);
            columns[a].push_back(cell);
        }
    std::vector<double> ofParts, ofAppraisers;
    std::transform(rows.begin(), rows.end(), std::back_inserter(ofParts), mean);
    std::transform(columns.begin(), columns.end(), std::back_inserter(ofAppraisers), mean);
    const double grand = mean(ofParts);
    sums.parts = trials * static_cast<double>(appraisers) * squares(ofParts, grand);
    sums.appraisers = trials * static_cast<double>(parts) * squares(ofAppraisers, grand);
    for (std::size_t p = 0; p < parts; ++p)
        for (std::size_t a = 0; a < appraisers; ++a)
            sums.both += trials * std::pow(rows[p][a] - ofParts[p] - ofAppraisers[a] + grand, 2);
    return sums;
}

}  // namespace

double fTail(double f, double above, double below) {
    return incompleteBeta(below / 2, above / 2, below / (below + above * f));
}

Individuals individualsChart(const std::vector<double>& values) {
    Individuals chart;
    chart.mean = mean(values);
    const auto [least, greatest] = std::minmax_element(values.begin(), values.end());
    chart.least = *least;
    chart.greatest = *greatest;
    double ranges = 0;
    for (std::size_t i = 1; i < values.size(); ++i)
        ranges += std::abs(values[i] - values[i - 1]);
    const double steps = std::max(1.0, static_cast<double>(values.size()) - 1);
    chart.deviation = std::sqrt(squares(values, chart.mean) / steps);
    chart.lowLimit = chart.mean - kIndividuals * ranges / steps;
    chart.highLimit = chart.mean + kIndividuals * ranges / steps;
    return chart;
}

std::optional<Balanced> largestBalanced(const std::vector<std::vector<std::size_t>>& counts) {
    const std::vector<std::size_t> appraisers = candidates(counts), masks = masksOf(counts, appraisers),
                                   partsOf = partsOfSets(masks, appraisers.size());
    const auto setOf = [&](std::size_t set) {
        Balanced found;
        for (std::size_t bit = 0; bit < appraisers.size(); ++bit)
            if (set >> bit & 1)
                found.appraisers.push_back(appraisers[bit]);
        for (std::size_t part = 0; part < counts.size(); ++part)
            if ((masks[part] & set) == set)
                found.parts.push_back(part);
        found.trials = counts[found.parts[0]][found.appraisers[0]];
        for (std::size_t part : found.parts)
            for (std::size_t appraiser : found.appraisers)
                found.trials = std::min(found.trials, counts[part][appraiser]);
        return found;
    };
    std::optional<Balanced> best;
    std::size_t pairs = 0;
    for (std::size_t set = 0; set < partsOf.size(); ++set) {
        const std::size_t parts = partsOf[set], here = parts * bits(set);
        if (bits(set) < 2 || parts < 2 || here < pairs || (here == pairs && parts < best->parts.size()))
            continue;
        Balanced found = setOf(set);
        if (here > pairs || parts > best->parts.size() || found.trials > best->trials)
            best = std::move(found);
        pairs = here;
    }
    return best;
}

GaugeStudy gaugeStudy(const std::vector<std::vector<std::vector<double>>>& values) {
    const Squares sums = squaresOf(values);
    const double p = static_cast<double>(values.size()), a = static_cast<double>(values[0].size()),
                 r = static_cast<double>(values[0][0].size());
    const double least = kRounding * (sums.parts + sums.appraisers + sums.both + sums.error);
    const auto variance = [least](double estimate) { return estimate > least ? estimate : 0; };

    GaugeStudy study;
    study.interactionDegrees = (p - 1) * (a - 1);
    study.errorDegrees = p * a * (r - 1);
    double errorSquare = variance(sums.error / study.errorDegrees),
           interactionSquare = variance(sums.both / study.interactionDegrees);
    study.interactionF = interactionSquare > 0 ? interactionSquare / errorSquare : 0;
    study.interactionP = fTail(study.interactionF, study.interactionDegrees, study.errorDegrees);
    study.pooled = study.interactionP > kPoolAbove;
    if (study.pooled)
        errorSquare = interactionSquare = (sums.both + sums.error) / (study.interactionDegrees + study.errorDegrees);

    const double repeat = variance(errorSquare), interaction = variance((interactionSquare - errorSquare) / r);
    const double reproduce = interaction + variance((sums.appraisers / (a - 1) - interactionSquare) / (p * r));
    const double ofParts = variance((sums.parts / (p - 1) - interactionSquare) / (a * r));
    study.repeatability = std::sqrt(repeat);
    study.reproducibility = std::sqrt(reproduce);
    study.gauge = std::sqrt(repeat + reproduce);
    study.parts = std::sqrt(ofParts);
    study.total = std::sqrt(repeat + reproduce + ofParts);
    if (study.gauge > 0)
        study.categories = std::floor(kCategories * study.parts / study.gauge);
    return study;
}

}  // namespace records
