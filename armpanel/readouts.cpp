// Painted with the palette's colours; the status colours hold on dark and light alike.
#include "readouts.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace {

constexpr double kDegreesPerRad = 57.29577951308232;
constexpr int kFirstGimbal = 3;
constexpr double kNearlyWarm = 0.85;  // part of the way from 0 to the limit

// Both hold against a dark and a light background.
const QColor kGood(0x2f, 0x9e, 0x55), kAttention(0xe0, 0x7b, 0x1f), kBad(0xd0, 0x3a, 0x3a);

QLabel* figure(QWidget* parent, const char* widest) {
    auto* label = new QLabel(parent);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    label->setMinimumWidth(label->fontMetrics().horizontalAdvance(QString::fromUtf8(widest)));
    return label;
}

QLabel* heading(const QString& text, QWidget* parent, Qt::Alignment alignment) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.85);
    label->setFont(font);
    label->setForegroundRole(QPalette::WindowText);
    label->setAlignment(alignment | Qt::AlignBottom);
    return label;
}

}  // namespace

QString oneDecimal(double value) { return QString::number(std::abs(value) < 0.05 ? 0.0 : value, 'f', 1); }

void setChangedText(QLabel* label, const QString& text) {
    if (label->text() != text)
        label->setText(text);
}

void showFigure(QLabel* label, const QString& name, const QString& text) {
    if (label->text() == text)
        return;
    label->setText(text);
    label->setAccessibleName(name + ' ' + text);
}

QString axisName(int axis) {
    static const char* const kNames[] = {
        QT_TRANSLATE_NOOP("Readouts", "1  base X"),   QT_TRANSLATE_NOOP("Readouts", "2  base Y"),
        QT_TRANSLATE_NOOP("Readouts", "3  base Z"),   QT_TRANSLATE_NOOP("Readouts", "4  gimbal X"),
        QT_TRANSLATE_NOOP("Readouts", "5  gimbal Y"), QT_TRANSLATE_NOOP("Readouts", "6  gimbal Z")};
    return Readouts::tr(kNames[axis]);
}

void LineLabel::showLine(const QString& line) {
    if (line == text())
        return;
    setText(line);
    setToolTip(line);
}

void LineLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    painter.drawText(contentsRect(), static_cast<int>(alignment()) | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), Qt::ElideRight, contentsRect().width()));
}

BarGauge::BarGauge(Kind kind, const QString& name, QWidget* parent) : QWidget(parent), kind_(kind), name_(name) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void BarGauge::show(double low, double high, double value) {
    if (low == low_ && high == high_ && value == value_)
        return;
    low_ = low;
    high_ = high;
    value_ = value;
    const double part = high > low ? (value - low) / (high - low) : 0.0;
    const QString described = tr("%1 %2 %").arg(name_).arg(std::lround(part * 100.0));
    if (described != accessibleName())
        setAccessibleName(described);
    update();
}

void BarGauge::clear() { show(0, 0, 0); }

void BarGauge::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF groove = QRectF(rect()).adjusted(1.5, (height() - 8) / 2.0, -1.5, -(height() - 8) / 2.0);
    QColor edge = palette().color(QPalette::Text);
    edge.setAlphaF(0.35);
    painter.setPen(QPen(edge, 1.0));
    painter.setBrush(palette().color(QPalette::Base));
    painter.drawRoundedRect(groove, 3, 3);
    if (high_ <= low_)
        return;
    const auto x = [&](double value) {
        return groove.left() + groove.width() * std::clamp((value - low_) / (high_ - low_), 0.0, 1.0);
    };
    if (kind_ == Kind::Level) {
        const double part = value_ / high_;
        painter.setPen(Qt::NoPen);
        painter.setBrush(part >= 1.0 ? kBad : part >= kNearlyWarm ? kAttention : palette().color(QPalette::Highlight));
        painter.drawRoundedRect(QRectF(groove.topLeft(), QPointF(x(value_), groove.bottom())), 3, 3);
        return;
    }
    painter.drawLine(QPointF(x(0.0), groove.top() + 1), QPointF(x(0.0), groove.bottom() - 1));
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Highlight));
    painter.drawRoundedRect(QRectF(x(value_) - 2.5, groove.top() - 2, 5, groove.height() + 4), 2, 2);
}

Lamp::Lamp(const QString& widest, QWidget* parent) : QWidget(parent), text_(new QLabel(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(18, 0, 0, 0);
    layout->addWidget(text_);
    text_->setMinimumWidth(text_->fontMetrics().horizontalAdvance(widest));
}

QString Lamp::text() const { return text_->text(); }

void Lamp::show(Light light, const QString& text) {
    if (text != text_->text()) {
        text_->setText(text);
        setAccessibleName(text);
    }
    if (light == light_)
        return;
    light_ = light;
    update();
}

void Lamp::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor edge = palette().color(QPalette::WindowText);
    edge.setAlphaF(0.5);
    painter.setPen(QPen(edge, 1.0));
    painter.setBrush(light_ == Light::Good        ? kGood
                     : light_ == Light::Attention ? kAttention
                                                  : palette().color(QPalette::Window));
    painter.drawEllipse(QPointF(8, height() / 2.0), 5, 5);
}

Readouts::Readouts(QWidget* parent) : QWidget(parent) {
    lamps_ = new QGridLayout;
    lamps_->setHorizontalSpacing(6);
    lamps_->setVerticalSpacing(2);
    amplifiers_ = new Lamp(tr("Amplifiers OFF"), this);
    loop_ = new Lamp(tr("Servo running"), this);
    calibration_ = new Lamp(tr("Not calibrated (16)"), this);
    hand_ = new Lamp(tr("Hand pulls 25.0 N"), this);
    faults_ = new Lamp(tr("10 faults on"), this);
    scheduling_ = new Lamp(tr("Not real-time"), this);
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(1);
    grid->addWidget(heading(tr("Joint"), this, Qt::AlignLeft), 0, 0);
    bars_ = {heading(tr("stop to stop"), this, Qt::AlignLeft),
             heading(tr("winding, \u00b0C, to warm limit"), this, Qt::AlignRight)};
    grid->addWidget(bars_[0], 0, 1);
    grid->addWidget(heading(tr("angle"), this, Qt::AlignRight), 0, 2);
    grid->addWidget(heading(tr("encoder"), this, Qt::AlignRight), 0, 3);
    grid->addWidget(heading(tr("DAC"), this, Qt::AlignRight), 0, 4);
    grid->addWidget(bars_[1], 0, 5, 1, 2);
    briefHeat_ = heading(tr("winding, \u00b0C"), this, Qt::AlignRight);
    grid->addWidget(briefHeat_, 0, 6);
    for (int i = 0; i < 6; ++i) {
        const QString name = axisName(i);
        Row& row = rows_[i];
        row = {figure(this, "-179.9\u00b0"),
               figure(this, "-32767"),
               figure(this, "-32767"),
               figure(this, "warm 99.9"),
               new BarGauge(BarGauge::Kind::Marker, tr("%1, between its stops").arg(name), this),
               new BarGauge(BarGauge::Kind::Level, tr("%1, winding to its warm limit").arg(name), this)};
        grid->addWidget(new QLabel(name, this), i + 1, 0);
        grid->addWidget(row.angleBar, i + 1, 1);
        grid->addWidget(row.angle, i + 1, 2);
        grid->addWidget(row.encoder, i + 1, 3);
        grid->addWidget(row.dac, i + 1, 4);
        grid->addWidget(row.heatBar, i + 1, 5);
        grid->addWidget(row.heat, i + 1, 6);
        bars_.insert(bars_.end(), {row.angleBar, row.heatBar});
    }
    grid->setColumnStretch(1, 3);
    grid->setColumnStretch(5, 2);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addLayout(lamps_);
    layout->addLayout(grid);
    setSlim(false);
    clear();
}

void Readouts::setSlim(bool slim) {
    int place = 0;
    const int columns = slim ? 2 : 3;
    for (Lamp* lamp : {amplifiers_, loop_, calibration_, hand_, scheduling_, faults_}) {
        lamps_->addWidget(lamp, place / columns, place % columns);
        ++place;
    }
    for (QWidget* bar : bars_)
        bar->setVisible(!slim);
    briefHeat_->setVisible(slim);
    layout()->activate();  // what it needs at least is asked for at once
    updateGeometry();
}

void Readouts::showLamps(const ArmState& state) {
    using Light = Lamp::Light;
    amplifiers_->show(state.amplifiers ? Light::Good : Light::Dark,
                      state.amplifiers ? tr("Amplifiers ON") : tr("Amplifiers OFF"));
    loop_->show(state.loopRunning ? Light::Good : Light::Dark,
                state.loopRunning ? tr("Servo running") : tr("Servo stopped"));
    scheduling_->show(state.realTime ? Light::Good : Light::Dark,
                      state.realTime ? tr("Real-time") : tr("Not real-time"));
    const QString calibration = calibrationText(state.calibrationStatus);
    calibration_->show(state.calibrationStatus == 0 ? Light::Good : Light::Attention,
                       calibration.left(1).toUpper() + calibration.mid(1));
    hand_->show(state.holding || state.docked ? Light::Good : Light::Dark,
                state.holding  ? tr("Hand pulls %1 N").arg(state.handForce, 0, 'f', 1)
                : state.docked ? tr("In the ink well")
                               : tr("Nobody holds it"));
    faults_->show(state.faults.empty() ? Light::Dark : Light::Attention,
                  state.faults.empty()       ? tr("No fault")
                  : state.faults.size() == 1 ? tr("1 fault on")
                                             : tr("%1 faults on").arg(state.faults.size()));
    faults_->setToolTip(faultsOf(state).join(", "));
}

void Readouts::showJoint(int axis, const ArmState& state) {
    const Row& row = rows_[axis];
    const QString name = axisName(axis);
    row.angleBar->show(state.jointMin[axis], state.jointMax[axis], state.joints[axis]);
    showFigure(row.angle, tr("%1, angle").arg(name),
               QStringLiteral("%1\u00b0").arg(oneDecimal(state.joints[axis] * kDegreesPerRad)));
    showFigure(row.encoder, tr("%1, encoder").arg(name), QString::number(std::lround(state.encoders[axis])));
}

void Readouts::showMotor(int axis, const ArmState& state) {
    const Row& row = rows_[axis];
    const QString name = axisName(axis);
    showFigure(row.dac, tr("%1, DAC").arg(name), QString::number(std::lround(state.dac[axis])));
    row.heatBar->show(0.0, state.warmLimit, state.winding[axis]);
    const double part = state.warmLimit > 0.0 ? state.winding[axis] / state.warmLimit : 0.0;
    const QString mark = part >= 1.0 ? tr("warm ") : part >= kNearlyWarm ? tr("near ") : QString();
    showFigure(row.heat, tr("%1, winding").arg(name), mark + QString::number(state.winding[axis], 'f', 1));
}

void Readouts::clearJoint(int axis) {
    rows_[axis].angleBar->clear();
    for (QLabel* label : {rows_[axis].angle, rows_[axis].encoder})
        showFigure(label, axisName(axis), "-");
}

void Readouts::clearMotor(int axis) {
    rows_[axis].heatBar->clear();
    for (QLabel* label : {rows_[axis].dac, rows_[axis].heat})
        showFigure(label, axisName(axis), "-");
}

void Readouts::showState(const ArmState& state) {
    showLamps(state);
    for (int i = 0; i < 6; ++i) {
        i < kFirstGimbal || state.gimbal ? showJoint(i, state) : clearJoint(i);
        i < state.motors ? showMotor(i, state) : clearMotor(i);
    }
}

void Readouts::clear() {
    amplifiers_->show(Lamp::Light::Dark, tr("Amplifiers -"));
    loop_->show(Lamp::Light::Dark, tr("Servo -"));
    scheduling_->show(Lamp::Light::Dark, tr("Scheduling -"));
    calibration_->show(Lamp::Light::Dark, tr("Calibration -"));
    hand_->show(Lamp::Light::Dark, tr("Hand -"));
    faults_->show(Lamp::Light::Dark, tr("Faults -"));
    for (int i = 0; i < 6; ++i) {
        clearJoint(i);
        clearMotor(i);
    }
}
