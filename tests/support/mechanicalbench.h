// An Orda on the stepped simulated arm and the window beside it, for runs of the friction and the capstan test: one
// step of their machines each millisecond, as their timers would.
#pragma once

#include <memory>

#include "gestures.h"
#include "qttharlentest.h"
#include "servostate.h"

class MechanicalBench {
public:
    /// A fresh arm of the fleet, with both tabs shown. No other window may be alive.
    explicit MechanicalBench(int device = 0) {
        armcontrol::resetArm();
        armcontrol::loopStepped(true);
        resetProcessState();
        window = std::make_unique<qtTharlenTest>();
        show("Select");
        window->ui.m_cmbTHARLeN->setCurrentIndex(device);
        window->manufMode = true;
        window->ui.tabWidget->addTab(window->ui.tab_8, "Test Friction");
        window->ui.tabWidget->addTab(window->ui.tab_9, "Test Capstan");
    }
    ~MechanicalBench() {
        window.reset();
        startFrictionTest = startCapstanTest = verifyCapstanTest = false;
        armcontrol::resetArm();
    }

    void show(const QString& tab) {
        for (int i = 0; i < window->ui.tabWidget->count(); ++i)
            if (window->ui.tabWidget->tabText(i) == tab)
                window->ui.tabWidget->setCurrentIndex(i);
    }
    /// Calibrates the arm in its ink well, as slip makes it need, enters the tab anew and lets the hand put the arm
    /// to the center, held there for so many ms before it lets go.
    void prepare(const QString& tab, int held = 1000) {
        Gestures hand;
        hand.calibrate(CalibrationStyle::InkWell, [&] {
            update_calibration(window->csTharlenID);
            show("Select");
            show(tab);
        });
        hand.letGoAt({}, held, 300);
    }
    /// False when the run takes longer than a minute.
    bool runFriction() {
        window->onClickStartFrictionTest();
        return play(*window->frictionTestTimer, [this] { window->runFrictionTest(); });
    }
    bool runReference() {
        window->onClickStartCapstanTest();
        return play(*window->capstanTestRefTimer, [this] { window->runCapstanTest_ref(); });
    }
    bool runVerify() {
        window->onClickVerifyCapstanTest();
        return play(*window->capstanTestTimer, [this] { window->runCapstanTest_verify(); });
    }

    std::unique_ptr<qtTharlenTest> window;

private:
    template <class Step>
    bool play(const QTimer& timer, Step step) {
        for (int i = 0; i < 60000 && timer.isActive(); ++i) {
            armcontrol::step(1);
            step();
        }
        return !timer.isActive();
    }
};
