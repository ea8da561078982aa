// What the tabs share: tool tips that name the key, labels with their control, sliders that follow the arm.
#pragma once

#include <QString>

class QLabel;
class QSlider;
class QWidget;

/// `tip` with the key of the text's mnemonic in brackets, as "Put it into the ink well (Alt+D)".
QString withKey(const QString& text, const QString& tip);
/// The tool tip of a button that bears this text.
void setTip(QWidget* control, const QString& text, const QString& tip);
/// A label whose mnemonic leads to `control`; the tool tip is for both.
QLabel* labelOf(QWidget* control, const QString& text, const QString& tip);

/// Sets a slider that sends while it moves to what the arm says, unless somebody holds it; sends nothing.
void followArm(QSlider* slider, int value);
