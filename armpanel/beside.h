// Where the panel goes on the screen: beside the application, without a part of it covered where that can be.
#pragma once

#include <QRect>
#include <QSize>

namespace beside {

/// The panel's place. `screen`: what windows may cover; `application`: its window with its frame, or an empty
/// rectangle where none is known; then it is taken to stand at the left edge, 900 pixels wide. `frame`: what the
/// window manager adds to the panel's width and height. At the application's right or left, wherever there is more
/// room, in the size `wide` where that fits, else in the size `narrow`. Pixels.
QRect placeOf(const QRect& screen, const QRect& application, const QSize& wide, const QSize& narrow,
              const QSize& frame = {});

/// The window of a process with its frame, in the coordinates of QWidget::move(); empty where it has none yet, and
/// where the display does not tell (without X11 or a window manager). Graphical thread.
QRect windowOf(qint64 process);

}  // namespace beside
