// How long the event loop is held on each tab, and what the window costs at rest.
#include <QAbstractEventDispatcher>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>

#include "device/simulated/armcontrol.h"
#include "figures.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

/// Notes each stretch for which the event loop worked without coming back to wait.
class StallMeter : public QObject {
public:
    StallMeter() {
        QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance();
        connect(dispatcher, &QAbstractEventDispatcher::awake, this, [this] { m_busy.start(); });
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, [this] {
            if (m_busy.isValid())
                m_stretches.push_back(static_cast<double>(m_busy.nsecsElapsed()) * 1e-6);
            m_busy.invalidate();
        });
    }
    std::vector<double> take() { return std::exchange(m_stretches, {}); }

private:
    QElapsedTimer m_busy;
    std::vector<double> m_stretches;  // ms
};

void spend(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

}  // namespace

std::vector<Figure> measureStalls(int secondsATab) {
    armcontrol::resetArm();
    resetProcessState();
    qtTharlenTest window;
    window.show();
    StallMeter meter;
    std::vector<Figure> figures;
    armcontrol::handMove({});
    for (int i = 0; i < window.ui.tabWidget->count(); ++i) {
        window.ui.tabWidget->setCurrentIndex(i);
        const std::string tab = window.ui.tabWidget->tabText(i).toStdString();
        if (tab == "Servoloop")
            window.ui.hapticRate_startButton->click();
        // A tab's first second, in which it is laid out and its scene made, stands apart.
        spend(1000);
        std::vector<double> first = meter.take();
        armcontrol::handDrag({25, 10, -10}, 30);
        spend(1000 * secondsATab);
        std::vector<double> later = meter.take();
        figures.push_back({"event loop held, " + tab,
                           "loop at 1000 Hz, hand moving",
                           {{"first second, largest", percentile(first, 1)},
                            {"p99", percentile(later, 0.99)},
                            {"largest", percentile(later, 1)}},
                           "ms",
                           "at most 16 ms"});
        armcontrol::handMove({});
    }
    return figures;
}

std::vector<Figure> measureRest(const std::string& restProgram, int seconds) {
    const auto use = [&](const char* what) {
        QProcess process;
        process.start(QString::fromStdString(restProgram), {what, QString::number(seconds)});
        process.waitForFinished(1000 * (seconds + 30));
        return process.readAllStandardOutput().toDouble();
    };
    std::vector<double> window, scene, ratio;
    for (int i = 0; i < 3; ++i) {
        scene.push_back(use("scene"));
        window.push_back(use("window"));
        ratio.push_back(window.back() / scene.back());
    }
    return {{"processor use at rest on \"Select\", graphical thread",
             "3 pairs, whole processes",
             {{"window", percentile(window, 0.5)}, {"one scene", percentile(scene, 0.5)}},
             "% of a core, median",
             ""},
            {"processor use at rest, window / one scene",
             "",
             {{"min", percentile(ratio, 0)}, {"median", percentile(ratio, 0.5)}, {"max", percentile(ratio, 1)}},
             "ratio",
             "at most 1.2"}};
}
