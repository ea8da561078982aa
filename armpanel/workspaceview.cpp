// Millimetres of the workspace to pixels and back; painted with the palette's colours.
#include "workspaceview.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "readouts.h"

namespace {

constexpr double kStep = 2.0, kLongStep = 10.0;  // mm, by key and wheel notch
constexpr double kBox = 20.0, kOuterBox = 40.0;  // mm, the walls of the two boxes
constexpr double kRanges[] = {55.0, 110.0, 220.0, 440.0};
constexpr double kTitleHeight = 20.0;
constexpr double kSmallForce = 0.05;  // N, not shown

/// The palette's text colour, `part` of it over the background.
QColor faint(const QPalette& palette, double part) {
    QColor color = palette.color(QPalette::Text);
    color.setAlphaF(part);
    return color;
}

/// Readable on a dark and on a light background.
QColor forceColor() { return {0xe0, 0x7b, 0x1f}; }

double stepOf(Qt::KeyboardModifiers modifiers) { return modifiers & Qt::ShiftModifier ? kLongStep : kStep; }

}  // namespace

WorkspaceView::WorkspaceView(Side side, QWidget* parent) : QWidget(parent), side_(side), range_(kRanges[0]) {
    setFocusPolicy(Qt::StrongFocus);
    setCursor(Qt::CrossCursor);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    nameView();
    setToolTip(
        side == Side::Front
            ? tr("From the front. Drag, or arrow keys: X and Y. Wheel, or Page Up/Down: Z, up is away from you.\n"
                 "Keys and wheel move 2 mm, with Shift 10 mm. Home: origin. Esc: release.")
            : tr("From above. Drag, or arrow keys: X and Z, down is towards you. Wheel, or Page Up/Down: Y.\n"
                 "Keys and wheel move 2 mm, with Shift 10 mm. Home: origin. Esc: release."));
}

void WorkspaceView::showState(const ArmState& state) {
    state_ = state;
    hasState_ = true;
    nameView();
    chooseRange();
    update();
}

void WorkspaceView::clear() {
    hasState_ = dragging_ = false;
    nameView();
    update();
}

QString WorkspaceView::place() const {
    return tr("X %1   %2 %3 mm")
        .arg(oneDecimal(state_.position[0]), side_ == Side::Front ? "Y" : "Z", oneDecimal(state_.position[along()]));
}

void WorkspaceView::nameView() {
    QString name = side_ == Side::Front ? tr("Workspace from the front") : tr("Workspace from above");
    if (hasState_ && state_.open)
        name += ", " + place();
    if (name != accessibleName())
        setAccessibleName(name);
}

// The ink well and the stops lie far outside the box; the picture widens only while the stylus is there,
// and never under a pointer that drags.
void WorkspaceView::chooseRange() {
    if (dragging_)
        return;
    double farthest = 0.0;
    for (const double value : state_.position)
        farthest = std::max(farthest, std::abs(value));
    if (farthest <= range_ && farthest > range_ * 0.45)
        return;
    range_ = *std::find_if(std::begin(kRanges), std::end(kRanges) - 1, [&](double r) { return farthest <= r; });
}

QRectF WorkspaceView::field() const {
    const double side = std::min<double>(width(), height() - kTitleHeight) - 2.0;
    return {(width() - side) / 2.0, kTitleHeight + 1.0 + (height() - kTitleHeight - 2.0 - side) / 2.0, side, side};
}

QPointF WorkspaceView::toScreen(const Vec3& point) const {
    const QRectF area = field();
    const double scale = area.width() / (2.0 * range_);
    return area.center() + QPointF(point[0], downwards() * point[along()]) * scale;
}

void WorkspaceView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF area = field();
    painter.fillRect(area, palette().color(QPalette::Base));
    paintTexts(painter);
    painter.save();
    painter.setClipRect(area);
    paintGuides(painter);
    paintScale(painter);
    if (hasState_ && state_.open)
        paintArm(painter);
    painter.restore();
    painter.setPen(hasFocus() ? QPen(palette().color(QPalette::Highlight), 2.0) : QPen(faint(palette(), 0.35), 1.0));
    painter.setBrush(Qt::NoBrush);
    painter.drawRect(area.adjusted(0.5, 0.5, -0.5, -0.5));
}

void WorkspaceView::paintGuides(QPainter& painter) const {
    const auto square = [this](double half) {
        Vec3 low{-half, 0, 0}, high{half, 0, 0};
        low[along()] = -half;
        high[along()] = half;
        return QRectF(toScreen(low), toScreen(high)).normalized();
    };
    const QRectF area = field();
    painter.setPen(QPen(faint(palette(), 0.15), 1.0));
    const QPointF middle = area.center();
    painter.drawLine(QPointF(area.left(), middle.y()), QPointF(area.right(), middle.y()));
    painter.drawLine(QPointF(middle.x(), area.top()), QPointF(middle.x(), area.bottom()));

    QColor inside = palette().color(QPalette::Highlight);
    inside.setAlphaF(0.10);
    painter.fillRect(square(kBox), inside);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(faint(palette(), 0.75), 1.2, Qt::DashLine));
    painter.drawRect(square(kBox));
    painter.setPen(QPen(faint(palette(), 0.4), 1.0));
    painter.drawRect(square(kOuterBox));
}

void WorkspaceView::paintScale(QPainter& painter) const {
    const QRectF area = field();
    const double tick = range_ / 11.0;
    const int ticks = static_cast<int>(range_ / tick);
    QFont font = painter.font();
    font.setPointSizeF(font.pointSizeF() * 0.75);
    painter.setFont(font);
    for (int i = -ticks; i <= ticks; ++i) {
        const double mm = i * tick;
        Vec3 point{mm, 0, 0};
        const double x = toScreen(point).x();
        point = {};
        point[along()] = mm;
        const double y = toScreen(point).y();
        const bool named = i != 0 && i % 4 == 0;
        const double length = named ? 7.0 : i % 2 == 0 ? 5.0 : 3.0;
        painter.setPen(QPen(faint(palette(), 0.5), 1.0));
        painter.drawLine(QPointF(x, area.bottom()), QPointF(x, area.bottom() - length));
        painter.drawLine(QPointF(area.left(), y), QPointF(area.left() + length, y));
        if (!named)
            continue;
        painter.setPen(faint(palette(), 0.7));
        const QString text = QString::number(mm);
        const double high = painter.fontMetrics().height();
        painter.drawText(QRectF(x - 30, area.bottom() - 8 - high, 60, high), Qt::AlignCenter, text);
        if (y + high / 2 < area.bottom() - 8 - high)  // the row below has the corner
            painter.drawText(QRectF(area.left() + 9, y - high / 2, 60, high), Qt::AlignLeft | Qt::AlignVCenter, text);
    }
}

void WorkspaceView::paintArm(QPainter& painter) const {
    const QPointF end = toScreen(state_.position);
    const QColor hand = palette().color(QPalette::Highlight);
    if (state_.holding) {
        const QPointF target = toScreen(state_.handTarget);
        painter.setPen(QPen(hand, 2.0));
        painter.drawLine(end, target);
        painter.setBrush(Qt::NoBrush);
        painter.drawEllipse(target, 8.0, 8.0);
    }

    // The arrow's length grows with the root of the force: 1 N and 20 N are both readable.
    const double across = state_.force[0], up = downwards() * state_.force[along()];
    const double newtons = std::hypot(across, up);
    if (newtons > kSmallForce) {
        const QPointF direction(across / newtons, up / newtons);
        const QPointF tip = end + direction * (8.0 + 12.0 * std::sqrt(newtons));
        const QPointF side(-direction.y(), direction.x());
        painter.setPen(QPen(forceColor(), 3.0, Qt::SolidLine, Qt::FlatCap));
        painter.drawLine(end, tip - direction * 6.0);
        QPainterPath head(tip);
        head.lineTo(tip - direction * 9.0 + side * 5.0);
        head.lineTo(tip - direction * 9.0 - side * 5.0);
        head.closeSubpath();
        painter.fillPath(head, forceColor());
    }

    painter.setPen(QPen(palette().color(QPalette::Base), 1.5));
    painter.setBrush(palette().color(QPalette::Text));
    painter.drawEllipse(end, 5.0, 5.0);
}

void WorkspaceView::paintTexts(QPainter& painter) const {
    const QRectF area = field();
    const QRectF line(1.0, area.top() - kTitleHeight, width() - 2.0, kTitleHeight);
    painter.setPen(palette().color(QPalette::WindowText));
    QFont bold = font();
    bold.setBold(true);
    painter.setFont(bold);
    const QString title = side_ == Side::Front ? tr("Front") : tr("Above");
    const int titleWidth = painter.fontMetrics().horizontalAdvance(title + "  ");
    painter.drawText(line, Qt::AlignLeft | Qt::AlignVCenter, title);
    const QString legend = side_ == Side::Front ? tr("X \u2192  Y \u2191") : tr("X \u2192  Z \u2193 to you");
    const bool shown = hasState_ && state_.open;
    const QString beside = shown ? place() : legend;
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.8);
    painter.setFont(titleWidth + fontMetrics().horizontalAdvance(beside) < line.width() ? font() : small);
    painter.drawText(line, Qt::AlignRight | Qt::AlignVCenter, beside);
    if (!shown)
        return;
    painter.setFont(small);
    painter.setPen(faint(palette(), 0.7));
    painter.drawText(area.adjusted(6, 4, -6, -4), Qt::AlignRight | Qt::AlignTop, legend);
    const double newtons = std::hypot(state_.force[0], state_.force[along()]);
    if (newtons > kSmallForce)
        painter.drawText(area.adjusted(12, 4, -6, -4), Qt::AlignLeft | Qt::AlignTop,
                         tr("force %1 N").arg(newtons, 0, 'f', 1));
}

void WorkspaceView::dragTo(const QPointF& point) {
    const QRectF area = field();
    const QPointF mm = (point - area.center()) * (2.0 * range_ / area.width());
    emit dragged(0, mm.x(), along(), downwards() * mm.y());
}

void WorkspaceView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !field().contains(event->localPos()))
        return;
    dragging_ = true;
    dragTo(event->localPos());
}

void WorkspaceView::mouseMoveEvent(QMouseEvent* event) {
    if (dragging_)
        dragTo(event->localPos());
}

void WorkspaceView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton)
        dragging_ = false;
}

void WorkspaceView::wheelEvent(QWheelEvent* event) {
    constexpr int kNotch = 120;
    wheelLeft_ += event->angleDelta().y();
    const int notches = wheelLeft_ / kNotch;
    wheelLeft_ -= notches * kNotch;
    if (notches != 0)
        emit nudged(depth(), backwards() * notches * stepOf(event->modifiers()));
    event->accept();
}

void WorkspaceView::keyPressEvent(QKeyEvent* event) {
    const double step = stepOf(event->modifiers());
    switch (event->key()) {
        case Qt::Key_Left:
            emit nudged(0, -step);
            return;
        case Qt::Key_Right:
            emit nudged(0, step);
            return;
        case Qt::Key_Down:
            emit nudged(along(), downwards() * step);
            return;
        case Qt::Key_Up:
            emit nudged(along(), -downwards() * step);
            return;
        case Qt::Key_PageUp:
            emit nudged(depth(), backwards() * step);
            return;
        case Qt::Key_PageDown:
            emit nudged(depth(), -backwards() * step);
            return;
        case Qt::Key_Home:
            emit originWanted();
            return;
        case Qt::Key_Escape:
            emit letGo();
            return;
        default:
            QWidget::keyPressEvent(event);
    }
}
