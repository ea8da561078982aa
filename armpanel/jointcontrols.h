// The hand joint by joint: the gimbal's angles, and sweeps from stop to stop.
#pragma once

#include <QWidget>
#include <array>

#include "hand.h"

class QGroupBox;
class QLabel;
class QPushButton;
class QSlider;
class QSpinBox;

class JointControls : public QWidget {
    Q_OBJECT

public:
    JointControls(ArmLink& link, Hand& hand, QWidget* parent = nullptr);

    void showState(const ArmState& state);

private:
    QWidget* gimbalBox();
    QWidget* sweepBox();
    void sendGimbal();
    void sweep(const QVector<int>& joints);

    ArmLink& link_;
    Hand& hand_;
    ArmState state_;
    QGroupBox* gimbal_;
    std::array<QSlider*, 3> angles_{};
    std::array<QLabel*, 3> angleTexts_{};
    std::array<QPushButton*, 6> sweeps_{};
    QSpinBox* speed_;
};
