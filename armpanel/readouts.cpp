// Painted with the palette's colours; the status colours hold on dark and light alike.
#include "readouts.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace {

constexpr double kDegreesPerRad = 57.29577951308232;
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

QString oneDecimal(double value) {
    return QString::number(std::abs(value) < 0.05 ? 0.0 : value, 'f', 1);
}

void setChangedText(QLabel* label, const QString& text) {
    if (label->text() != text)
        label->setText(text);
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

BarGauge::BarGauge(Kind kind, QWidget* parent) : QWidget(parent), kind_(kind) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void BarGauge::show(double low, double high, double value) {
    if (low == low_ && high == high_ && value == value_)
        return;
    low_ = low;
    high_ = high;
    value_ = value;
    update();
}

void BarGauge::clear() {
    show(0, 0, 0);
}

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
        painter.setBrush(part >= 1.0           ? kBad
                         : part >= kNearlyWarm ? kAttention
                                               : palette().color(QPalette::Highlight));
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

QString Lamp::text() const {
    return text_->text();
}

void Lamp::show(Light light, const QString& text) {
    setChangedText(text_, text);
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
    auto* lamps = new QHBoxLayout;
    amplifiers_ = new Lamp(tr("Amplifiers OFF"), this);
    loop_ = new Lamp(tr("Servo running"), this);
    calibration_ = new Lamp(tr("Not calibrated (16)"), this);
    hand_ = new Lamp(tr("Hand pulls 25.0 N"), this);
    for (Lamp* lamp : {amplifiers_, loop_, calibration_, hand_})
        lamps->addWidget(lamp);
    lamps->setSpacing(6);

    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(1);
    grid->addWidget(heading(tr("Joint"), this, Qt::AlignLeft), 0, 0);
    grid->addWidget(heading(tr("between the stops"), this, Qt::AlignLeft), 0, 1);
    grid->addWidget(heading(tr("angle"), this, Qt::AlignRight), 0, 2);
    grid->addWidget(heading(tr("encoder"), this, Qt::AlignRight), 0, 3);
    grid->addWidget(heading(tr("DAC"), this, Qt::AlignRight), 0, 4);
    grid->addWidget(heading(tr("winding to warm limit"), this, Qt::AlignLeft), 0, 5);
    grid->addWidget(heading(tr("winding"), this, Qt::AlignRight), 0, 6);
    static const char* const kNames[6] = {"1  base X",   "2  base Y",   "3  base Z",
                                          "4  gimbal X", "5  gimbal Y", "6  gimbal Z"};
    for (int i = 0; i < 6; ++i) {
        Row& row = rows_[i];
        row = {figure(this, "-179.9\u00b0"),
               figure(this, "-100000"),
               figure(this, "-32767"),
               figure(this, "999.9 \u00b0C"),
               new BarGauge(BarGauge::Kind::Marker, this),
               new BarGauge(BarGauge::Kind::Level, this)};
        grid->addWidget(new QLabel(tr(kNames[i]), this), i + 1, 0);
        grid->addWidget(row.angleBar, i + 1, 1);
        grid->addWidget(row.angle, i + 1, 2);
        grid->addWidget(row.encoder, i + 1, 3);
        grid->addWidget(row.dac, i + 1, 4);
        grid->addWidget(row.heatBar, i + 1, 5);
        grid->addWidget(row.heat, i + 1, 6);
    }
    grid->setColumnStretch(1, 3);
    grid->setColumnStretch(5, 2);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addLayout(lamps);
    layout->addLayout(grid);
    clear();
}

void Readouts::showState(const ArmState& state) {
    using Light = Lamp::Light;
    amplifiers_->show(state.amplifiers ? Light::Good : Light::Dark,
                      state.amplifiers ? tr("Amplifiers ON") : tr("Amplifiers OFF"));
    loop_->show(state.loopRunning ? Light::Good : Light::Dark,
                state.loopRunning ? tr("Servo running") : tr("Servo stopped"));
    const QString calibration = calibrationText(state.calibrationStatus);
    calibration_->show(state.calibrationStatus == 0 ? Light::Good : Light::Attention,
                       calibration.left(1).toUpper() + calibration.mid(1));
    hand_->show(state.holding || state.docked ? Light::Good : Light::Dark,
                state.holding  ? tr("Hand pulls %1 N").arg(state.handForce, 0, 'f', 1)
                : state.docked ? tr("In the ink well")
                               : tr("Nobody holds it"));
    for (int i = 0; i < 6; ++i) {
        const Row& row = rows_[i];
        row.angleBar->show(state.jointMin[i], state.jointMax[i], state.joints[i]);
        setChangedText(row.angle, QStringLiteral("%1\u00b0").arg(oneDecimal(state.joints[i] * kDegreesPerRad)));
        setChangedText(row.encoder, QString::number(std::lround(state.encoders[i])));
        setChangedText(row.dac, QString::number(std::lround(state.dac[i])));
        row.heatBar->show(0.0, state.warmLimit, state.winding[i]);
        const bool warm = state.warmLimit > 0.0 && state.winding[i] >= state.warmLimit;
        setChangedText(row.heat, tr("%1%2 \u00b0C").arg(warm ? "! " : "").arg(state.winding[i], 0, 'f', 1));
    }
}

void Readouts::clear() {
    amplifiers_->show(Lamp::Light::Dark, tr("Amplifiers -"));
    loop_->show(Lamp::Light::Dark, tr("Servo -"));
    calibration_->show(Lamp::Light::Dark, tr("Calibration -"));
    hand_->show(Lamp::Light::Dark, tr("Hand -"));
    for (const Row& row : rows_) {
        row.angleBar->clear();
        row.heatBar->clear();
        for (QLabel* label : {row.angle, row.encoder, row.dac, row.heat})
            setChangedText(label, "-");
    }
}
