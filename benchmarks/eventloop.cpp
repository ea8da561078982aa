// How long the event loop is held at a time: on each tab beside a bare window, and under a slider.
#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QMainWindow>
#include <QTimer>
#include <optional>
#include <stdexcept>
#include <utility>

#include "device/simulated/armcontrol.h"
#include "qttharlendraw.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "tabs.h"
#include "topics.h"

namespace {

constexpr int kSettle = 500;  // ms, in which a tab is laid out and its scene made

/// Notes each stretch from the first event that is handled to where the loop looks for new ones: timers' slots, paints
/// and input alike. The toolkit's own dispatcher sends what was posted, looks, waiting only where nothing was posted
/// meanwhile, and then calls timers and sockets: where it did not wait, the first of those tells that it has looked.
class StallMeter : public QObject {
public:
    StallMeter() {
        QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
        connect(dispatcher, &QAbstractEventDispatcher::awake, this, [this] { m_looked = false; });
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] { look(); });
        QCoreApplication::instance()->installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override {
        if (!m_looked && (event->type() == QEvent::Timer || event->type() == QEvent::SockAct))
            look();
        if (!m_busy.isValid())
            m_busy.start();
        return false;
    }
    std::vector<double> take() {
        m_busy.invalidate();
        return std::exchange(m_stretches, {});
    }

private:
    void look() {
        if (m_busy.isValid())
            m_stretches.push_back(static_cast<double>(m_busy.nsecsElapsed()) * 1e-6);
        m_busy.invalidate();
        m_looked = true;
    }

    QElapsedTimer m_busy;
    bool m_looked = true;             // since the dispatcher last began anew
    std::vector<double> m_stretches;  // ms
};

/// An empty window of the application's size in which the device graphic is the one widget that paints, beside a loop
/// that calls a callback without work.
class BareWindow {
public:
    BareWindow() {
        static const std::pair<QSize, QRect> model = [] {
            const qtTharlenTest window;
            return std::pair(window.size(), window.ui.glDrawWidget1->geometry());
        }();
        armcontrol::resetArm();
        m_window.resize(model.first);
        auto* place = new QWidget(&m_window);
        place->setGeometry(model.second);
        createServoLoop();
        new qtTharlenDraw(init_tharlen("Default Device"), place);
        startServoLoop([](void*) { return 0; }, nullptr);
        m_window.show();
    }
    ~BareWindow() { stopServoLoop(); }

private:
    QMainWindow m_window;
};

struct Held {
    std::vector<double> entering, later;  // ms
    std::string why;
};

/// The hand goes there and back.
Held heldWhileMoving(StallMeter& meter, int milliseconds) {
    meter.take();
    const std::uint64_t ticksBefore = armcontrol::state().ticks;
    const double speed = 2000 * 29.0 / milliseconds;  // mm/s
    armcontrol::handDrag({25, 10, -10}, speed);
    spend(milliseconds / 2);
    armcontrol::handDrag({0, 0, 0}, speed);
    spend(milliseconds / 2);
    Held held{{}, meter.take(), {}};
    if (armcontrol::state().ticks < ticksBefore + static_cast<std::uint64_t>(milliseconds) / 2)
        held.why = "the loop did not run";
    return held;
}

void goTo(qtTharlenTest& window, const Tab& tab) {
    setModes(window, tab.index > 0 && !(tab.modes & Tab::kUser), tab.modes & Tab::kEncoderCheck,
             tab.modes == Tab::kPerformance);
    placeTab(window, tab.title);
    window.ui.tabWidget->setCurrentWidget(window.ui.*tab.page);
    if (tab.index == 11)
        window.ui.hapticRate_startButton->click();
}

/// The device is opened on "Select", which is then left where another tab is asked for. `page`: the row of the list of
/// engineering pages, or the one that shows at first.
Held heldOn(const Tab& tab, std::optional<int> page, int milliseconds) {
    constexpr int kCorvale = 4;  // place in the fleet
    armcontrol::resetArm();
    resetProcessState();
    qtTharlenTest window;
    auto& ui = window.ui;
    window.show();
    ui.tabWidget->setCurrentIndex(1);
    if (tab.index == 4 || tab.index == 5)  // tabs of that line
        ui.m_cmbTHARLeN->setCurrentIndex(kCorvale);
    armcontrol::handMove({});
    spend(300);
    StallMeter meter;
    goTo(window, tab);
    if (page)
        ui.listWidget->setCurrentRow(*page);
    spend(kSettle);
    std::vector<double> entering = meter.take();
    Held held = heldWhileMoving(meter, milliseconds);
    held.entering = std::move(entering);
    if (ui.tabWidget->currentWidget() != ui.*tab.page || (page && ui.listWidget->currentRow() != *page))
        held.why = "the tab could not be entered";
    return held;
}

Held heldBare(int milliseconds) {
    BareWindow bare;
    armcontrol::handMove({});
    StallMeter meter;
    spend(kSettle);
    return heldWhileMoving(meter, milliseconds);
}

Reading stretch(const Held& held, double share) {
    return held.why.empty() ? percentile(held.later, share) : Reading::none(held.why);
}

}  // namespace

void spend(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

void measureStalls(Table& table, const Options& options) {
    struct Place {
        const Tab* tab;
        std::optional<int> page;
        std::string name;
    };
    static const std::vector<Place> places = [] {
        const qtTharlenTest model;
        std::vector<Place> all;
        for (const Tab& tab : Tab::all) {
            if (tab.modes != Tab::kPerformance) {
                all.push_back({&tab, std::nullopt, tab.title});
                continue;
            }
            for (int row = 0; row < model.ui.listWidget->count(); ++row)
                all.push_back({&tab, row, model.ui.listWidget->item(row)->text().toStdString()});
        }
        return all;
    }();
    const int milliseconds = options.seconds > 0 ? 1000 * options.seconds : 1500;
    int pair = options.round;
    for (const Place& place : places) {
        if (place.name.find(options.place) == std::string::npos)
            continue;
        Held window, bare;
        inTurn(
            pair++, [&] { window = heldOn(*place.tab, place.page, milliseconds); },
            [&] { bare = heldBare(milliseconds); });
        Figure& figure = table.figure("event loop held, " + place.name, "loop at 1000 Hz, hand moving");
        for (const auto& [name, share] : {std::pair("p99.9", 0.999), {"largest", 1.0}}) {
            const Reading ours = stretch(window, share), theirs = stretch(bare, share);
            figure.add(name, "ms", ours);
            figure.add(std::string(name) + ", bare window", "ms", theirs);
            figure.add(std::string(name) + ", window / bare", "", ours / theirs, atMost(1.2));
        }
        figure.add("largest as it is entered", "ms", percentile(window.entering, 1));
    }
    if (pair == options.round)
        throw std::runtime_error("No tab and no page has \"" + options.place + "\" in its name.");
}

// As a hand on the mouse: what lies between two looks at the pointer is passed over, also where looking is late.
void measureSlider(Table& table, const Options&) {
    constexpr int kStroke = 1000, kPointer = 8;  // ms: end to end, and between two positions of the pointer
    armcontrol::resetArm();
    resetProcessState();
    qtTharlenTest window;
    window.show();
    auto& ui = window.ui;
    ui.tabWidget->setCurrentIndex(1);
    armcontrol::handMove({});
    ui.tabWidget->setCurrentWidget(ui.tab_7);
    armcontrol::setFault("no-amplifier-follow", true);
    spend(kSettle);

    StallMeter meter;
    QElapsedTimer since;
    QTimer pointer;
    QSlider& slider = *ui.slider_X;
    int moves = 0;
    QObject::connect(&slider, &QSlider::valueChanged, [&moves] { ++moves; });
    QObject::connect(&pointer, &QTimer::timeout, [&] {
        const auto way = static_cast<int>(qMin<qint64>(since.elapsed(), kStroke));
        slider.setValue(slider.minimum() + (slider.maximum() - slider.minimum()) * way / kStroke);
    });
    pointer.setTimerType(Qt::PreciseTimer);
    since.start();
    pointer.start(kPointer);
    spend(kStroke + 200);
    pointer.stop();
    const std::vector<double> held = meter.take();
    table.figure("event loop held, a slider of \"Test Forces\"", "end to end in a second, amplifiers do not follow")
        .add("longest", "ms", moves > 0 ? percentile(held, 1) : Reading::none("the slider did not move"), atMost(50));
    armcontrol::clearFaults();
}
