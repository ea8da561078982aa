// How fast the arm runs when it is stepped, and what use of it does to memory.
#include <chrono>

#include "device/simulated/armcontrol.h"
#include "flowtime.h"
#include "qttharlentest.h"
#include "residentmemory.h"
#include "servostate.h"
#include "topics.h"

void measureStepped(Table& table, const Options&) {
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    resetProcessState();
    qtTharlenTest window;
    window.ui.tabWidget->setCurrentIndex(1);
    armcontrol::handMove({20, 0, 0});

    const auto start = std::chrono::steady_clock::now();
    armcontrol::step(200000);
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;

    table.figure("stepped arm with hand and callback", "1000 Hz, one core")
        .add("simulated seconds a second", "", 200.0 / taken.count(), atLeast(50));

    // With the window's own timers.
    constexpr int kMinutes = 10;
    SteppedTime time(window);
    const Reading before = residentMegabytes();
    for (int tab = 1; tab < window.ui.tabWidget->count(); ++tab) {
        window.ui.tabWidget->setCurrentIndex(tab);
        armcontrol::handMove({});
        time.spend(kMinutes * 60 * 1000 / (window.ui.tabWidget->count() - 1));
    }
    const Reading after = residentMegabytes();
    Figure& memory = table.figure("memory", "ten minutes of stepped use, every tab");
    memory.add("after start", "MB", before);
    memory.add("at the end", "MB", after);
    memory.add("growth", "MB", after - before);
}
