// Wake-up lateness of the simulated loop beside the shown and busy window, against cyclictest on the same machine
// in the same minutes: both ask for real-time scheduling where it is permitted.
#include <QApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QRegularExpression>
#include <QTimer>

#include "device/simulated/armcontrol.h"
#include "figures.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

using Histogram = std::vector<std::uint64_t>;

/// Microseconds below which `share` of the ticks lie.
double latenessAt(const Histogram& ticks, double share) {
    std::uint64_t all = 0;
    for (const std::uint64_t count : ticks)
        all += count;
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < ticks.size(); ++i) {
        seen += ticks[i];
        if (static_cast<double>(seen) >= share * static_cast<double>(all))
            return static_cast<double>(i);
    }
    return 0;
}

Figure figureOf(const std::string& subject, const std::string& conditions, const Histogram& ticks) {
    return {subject,
            conditions,
            {{"p50", latenessAt(ticks, 0.5)},
             {"p99", latenessAt(ticks, 0.99)},
             {"p99.9", latenessAt(ticks, 0.999)},
             {"largest", latenessAt(ticks, 1.0)}},
            "us",
            ""};
}

/// The event loop runs for so long; busy changes tabs and sizes the whole time.
void spend(qtTharlenTest& window, int seconds, bool busy) {
    QTimer work;
    int round = 0;
    QObject::connect(&work, &QTimer::timeout, [&] {
        window.ui.tabWidget->setCurrentIndex(1 + round % (window.ui.tabWidget->count() - 1));
        window.resize(900 + round % 7 * 40, 738 + round % 5 * 30);
        ++round;
    });
    if (busy)
        work.start(50);
    QEventLoop loop;
    QTimer::singleShot(1000 * seconds, &loop, &QEventLoop::quit);
    loop.exec();
}

/// cyclictest's histogram, beside the same window; empty when it cannot run.
Histogram cyclictest(qtTharlenTest& window, int seconds, int period, bool realTime, bool busy) {
    QStringList arguments{"-q", "-t1", "-h", "10000", "-D", QString::number(seconds), "-i", QString::number(period)};
    arguments << (realTime ? QStringList{"-p", "60", "-m"} : QStringList{"--policy=other"});
    QProcess process;
    process.start("cyclictest", arguments);
    if (!process.waitForStarted())
        return {};
    spend(window, seconds + 1, busy);
    process.waitForFinished(10000);
    Histogram ticks(10000);
    static const QRegularExpression line("^(\\d{6})\\s+(\\d+)", QRegularExpression::MultilineOption);
    for (auto match = line.globalMatch(process.readAllStandardOutput()); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        ticks[static_cast<std::size_t>(qMin(found.captured(1).toInt(), 9999))] += found.captured(2).toULongLong();
    }
    return ticks;
}

}  // namespace

std::vector<Figure> measureLostTicks(int seconds) {
    armcontrol::resetArm();
    resetProcessState();
    qtTharlenTest window;
    window.show();
    window.ui.tabWidget->setCurrentIndex(1);
    spend(window, 1, true);
    const armcontrol::State before = armcontrol::state();
    armcontrol::loopClearLateness();
    spend(window, seconds, true);
    const armcontrol::State after = armcontrol::state();
    Figure figure = figureOf("long run of the loop",
                             "1000 Hz, " + std::to_string(seconds) + " s, window busy, "
                                 + (after.realTime ? "real-time" : "ordinary") + " scheduling",
                             armcontrol::loopLateness());
    figure.values.push_back({"ticks", static_cast<double>(after.ticks - before.ticks)});
    figure.values.push_back({"ticks lost", static_cast<double>(after.lateTicks - before.lateTicks)});
    figure.goal = "no tick lost in ten minutes";
    return {figure};
}

std::vector<Figure> measureClearing() {
    constexpr int kRounds = 5, kLines = 100000;
    armcontrol::resetArm();
    resetProcessState();
    qtTharlenTest window;
    window.show();
    window.ui.tabWidget->setCurrentIndex(1);
    const QString lines = QString("Device Warning: Device exceeded max velocity.\n").repeated(kLines - 1) + "the last";
    std::vector<double> took;
    std::uint64_t lost = 0;
    for (int round = 0; round < kRounds; ++round) {
        window.ui.error_browser->setPlainText(lines);
        spend(window, 1, false);
        const std::uint64_t before = armcontrol::state().lateTicks;
        QElapsedTimer time;
        time.start();
        window.ui.pushButton_3->click();
        took.push_back(static_cast<double>(time.nsecsElapsed()) * 1e-6);
        lost += armcontrol::state().lateTicks - before;
    }
    return {{"\"Clear\" on 100,000 lines of errors",
             "1000 Hz, five times",
             {{"median, ms", percentile(took, 0.5)},
              {"longest, ms", percentile(took, 1.0)},
              {"late ticks", static_cast<double>(lost)}},
             "",
             "no late tick"}};
}

std::vector<Figure> measureUnderLoad(int seconds) {
    armcontrol::resetArm();
    resetProcessState();
    qtTharlenTest window;
    window.show();
    window.ui.tabWidget->setCurrentIndex(1);
    spend(window, 1, false);
    std::vector<Figure> figures;
    for (const bool loaded : {false, true}) {
        if (loaded) {
            window.loadProcessor();
            window.ui.lineEdit_6->setText("100000000");
            window.loadMemory();
        }
        armcontrol::loopClearLateness();
        const std::uint64_t lostBefore = armcontrol::state().lateTicks;
        spend(window, seconds, false);
        Figure figure = figureOf("wake-up lateness of the loop",
                                 std::string("1000 Hz, ") + (loaded ? "processor and memory load on" : "without load"),
                                 armcontrol::loopLateness());
        figure.values.push_back({"ticks lost", static_cast<double>(armcontrol::state().lateTicks - lostBefore)});
        figures.push_back(figure);
    }
    window.releaseProcessor();
    window.releaseMemory();
    return figures;
}

std::vector<Figure> measureLateness(int seconds) {
    armcontrol::resetArm();
    resetProcessState();
    qtTharlenTest window;
    window.show();
    window.ui.tabWidget->setCurrentIndex(1);
    std::vector<Figure> figures;
    for (const int rate : {1000, 2000, 3000, 4000}) {
        for (const bool busy : {false, true}) {
            setServoLoopRate(rate);
            spend(window, 1, busy);
            const std::uint64_t lostBefore = armcontrol::state().lateTicks;
            armcontrol::loopClearLateness();
            spend(window, seconds, busy);
            const Histogram ours = armcontrol::loopLateness();
            const armcontrol::State state = armcontrol::state();
            const std::string conditions = std::to_string(rate) + " Hz, " + (busy ? "window busy, " : "window idle, ")
                                           + (state.realTime ? "real-time" : "ordinary") + " scheduling";
            Figure loop = figureOf("wake-up lateness of the loop", conditions, ours);
            loop.values.push_back({"ticks lost", static_cast<double>(state.lateTicks - lostBefore)});
            figures.push_back(loop);
            const Histogram theirs = cyclictest(window, seconds, 1000000 / rate, state.realTime, busy);
            figures.push_back(figureOf("wake-up lateness of cyclictest", conditions, theirs));
            figures.push_back({"p99.9 of the loop / cyclictest",
                               conditions,
                               {{"ratio", latenessAt(ours, 0.999) / qMax(1.0, latenessAt(theirs, 0.999))}},
                               "",
                               "at most 1.1 where real-time scheduling is permitted"});
        }
    }
    return figures;
}
