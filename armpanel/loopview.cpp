// The "Loop" tab.
#include "loopview.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLocale>
#include <QPushButton>
#include <QSpinBox>

#include "controls.h"
#include "readouts.h"

namespace {

QString nameOf(int figure) {
    static const char* const kNames[] = {
        QT_TRANSLATE_NOOP("LoopView", "Servo callback"), QT_TRANSLATE_NOOP("LoopView", "Rate, set"),
        QT_TRANSLATE_NOOP("LoopView", "Rate, measured"), QT_TRANSLATE_NOOP("LoopView", "Ticks"),
        QT_TRANSLATE_NOOP("LoopView", "Late ticks"),     QT_TRANSLATE_NOOP("LoopView", "Scheduling")};
    return LoopView::tr(kNames[figure]);
}

}  // namespace

LoopView::LoopView(ArmLink& link, QWidget* parent) : QWidget(parent), link_(link) {
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(16);
    grid->setVerticalSpacing(6);
    for (int i = 0; i < Figures; ++i) {
        figures_[static_cast<std::size_t>(i)] = new QLabel(this);
        grid->addWidget(new QLabel(nameOf(i), this), i, 0);
        grid->addWidget(figures_[static_cast<std::size_t>(i)], i, 1);
    }
    grid->setColumnStretch(1, 1);

    auto* ticks = new QSpinBox(this);
    ticks->setRange(static_cast<int>(armwords::kStepTicks.low), static_cast<int>(armwords::kStepTicks.high));
    ticks->setValue(1000);
    ticks->setStepType(QAbstractSpinBox::AdaptiveDecimalStepType);
    const QString stepText = tr("Ste&p");
    auto* step = new QPushButton(stepText, this);
    setTip(step, stepText, tr("Run these ticks, at 1 ms each; refused while the loop runs on its own thread"));
    connect(step, &QPushButton::clicked, this, [this, ticks] { link_.send("loop.step", {{"ticks", ticks->value()}}); });
    auto* row = new QHBoxLayout;
    row->addWidget(labelOf(ticks, tr("Tic&ks of a stepped loop"), tr("How many ticks a step runs")));
    row->addWidget(ticks);
    row->addWidget(step);
    row->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->addLayout(grid);
    layout->addSpacing(6);
    layout->addLayout(row);
    layout->addStretch();
}

void LoopView::show(Figure figure, const QString& text) { showFigure(figures_[figure], nameOf(figure), text); }

void LoopView::showState(const ArmState& state) {
    const QLocale locale;
    const double late =
        state.ticks > 0 ? 100.0 * static_cast<double>(state.lateTicks) / static_cast<double>(state.ticks) : 0.0;
    show(Running, state.loopRunning ? tr("running") : tr("stopped"));
    show(Rate, tr("%1 Hz").arg(state.rate));
    show(Measured, tr("%1 Hz").arg(state.measuredRate, 0, 'f', 1));
    show(Ticks, locale.toString(state.ticks));
    show(Late, tr("%1 (%2 %)").arg(locale.toString(state.lateTicks)).arg(late, 0, 'f', 3));
    show(Scheduling, state.realTime ? tr("real-time") : tr("ordinary, not real-time"));
}
