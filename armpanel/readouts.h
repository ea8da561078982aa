// The live figures of the arm: axes, motors, amplifiers, calibration, servo loop. What a colour says is also
// in a text beside it.
#pragma once

#include <QLabel>
#include <array>
#include <vector>

#include "armstate.h"

class QGridLayout;

/// One line that ends in dots where there is no room.
class LineLabel : public QLabel {
    Q_OBJECT

public:
    using QLabel::QLabel;
    /// Text, and the tool tip that tells the whole of it.
    void showLine(const QString& line);
    QSize minimumSizeHint() const override { return {50, QLabel::minimumSizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent* event) override;
};

/// A small bar: a marker between two stops, or a level up to a limit.
class BarGauge : public QWidget {
    Q_OBJECT

public:
    enum class Kind { Marker, Level };
    /// `name`: what it shows, for those who cannot see it.
    BarGauge(Kind kind, const QString& name, QWidget* parent = nullptr);

    /// `low` and `high` are the ends; a marker gets a tick at zero, a level turns to a warning near `high`.
    void show(double low, double high, double value);
    void clear();
    QSize sizeHint() const override { return {80, 12}; }
    QSize minimumSizeHint() const override { return {44, 12}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Kind kind_;
    QString name_;
    double low_ = 0, high_ = 0, value_ = 0;  // low = high: nothing to show
};

/// A round lamp with its text; the text alone tells as much as the colour.
class Lamp : public QWidget {
    Q_OBJECT

public:
    enum class Light { Dark, Good, Attention };
    /// `widest`: the longest text that it is to show, so that a change moves nothing beside it.
    explicit Lamp(const QString& widest, QWidget* parent = nullptr);
    void show(Light light, const QString& text);
    QString text() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Light light_ = Light::Dark;
    QLabel* text_;
};

class Readouts : public QWidget {
    Q_OBJECT

public:
    explicit Readouts(QWidget* parent = nullptr);

    void showState(const ArmState& state);
    void clear();
    /// Without the bars, and the lamps in two columns: for large fonts on a small screen.
    void setSlim(bool slim);

private:
    struct Row {
        QLabel *angle, *encoder, *dac, *heat;
        BarGauge *angleBar, *heatBar;
    };

    void showLamps(const ArmState& state);
    void showJoint(int axis, const ArmState& state);
    void showMotor(int axis, const ArmState& state);
    void clearJoint(int axis);
    void clearMotor(int axis);

    Lamp *amplifiers_, *loop_, *calibration_, *hand_, *faults_, *scheduling_;
    std::array<Row, 6> rows_{};
    QGridLayout* lamps_;
    QLabel* briefHeat_;
    std::vector<QWidget*> bars_;  // with what stands above them
};

/// With one decimal, and no minus before a zero.
QString oneDecimal(double value);

/// Sets a label's text only where it changed: the figures come thirty times a second.
void setChangedText(QLabel* label, const QString& text);
/// The same, and what the figure is for those who cannot see where it stands.
void showFigure(QLabel* label, const QString& name, const QString& text);

/// Number, part and letter of an axis, as "1  base X"; `axis` is 0 to 5.
QString axisName(int axis);
