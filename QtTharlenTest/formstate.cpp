#include "formstate.h"

#include <QLCDNumber>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSlider>
#include <QTextEdit>
#include <algorithm>

namespace {

std::vector<const char*> readOutsOf(const QWidget* widget) {
    if (qobject_cast<const QLabel*>(widget) || qobject_cast<const QPushButton*>(widget))
        return {"text", "styleSheet"};
    if (qobject_cast<const QLCDNumber*>(widget))
        return {"value", "palette"};
    if (qobject_cast<const QProgressBar*>(widget))
        return {"value"};
    if (qobject_cast<const QSlider*>(widget))
        return {"styleSheet"};
    return {};
}

}  // namespace

void FormState::remember(const QWidget* page, std::initializer_list<const QWidget*> except) {
    for (QWidget* widget : page->findChildren<QWidget*>()) {
        if (std::find(except.begin(), except.end(), widget) != except.end())
            continue;
        for (const char* name : readOutsOf(widget))
            m_properties.push_back({widget, name, widget->property(name)});
        if (const auto* text = qobject_cast<const QTextEdit*>(widget))
            m_properties.push_back({widget, "html", text->document()->isEmpty() ? QString() : text->toHtml()});
    }
}

void FormState::putBack(std::initializer_list<QWidget*> widgets) const {
    for (const Property& property : m_properties) {
        if (std::find(widgets.begin(), widgets.end(), property.widget) != widgets.end())
            putBack(property);
    }
}

void FormState::putBackAllBut(std::initializer_list<const QWidget*> kept) const {
    for (const Property& property : m_properties) {
        if (std::find(kept.begin(), kept.end(), property.widget) == kept.end())
            putBack(property);
    }
}

// An empty text box is cleared: markup of an empty document would leave its own formats behind.
void FormState::putBack(const Property& property) {
    auto* text = qobject_cast<QTextEdit*>(property.widget);
    if (text && property.value.toString().isEmpty())
        text->clear();
    else if (property.widget->property(property.name) != property.value)
        property.widget->setProperty(property.name, property.value);
}
