// One control hands over to another, as Start to Stop. Graphical thread.
#pragma once

#include <QWidget>

/// The second one is enabled and the first one disabled, in this order; the keyboard goes along where the first one
/// had it, so that the key that started does not reach whatever comes next.
inline void handOn(QWidget* from, QWidget* to) {
    to->setEnabled(true);
    if (from->window()->focusWidget() == from)
        to->setFocus();
    from->setEnabled(false);
}
