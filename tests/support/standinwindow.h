// A window of its own on a fresh stand-in for the device library, for tests that open one after the other.
#pragma once

#include "servostate.h"
#include "standin.h"
#include "windowtest.h"

using standin::device;
using standin::record;

class StandinWindow : public QObject {
protected:
    /// A library with these devices; no window yet.
    void fresh(std::vector<CTHARLeNDevice> fleet) {
        window.reset();
        standin::reset();
        resetSharedState();
        device().fleet = std::move(fleet);
    }
    /// With these devices, the first of them open and its loop running. `answers` says what else the library gives.
    template <class Answers>
    void openFleet(std::vector<CTHARLeNDevice> fleet, Answers answers) {
        fresh(std::move(fleet));
        answers();
        window = openWindow();
    }
    void openFleet(std::vector<CTHARLeNDevice> fleet = {record("Arm", 5)}) {
        openFleet(std::move(fleet), [] {});
    }
    /// Goes to the tab of that text, which comes last where the mode or the line has none.
    void enter(QWidget* page, const char* title) {
        if (ui().tabWidget->indexOf(page) < 0)
            ui().tabWidget->addTab(page, title);
        goToTab(*window, title);
    }
    /// From tab to tab.
    template <class... Tabs>
    void go(const Tabs&... tabs) {
        (goToTab(*window, tabs), ...);
    }
    template <class Widget>
    static QString looks(const Widget* widget) {
        return widget->text() + widget->styleSheet();
    }
    decltype(qtTharlenTest::ui)& ui() const { return window->ui; }
    void tick() { ServoLoopCallBack(window.get()); }

    std::unique_ptr<qtTharlenTest> window;
};
