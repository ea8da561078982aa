// Wake-up lateness of the simulated loop beside the shown window, in turns with a program that does nothing but wake:
// cyclictest with the loop's priority, or where there is no real-time scheduling a bare thread of bareloop. Of
// cyclictest's ordinary scheduling there would be little to learn: it keeps the system's timer slack of 50
// microseconds, which the loop gives up.
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>
#include <memory>
#include <numeric>

#include "device/simulated/armcontrol.h"
#include "machine.h"
#include "qttharlentest.h"
#include "servostate.h"
#include "topics.h"

namespace {

constexpr std::size_t kPlaces = 100000;  // of cyclictest's histogram

/// Wake-ups by lateness in whole microseconds, and the periods that went by without one; or why there are none.
struct Wakeups {
    std::vector<std::uint64_t> places;
    double lost = 0;
    std::string why;

    double count() const {
        return static_cast<double>(std::accumulate(places.begin(), places.end(), std::uint64_t{0}));
    }
    /// Microseconds below which `share` of the wake-ups lie.
    Reading at(double share) const {
        if (!why.empty())
            return Reading::none(why);
        const double enough = share * count();
        double seen = 0;
        for (std::size_t i = 0; i < places.size(); ++i) {
            seen += static_cast<double>(places[i]);
            if (seen > 0 && seen >= enough)
                return static_cast<double>(i + 1);
        }
        return Reading::none("nothing woke");
    }
    Reading periodsLost() const { return why.empty() ? Reading(lost) : Reading::none(why); }
};

/// Wake-ups and the periods lost between them fill the time of a turn, but where something did not run in it.
void refuseFew(Wakeups& wakeups, int rate, int seconds) {
    if (wakeups.why.empty() && wakeups.count() + wakeups.lost < rate * seconds / 2.0)
        wakeups.why = "of " + std::to_string(rate * seconds) + " wake-ups there were "
                      + std::to_string(static_cast<long>(wakeups.count()));
}

/// The window on "Select". Without a thread for the loop it shows and does the same, and no loop stands in the way of
/// who else is to wake.
std::unique_ptr<qtTharlenTest> shownWindow(bool withLoop) {
    armcontrol::resetArm();
    armcontrol::loopStepped(!withLoop);
    resetProcessState();
    auto window = std::make_unique<qtTharlenTest>();
    window->show();
    window->ui.tabWidget->setCurrentIndex(1);
    return window;
}

/// For so long, or until the process ends. Busy changes tabs and sizes the whole time.
void spendBeside(qtTharlenTest& window, int milliseconds, bool busy, QProcess* process = nullptr) {
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
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    if (process)
        QObject::connect(process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &loop,
                         &QEventLoop::quit);
    loop.exec();
}

Wakeups ofLoop(qtTharlenTest& window, int rate, int seconds, bool realTime, bool busy) {
    const std::uint64_t lostBefore = armcontrol::state().lateTicks;
    armcontrol::loopClearLateness();
    spendBeside(window, 1000 * seconds, busy);
    const armcontrol::State state = armcontrol::state();
    Wakeups wakeups{armcontrol::loopLateness(), static_cast<double>(state.lateTicks - lostBefore), {}};
    if (state.realTime != realTime)
        wakeups.why = realTime ? "the loop got no real-time scheduling" : "the loop has real-time scheduling";
    else if (state.rate != rate)
        wakeups.why = "the loop is at " + std::to_string(state.rate) + " Hz";
    refuseFew(wakeups, rate, seconds);
    return wakeups;
}

/// Lines of a number of microseconds and a count. A period is lost for each whole one by which a wake-up is late, as
/// the loop counts them.
Wakeups understood(const QByteArray& output, int period) {
    Wakeups wakeups{std::vector<std::uint64_t>(kPlaces), 0, {}};
    for (const QByteArray& line : output.split('\n')) {
        const QList<QByteArray> words = line.simplified().split(' ');
        bool isPlace = false, isCount = false;
        const qulonglong place = words.value(0).toULongLong(&isPlace);
        const qulonglong count = words.value(1).toULongLong(&isCount);
        if (words.size() != 2 || !isPlace || !isCount)
            continue;
        wakeups.places[qMin<qulonglong>(place, kPlaces - 1)] += count;
        wakeups.lost += static_cast<double>(count * (place / static_cast<unsigned>(period)));
    }
    // "# Histogram Overflows: 00002": past the last place, each.
    const int at = output.indexOf("# Histogram Overflows: ");
    if (at >= 0) {
        const qulonglong beyond = output.mid(at + 23, 5).toULongLong();
        wakeups.places.back() += beyond;
        wakeups.lost += static_cast<double>(beyond * (kPlaces / static_cast<unsigned>(period)));
    }
    return wakeups;
}

const char* otherName(bool realTime) { return realTime ? "cyclictest" : "bare thread"; }

Wakeups ofOther(qtTharlenTest& window, const Options& options, int rate, int seconds, bool realTime, bool busy) {
    const int period = 1000000 / rate;
    QString program = "cyclictest";
    QStringList arguments =
        QString("-q -t1 -m -p 60 -h %1 -D %2 -i %3").arg(kPlaces).arg(seconds).arg(period).split(' ');
    if (!realTime) {
        program = QString::fromStdString(options.folder) + "/bareloop";
        arguments = QStringList{QString::number(period), QString::number(seconds)};
    }
    const std::string name = program.section('/', -1).toStdString();
    QProcess process;
    process.start(program, arguments);
    if (!process.waitForStarted())
        return {{}, 0, name + " cannot be started" + (realTime ? "; it is in the package rt-tests" : "")};
    spendBeside(window, 1000 * seconds + 5000, busy, &process);
    if (process.state() != QProcess::NotRunning) {
        process.kill();
        process.waitForFinished();
        return {{}, 0, name + " did not end"};
    }
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return {{}, 0, name + " failed: " + process.readAllStandardError().simplified().toStdString()};
    const QByteArray output = process.readAllStandardOutput();
    if (output.trimmed().isEmpty())
        return {{}, 0, name + " printed nothing"};
    Wakeups wakeups = understood(output, period);
    refuseFew(wakeups, rate, seconds);
    return wakeups;
}

void addLateness(Figure& figure, const std::string& of, const Wakeups& wakeups) {
    for (const auto& [name, share] : {std::pair("p50", 0.5), {"p99", 0.99}, {"p99.9", 0.999}, {"largest", 1.0}})
        figure.add(of + " " + name, "us", wakeups.at(share));
    figure.add(of + " lost", "ticks", wakeups.periodsLost());
}

std::string schedulingName(bool realTime) { return realTime ? "real-time scheduling" : "ordinary scheduling"; }

/// A pair of each rate, window idle and busy.
void addPairs(Table& table, const Options& options, int pair, bool realTime) {
    const int seconds = options.turn(2);
    for (const int rate : {1000, 2000, 3000, 4000}) {
        Wakeups loop[2], other[2];  // idle, busy
        inTurn(
            pair,
            [&] {
                const auto window = shownWindow(true);
                setServoLoopRate(rate);
                spendBeside(*window, 300, false);
                for (const bool busy : {false, true})
                    loop[busy] = ofLoop(*window, rate, seconds, realTime, busy);
            },
            [&] {
                const auto window = shownWindow(false);
                spendBeside(*window, 300, false);
                for (const bool busy : {false, true})
                    other[busy] = ofOther(*window, options, rate, seconds, realTime, busy);
            });
        for (const bool busy : {false, true}) {
            Figure& figure =
                table.figure("wake-up lateness", std::to_string(rate) + " Hz, window " + (busy ? "busy, " : "idle, ")
                                                     + schedulingName(realTime));
            addLateness(figure, "loop", loop[busy]);
            addLateness(figure, otherName(realTime), other[busy]);
            figure.add(std::string("p99.9, loop / ") + otherName(realTime), "",
                       loop[busy].at(0.999) / other[busy].at(0.999), atMost(1.1));
        }
    }
}

}  // namespace

void measureLateness(Table& table, const Options& options) {
    if (!realTimePermitted())
        return table.missing("wake-up lateness, real-time scheduling", "real-time scheduling is not permitted");
    for (const int pair : {0, 1})
        addPairs(table, options, pair, true);
}

void measureOrdinaryLateness(Table& table, const Options& options) {
    const OrdinaryScheduling ordinary;
    if (realTimePermitted())
        return table.missing("wake-up lateness, ordinary scheduling", "real-time scheduling cannot be given up");
    addPairs(table, options, options.round, false);
}

void measureLostTicks(Table& table, const Options& options) {
    constexpr int kRate = 1000;
    const int seconds = options.turn(20);
    const bool realTime = realTimePermitted();
    Wakeups loop, other;
    inTurn(
        options.round,
        [&] {
            const auto window = shownWindow(true);
            spendBeside(*window, 1000, true);
            loop = ofLoop(*window, kRate, seconds, realTime, true);
        },
        [&] {
            const auto window = shownWindow(false);
            spendBeside(*window, 1000, true);
            other = ofOther(*window, options, kRate, seconds, realTime, true);
        });
    const std::string name = otherName(realTime);
    Figure& figure = table.figure("long run", "1000 Hz, window busy, " + schedulingName(realTime));
    addLateness(figure, "loop", loop);
    addLateness(figure, name, other);
    figure.add("lost, loop - " + name, "ticks", loop.periodsLost() - other.periodsLost(), togetherAtMost(0));
}

void measureClearing(Table& table, const Options&) {
    constexpr int kLines = 100000;
    const auto window = shownWindow(true);
    const QString lines = QString("Device Warning: Device exceeded max velocity.\n").repeated(kLines - 1) + "the last";
    window->ui.error_browser->setPlainText(lines);
    spendBeside(*window, 1000, false);
    const std::uint64_t before = armcontrol::state().lateTicks;
    QElapsedTimer time;
    time.start();
    window->ui.pushButton_3->click();
    Figure& figure = table.figure("\"Clear\" on 100,000 lines of errors", "loop at 1000 Hz");
    figure.add("taken", "ms", static_cast<double>(time.nsecsElapsed()) * 1e-6);
    const auto lost = static_cast<double>(armcontrol::state().lateTicks - before);
    figure.add("lost", "ticks", armcontrol::state().loopRunning ? lost : Reading::none("the loop does not run"),
               togetherAtMost(0));
}

void measureUnderLoad(Table& table, const Options& options) {
    const int seconds = options.turn(3);
    const bool realTime = realTimePermitted();
    const auto window = shownWindow(true);
    spendBeside(*window, 500, false);
    for (const bool loaded : {false, true}) {
        if (loaded) {
            window->loadProcessor();
            window->ui.lineEdit_6->setText("100000000");
            window->loadMemory();
        }
        const std::string conditions = loaded ? "processor and memory load on, " : "without load, ";
        addLateness(table.figure("wake-up lateness under load", "1000 Hz, " + conditions + schedulingName(realTime)),
                    "loop", ofLoop(*window, 1000, seconds, realTime, false));
    }
    window->releaseProcessor();
    window->releaseMemory();
}
