// What one servo tick costs, branch by branch, on the stepped simulated arm.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <new>

#include "device/simulated/armcontrol.h"
#include "figures.h"
#include "qttharlentest.h"
#include "servostate.h"

// Allocations of this process, counted while a tick runs.
static bool counting = false;
static long allocations = 0;

void* operator new(std::size_t size) {
    if (counting)
        ++allocations;
    if (void* memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace {

double nowMicroseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return 1e6 * static_cast<double>(now.tv_sec) + 1e-3 * static_cast<double>(now.tv_nsec);
}

Figure costOf(const std::string& branch, qtTharlenTest& window) {
    constexpr int kTicks = 100000;
    std::vector<double> cost;
    cost.reserve(kTicks);
    for (int i = 0; i < 2000; ++i)
        ServoLoopCallBack(&window);
    allocations = 0;
    for (int i = 0; i < kTicks; ++i) {
        const double start = nowMicroseconds();
        counting = true;
        ServoLoopCallBack(&window);
        counting = false;
        cost.push_back(nowMicroseconds() - start);
    }
    const double average = mean(cost);
    const double worst = percentile(cost, 0.999);
    return {"tick, " + branch,
            "",
            {{"mean us", average},
             {"p99.9 us", worst},
             {"mean % of 1 ms", average / 10},
             {"p99.9 % of 1 ms", worst / 10},
             {"mean % of 0.25 ms", average / 2.5},
             {"p99.9 % of 0.25 ms", worst / 2.5},
             {"allocations a tick", static_cast<double>(allocations) / kTicks}},
            "",
            "mean at most 1 % of the period"};
}

/// Microseconds a call, the smallest of five turns of so many.
template <class Call>
double costOfOne(int calls, Call call) {
    double best = 1e9;
    for (int turn = 0; turn < 5; ++turn) {
        const double start = nowMicroseconds();
        for (int i = 0; i < calls; ++i)
            call();
        best = std::min(best, (nowMicroseconds() - start) / calls);
    }
    return best;
}

/// What a tick passes of the gate: its begin, two questions and its end, beside whole ticks of the default branch.
Figure costOfGate(qtTharlenTest& window) {
    ForceGate& gate = window.m_forceGate;
    volatile bool shut = false;
    const double alone = costOfOne(1000000, [&] {
        gate.beginTick();
        shut = gate.shut();
        shut = gate.shut();
        shut = gate.endTick();
    });
    const double tick = costOfOne(100000, [&window] { ServoLoopCallBack(&window); });
    return {"tick, the gate in it",
            "default branch",
            {{"gate, us", alone}, {"whole tick, us", tick}, {"gate, % of the rest", 100 * alone / (tick - alone)}},
            "",
            "at most 5 %"};
}

}  // namespace

std::vector<Figure> measureTickCost() {
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    qtTharlenTest window;
    window.ui.tabWidget->setCurrentIndex(1);
    armcontrol::handMove({30, 0, 0});
    armcontrol::step(1000);

    std::vector<Figure> figures;
    figures.push_back(costOfGate(window));
    figures.push_back(costOf("default", window));
    const struct {
        const char* name;
        Shared<bool>* flag;
    } branches[] = {{"box", &startBoxTest},
                    {"passivity", &startPassivityTest},
                    {"calibration", &startCalibTest},
                    {"filters", &startFiltersTest},
                    {"voltages", &startFrictionTest},
                    {"servo rate", &startServoTest},
                    {"encoder test", &startEncoderTest},
                    {"performance force", &startPerformanceForceTest},
                    {"friction performance", &bFrictionPerformance}};
    for (const auto& branch : branches) {
        *branch.flag = true;
        figures.push_back(costOf(branch.name, window));
        *branch.flag = false;
    }
    window.manufMode = true;
    startBoxTest = true;
    figures.push_back(costOf("box, manufacturing", window));
    startBoxTest = false;
    window.manufMode = false;
    armcontrol::handRelease();
    return figures;
}
