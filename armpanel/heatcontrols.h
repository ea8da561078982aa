// Temperatures of the motors, and how fast heat runs.
#pragma once

#include <QWidget>

#include "armlink.h"

class QComboBox;
class QDoubleSpinBox;
class QSpinBox;

class HeatControls : public QWidget {
    Q_OBJECT

public:
    explicit HeatControls(ArmLink& link, QWidget* parent = nullptr);

    /// A new connection: the arm tells no pace, and a fresh one has 1.
    void refresh();

private:
    ArmLink& link_;
    QComboBox* motor_;
    QDoubleSpinBox *winding_, *stator_;
    QSpinBox* pace_;
};
