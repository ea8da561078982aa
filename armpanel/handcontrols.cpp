// The "Hand" tab: holds, stylus buttons, strength and pinch, pushes through the walls.
#include "handcontrols.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QJsonArray>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <cmath>

#include "readouts.h"

namespace {

constexpr int kStrongest = 60;  // N
constexpr int kWallTimes = 3;   // pushes that the box test wants of each wall

}  // namespace

void followArm(QSlider* slider, int value) {
    if (slider->isSliderDown() || slider->value() == value)
        return;
    const QSignalBlocker quiet(slider);
    slider->setValue(value);
}

HandControls::HandControls(ArmLink& link, Hand& hand, QWidget* parent) : QWidget(parent), link_(link), hand_(hand) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->setSpacing(6);
    layout->addLayout(holdButtons());
    layout->addLayout(stylusRow());
    layout->addLayout(sliderRows());
    layout->addWidget(wallBox());
    layout->addStretch();
}

QLayout* HandControls::holdButtons() {
    auto* row = new QHBoxLayout;
    row->setSpacing(6);
    const auto add = [&](const QString& text, const QString& tip, const std::function<void()>& act) {
        auto* button = new QPushButton(text, this);
        button->setToolTip(tip);
        connect(button, &QPushButton::clicked, this, act);
        row->addWidget(button);
    };
    add(tr("Hold at &origin"), tr("Grip the stylus and hold it in the middle of the box (Home)"),
        [this] { hand_.moveTo({}); });
    add(tr("&Let go"), tr("Let go of the stylus (Esc)"), [this] { hand_.release(); });
    add(tr("&Dock"), tr("Put the stylus into the ink well and leave it there"), [this] { hand_.act("hand.dock"); });
    add(tr("&Undock"), tr("Take the stylus out of the ink well to the origin"),
        [this] { hand_.act("hand.undock"); });
    add(tr("&Reset pose"), tr("Hold the links at right angles, for a calibration by reset"),
        [this] { hand_.act("hand.reset"); });
    return row;
}

QLayout* HandControls::stylusRow() {
    auto* row = new QHBoxLayout;
    row->setSpacing(6);
    for (int i = 0; i < 2; ++i) {
        auto* press = new QPushButton(tr("Stylus button &%1").arg(i + 1), this);
        press->setToolTip(tr("Pressed while you hold it down, with the mouse or the space key"));
        auto* latch = new QCheckBox(tr("kept"), this);
        latch->setToolTip(tr("Keep stylus button %1 pressed").arg(i + 1));
        latch->setAccessibleName(latch->toolTip());
        buttons_[i] = {press, latch, false};
        connect(press, &QPushButton::pressed, this, [this, i] { pressButton(i); });
        connect(press, &QPushButton::released, this, [this, i] { pressButton(i); });
        connect(latch, &QCheckBox::toggled, this, [this, i] { pressButton(i); });
        row->addWidget(press);
        row->addWidget(latch);
        row->addSpacing(8);
    }
    row->addStretch();
    presence_ = new QCheckBox(tr("&Presence sensor"), this);
    presence_->setToolTip(tr("A hand on the presence sensor; holding the stylus sets it too"));
    connect(presence_, &QCheckBox::toggled, this, [this](bool present) {
        link_.send("hand.presence", {{"present", present}});
    });
    row->addWidget(presence_);
    return row;
}

void HandControls::pressButton(int button) {
    StylusButton& it = buttons_[button];
    const bool pressed = it.press->isDown() || it.latch->isChecked();
    if (pressed == it.sent)
        return;
    it.sent = pressed;
    link_.send("hand.switch", {{"button", button}, {"pressed", pressed}});
}

QLayout* HandControls::sliderRows() {
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(4);
    const auto add = [&](int column, const QString& text, int low, int high, QSlider*& slider, QLabel*& value) {
        slider = new QSlider(Qt::Horizontal, this);
        slider->setRange(low, high);
        slider->setPageStep(10);
        auto* label = new QLabel(text, this);
        label->setBuddy(slider);
        value = new QLabel(this);
        value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        value->setMinimumWidth(fontMetrics().horizontalAdvance("100 % "));
        grid->addWidget(label, 0, column);
        grid->addWidget(slider, 0, column + 1);
        grid->addWidget(value, 0, column + 2);
        grid->setColumnStretch(column + 1, 1);
    };
    add(0, tr("&Strength"), 1, kStrongest, strength_, strengthText_);
    add(4, tr("P&inch"), 0, 100, pinch_, pinchText_);
    grid->setColumnMinimumWidth(3, 10);
    strength_->setToolTip(tr("Greatest force of the hand, N"));
    pinch_->setToolTip(tr("How far the grip is closed; only on an arm with a pinch grip"));
    connect(strength_, &QSlider::valueChanged, this, [this](int newtons) {
        setChangedText(strengthText_, tr("%1 N").arg(newtons));
        link_.sendLatest("hand.strength", {{"newtons", newtons}});
    });
    connect(pinch_, &QSlider::valueChanged, this, [this](int percent) {
        setChangedText(pinchText_, tr("%1 %").arg(percent));
        link_.sendLatest("hand.pinch", {{"closed", percent / 100.0}});
    });
    return grid;
}

QWidget* HandControls::wallBox() {
    auto* box = new QGroupBox(tr("Push through a wall of the box, and return"), this);
    auto* layout = new QVBoxLayout(box);
    layout->setContentsMargins(8, 4, 8, 6);
    layout->setSpacing(4);
    auto* row = new QHBoxLayout;
    row->setSpacing(4);
    static const char* const kSides[kWalls] = {"right", "left", "top", "bottom", "inner, towards you", "rear"};
    for (int wall = 0; wall < kWalls; ++wall) {
        auto* button = new QPushButton(wallName(wall), box);
        button->setMinimumWidth(40);
        button->setToolTip(
            tr("Push once through the wall %1 (%2) and return").arg(wallName(wall), tr(kSides[wall])));
        connect(button, &QPushButton::clicked, this,
                [this, wall] { hand_.play(wallScript(wall, 1, overEdge_->isChecked())); });
        row->addWidget(button);
    }
    auto* all = new QPushButton(tr("&All walls x%1").arg(kWallTimes), box);
    all->setToolTip(tr("Push through each of the six walls %1 times").arg(kWallTimes));
    connect(all, &QPushButton::clicked, this,
            [this] { hand_.play(allWallsScript(kWallTimes, overEdge_->isChecked())); });
    row->addSpacing(6);
    row->addWidget(all, 1);
    layout->addLayout(row);

    auto* below = new QHBoxLayout;
    overEdge_ = new QCheckBox(tr("over an ed&ge"), box);
    overEdge_->setToolTip(
        tr("Lean on the next wall too: an arm whose force is limited axis by axis gives way "
           "only where two walls press at once"));
    script_ = new LineLabel(box);
    stop_ = new QPushButton(tr("S&top"), box);
    stop_->setToolTip(tr("End the pushes or sweeps; the hand stays where it is"));
    stop_->setEnabled(false);
    connect(stop_, &QPushButton::clicked, &hand_, &Hand::stopScript);
    connect(&hand_, &Hand::scriptAt, this, [this](const QString& label) {
        script_->setText(label);
        stop_->setEnabled(!label.isEmpty());
    });
    below->addWidget(overEdge_);
    below->addSpacing(12);
    below->addWidget(script_, 1);
    below->addWidget(stop_);
    layout->addLayout(below);
    return box;
}

void HandControls::showState(const ArmState& state) {
    pinch_->setEnabled(!state.open || state.grip != 0);
    // A state that was on its way when a command left still tells what was before it.
    if (link_.commandsUnderWay() != 0)
        return;
    followArm(strength_, static_cast<int>(std::lround(state.strength)));
    followArm(pinch_, static_cast<int>(std::lround(state.pinch * 100.0)));
    setChangedText(strengthText_, tr("%1 N").arg(strength_->value()));
    setChangedText(pinchText_, tr("%1 %").arg(pinch_->value()));
    const QSignalBlocker quiet(presence_);
    presence_->setChecked(state.presence);
    for (int i = 0; i < 2; ++i) {
        StylusButton& it = buttons_[i];
        it.sent = state.switches[i];
        if (it.press->isDown())
            continue;
        const QSignalBlocker quietLatch(it.latch);
        it.latch->setChecked(state.switches[i]);
    }
}
