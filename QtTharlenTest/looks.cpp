// See looks.h.
#include "looks.h"

#include <QAbstractSpinBox>
#include <QComboBox>
#include <QEvent>
#include <QGuiApplication>
#include <QLayout>
#include <QPainter>
#include <QProxyStyle>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>
#include <QStackedWidget>
#include <QTabBar>
#include <QTabWidget>
#include <algorithm>
#include <array>
#include <utility>

#include "qttharlentest.h"

namespace {

constexpr int kTabRoom = 7;    // pixels beside the text, both sides together
constexpr int kTitleBar = 40;  // pixels that a window manager adds to the height
constexpr QColor kRing(0xff, 0xb0, 0x20), kRingEdge(0x20, 0x20, 0x20);  // seen on light, dark and the arrows' green

class NarrowTabs : public QProxyStyle {
public:
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override {
        const int usual = QProxyStyle::pixelMetric(metric, option, widget);
        return metric == PM_TabBarTabHSpace ? std::min(usual, kTabRoom) : usual;
    }
};

class SettledTabs : public QObject {
public:
    explicit SettledTabs(QTabWidget& tabs)
        : QObject(&tabs), m_tabs(tabs), m_pages(*tabs.findChild<QStackedWidget*>("qt_tabwidget_stackedwidget")) {
        tabs.installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* tabs, QEvent* event) override {
        if (event->type() != QEvent::LayoutRequest)
            return QObject::eventFilter(tabs, event);
        const Room asked{m_pages.minimumSizeHint(), m_pages.sizeHint(), m_tabs.tabBar()->minimumSizeHint(),
                         m_tabs.tabBar()->sizeHint()};
        return std::exchange(m_asked, asked) == asked;
    }

private:
    using Room = std::array<QSize, 4>;
    QTabWidget& m_tabs;
    QStackedWidget& m_pages;
    Room m_asked;
};

/// Lies over its parent and shows only while that has the keyboard.
class FocusRing : public QWidget {
public:
    explicit FocusRing(QWidget& framed) : QWidget(&framed) {
        setAttribute(Qt::WA_TransparentForMouseEvents);
        setAttribute(Qt::WA_NoSystemBackground);
        framed.installEventFilter(this);
        setVisible(framed.hasFocus());
    }

protected:
    bool eventFilter(QObject* framed, QEvent* event) override {
        if (event->type() == QEvent::FocusIn || event->type() == QEvent::FocusOut) {
            setGeometry(parentWidget()->rect());
            setVisible(event->type() == QEvent::FocusIn);
        }
        return QWidget::eventFilter(framed, event);
    }
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(kRingEdge, 5.0));
        painter.drawRoundedRect(QRectF(rect()).adjusted(2.5, 2.5, -2.5, -2.5), 6, 6);
        painter.setPen(QPen(kRing, 3.0));
        painter.drawRoundedRect(QRectF(rect()).adjusted(2.5, 2.5, -2.5, -2.5), 6, 6);
    }
};

/// Whoever scrolls past a control must not change it: a slider of "Test Forces" commands a motor. The wheel goes on to
/// the area around.
class WheelScrolls : public QObject {
public:
    explicit WheelScrolls(QWidget& window) : QObject(&window) {
        for (QWidget* control : window.findChildren<QWidget*>())
            if (qobject_cast<QSlider*>(control) || qobject_cast<QAbstractSpinBox*>(control)
                || qobject_cast<QComboBox*>(control))
                control->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject* control, QEvent* event) override {
        if (event->type() != QEvent::Wheel)
            return QObject::eventFilter(control, event);
        event->ignore();
        return true;
    }
};

}  // namespace

void narrowTabs(QTabWidget& tabs) {
    auto* style = new NarrowTabs;
    style->setParent(&tabs);
    tabs.tabBar()->setStyle(style);
}

void settleTabs(QTabWidget& tabs) { new SettledTabs(tabs); }

void frameFocus(QWidget& widget) { new FocusRing(widget); }

/// Puts a scroll area in the place of a widget, which becomes its contents.
static QScrollArea* scroll(QWidget& widget, Qt::ScrollBarPolicy bar) {
    QWidget* parent = widget.parentWidget();
    auto* area = new QScrollArea(parent);
    delete parent->layout()->replaceWidget(&widget, area);
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    area->setVerticalScrollBarPolicy(bar);
    const int barWidth = bar == Qt::ScrollBarAlwaysOff ? 0 : area->verticalScrollBar()->sizeHint().width();
    area->setMinimumWidth(widget.minimumSizeHint().width() + barWidth);
    area->setWidget(&widget);
    return area;
}

void scrollTabs(qtTharlenTest& window) {
    scroll(*window.ui.tabWidget, Qt::ScrollBarAlwaysOn);
    QScrollArea* graphics = scroll(*window.ui.frame_3, Qt::ScrollBarAlwaysOff);
    graphics->setFixedWidth(graphics->minimumWidth());
    new WheelScrolls(window);
    for (QLayout* outwards : {window.ui.frame->layout(), window.ui.centralwidget->layout(), window.layout()})
        outwards->activate();  // else the old least height holds until the window is shown
}

void fitToScreen(qtTharlenTest& window) {
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return;
    const QSize room = screen->availableSize() - QSize(0, kTitleBar);
    if (window.minimumSizeHint().height() > room.height())
        scrollTabs(window);
    window.resize(window.size().boundedTo(room));
}
