// The "Hand" tab: holds, moves, stylus buttons, strength and pinch.
#include "handcontrols.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QHBoxLayout>
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

constexpr int kUsualSpeed = 100;  // mm/s
constexpr int kStrongest = static_cast<int>(armwords::kStrength.high);
constexpr int kFastest = static_cast<int>(armwords::kDragSpeed.high);

}  // namespace

HandControls::HandControls(ArmLink& link, HandWishes& hand, QWidget* parent)
    : QWidget(parent), link_(link), hand_(hand) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->setSpacing(8);
    layout->addLayout(holdButtons());
    layout->addLayout(moveRows());
    layout->addLayout(switchRow());
    layout->addLayout(sliderRows());
    layout->addStretch();
}

QPushButton* HandControls::button(const QString& text, const QString& tip, const std::function<void()>& act) {
    auto* made = new QPushButton(text, this);
    setTip(made, text, tip);
    connect(made, &QPushButton::clicked, this, act);
    return made;
}

QLayout* HandControls::holdButtons() {
    auto* grid = new QGridLayout;
    grid->setSpacing(6);
    dock_ = button(tr("&Dock in ink well"), tr("Put the stylus into the ink well and leave it there"),
                   [this] { hand_.act("hand.dock"); });
    grid->addWidget(dock_, 0, 0);
    undock_ = button(tr("&Undock and hold"), tr("Take the stylus out of the ink well to the origin and hold it there"),
                     [this] { hand_.act("hand.undock"); });
    grid->addWidget(undock_, 0, 1);
    grid->addWidget(button(tr("Reset &pose"), tr("Hold the links at right angles, for a calibration by reset"),
                           [this] { hand_.act("hand.reset"); }),
                    0, 2);
    grid->addWidget(button(tr("Hold at ori&gin"), tr("Grip the stylus and hold it in the middle of the box; Home"),
                           [this] { hand_.moveTo({}); }),
                    1, 0);
    grid->addWidget(button(tr("&Release"), tr("Let go of the stylus; Esc"), [this] { hand_.release(); }), 1, 1);
    const QString text = tr("Presen&ce sensor");
    presence_ = new QCheckBox(text, this);
    setTip(presence_, text, tr("A hand on the presence sensor; holding the stylus sets it too"));
    connect(presence_, &QCheckBox::toggled, this, [this](bool present) {
        link_.send("hand.presence", {{"present", present}});
    });
    grid->addWidget(presence_, 1, 2);
    for (int column = 0; column < 3; ++column)
        grid->setColumnStretch(column, 1);
    return grid;
}

Vec3 HandControls::wanted() const { return {wanted_[0]->value(), wanted_[1]->value(), wanted_[2]->value()}; }

QLayout* HandControls::moveRows() {
    auto* grid = new QGridLayout;
    grid->setSpacing(6);
    static const char* const kNames[] = {QT_TR_NOOP("&X"), QT_TR_NOOP("&Y"), QT_TR_NOOP("&Z")};
    static const char* const kWays[] = {QT_TR_NOOP("to the right, mm"), QT_TR_NOOP("up, mm"),
                                        QT_TR_NOOP("towards you, mm")};
    for (int axis = 0; axis < 3; ++axis) {
        auto* spin = new QDoubleSpinBox(this);
        spin->setRange(-HandWishes::kLimit, HandWishes::kLimit);
        spin->setDecimals(1);
        spin->setSuffix(tr(" mm"));
        grid->addWidget(labelOf(spin, tr(kNames[axis]), tr("Where to move or drag: %1").arg(tr(kWays[axis]))), 0,
                        2 * axis);
        grid->addWidget(spin, 0, 2 * axis + 1);
        grid->setColumnStretch(2 * axis + 1, 1);
        wanted_[static_cast<std::size_t>(axis)] = spin;
    }
    grid->addWidget(
        button(tr("&Move there"), tr("Grip the stylus and pull it there at once"), [this] { hand_.moveTo(wanted()); }),
        1, 1);
    grid->addWidget(button(tr("Dr&ag there"), tr("The same along a straight line, at this speed"),
                           [this] {
                               hand_.act("hand.drag", {{"position", toJson(wanted())}, {"speed", speed_->value()}});
                           }),
                    1, 3);
    speed_ = new QSpinBox(this);
    speed_->setRange(1, kFastest);
    speed_->setValue(kUsualSpeed);
    speed_->setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    speed_->setSuffix(tr(" mm/s"));
    grid->addWidget(labelOf(speed_, tr("a&t"), tr("Speed of the drag")), 1, 4);
    grid->addWidget(speed_, 1, 5);
    return grid;
}

QLayout* HandControls::switchRow() {
    auto* row = new QHBoxLayout;
    row->setSpacing(6);
    for (int i = 0; i < 2; ++i) {
        const QString text = i == 0 ? tr("Stylus switch &1") : tr("Extra switch &2");
        auto* press = new QPushButton(text, this);
        setTip(press, text,
               tr("Stylus button %1: pressed while you hold it down, with the mouse or the space key").arg(i + 1));
        auto* latch = new QCheckBox(tr("keep on"), this);
        latch->setToolTip(tr("Keep stylus button %1 pressed").arg(i + 1));
        latch->setAccessibleName(latch->toolTip());
        buttons_[i] = {press, latch, false};
        connect(press, &QPushButton::pressed, this, [this, i] { pressButton(i); });
        connect(press, &QPushButton::released, this, [this, i] { pressButton(i); });
        connect(latch, &QCheckBox::toggled, this, [this, i] { pressButton(i); });
        row->addWidget(press, 1);
        row->addWidget(latch);
        row->addSpacing(6);
    }
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
    grid->setVerticalSpacing(6);
    const auto add = [&](int row, const QString& text, const QString& tip, int low, int high, QSlider*& slider,
                         QLabel*& value) {
        slider = new QSlider(Qt::Horizontal, this);
        slider->setRange(low, high);
        slider->setPageStep(10);
        value = new QLabel(this);
        value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        value->setMinimumWidth(fontMetrics().horizontalAdvance("100.0 N "));
        grid->addWidget(labelOf(slider, text, tip), row, 0);
        grid->addWidget(slider, row, 1);
        grid->addWidget(value, row, 2);
    };
    add(0, tr("&Strength"), tr("Greatest force of the hand, N"), 1, kStrongest, strength_, strengthText_);
    add(1, tr("P&inch grip"), tr("How far the grip is closed; only on an arm with a pinch grip"), 0, 100, pinch_,
        pinchText_);
    grid->setColumnStretch(1, 1);
    connect(strength_, &QSlider::valueChanged, this, [this](int newtons) {
        showFigure(strengthText_, tr("Strength"), tr("%1 N").arg(newtons));
        link_.sendLatest("hand.strength", {{"newtons", newtons}});
    });
    connect(pinch_, &QSlider::valueChanged, this, [this](int percent) {
        showFigure(pinchText_, tr("Pinch grip closed"), tr("%1 %").arg(percent));
        link_.sendLatest("hand.pinch", {{"closed", percent / 100.0}});
    });
    return grid;
}

void HandControls::showState(const ArmState& state) {
    pinch_->setEnabled(!state.open || state.grip != 0);
    dock_->setEnabled(!state.open || state.inkWell);
    undock_->setEnabled(!state.open || state.inkWell);
    for (int i = 0; i < 2; ++i) {
        buttons_[i].press->setEnabled(!state.open || i < state.buttons);
        buttons_[i].latch->setEnabled(!state.open || i < state.buttons);
    }
    // A state that was on its way when a command left still tells what was before it.
    if (link_.commandsUnderWay() != 0)
        return;
    followArm(strength_, static_cast<int>(std::lround(state.strength)));
    followArm(pinch_, static_cast<int>(std::lround(state.pinch * 100.0)));
    showFigure(strengthText_, tr("Strength"), tr("%1 N").arg(state.strength));
    showFigure(pinchText_, tr("Pinch grip closed"), tr("%1 %").arg(pinch_->value()));
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
