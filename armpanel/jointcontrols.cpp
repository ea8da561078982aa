// The "Joints" tab.
#include "jointcontrols.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QJsonArray>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <cmath>

#include "controls.h"
#include "readouts.h"

namespace {

constexpr double kTenthsPerRad = 572.9577951308232;  // the sliders count tenths of a degree
constexpr double kSag = 30.0;                        // tenths of a degree that a gimbal hangs below what is wanted
constexpr double kGive = 5.0;                        // and a base joint
constexpr int kDegree = 10;
constexpr int kFirstGimbal = 3;
constexpr double kDegreesPerRad = 57.29577951308232;

QString shortName(int axis) {
    return JointControls::tr(axis < kFirstGimbal ? "Base %1" : "Gimbal %1").arg("XYZ"[axis % 3]);
}

}  // namespace

JointControls::JointControls(ArmLink& link, HandWishes& hand, QWidget* parent)
    : QWidget(parent), link_(link), hand_(hand) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->setSpacing(6);
    layout->addWidget(sweepBox());
    layout->addWidget(angleBox());
    layout->addStretch();
}

QWidget* JointControls::angleBox() {
    auto* box = new QGroupBox(tr("Grip the stylus and hold joint angles"), this);
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(8, 6, 8, 8);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(6);
    for (int i = 0; i < 6; ++i) {
        auto* slider = new QSlider(Qt::Horizontal, box);
        slider->setRange(-180 * kDegree, 180 * kDegree);
        slider->setSingleStep(kDegree);
        slider->setPageStep(15 * kDegree);
        auto* value = new QLabel(box);
        value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        value->setMinimumWidth(fontMetrics().horizontalAdvance("-180.0\u00b0"));
        connect(slider, &QSlider::valueChanged, this, [this, i] { sendAngles(i); });
        const bool base = i < kFirstGimbal;
        const QString text = shortName(i).insert(shortName(i).size() - 1, base ? "&" : "");
        const int column = base ? 0 : 4;
        grid->addWidget(labelOf(slider, text,
                                base ? tr("Angle of this base joint; arrow keys turn it by 1 degree")
                                     : tr("Angle of this gimbal joint; arrow keys turn it by 1 degree")),
                        i % 3, column);
        grid->addWidget(slider, i % 3, column + 1);
        grid->addWidget(value, i % 3, column + 2);
        grid->setColumnStretch(column + 1, 1);
        angles_[i] = slider;
        angleTexts_[i] = value;
    }
    grid->setColumnMinimumWidth(3, 6);
    return box;
}

QWidget* JointControls::sweepBox() {
    auto* box = new QGroupBox(tr("Sweep an axis from stop to stop and back"), this);
    auto* grid = new QGridLayout(box);
    grid->setContentsMargins(8, 6, 8, 8);
    grid->setSpacing(6);
    for (int i = 0; i < 6; ++i) {
        const QString text = tr("&%1 %2").arg(i + 1).arg(shortName(i));
        auto* button = new QPushButton(text, box);
        setTip(button, text, tr("Sweep this axis once"));
        connect(button, &QPushButton::clicked, this, [this, i] { sweep({i}, tr("axis %1 swept").arg(i + 1)); });
        grid->addWidget(button, i / 3, i % 3);
        grid->setColumnStretch(i % 3, 1);
        sweeps_[i] = button;
    }
    const QString allText = tr("Sweep &all in turn");
    auto* all = new QPushButton(allText, box);
    setTip(all, allText, tr("Sweep each axis of the device, one after the other"));
    connect(all, &QPushButton::clicked, this, [this] {
        QVector<int> joints{0, 1, 2};
        if (state_.gimbal)
            joints << QVector<int>{3, 4, 5};
        sweep(joints, tr("all axes swept"));
    });
    speed_ = new QSpinBox(box);
    speed_->setRange(5, 400);
    speed_->setValue(60);
    speed_->setSingleStep(5);
    speed_->setSuffix(tr(" \u00b0/s"));
    auto* speed = new QHBoxLayout;
    speed->addWidget(labelOf(speed_, tr("Spee&d"), tr("Speed of sweeps and of held base joints")));
    speed->addWidget(speed_, 1);
    grid->addWidget(all, 2, 0, 1, 2);
    grid->addLayout(speed, 2, 2);
    return box;
}

void JointControls::showAngle(int axis) {
    showFigure(angleTexts_[axis], shortName(axis),
               QStringLiteral("%1\u00b0").arg(angles_[axis]->value() / static_cast<double>(kDegree), 0, 'f', 1));
}

void JointControls::sendAngles(int axis) {
    showAngle(axis);
    QJsonArray angles;
    for (int i = axis < kFirstGimbal ? 0 : kFirstGimbal; i < 6; ++i)
        angles << angles_[i]->value() / kTenthsPerRad;
    if (axis < kFirstGimbal)
        hand_.turnTo({{"angles", angles}, {"speed", speed_->value() / kDegreesPerRad}});
    else
        link_.sendLatest("hand.gimbal", {{"angles", angles}});
}

void JointControls::sweep(const QVector<int>& joints, const QString& aim) {
    hand_.play(sweepScript(joints, speed_->value() / kDegreesPerRad, state_), aim);
}

void JointControls::follow(int axis, const ArmState& state) {
    // While a slider has the focus it is the operator's: the arm may still be on its way.
    if (state.holding && angles_[axis]->hasFocus())
        return;
    {
        const QSignalBlocker quiet(angles_[axis]);
        if (state.jointMax[axis] > state.jointMin[axis])
            angles_[axis]->setRange(static_cast<int>(std::ceil(state.jointMin[axis] * kTenthsPerRad)),
                                    static_cast<int>(std::floor(state.jointMax[axis] * kTenthsPerRad)));
    }
    // A joint gives way a little under load; following that would creep away from the wish.
    const double angle = state.joints[axis] * kTenthsPerRad;
    if (std::abs(angle - angles_[axis]->value()) > (axis < kFirstGimbal ? kGive : kSag))
        followArm(angles_[axis], static_cast<int>(std::lround(angle)));
    showAngle(axis);
}

void JointControls::showState(const ArmState& state) {
    state_ = state;
    for (int i = kFirstGimbal; i < 6; ++i) {
        angles_[i]->setEnabled(!state.open || state.gimbal);
        sweeps_[i]->setEnabled(!state.open || state.gimbal);
    }
    if (link_.commandsUnderWay() != 0)
        return;
    for (int i = 0; i < 6; ++i)
        follow(i, state);
}
