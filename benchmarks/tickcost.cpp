// What one servo tick costs, branch by branch, on the stepped simulated arm.
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

}  // namespace

std::vector<Figure> measureTickCost() {
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    qtTharlenTest window;
    window.ui.tabWidget->setCurrentIndex(1);
    armcontrol::handMove({30, 0, 0});
    armcontrol::step(1000);

    std::vector<Figure> figures;
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
