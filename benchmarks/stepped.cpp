// How fast the arm runs when it is stepped, and what an hour of it does to memory.
#include <unistd.h>

#include <chrono>
#include <fstream>

#include "device/simulated/armcontrol.h"
#include "figures.h"
#include "flowtime.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

double residentMegabytes() {
    long all = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6;
}

}  // namespace

std::vector<Figure> measureStepped() {
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    resetProcessState();
    qtTharlenTest window;
    window.ui.tabWidget->setCurrentIndex(1);
    armcontrol::handMove({20, 0, 0});

    const auto start = std::chrono::steady_clock::now();
    armcontrol::step(200000);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;

    // An hour, six minutes a tab, with the window's own timers.
    SteppedTime time(window);
    const double before = residentMegabytes();
    for (int tab = 1; tab < window.ui.tabWidget->count(); ++tab) {
        window.ui.tabWidget->setCurrentIndex(tab);
        armcontrol::handMove({});
        time.spend(3600 * 1000 / (window.ui.tabWidget->count() - 1));
    }
    const double after = residentMegabytes();
    return {{"stepped arm with hand and callback",
             "1000 Hz, one core",
             {{"simulated s a s", 200.0 / taken.count()}},
             "",
             "at least 50"},
            {"memory",
             "an hour of stepped use, every tab",
             {{"after start", before}, {"after the hour", after}, {"growth", after - before}},
             "MB",
             ""}};
}
