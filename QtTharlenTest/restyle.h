// Guards for what timers write again and again: setting a text or a style sheet anew costs a layout even
// when nothing changed. Graphical thread.
#pragma once

#include <QPushButton>
#include <QString>
#include <QWidget>

// The colours of every status.
constexpr char kPassStyle[] = "* { background-color: rgb(0,200,0) }";
constexpr char kNotYetStyle[] = "* { background-color: rgb(200,150,150) }";
constexpr char kFailStyle[] = "* { background-color: rgb(200,0,0) }";

template <class Widget>
void showText(Widget* widget, const QString& text) {
    if (widget->text() != text)
        widget->setText(text);
}

/// A result button's verdict, and the state before there is one.
inline void showVerdict(QPushButton* button, bool pass) {
    button->setText(pass ? "PASS" : "FAIL");
    button->setStyleSheet(pass ? kPassStyle : kFailStyle);
}

inline void showNoVerdict(QPushButton* button) {
    button->setText("NULL");
    button->setStyleSheet("");
}

inline void showStyle(QWidget* widget, const char* style) {
    if (widget->styleSheet() != QLatin1String(style))
        widget->setStyleSheet(QLatin1String(style));
}
