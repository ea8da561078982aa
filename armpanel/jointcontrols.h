// The hand joint by joint: angles that it holds, and sweeps from stop to stop.
#pragma once

#include <QWidget>
#include <array>

#include "handwishes.h"

class QLabel;
class QPushButton;
class QSlider;
class QSpinBox;

class JointControls : public QWidget {
    Q_OBJECT

public:
    JointControls(ArmLink& link, HandWishes& hand, QWidget* parent = nullptr);

    void showState(const ArmState& state);

private:
    QWidget* angleBox();
    QWidget* sweepBox();
    void sendAngles(int axis);
    void sweep(const QVector<int>& joints, const QString& aim);
    void follow(int axis, const ArmState& state);
    void showAngle(int axis);

    ArmLink& link_;
    HandWishes& hand_;
    ArmState state_;
    std::array<QSlider*, 6> angles_{};
    std::array<QLabel*, 6> angleTexts_{};
    std::array<QPushButton*, 6> sweeps_{};
    QSpinBox* speed_;
};
