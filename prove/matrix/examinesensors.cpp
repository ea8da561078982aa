// Selecting, calibrating, encoders, switches and the gimbal's recorder.
#include <QFile>
#include <cmath>

#include "device/simulated/armcontrol.h"
#include "examiner.h"

using armcontrol::Vec3;

namespace {

constexpr const char* kAxes[6] = {"X", "Y", "Z", "gimbal X", "gimbal Y", "gimbal Z"};
constexpr Pace kBrisk{1.3};

bool green(const QWidget* widget) { return widget->styleSheet().contains("rgb(0,200,0)"); }

long shownCount(const QLabel* label) { return label->text().toLong(); }

std::array<QLabel*, 6> countLabels(const Ui::qtTharlenTestClass& ui) {
    return {ui.encoder_X, ui.encoder_Y, ui.encoder_Z, ui.gimbal_X, ui.gimbal_Y, ui.gimbal_Z};
}

}  // namespace

// --- Select ------------------------------------------------------------------------------------------

void Examiner::select() {
    auto& ui = m_window.ui;
    m_bench.spend(m_bench.manner.wait(100, 400));
    const QString refused = m_bench.person->next("Select");
    if (!refused.isEmpty())
        m_findings.said(refused);
    const int index = ui.m_cmbTHARLeN->findText(m_bench.cell.subject.name);
    if (index < 0) {
        m_findings.saw("the device is not in the list");
        return;
    }
    if (index == 0)
        ui.m_cmbTHARLeN->setCurrentIndex(1);
    m_bench.spend(m_bench.manner.wait(200, 600));
    m_bench.switchFault();
    ui.m_cmbTHARLeN->setCurrentIndex(index);
    m_bench.spend(m_bench.manner.wait(1700, 2500));
    const QString text = ui.textBrowser->toPlainText();
    for (const char* bad : {"Device initialization problem", "Error starting ServoLoop"}) {
        if (text.contains(bad))
            m_findings.said(bad);
    }
    if (ui.hardwareSerial_lineedit->text().isEmpty())
        m_findings.saw("no serial number is shown");
}

void Examiner::examine() {
    static constexpr void (Examiner::*kSteps[kTests])() = {nullptr,
                                                           &Examiner::calibrate,
                                                           &Examiner::calibrationDetails,
                                                           &Examiner::readEncoder,
                                                           &Examiner::cycleAmps,
                                                           &Examiner::testForces,
                                                           &Examiner::testFriction,
                                                           &Examiner::testCapstan,
                                                           &Examiner::boxTest,
                                                           &Examiner::servoloop,
                                                           &Examiner::encoderTest,
                                                           &Examiner::gimbalTrace};
    m_bench.enter();
    (this->*kSteps[static_cast<int>(m_bench.cell.test)])();
    m_bench.spend(600);  // the error browser shows a line within half a second
}

// --- Calibrate ---------------------------------------------------------------------------------------

void Examiner::calibrate() {
    m_bench.underWay();
    m_bench.person->calibrate(kBrisk);
    if (!m_window.repData->bCalibrationPass || !green(m_window.ui.calibrate_button))
        m_findings.said("the calibration is not done");
}

// --- Calibration Details -----------------------------------------------------------------------------

void Examiner::calibrationDetails() {
    auto& ui = m_window.ui;
    m_bench.underWay();
    m_hand.sweepAxes(0, 3, kBrisk);
    const QString flags = ui.calibDetails_textBox1->toPlainText();
    const QString inputs = ui.calibDetails_textBox2->toPlainText();
    for (const QString& line : (flags + '\n' + inputs).split('\n')) {
        if (line.contains("(invalid)") || line.contains("Yes") || line.contains("ERR"))
            m_findings.said(line.simplified());
    }
    // Still held: the raw counts stay as they are.
    const auto rawCounts = [&ui] {
        QStringList counts;
        for (const QString& line : ui.calibDetails_textBox2->toPlainText().split('\n').mid(0, 3))
            counts << line.section(' ', -1);
        return counts;
    };
    const QStringList before = rawCounts();
    m_bench.spend(m_bench.manner.wait(4000, 5000));
    const QStringList after = rawCounts();
    for (int axis = 0; axis < 3; ++axis) {
        if (qAbs(after.value(axis).toInt() - before.value(axis).toInt()) >= 3)
            m_findings.saw(QString("the raw count of %1 runs on while the arm is held").arg(kAxes[axis]));
    }
    // The verdicts are taken as the tab is left, which must not be for one that discards the calibration.
    ui.tabWidget->setCurrentWidget(ui.tab_3);
    const int revision = get_hardware_rev(m_window.csTharlenID);
    const bool comb = revision >= 2 && revision < 8;
    const bool* const flagsPass = comb ? m_window.bFlagPassRev7 : m_window.bFlagPass;
    for (int i = 0; i < (comb ? 7 : 3); ++i) {
        if (!flagsPass[i])
            m_findings.said(QString("home flag %1 does not pass").arg(i + 1));
    }
    for (int i = 0; comb && i < 4; ++i) {
        if (!m_window.bGapPass[i])
            m_findings.said(QString("gap %1 does not pass").arg(i + 1));
    }
}

// --- Read Encoder ------------------------------------------------------------------------------------

void Examiner::readEncoder() {
    m_bench.underWay();
    const bool gimbal = armcontrol::state().gimbal;
    for (const int axis : m_bench.manner.order(gimbal ? 6 : 3))
        sweepAndCompare(axis);
    holdStill();
    feelForFriction();
    auto& ui = m_window.ui;
    if (m_bench.cell.subject.buttons > 0)
        workButton("stylus", ui.stylusButton_1, 0);
    if (m_bench.cell.subject.buttons > 1)
        workButton("second", ui.stylusButton_2, 1);
    workInkWell();
    readVerdicts();
}

/// The count has to follow the axis that is moved, as far as it usually does.
void Examiner::sweepAndCompare(int axis) {
    const QLabel* label = countLabels(m_window.ui)[static_cast<std::size_t>(axis)];
    long least = shownCount(label), most = least;
    Gestures watched(
        [&](int milliseconds) {
            for (int spent = 0; spent < milliseconds; spent += 20) {
                m_bench.spend(20);
                least = qMin(least, shownCount(label));
                most = qMax(most, shownCount(label));
            }
        },
        m_bench.manner);
    watched.sweep(axis, {axis < 3 ? 1.5 : 3.0});
    if (most - least <= 2)
        m_findings.saw(QString("the count of %1 does not move with the axis").arg(kAxes[axis]));
    m_findings.read(QString("counts from stop to stop of %1").arg(kAxes[axis]), static_cast<double>(most - least),
                    {0.97, 1.03, 4});
}

void Examiner::holdStill() {
    const auto labels = countLabels(m_window.ui);
    m_hand.hold(m_hand.center(), 1500);
    long before[6];
    for (int i = 0; i < 6; ++i)
        before[i] = shownCount(labels[static_cast<std::size_t>(i)]);
    m_bench.spend(m_bench.manner.wait(4000, 5000));
    for (int i = 0; i < 6; ++i) {
        if (qAbs(shownCount(labels[static_cast<std::size_t>(i)]) - before[i]) >= 3)
            m_findings.saw(QString("the count of %1 runs on while the arm is held").arg(kAxes[i]));
    }
}

/// Slowly to and fro: a bearing that sticks drags at the hand. What it adds has to be felt at all, and to be more
/// than the half of what is usual.
void Examiner::feelForFriction() {
    for (int axis = 0; axis < 3; ++axis) {
        Vec3 from = m_hand.center(), to = from;
        from[static_cast<std::size_t>(axis)] -= 20;
        to[static_cast<std::size_t>(axis)] += 20;
        const double speed = 50 * m_bench.manner.between(0.85, 1.15);
        const double there = m_hand.drag(from, to, speed), back = m_hand.drag(to, from, speed);
        m_findings.read(QString("drag along %1, N").arg(kAxes[axis]), 0.5 * (there + back), {0.5, 1.5, 0.2});
    }
}

/// Presses and releases, and looks at the button's text: it follows, and changes once each time.
void Examiner::workButton(const char* name, QPushButton* button, int number) {
    const int presses = 8;
    for (int i = 0; i < 2 * presses; ++i) {
        const bool on = i % 2 == 0;
        m_bench.spend(1 + 7 * i % 20);  // a finger keeps no time with the tab's looks
        armcontrol::handSwitch(number, on);
        const int look = m_bench.manner.wait(140, 260);
        QString shown = button->text();
        int changes = 0;
        for (int spent = 0; spent < look; spent += 5) {
            m_bench.spend(5);
            if (button->text() == shown)
                continue;
            shown = button->text();
            ++changes;
        }
        if (shown != (on ? "ON" : "OFF"))
            m_findings.saw(QString("the %1 button shows %2 when %3").arg(name, shown, on ? "pressed" : "released"));
        else if (changes > 1)
            m_findings.saw(QString("the %1 button flickers").arg(name));
        // Four times each way are needed: a button that passes by the third release has bounced.
        if (m_window.manufMode && i == 5 && green(button))
            m_findings.saw(QString("the %1 button passed after three presses").arg(name));
    }
}

void Examiner::workInkWell() {
    if (!m_window.hasInkwell()) {
        for (int i = 0; i < 5; ++i) {
            m_hand.letGo(60);
            m_hand.hold({}, 60);
        }
        return;
    }
    for (int i = 0; i < 5; ++i) {
        m_hand.dock(m_bench.manner.wait(1400, 1600));
        if (m_window.ui.inkwellSwitch->text() != "ON")
            m_findings.saw("the ink well does not show ON with the stylus in it");
        m_hand.undock(m_bench.manner.wait(900, 1100));
        if (m_window.ui.inkwellSwitch->text() != "OFF")
            m_findings.saw("the ink well shows ON without the stylus");
    }
}

void Examiner::readVerdicts() {
    if (!m_window.manufMode)
        return;
    const REPORTDATA& data = *m_window.repData;
    for (int i = 0; i < 6 && !m_window.isCNolvaDevice(); ++i) {  // the travel of a Nolva is not judged
        if (!data.bEncoderPass[i])
            m_findings.said(QString("the travel of %1 does not pass").arg(kAxes[i]));
    }
    if (!data.bSwitchPass)
        m_findings.said("the stylus button does not pass");
    if (m_window.isCorvale() && !data.bPresencePass)
        m_findings.said("the presence sensor does not pass");
    if (m_window.isOrda() && !data.bInkwellPass)
        m_findings.said("the ink well's switch does not pass");
    if (m_window.isOrda() && !data.bExtraSwitchPass)
        m_findings.said("the second button does not pass");
}

// --- The gimbal's recorder ---------------------------------------------------------------------------

void Examiner::gimbalTrace() {
    auto& ui = m_window.ui;
    ui.runGimbalEncoderTest_button->click();
    if (!m_window.traceGimbOutFile || !m_window.traceGimbOutFile->isOpen()) {
        m_findings.said("the trace file cannot be made");
        return;
    }
    m_bench.underWay();
    m_hand.sweepAxes(3, 3, {3.0});
    const int still = m_bench.manner.wait(4000, 5000);
    m_bench.spend(still);
    ui.stopGimbalEncoderTest_button->click();
    QFile file(m_window.traceGimbOutFile->fileName());
    file.open(QIODevice::ReadOnly | QIODevice::Text);
    const QStringList lines = QString::fromLatin1(file.readAll()).split('\n', Qt::SkipEmptyParts).mid(1);
    file.remove();
    const int stillLines = (still - 500) / 30;
    for (int column = 0; column < 3; ++column) {
        std::vector<long> counts;
        for (const QString& line : lines)
            counts.push_back(line.section('\t', column, column).toLong());
        const auto [least, most] = std::minmax_element(counts.begin(), counts.end());
        if (counts.empty() || *most - *least <= 2) {
            m_findings.saw(QString("the trace of %1 stands still").arg(kAxes[3 + column]));
            continue;
        }
        m_findings.read(QString("traced counts of %1").arg(kAxes[3 + column]), static_cast<double>(*most - *least),
                        {0.97, 1.03, 4});
        if (qAbs(counts.back() - counts[counts.size() - static_cast<std::size_t>(stillLines)]) >= 3)
            m_findings.saw(QString("the trace of %1 runs on while the gimbal is held").arg(kAxes[3 + column]));
    }
}
