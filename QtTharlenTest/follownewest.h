// What grows beyond the visible part of a plot. Graphical thread.
#pragma once

#include <QGraphicsView>
#include <QScrollBar>

/// Scrolls the view so that `newest` is seen, with room for what follows, where the one before it was seen: whoever has
/// scrolled away to look at something is left there. Both in x of the scene.
inline void followNewest(QGraphicsView* view, double before, double newest) {
    const QRectF seen = view->mapToScene(view->viewport()->rect()).boundingRect();
    if (before < seen.left() || before > seen.right() || newest <= seen.right())
        return;
    QScrollBar* const bar = view->horizontalScrollBar();
    bar->setValue(bar->value() + static_cast<int>(newest - seen.right() + seen.width() / 4));
}
