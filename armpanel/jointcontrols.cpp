// The "Joints" tab: gimbal sliders and sweeps.
#include "jointcontrols.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QSpinBox>
#include <cmath>

#include "handcontrols.h"
#include "readouts.h"

namespace {

constexpr double kDegreesPerRad = 57.29577951308232;
constexpr double kSag = 3.0;  // degrees
constexpr int kFirstGimbal = 3;

}  // namespace

JointControls::JointControls(ArmLink& link, Hand& hand, QWidget* parent)
    : QWidget(parent), link_(link), hand_(hand) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->addWidget(gimbalBox());
    layout->addWidget(sweepBox());
    layout->addStretch();
}

QWidget* JointControls::gimbalBox() {
    gimbal_ = new QGroupBox(tr("Gimbal"), this);
    auto* grid = new QGridLayout(gimbal_);
    grid->setContentsMargins(8, 4, 8, 6);
    grid->setVerticalSpacing(4);
    for (int i = 0; i < 3; ++i) {
        auto* slider = new QSlider(Qt::Horizontal, gimbal_);
        slider->setRange(-180, 180);
        slider->setPageStep(15);
        auto* label = new QLabel(tr("Gimbal &%1").arg("XYZ"[i]), gimbal_);
        label->setBuddy(slider);
        auto* value = new QLabel(gimbal_);
        value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        value->setMinimumWidth(fontMetrics().horizontalAdvance("-180\u00b0 "));
        connect(slider, &QSlider::valueChanged, this, [this] { sendGimbal(); });
        grid->addWidget(label, i, 0);
        grid->addWidget(slider, i, 1);
        grid->addWidget(value, i, 2);
        angles_[i] = slider;
        angleTexts_[i] = value;
    }
    grid->setColumnStretch(1, 1);
    return gimbal_;
}

QWidget* JointControls::sweepBox() {
    auto* box = new QGroupBox(tr("Sweep a joint from stop to stop and back"), this);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(8, 4, 8, 6);
    auto* row = new QHBoxLayout;
    row->setSpacing(4);
    for (int i = 0; i < 6; ++i) {
        auto* button = new QPushButton(tr("Sweep %1").arg(i + 1), box);
        button->setMinimumWidth(40);
        button->setToolTip(i < kFirstGimbal ? tr("Base axis %1").arg("XYZ"[i])
                                            : tr("Gimbal axis %1").arg("XYZ"[i - kFirstGimbal]));
        connect(button, &QPushButton::clicked, this, [this, i] { sweep({i}); });
        row->addWidget(button);
        sweeps_[i] = button;
    }
    auto* below = new QHBoxLayout;
    auto* label = new QLabel(tr("Spee&d"), box);
    speed_ = new QSpinBox(box);
    speed_->setRange(5, 400);
    speed_->setValue(60);
    speed_->setSingleStep(5);
    speed_->setSuffix(tr(" \u00b0/s"));
    label->setBuddy(speed_);
    auto* all = new QPushButton(tr("Sweep &all in turn"), box);
    connect(all, &QPushButton::clicked, this, [this] {
        QVector<int> joints{0, 1, 2};
        if (state_.gimbal)
            joints << QVector<int>{3, 4, 5};
        sweep(joints);
    });
    auto* script = new LineLabel(box);
    auto* stop = new QPushButton(tr("S&top"), box);
    stop->setToolTip(tr("Start no further sweep, and hold the joints where they are"));
    stop->setEnabled(false);
    connect(stop, &QPushButton::clicked, this, [this] {
        hand_.stopScript();
        QJsonArray here;
        for (const double angle : state_.joints)
            here << angle;
        hand_.act("hand.joints", {{"angles", here}, {"speed", speed_->value() / kDegreesPerRad}});
    });
    connect(&hand_, &Hand::scriptAt, this, [script, stop](const QString& text) {
        script->setText(text);
        stop->setEnabled(!text.isEmpty());
    });
    below->addWidget(label);
    below->addWidget(speed_);
    below->addSpacing(6);
    below->addWidget(all);
    below->addSpacing(6);
    below->addWidget(script, 1);
    below->addWidget(stop);
    layout->addLayout(row);
    layout->addLayout(below);
    return box;
}

void JointControls::sendGimbal() {
    QJsonArray angles;
    for (int i = 0; i < 3; ++i) {
        angles << angles_[i]->value() / kDegreesPerRad;
        setChangedText(angleTexts_[i], QStringLiteral("%1\u00b0").arg(angles_[i]->value()));
    }
    link_.sendLatest("hand.gimbal", {{"angles", angles}});
}

void JointControls::sweep(const QVector<int>& joints) {
    hand_.play(sweepScript(joints, speed_->value() / kDegreesPerRad, state_));
}

void JointControls::showState(const ArmState& state) {
    state_ = state;
    gimbal_->setEnabled(!state.open || state.gimbal);
    for (int i = kFirstGimbal; i < 6; ++i)
        sweeps_[i]->setEnabled(!state.open || state.gimbal);
    if (link_.commandsUnderWay() != 0)
        return;
    for (int i = 0; i < 3; ++i) {
        const int joint = kFirstGimbal + i;
        // While a slider has the focus it is the operator's: the arm may still be on its way.
        if (angles_[i]->hasFocus())
            continue;
        {
            const QSignalBlocker quiet(angles_[i]);
            if (state.jointMax[joint] > state.jointMin[joint])
                angles_[i]->setRange(static_cast<int>(std::ceil(state.jointMin[joint] * kDegreesPerRad)),
                                     static_cast<int>(std::floor(state.jointMax[joint] * kDegreesPerRad)));
        }
        // A gimbal hangs a little below what the hand wants; following that would creep away from the wish.
        const double angle = state.joints[joint] * kDegreesPerRad;
        if (std::abs(angle - angles_[i]->value()) > kSag)
            followArm(angles_[i], static_cast<int>(std::lround(angle)));
        setChangedText(angleTexts_[i], QStringLiteral("%1\u00b0").arg(angles_[i]->value()));
    }
}
