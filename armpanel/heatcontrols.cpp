// The "Heat" tab.
#include "heatcontrols.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSpinBox>

HeatControls::HeatControls(ArmLink& link, QWidget* parent) : QWidget(parent), link_(link) {
    const auto labelled = [](const QString& text, QWidget* buddy, QWidget* owner) {
        auto* label = new QLabel(text, owner);
        label->setBuddy(buddy);
        return label;
    };
    const auto temperature = [](QWidget* owner, double usual) {
        auto* box = new QDoubleSpinBox(owner);
        box->setRange(-40.0, 300.0);
        box->setDecimals(1);
        box->setSuffix(tr(" \u00b0C"));
        box->setValue(usual);
        return box;
    };

    auto* now = new QGroupBox(tr("Set temperatures"), this);
    motor_ = new QComboBox(now);
    motor_->addItem(tr("all motors"), -1);
    for (int i = 0; i < 6; ++i)
        motor_->addItem(tr("motor %1").arg(i + 1), i);
    winding_ = temperature(now, 80.0);
    stator_ = temperature(now, 60.0);
    auto* set = new QPushButton(tr("Set &temperatures"), now);
    auto* cool = new QPushButton(tr("&Cold (25 \u00b0C)"), now);
    const auto send = [this](double winding, double stator) {
        link_.send("heat.set",
                   {{"motor", motor_->currentData().toInt()}, {"winding", winding}, {"stator", stator}});
    };
    connect(set, &QPushButton::clicked, this, [this, send] { send(winding_->value(), stator_->value()); });
    connect(cool, &QPushButton::clicked, this, [send] { send(25.0, 25.0); });
    auto* grid = new QGridLayout(now);
    grid->setContentsMargins(8, 4, 8, 8);
    grid->addWidget(labelled(tr("&Motor"), motor_, now), 0, 0);
    grid->addWidget(motor_, 0, 1);
    grid->addWidget(labelled(tr("&Winding"), winding_, now), 0, 2);
    grid->addWidget(winding_, 0, 3);
    grid->addWidget(labelled(tr("&Stator"), stator_, now), 0, 4);
    grid->addWidget(stator_, 0, 5);
    grid->addWidget(set, 1, 1, 1, 3);
    grid->addWidget(cool, 1, 5);
    grid->setColumnStretch(6, 1);

    auto* pace = new QGroupBox(tr("Pace"), this);
    pace_ = new QSpinBox(pace);
    pace_->setRange(1, 10000);
    pace_->setKeyboardTracking(false);
    pace_->setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    connect(pace_, QOverload<int>::of(&QSpinBox::valueChanged), this, [this](int factor) {
        link_.send("heat.pace", {{"factor", factor}});
    });
    auto* row = new QHBoxLayout(pace);
    row->setContentsMargins(8, 4, 8, 8);
    row->addWidget(labelled(tr("Heat r&uns"), pace_, pace));
    row->addWidget(pace_);
    row->addWidget(new QLabel(tr("times as fast as time"), pace));
    row->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->addWidget(now);
    layout->addWidget(pace);
    layout->addStretch();
}

void HeatControls::refresh() {
    const QSignalBlocker quiet(pace_);
    pace_->setValue(1);
}
