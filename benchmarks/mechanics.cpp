// mechanics: prints what the friction and capstan tests find against what the simulated arm was given, ten runs
// each. Ends with 1 when a goal is missed: friction within 5 % with a spread of at most 3 %; slip found in every run
// from 1.25 counts above the limit on, and in none up to the limit. The quarter is what bearings and stops give
// between the two readings: a slip of a whole number of counts sits on the edge of one.
#include <QApplication>
#include <cstdio>

#include "figures.h"
#include "mechanicalbench.h"

namespace {

constexpr int kRuns = 10;
constexpr double kHealthy = 820.0 / 32767.0;  ///< V, the dry friction of an Orda's axes
bool allWell = true;

const char* verdict(bool well) {
    allWell &= well;
    return well ? "ok" : "MISSED";
}

void printFriction(MechanicalBench& bench, const char* line, double factor) {
    std::vector<double> found[3];
    for (int run = 0; run < kRuns; ++run) {
        bench.prepare("Test Friction", 1000 + 37 * run);
        const bool ended = bench.runFriction();
        for (int axis = 0; axis < 3; ++axis)
            found[axis].push_back(ended ? static_cast<double>(bench.window->repData->fFrictionVoltage[axis]) : 0);
    }
    for (int axis = 0; axis < 3; ++axis) {
        const double given = factor * kHealthy, average = *mean(found[axis]).number;
        const double error = 100 * (average / given - 1);
        const double spread =
            100 * *(percentile(found[axis], 1) - percentile(found[axis], 0)).number / qMax(average, 1e-9);
        std::printf("%-16s %c  x%-4g %8.4f V %8.4f V %+7.2f %% %6.2f %%  %-4s  %s\n", line, "XYZ"[axis], factor, given,
                    average, error, spread, bench.window->repData->bFrictionPass[axis] ? "PASS" : "FAIL",
                    verdict(qAbs(error) <= 5 && spread <= 3));
    }
}

void printSlip(MechanicalBench& bench, const char* line, int axis, double slip) {
    const int limit = bench.window->m_cdLodrin.axclCapstan[axis].nEncoderChange;
    armcontrol::clearFaults();
    if (slip > 0)
        armcontrol::setFault("slipping-capstan", true, axis,
                             1000.0 * slip / bench.window->m_cdLodrin.nCapstanTimeAtMax);
    std::vector<double> found;
    int failed = 0;
    for (int run = 0; run < kRuns; ++run) {
        bench.prepare("Test Capstan", 1000 + 53 * run);
        const bool ended = bench.runReference() && bench.runVerify();
        found.push_back(ended ? bench.window->repData->nCapstanChange[axis] : -1);
        failed += ended && bench.window->repData->bCapstanPass[axis] ? 0 : 1;
    }
    const double least = *percentile(found, 0).number, most = *percentile(found, 1).number;
    std::printf("%-16s %c  %6g counts  %3g to %-3g counts  found in %2d of %d  %s\n", line, "XYZ"[axis], slip, least,
                most, failed, kRuns, verdict(least >= 0 && failed == (slip > limit ? kRuns : 0)));
}

}  // namespace

int main(int argc, char** argv) {
    setenv("NOLVA_ARM_SOCKET", "off", 1);
    QApplication application(argc, argv);
    const auto names = armcontrol::fleetNames();
    std::printf("Friction         axis       given  mean of %d     error   spread  verdict  goal\n", kRuns);
    for (std::size_t device = 0; device < names.size(); ++device) {
        MechanicalBench bench(static_cast<int>(device));
        if (!bench.window->isOrda())
            continue;
        for (const double factor : {1.0, 1.5, 2.0, 4.0, 8.0, 10.0, 12.0}) {
            armcontrol::clearFaults();
            if (factor > 1)
                armcontrol::setFault("sticky-bearing", true, -1, factor);
            printFriction(bench, names[device].c_str(), factor);
        }
    }
    std::printf("\nSlip             axis   given     measured\n");
    for (std::size_t device = 0; device < names.size(); ++device) {
        MechanicalBench bench(static_cast<int>(device));
        for (int axis = 0; axis < 3 && bench.window->isOrda(); ++axis)
            for (const double slip : {0.0, 4.0, 8.0, 9.25, 12.0, 100.0})
                printSlip(bench, names[device].c_str(), axis, slip);
    }
    return allWell ? 0 : 1;
}
