// endurance [--hours H] [--trace FILE] [device ...]: the closed-loop encoder test on the stepped simulated arm,
// each line that has a route (or the devices named) for H simulated hours, 8 by default. Prints a row a device;
// with --trace, writes set point, encoder and command of each axis, tick by tick, from the start to the end of the
// first round.
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "gestures.h"
#include "modellines.h"
#include "qttharlentest.h"
#include "residentmemory.h"
#include "servostate.h"

namespace {

constexpr long kSlice = 1000;         ///< ticks between two looks of the window
constexpr long kWarmUp = 300 * 1000;  ///< ticks until memory is read for the first time

struct Arguments {
    double hours = 8;
    std::string trace;
    std::vector<std::string> devices{"Default Device", "Orda LAN",    "Orda High Force",
                                     "Corvale USB",    "Corvale LAN", "Corvale 1394"};
};

struct Outcome {
    long ticks = 0, rounds = 0, testPoints = 0, aborts = 0, saturated = 0;
    double residentStart = 0, residentEnd = 0, hottest = 0, realSeconds = 0;
    long worstError = 0;
};

bool readArguments(int argc, char** argv, Arguments& arguments) {
    std::vector<std::string> devices;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word != "--hours" && word != "--trace") {
            devices.push_back(word);
            continue;
        }
        if (++i == argc)
            return false;
        if (word == "--trace")
            arguments.trace = argv[i];
        else
            arguments.hours = std::atof(argv[i]);
    }
    if (!devices.empty())
        arguments.devices = devices;
    return arguments.hours > 0 && arguments.hours <= 1000 && (devices.empty() || devices[0][0] != '-');
}

/// One run, tick by tick where somebody looks at each.
class Run {
public:
    Run(qtTharlenTest& window, const std::string& name, std::ofstream* trace)
        : m_window(window), m_name(name), m_trace(trace) {}

    Outcome go(long ticks) {
        QElapsedTimer timer;
        timer.start();
        m_window.initEncoderTest();
        for (m_outcome.ticks = 0; m_outcome.ticks < ticks; m_outcome.ticks += kSlice) {
            if (m_outcome.ticks == kWarmUp)
                m_outcome.residentStart = residentMegabytes();
            for (long tick = 0; tick < kSlice; ++tick)
                step();
            m_window.showEncoderTestEvents();
            QCoreApplication::processEvents();
            for (int axis = 0; axis < 3; ++axis)
                m_outcome.hottest = std::max(m_outcome.hottest, armcontrol::state().winding[axis]);
        }
        m_window.stopEncoderTest();
        finish(1e-3 * static_cast<double>(timer.elapsed()));
        return m_outcome;
    }

private:
    void step() {
        const bool pushed = seekingTestPoint;
        armcontrol::step(1);
        if (m_window.m_bServoControl && !pushed && !seekingTestPoint) {
            for (int axis = 0; axis < 3; ++axis) {
                const long error = encoderTestEncoders[axis] - m_window.m_lDesirePos[axis];
                m_outcome.worstError = std::max(m_outcome.worstError, std::labs(error));
                m_outcome.saturated += std::labs(m_window.m_lDACvalues[axis]) >= m_window.m_fPosMaxDAC;
            }
        }
        if (m_trace)
            writeTrace();
    }
    void writeTrace() {
        *m_trace << m_name << ',' << encoderTestTime.elapsed() << ',' << m_window.m_iButtonStep << ','
                 << seekingTestPoint;
        for (int axis = 0; axis < 3; ++axis)
            *m_trace << ',' << m_window.m_lDesirePos[axis] << ',' << encoderTestEncoders[axis] << ','
                     << m_window.m_lDACvalues[axis];
        *m_trace << '\n';
        if (totalLoops >= 2)  // the first test point and one loop
            m_trace = nullptr;
    }
    void finish(double seconds) {
        const QString log = m_window.ui.encoderTest_debug->toPlainText();
        m_outcome.testPoints = log.count("Encoder Angles");
        m_outcome.aborts = log.count("Error (");
        m_outcome.rounds = totalLoops - m_outcome.testPoints;
        m_outcome.residentEnd = residentMegabytes();
        m_outcome.realSeconds = seconds;
    }

    qtTharlenTest& m_window;
    const std::string m_name;
    std::ofstream* m_trace;
    Outcome m_outcome;
};

bool runDevice(const std::string& name, double hours, std::ofstream* trace) {
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    seekingTestPoint = false;
    nextTempWarning = 75.0f;
    qtTharlenTest window;
    window.ui.tabWidget->setCurrentIndex(1);
    window.ui.m_cmbTHARLeN->setCurrentText(QString::fromStdString(name));
    if (window.csTharlenID < 0 || !window.modelLine().endurance
        || window.ui.m_cmbTHARLeN->currentText().toStdString() != name) {
        std::fprintf(stderr, "%s: no such device, or one without a route\n", name.c_str());
        return false;
    }
    Gestures hand;
    hand.calibrate(window.csTharlenID);
    hand.letGoAt({}, 1500, 0);
    const Outcome o = Run(window, name, trace).go(std::lround(hours * 3.6e6));
    std::printf("%-16s %6.2f %8.1f %7ld %7.2f %6ld %6ld %6ld %6.1f %8.1f %8.1f\n", name.c_str(),
                static_cast<double>(o.ticks) / 3.6e6, o.realSeconds, o.rounds,
                o.rounds ? (static_cast<double>(o.ticks) * 1e-3 - 5.0 * static_cast<double>(o.testPoints))
                               / static_cast<double>(o.rounds)
                         : 0.0,
                o.aborts, o.worstError, o.saturated, o.hottest, o.residentStart, o.residentEnd);
    std::fflush(stdout);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    Arguments arguments;
    if (!readArguments(argc, argv, arguments)) {
        std::fprintf(stderr, "endurance [--hours H] [--trace FILE] [device ...]\n");
        return 2;
    }
    if (!qEnvironmentVariableIsSet("DISPLAY") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");  // the window is never shown
    const QTemporaryDir home;
    QDir(home.path()).mkdir("config");
    qputenv("KNDD_HOME", home.path().toLocal8Bit());
    qputenv("NOLVA_ARM_SOCKET", "off");
    QApplication application(argc, argv);
    testClock = &armcontrol::armMilliseconds;

    std::ofstream trace;
    if (!arguments.trace.empty()) {
        trace.open(arguments.trace);
        trace << "device,ms,step,testpoint,setx,encx,dacx,sety,ency,dacy,setz,encz,dacz\n";
    }
    std::printf("%-16s %6s %8s %7s %7s %6s %6s %6s %6s %8s %8s\n", "device", "hours", "real s", "rounds", "s/round",
                "aborts", "error", "satur.", "deg C", "MB start", "MB end");
    bool good = true;
    for (const std::string& device : arguments.devices)
        good = runDevice(device, arguments.hours, trace.is_open() ? &trace : nullptr) && good;
    if (trace.is_open() && !trace.flush()) {
        std::fprintf(stderr, "%s cannot be written\n", arguments.trace.c_str());
        return 1;
    }
    return good ? 0 : 1;
}
