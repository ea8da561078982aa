// What the hand does by button: where it holds the stylus, what it presses, and the pushes of the box test.
#pragma once

#include <QWidget>
#include <array>

#include "hand.h"

class QAbstractButton;
class QCheckBox;
class QLabel;
class QPushButton;
class QSlider;

/// A slider that sends while it moves and follows the arm while nobody touches it.
void followArm(QSlider* slider, int value);

class HandControls : public QWidget {
    Q_OBJECT

public:
    HandControls(ArmLink& link, Hand& hand, QWidget* parent = nullptr);

    void showState(const ArmState& state);

private:
    QLayout* holdButtons();
    QLayout* stylusRow();
    QLayout* sliderRows();
    QWidget* wallBox();
    void pressButton(int button);

    ArmLink& link_;
    Hand& hand_;
    struct StylusButton {
        QPushButton* press;
        QCheckBox* latch;
        bool sent;  // what was last sent, so that nothing is sent twice
    };
    std::array<StylusButton, 2> buttons_{};
    QCheckBox* presence_;
    QSlider *strength_, *pinch_;
    QLabel *strengthText_, *pinchText_, *script_;
    QCheckBox* overEdge_;
    QPushButton* stop_;
};
