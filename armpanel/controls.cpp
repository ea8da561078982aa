// See controls.h.
#include "controls.h"

#include <QCoreApplication>
#include <QKeySequence>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>

QString withKey(const QString& text, const QString& tip) {
    const QKeySequence key = QKeySequence::mnemonic(text);
    if (key.isEmpty())
        return tip;
    return QCoreApplication::translate("ArmPanel", "%1 (%2)").arg(tip, key.toString(QKeySequence::NativeText));
}

void setTip(QWidget* control, const QString& text, const QString& tip) { control->setToolTip(withKey(text, tip)); }

QLabel* labelOf(QWidget* control, const QString& text, const QString& tip) {
    auto* label = new QLabel(text, control->parentWidget());
    label->setBuddy(control);
    setTip(control, text, tip);
    label->setToolTip(control->toolTip());
    return label;
}

void followArm(QSlider* slider, int value) {
    if (slider->isSliderDown() || slider->value() == value)
        return;
    const QSignalBlocker quiet(slider);
    slider->setValue(value);
}
