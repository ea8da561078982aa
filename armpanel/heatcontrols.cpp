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
#include <QStandardItemModel>
#include <algorithm>
#include <cmath>

#include "controls.h"
#include "readouts.h"

namespace {

constexpr double kCold = 25.0;  // degrees Celsius

}  // namespace

HeatControls::HeatControls(ArmLink& link, QWidget* parent) : QWidget(parent), link_(link) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->setSpacing(6);
    layout->addWidget(setBox());
    layout->addWidget(paceBox());
    layout->addStretch();
}

QWidget* HeatControls::setBox() {
    auto* box = new QGroupBox(tr("Set temperatures"), this);
    const auto temperature = [box](const armwords::Field& field, double usual) {
        auto* spin = new QDoubleSpinBox(box);
        spin->setRange(field.low, field.high);
        spin->setDecimals(1);
        spin->setSuffix(tr(" \u00b0C"));
        spin->setValue(usual);
        return spin;
    };
    motor_ = new QComboBox(box);
    motor_->addItem(tr("all motors"), -1);
    for (int i = 0; i < 6; ++i)
        motor_->addItem(axisName(i), i);
    winding_ = temperature(armwords::kWinding, 80.0);
    stator_ = temperature(armwords::kStator, 60.0);
    const QString setText = tr("Set &temperatures"), coldText = tr("&Cold (25 \u00b0C)");
    auto* set = new QPushButton(setText, box);
    setTip(set, setText, tr("Give the chosen motors these temperatures; they go on from there"));
    auto* cold = new QPushButton(coldText, box);
    setTip(cold, coldText, tr("Cool the chosen motors down at once"));
    connect(set, &QPushButton::clicked, this, [this] { send(winding_->value(), stator_->value()); });
    connect(cold, &QPushButton::clicked, this, [this] { send(kCold, kCold); });
    now_ = new QLabel(box);
    now_->setWordWrap(true);

    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(8, 6, 8, 8);
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(6);
    grid->addWidget(labelOf(motor_, tr("&Motor"), tr("The motors that are set")), 0, 0);
    grid->addWidget(motor_, 0, 1);
    grid->addWidget(labelOf(winding_, tr("Win&ding"), tr("Temperature of the winding, which warms fast")), 1, 0);
    grid->addWidget(winding_, 1, 1);
    grid->addWidget(set, 1, 2);
    grid->addWidget(labelOf(stator_, tr("&Stator"), tr("Temperature of the stator, which warms slowly")), 2, 0);
    grid->addWidget(stator_, 2, 1);
    grid->addWidget(cold, 2, 2);
    grid->addWidget(now_, 3, 0, 1, 3);
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(2, 1);
    return box;
}

QWidget* HeatControls::paceBox() {
    auto* box = new QGroupBox(tr("Pace"), this);
    pace_ = new QSpinBox(box);
    pace_->setRange(static_cast<int>(armwords::kHeatPace.low), static_cast<int>(armwords::kHeatPace.high));
    pace_->setKeyboardTracking(false);
    pace_->setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    connect(pace_, QOverload<int>::of(&QSpinBox::valueChanged), this, [this](int factor) {
        link_.send("heat.pace", {{"factor", factor}});
    });
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(8, 6, 8, 8);
    row->addWidget(labelOf(pace_, tr("Heat r&uns"), tr("How much faster than in life motors warm and cool")));
    row->addWidget(pace_);
    row->addWidget(new QLabel(tr("times as fast as time"), box));
    row->addStretch();
    return box;
}

void HeatControls::send(double winding, double stator) {
    link_.send("heat.set", {{"motor", motor_->currentData().toInt()}, {"winding", winding}, {"stator", stator}});
}

// All motors: the warmest one.
void HeatControls::showState(const ArmState& state) {
    // What is ahead of the list's axes stands for all of them.
    const int motors = state.open ? state.motors : static_cast<int>(state.winding.size());
    auto* choices = qobject_cast<QStandardItemModel*>(motor_->model());
    for (int i = 0; choices && i < motor_->count() - 1; ++i)
        choices->item(i + 1)->setEnabled(i < motors);
    if (motor_->currentData().toInt() >= motors)
        motor_->setCurrentIndex(0);
    const auto of = [this](const Vec6& values) {
        const int motor = motor_->currentData().toInt();
        return motor < 0 ? *std::max_element(values.begin(), values.end()) : values[static_cast<std::size_t>(motor)];
    };
    const QString now = tr("%1 now: winding %2 \u00b0C, stator %3 \u00b0C")
                            .arg(motor_->currentData().toInt() < 0 ? tr("Warmest") : tr("This motor"))
                            .arg(of(state.winding), 0, 'f', 1)
                            .arg(of(state.stator), 0, 'f', 1);
    setChangedText(now_, state.open ? tr("%1; warm from %2 \u00b0C").arg(now).arg(state.warmLimit, 0, 'f', 0) : now);
    if (pace_->hasFocus() || link_.commandsUnderWay() != 0)
        return;
    const QSignalBlocker quiet(pace_);
    pace_->setValue(static_cast<int>(std::lround(state.heatPace)));
}
