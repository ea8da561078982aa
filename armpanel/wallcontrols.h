// Pushes through the walls of the box, as the box test wants them.
#pragma once

#include <QWidget>

#include "handwishes.h"

class QCheckBox;

class WallControls : public QWidget {
    Q_OBJECT

public:
    explicit WallControls(HandWishes& hand, QWidget* parent = nullptr);

private:
    HandWishes& hand_;
    QCheckBox* overEdge_;
};
