// What one servo tick costs, branch by branch, on the stepped simulated arm.
#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <new>

#include "device/simulated/armcontrol.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "topics.h"

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

void costOf(Table& table, const std::string& branch, qtTharlenTest& window) {
    constexpr int kTicks = 50000;
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
    const Reading average = mean(cost), worst = percentile(cost, 0.999);
    Figure& figure = table.figure("tick, " + branch, "");
    figure.add("mean", "us", average);
    figure.add("p99.9", "us", worst);
    figure.add("mean, of 1 ms", "%", average / 10.0, atMost(1));
    figure.add("mean, of 0.25 ms", "%", average / 2.5, atMost(1));
    figure.add("p99.9, of 1 ms", "%", worst / 10.0);
    figure.add("p99.9, of 0.25 ms", "%", worst / 2.5);
    figure.add("allocations a tick", "", static_cast<double>(allocations) / kTicks);
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
void costOfGate(Table& table, qtTharlenTest& window) {
    ForceGate& gate = window.m_forceGate;
    volatile bool shut = false;
    const double alone = costOfOne(1000000, [&] {
        gate.beginTick();
        shut = gate.shut();
        shut = gate.shut();
        shut = gate.endTick();
    });
    const double tick = costOfOne(100000, [&window] { ServoLoopCallBack(&window); });
    Figure& figure = table.figure("tick, the gate in it", "default branch");
    figure.add("gate", "us", alone);
    figure.add("whole tick", "us", tick);
    figure.add("gate, of the rest", "%", Reading(100 * alone) / Reading(tick - alone), atMost(5));
}

}  // namespace

void measureTickCost(Table& table, const Options&) {
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    qtTharlenTest window;
    window.ui.tabWidget->setCurrentIndex(1);
    armcontrol::handMove({30, 0, 0});
    armcontrol::step(1000);

    costOfGate(table, window);
    costOf(table, "default", window);
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
        costOf(table, branch.name, window);
        *branch.flag = false;
    }
    window.manufMode = true;
    startBoxTest = true;
    costOf(table, "box, manufacturing", window);
    startBoxTest = false;
    window.manufMode = false;
    armcontrol::handRelease();
}
