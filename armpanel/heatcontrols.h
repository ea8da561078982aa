// Temperatures of the motors, and how fast heat runs.
#pragma once

#include <QWidget>

#include "armlink.h"
#include "armstate.h"

class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QSpinBox;

class HeatControls : public QWidget {
    Q_OBJECT

public:
    explicit HeatControls(ArmLink& link, QWidget* parent = nullptr);

    void showState(const ArmState& state);

private:
    QWidget* setBox();
    QWidget* paceBox();
    void send(double winding, double stator);

    ArmLink& link_;
    QComboBox* motor_;
    QDoubleSpinBox *winding_, *stator_;
    QLabel* now_;
    QSpinBox* pace_;
};
