// A person at the window and at the arm: does by the wizard's widgets and the hand what each tab asks.
#pragma once

#include <QString>

#include "flowtime.h"
#include "gestures.h"

class QLineEdit;
class QRadioButton;
class qtTharlenTest;

/// Every step returns what went wrong in one sentence, empty when nothing did. Graphical thread.
class Operator {
public:
    Operator(qtTharlenTest& window, FlowTime& time, Manner& manner = usualManner());

    /// Goes through the gate of the advanced modes; the environment decides which one.
    QString enterAdvancedMode(const QString& word);
    /// Presses "next" and looks whether that tab came.
    QString next(const QString& expectedTab);
    /// Clicks on the tab of that text.
    QString goTo(const QString& tab);
    /// Goes to "Select" and opens the device of that name.
    QString select(const QString& device);
    bool canGoOn() const;
    QString currentTab() const;

    /// By the style of the device: sweeps, the ink well, or the reset pose and the button.
    QString calibrate(Pace sweeps = kUnhurried);
    CalibrationStyle calibrationStyle() const;
    /// Moves every joint from stop to stop and works every switch five times each way.
    QString workEncodersAndSwitches();
    void chooseEncoders(bool pass);
    void chooseSwitches(bool pass);
    /// Waits until the amplifiers were cycled often enough.
    QString cycleAmplifiers();
    /// Drives each motor both ways while the hand holds the stylus.
    QString driveMotors();
    void chooseForces(bool pass);
    /// Presses against each wall, which has to push back.
    QString feelTheBox();
    /// Out through a wall and back: whether it yielded.
    bool pushThrough(int wall);
    /// Three times each. The wall that did not yield, null where all did.
    const Wall* pushThroughEachWall();
    /// The same from the center, to the verdict.
    QString breakOutOfTheBox();
    /// A whole run of the rate test, to its eleventh line.
    QString runServoRate();
    /// Measures friction, with the arm let go at the center.
    QString measureFriction();
    /// The reference and the verify run of the capstan test.
    QString measureCapstan();
    /// Does on a page of "Performance Testing" what it is there for.
    QString usePage(const QString& page);

    Gestures hand;

private:
    void choose(std::initializer_list<QRadioButton*> buttons);
    void workSwitches();

    qtTharlenTest& m_window;
    FlowTime& m_time;
    Manner& m_manner;
};
