// The tabs: a row each, in the order in which a change of tab runs over them. Meant: the numbers by which an entry
// disables the tab before it are literal, and fall on another tab where an optional one is absent.
#pragma once

#include "qttharlentest.h"

struct qtTharlenTest::Tab {
    enum Modes : unsigned { kUser = 1, kManufacturing = 2, kEncoderCheck = 4, kPerformance = 8 };

    int index;  ///< where it is placed; past the end it is appended. Meant: optional tabs leave gaps in the numbers
    QWidget* Ui::qtTharlenTestClass::*page;
    const char* icon;   ///< none where empty
    const char* title;  ///< a tab is known by this text
    unsigned modes;     ///< in which it is placed as a mode is chosen
    unsigned needs;     ///< the mode without which it is not entered; 0 for any
    void (qtTharlenTest::*enter)();
    void (qtTharlenTest::*leave)();  ///< at every change to another tab, whether or not it was on; may be null

    static const Tab all[14];
};
