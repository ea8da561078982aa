// What one call of each timer's slot costs the event loop, on the stepped simulated arm with a moving hand.
#include <QApplication>
#include <chrono>
#include <functional>

#include "gestures.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "topics.h"

namespace {

void openOn(qtTharlenTest& window, int device, const char* tab, QWidget* page) {
    window.ui.tabWidget->setCurrentIndex(1);
    window.ui.m_cmbTHARLeN->setCurrentIndex(device);
    if (window.ui.tabWidget->indexOf(page) < 0)
        window.ui.tabWidget->addTab(page, tab);
    window.ui.tabWidget->setCurrentWidget(page);
}

void costOf(Table& table, const std::string& slot, const std::string& conditions, const std::function<void()>& call) {
    constexpr int kCalls = 600;
    std::vector<double> cost;
    cost.reserve(kCalls);
    for (int i = 0; i < kCalls; ++i) {
        if (i % 200 == 0)
            armcontrol::handDrag({i / 200 % 2 ? 30.0 : -30.0, 10, -10}, 60);
        armcontrol::step(20);
        QApplication::processEvents();  // what the last call asked to be painted is not of this call
        const auto start = std::chrono::steady_clock::now();
        call();
        const std::chrono::duration<double, std::micro> taken = std::chrono::steady_clock::now() - start;
        cost.push_back(taken.count());
    }
    Figure& figure = table.figure("slot, " + slot, conditions);
    figure.add("mean", "us", mean(cost));
    figure.add("p99", "us", percentile(cost, 0.99), atMost(1000));
    figure.add("largest", "us", percentile(cost, 1));
}

}  // namespace

void measureSlots(Table& table, const Options&) {
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    resetProcessState();
    qtTharlenTest window;
    window.show();
    const int corvale = 4;  // revision 5: three flags and two gaps
    openOn(window, 0, "Calibrate", window.ui.tab_2);
    costOf(table, "updateOrdaCorvaleCalib", "Orda", [&] { window.updateOrdaCorvaleCalib(); });
    openOn(window, 0, "Read Encoder", window.ui.tab_3);
    window.manufMode = true;
    costOf(table, "updateReadEncoderTab", "Orda, manufacturing", [&] { window.updateReadEncoderTab(); });
    window.manufMode = false;
    openOn(window, 0, "Test Forces", window.ui.tab_7);
    costOf(table, "monitorTemperature, updateForceDisplay", "Orda", [&] {
        window.monitorTemperature();
        window.updateForceDisplay();
    });
    window.manufMode = true;
    costOf(table, "checkForcePass", "Orda, manufacturing", [&] { window.checkForcePass(); });
    window.manufMode = false;
    openOn(window, 0, "Box Test", window.ui.tab_10);
    costOf(table, "forceProgressUpdate", "Orda", [&] { window.forceProgressUpdate(); });
    openOn(window, corvale, "Calibrate", window.ui.tab_2);
    Gestures().sweepAxes(0, 3, kUnhurried);
    window.manufMode = true;
    openOn(window, corvale, "Calibration Details", window.ui.tab_4);
    costOf(table, "updateCalibrationData", "Corvale, all flags and gaps seen", [&] { window.updateCalibrationData(); });
    window.manufMode = false;
}
