#include "spokenreadouts.h"

#include <QAccessibleWidget>
#include <QLCDNumber>
#include <QLabel>
#include <QPushButton>

namespace {

/// Of a widget that is a read-out.
QString shown(const QWidget* widget) {
    if (const auto* label = qobject_cast<const QLabel*>(widget))
        return label->text();
    if (const auto* number = qobject_cast<const QLCDNumber*>(widget))
        return QString::number(number->value());
    return static_cast<const QPushButton*>(widget)->text();
}

class ReadOut : public QAccessibleWidget {
public:
    explicit ReadOut(QWidget* widget) : QAccessibleWidget(widget, QAccessible::StaticText) {}
    QString text(QAccessible::Text which) const override {
        const QString name = QAccessibleWidget::text(which);
        return which == QAccessible::Name ? (name + ' ' + shown(widget())).trimmed() : name;
    }
};

bool isReadOut(const QWidget* widget) {
    const auto* button = qobject_cast<const QPushButton*>(widget);
    return !widget->accessibleName().isEmpty() && (!button || button->focusPolicy() == Qt::NoFocus);
}

QAccessibleInterface* readOut(const QString& className, QObject* object) {
    auto* widget = qobject_cast<QWidget*>(object);
    const bool meant = className == "QLabel" || className == "QLCDNumber" || className == "QPushButton";
    return meant && widget && isReadOut(widget) ? new ReadOut(widget) : nullptr;
}

}  // namespace

void speakReadOuts() { QAccessible::installFactory(readOut); }
