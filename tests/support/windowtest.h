// What the window's tests share: a fresh library and fresh file-scope state for every window.
#pragma once

#include <QCoreApplication>
#include <QTest>
#include <memory>

#include "qttharlentest.h"

/// Puts every file-scope value of the window back to its start. No window and no loop may be alive.
void resetSharedState();

/// The texts of the tabs, in order.
QStringList tabTexts(const qtTharlenTest& window);
/// Goes to the tab of that text; fails the test's check when there is none.
bool goToTab(qtTharlenTest& window, const QString& text);
/// The same of a page of "Performance Testing".
bool goToPage(qtTharlenTest& window, const QString& text);
/// A new window that has gone to "Select", so that the first device of the fleet is open and its loop runs.
std::unique_ptr<qtTharlenTest> openWindow();
