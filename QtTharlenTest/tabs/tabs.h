// The tabs: a row each, in the order in which a change of tab runs over them. Meant: the numbers by which an entry
// disables the tab before it are literal, and fall on another tab where an optional one is absent.
// [graphical thread]
#pragma once

#include "qttharlentest.h"

struct Tab {
    enum Modes : unsigned { kUser = 1, kManufacturing = 2, kEncoderCheck = 4, kPerformance = 8 };

    int index;  ///< where it is placed; past the end it is appended. Meant: optional tabs leave gaps in the numbers
    QWidget* Ui::qtTharlenTestClass::*page;
    const char* icon;   ///< none where empty
    const char* title;  ///< a tab is known by this text
    unsigned modes;     ///< in which it is placed as a mode is chosen
    unsigned needs;     ///< the mode without which it is not entered; 0 for any
    void (*enter)(qtTharlenTest& window);
    void (*leave)(qtTharlenTest& window);  ///< at every change to another tab, whether or not it was on; may be null

    /// The icon, from what is compiled in where the working folder has none.
    QIcon picture() const;

    static const Tab all[14];
};

// In the file by the tab's title
void enterMode(qtTharlenTest& window);
void enterSelect(qtTharlenTest& window);
void leaveSelect(qtTharlenTest& window);
void enterCalibrate(qtTharlenTest& window);
void leaveCalibrate(qtTharlenTest& window);
void enterReadEncoder(qtTharlenTest& window);
void leaveReadEncoder(qtTharlenTest& window);
void enterCalibrationDetails(qtTharlenTest& window);
void leaveCalibrationDetails(qtTharlenTest& window);
void enterEncoderTest(qtTharlenTest& window);
void leaveEncoderTest(qtTharlenTest& window);
void enterCycleAmps(qtTharlenTest& window);
void leaveCycleAmps(qtTharlenTest& window);
void enterTestForces(qtTharlenTest& window);
void leaveTestForces(qtTharlenTest& window);
void enterTestFriction(qtTharlenTest& window);
void enterTestCapstan(qtTharlenTest& window);
void enterBoxTest(qtTharlenTest& window);
void leaveBoxTest(qtTharlenTest& window);
void enterServoloop(qtTharlenTest& window);
void leaveServoloop(qtTharlenTest& window);
void enterSummary(qtTharlenTest& window);
void enterPerformanceTesting(qtTharlenTest& window);
void leavePerformanceTesting(qtTharlenTest& window);

/// The row of a title; null where there is none.
const Tab* findTab(const QString& title);
/// Inserts the page of a row as a tab, or leaves it where it is: tabs come in the order of their indices, so its place
/// would be the same. Enables it.
void placeTab(qtTharlenTest& window, const char* title, bool withIcon = true);
/// The tabs after "Box Test", in manufacturing.
void openLastTests(qtTharlenTest& window);
void setModes(qtTharlenTest& window, bool manufacturing, bool encoderTest, bool performance);
