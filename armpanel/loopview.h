// The servo loop's figures, and steps of a loop that has no thread.
#pragma once

#include <QWidget>
#include <array>

#include "armlink.h"
#include "armstate.h"

class QLabel;

class LoopView : public QWidget {
    Q_OBJECT

public:
    explicit LoopView(ArmLink& link, QWidget* parent = nullptr);

    void showState(const ArmState& state);

private:
    enum Figure { Running, Rate, Measured, Ticks, Late, Scheduling, Figures };
    void show(Figure figure, const QString& text);

    ArmLink& link_;
    std::array<QLabel*, Figures> figures_{};
};
