// Pushes through the walls of the box, as the box test wants them.
#pragma once

#include <QWidget>

#include "hand.h"

class QCheckBox;

class WallControls : public QWidget {
    Q_OBJECT

public:
    explicit WallControls(Hand& hand, QWidget* parent = nullptr);

private:
    Hand& hand_;
    QCheckBox* overEdge_;
};
