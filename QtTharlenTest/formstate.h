// What the form itself has in its read-outs, so that they can go back to it when they show what is over. Graphical
// thread.
#pragma once

#include <QVariant>
#include <initializer_list>
#include <vector>

class QWidget;

/// Texts, colours and figures of a page's read-outs: labels, buttons, lamps, bars, text boxes and digits, and the
/// colours of sliders. What a control offers, whether it is enabled and what the operator has chosen is not of it.
class FormState {
public:
    /// Takes what the page has now, but for the widgets named.
    void remember(const QWidget* page, std::initializer_list<const QWidget*> except);
    void putBack(std::initializer_list<QWidget*> widgets) const;
    void putBackAllBut(std::initializer_list<const QWidget*> kept) const;

private:
    struct Property {
        QWidget* widget;
        const char* name;
        QVariant value;  ///< an empty text for a text box that is empty
    };
    static void putBack(const Property& property);
    std::vector<Property> m_properties;
};
