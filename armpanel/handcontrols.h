// What the hand does by button: where it holds the stylus and moves it, what it presses, how strong it is.
#pragma once

#include <QWidget>
#include <array>
#include <functional>

#include "handwishes.h"

class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QPushButton;
class QSlider;
class QSpinBox;

class HandControls : public QWidget {
    Q_OBJECT

public:
    HandControls(ArmLink& link, HandWishes& hand, QWidget* parent = nullptr);

    void showState(const ArmState& state);

private:
    QLayout* holdButtons();
    QLayout* moveRows();
    QLayout* switchRow();
    QLayout* sliderRows();
    QPushButton* button(const QString& text, const QString& tip, const std::function<void()>& act);
    Vec3 wanted() const;
    void pressButton(int button);

    ArmLink& link_;
    HandWishes& hand_;
    struct StylusButton {
        QPushButton* press;
        QCheckBox* latch;
        bool sent;  // what was last sent, so that nothing is sent twice
    };
    std::array<StylusButton, 2> buttons_{};
    QPushButton *dock_, *undock_;
    std::array<QDoubleSpinBox*, 3> wanted_{};
    QSpinBox* speed_;
    QCheckBox* presence_;
    QSlider *strength_, *pinch_;
    QLabel *strengthText_, *pinchText_;
};
