// The closed-loop encoder test tick by tick: control, route, arrival, test points, faults, time limits and log.
#include <QButtonGroup>
#include <QTemporaryDir>
#include <cmath>
#include <functional>
#include <limits>

#include "standinwindow.h"

using Counts = std::array<long, 3>;

static std::int64_t now = 0;  ///< ms of the stepped clock: one a tick

class TestEncoderTest : public StandinWindow {
    Q_OBJECT

    std::vector<double> sent;  ///< the last command

    void open(unsigned long type, unsigned long card = 7) {
        openFleet({record("Arm", type, card)}, [] { testClock = [] { return now; }; });
        window->manufMode = window->encoderTestMode = true;
        enter(ui().tab_5, "Encoder Test");
    }
    void tick() {
        device().calls.clear();
        ++now;
        ServoLoopCallBack(window.get());
        sent = device().of({"command_motor_dac_values"}).at(0).values;
        sent.erase(sent.begin());
    }
    void ticks(int count) {
        for (int i = 0; i < count; ++i)
            tick();
    }
    /// Until the condition holds, with an arm that is where the set point was; false after ten simulated minutes.
    bool followUntil(const std::function<bool()>& condition) {
        for (int i = 0; i < 600000 && !condition(); ++i) {
            std::copy_n(window->m_lDesirePos.copy().begin(), 3, device().encoders);
            tick();
        }
        return condition();
    }
    void place(const Counts& counts) { std::copy(counts.begin(), counts.end(), device().encoders); }
    /// Starts a run and lets it take up control, the arm at rest.
    void runAt(const Counts& counts) {
        place(counts);
        ui().runEncoderTest_button->click();
        ticks(751);
    }
    QStringList log() {
        window->showEncoderTestEvents();
        return ui().encoderTest_debug->toPlainText().split('\n', Qt::SkipEmptyParts);
    }
    bool running() const { return startEncoderTest && window->m_bServoControl; }
    bool still() const { return sent == std::vector<double>(6, 0.0); }

private slots:
    // A lasting error e is answered by P e + n I e and, on its first tick, D e; then offset and sign, truncated.
    void control() {
        const std::tuple<unsigned long, unsigned long, int, double, double, double, double, double> rows[] = {
            {5, 7, 1, 32, 0.4, 1500, 255, 1},
            {5, 6, 2, 15.5, 0.35, 1000, 120, -1},
            {3, 6, 2, 10, 0.08, 75, 0, 1},
            {3, 7, 2, 5, 0.04, 30, 0, -1}};
        for (const auto& [type, card, axis, p, i, d, offset, sign] : rows) {
            open(type, card);
            runAt({0, 0, 0});
            QCOMPARE(sent[axis], offset * sign);
            const int e = -7;
            device().encoders[axis] = e;
            for (int n = 1; n <= 20; ++n) {
                tick();
                const double wanted = sign * (offset + (p + n * i + (n == 1 ? d : 0)) * e);
                QVERIFY(std::fabs(sent[axis] - wanted) <= 1.0 && sent[axis] == std::trunc(sent[axis]));
            }
            // A wild error is cut at the limit and keeps its sign, however long it lasts.
            device().encoders[axis] = 1000000000;
            ticks(500);
            QCOMPARE(sent[axis], sign * window->m_fPosMaxDAC);
            QVERIFY(running());
        }
        open(1);  // a model without a route moves nothing
        runAt({100, 200, 300});
        place({-900, 5000, 20});
        ticks(2000);
        QVERIFY(still());
    }

    // Half a second of zero commands, then the set point follows the arm up to 750 ms and no error arises. All axes
    // within two counts for a hundred ticks together are an arrival; a single tick outside begins again.
    void quietStartAndArrival() {
        open(5);
        place({300, 300, 300});
        window->initEncoderTest();
        for (int i = 1; i < 750; ++i) {
            device().encoders[0] = 300 + i;
            tick();
            QVERIFY(i >= 500 ? std::labs(window->m_lDesirePos[0] - 300 - i) <= 8 : still());
        }
        ticks(21);
        QCOMPARE(window->m_lDesirePos[1].load(), 300L - 22 * 8);
        QVERIFY(followUntil([this] { return window->m_iButtonStep == 1 && window->m_lDesirePos[1] == -500; }));
        place({2, -502, -2});
        ticks(99);
        device().encoders[2] = -3;
        tick();
        device().encoders[2] = -2;
        ticks(100);
        QCOMPARE(window->m_iButtonStep.load(), 1);
        tick();
        QCOMPARE(window->m_iButtonStep.load(), 2);
    }

    // Row 0, a test point, row 0 again, then 1 to 8 round and round; one row tells the routes apart. A test point
    // pushes each axis to its level for five seconds.
    void route() {
        const std::tuple<unsigned long, unsigned long, Counts, Counts> rows[] = {
            {5, 7, {0, -3755, 2500}, {1500, 3000, 3000}},
            {3, 6, {-8000, -3000, 2000}, {1400, 3500, 3500}},
            {3, 7, {-8000, -3000, -2000}, {8500, 8500, 8500}}};
        for (const auto& [type, card, fifth, push] : rows) {
            open(type, card);
            ui().encoderTestLoopsSpinBox->setValue(2);
            runAt({40, -40, 40});
            QVERIFY(followUntil([] { return seekingTestPoint.load(); }));
            QVERIFY(window->m_iButtonStep == 0 && totalLoops == 0);
            ticks(4999);
            for (std::size_t axis = 0; axis < 3; ++axis)
                QVERIFY(seekingTestPoint && sent[axis] >= push[axis] && sent[axis] < push[axis] + 10);
            tick();
            QVERIFY(!seekingTestPoint && totalLoops == 1 && window->m_iButtonStep == 0);
            QVERIFY(log().last().contains("Encoder Angles :  0.00, 0.00, 0.00"));
            for (int step = 1; step <= 8; ++step) {
                QVERIFY(followUntil([=] { return window->m_iButtonStep == step; }));
                if (step == 5)
                    QCOMPARE(window->m_lDestination.copy(), fifth);
            }
            // The second count is a loop: a test point ahead of its first step, after which row 0 comes again.
            QVERIFY(followUntil([] { return seekingTestPoint.load(); }));
            QVERIFY(totalLoops == 2 && window->m_iButtonStep == 1);
            ui().checkTestDegrees->setChecked(false);
            place({70, -8, 9});
            ticks(5000);
            QVERIFY(log().last().endsWith("] Encoder Values :  70, -8, 9"));
            QVERIFY(totalLoops == 3 && window->m_iButtonStep == 0 && device().connection.m_bErrorTrigger);
            ui().encoderTestPeriodicCheck->setChecked(false);
            QVERIFY(followUntil([] { return totalLoops == 4; }) && !seekingTestPoint);
            ui().encoderTestPeriodicCheck->setChecked(true);
            ui().encoderTestLoopsSpinBox->setValue(0);
            QVERIFY(followUntil([] { return totalLoops == 5; }) && !seekingTestPoint);
        }
    }

    // One counter for all axes and both faults; an axis in the band fills it, for ever in the row of 0. A command
    // beyond its limit counts too: six decrements a tick, where the thousandth is Y's command.
    void faults() {
        const std::tuple<Counts, int, const char*> rows[] = {
            {{150, 150, -150}, 334, "Position Error (150.000) detected at axis 0"},
            {{150, 149, -150}, 0, ""},
            {{1000, 150, 150}, 250, "Position Error (150.000) detected at axis 2"},
            {{1000, 1000, 1000}, 167, "DAC Error (23360) detected at axis 1"}};
        for (const auto& [error, ticksToAbort, line] : rows) {
            open(3, 6);
            runAt({0, 0, 0});
            for (int axis = 0; error[1] == 150 && axis < 3; ++axis)  // so that no command jumps beyond its limit
                device().encoders[axis] = qBound(-149L, error[axis], 149L);
            ticks(2);
            place(error);
            ticks(ticksToAbort ? ticksToAbort - 1 : 5000);
            QVERIFY(running() && log().filter("Error").isEmpty());
            if (!ticksToAbort)
                continue;
            tick();
            QVERIFY(startEncoderTest && !window->m_bServoControl);
            QVERIFY2(log().last().endsWith(line), qPrintable(log().last()));
            QCOMPARE(log().last().startsWith(" ["), QString(line).startsWith("DAC"));
            // Zero commands from here on; the time limit neither ends nor pushes at this step.
            ui().testRadio1->setChecked(true);
            now += 700000;
            ticks(6000);
            QVERIFY(still() && startEncoderTest && !seekingTestPoint);
        }
    }

    // Warnings climb by five and never come twice, not even in a second run; the abort follows the option at once.
    void temperatures() {
        open(5);
        device().celsius[1] = 81.0f;
        for (int run = 0; run < 2; ++run) {
            window->stopEncoderTest();
            runAt({0, 0, 0});
            QCOMPARE(log().filter("] Temprature Warning (81.000) estimated on axis 1").size(), 2);
        }
        device().celsius[1] = 85.0f;
        ui().encoderTestTempSpinBox->setValue(86);
        ticks(10);
        QVERIFY(running());
        QCOMPARE(log().filter("] Temprature Warning (85.000)").size(), 1);
        // The time is up at step 0 in the same tick: the abort wins, and nothing pushes the arm any more.
        ui().testRadio1->setChecked(true);
        now += 700000;
        ui().encoderTestTempSpinBox->setValue(85);
        tick();
        QVERIFY(!window->m_bServoControl && !seekingTestPoint);
        QVERIFY(log().last().endsWith("] Temperature Error (85.000) detected at axis 1"));
        ticks(6000);
        QVERIFY(still());
        // What is no number is too hot.
        window->stopEncoderTest();
        device().celsius[1] = std::numeric_limits<float>::quiet_NaN();
        runAt({0, 0, 0});
        QVERIFY(!window->m_bServoControl && log().last().contains("] Temperature Error (nan)"));
    }

    // The limit ends the run on the way of step 2.
    void timeLimits() {
        for (const auto& [choice, limit] :  // ms
             {std::pair("testRadio1", 600000), {"testRadio2", 2400000}, {"testRadio3", 108000000}, {"", 10000}}) {
            open(5);
            ui().SpinBoxTest->setValue(30);  // hours
            ui().testRadio4eva->group()->setExclusive(false);
            ui().testRadio4eva->setChecked(false);
            if (*choice)
                window->findChild<QRadioButton*>(choice)->setChecked(true);
            runAt({0, 0, 0});
            window->m_iButtonStep = 2;
            now += limit - 751 - 2;
            tick();
            const double before = sent[0];
            QVERIFY(running());
            tick();
            QVERIFY(!startEncoderTest && sent[0] == before);  // this tick runs to its end
            if (*choice) {
                tick();
                QVERIFY(log().last().endsWith("Ending Encoder Test") && ui().runEncoderTest_button->isEnabled());
                QCOMPARE(device().count("disable_tharlen_forces"), 1);
            } else {
                // The tab is left before the window has looked: what the next one turned on stays on.
                go("Test Forces");
                ui().slider_X->setValue(5);
                log();
                QVERIFY(device().forcesEnabled && ui().slider_X->value() == 5);
            }
        }
    }

    // Start and stop on a Corvale: its shutdown temperatures, forces, buttons; without a device nothing starts.
    void startAndStop() {
        open(3, 7);
        ui().encoderTestTempSpinBox->setValue(120);
        ui().encoderTestTempSpinBox->selectAll();
        QTest::keyClicks(ui().encoderTestTempSpinBox, "12");  // on the way to 120 again
        QCOMPARE(encoderTestAbortTemp.load(), 120);
        QTest::keyClicks(ui().encoderTestTempSpinBox, "0");
        QVERIFY(ui().groupBox_22->isHidden() && !ui().stopEncoderTest_button->isEnabled());
        ui().runEncoderTest_button->click();
        const double id = window->csTharlenID;
        QCOMPARE(device().of({"set_tharlen_temp_advance"}).back().values,
                 (std::vector<double>{id, 2, 120, 120, 120, 0, 0, 0}));
        QVERIFY(device().forcesEnabled && window->tempGuiUpdateTimer->isActive());
        QVERIFY(!ui().runEncoderTest_button->isEnabled() && ui().stopEncoderTest_button->isEnabled());
        go("Select");
        QVERIFY(!startEncoderTest && !device().forcesEnabled && !window->tempGuiUpdateTimer->isActive());
        go("Encoder Test");
        QVERIFY(ui().runEncoderTest_button->isEnabled() && !ui().stopEncoderTest_button->isEnabled());
        window->csTharlenID = -1;
        ui().runEncoderTest_button->click();
        QVERIFY(!startEncoderTest && log().size() == 1);
        ui().encoderTestClearBtn->click();
        QVERIFY(log().isEmpty());
        window->csTharlenID = int(id);
    }

    // Home sensors: an edge that comes alone, on the way of its axis's step; the lines go where a device is set.
    void homeSensors() {
        open(3, 7);
        QString trace;
        window->traceEncStream.setString(&trace);
        runAt({1234, -7000, 3000});
        device().celsius[0] = 40.25f;
        for (const auto& [step, bits] :
             {std::pair(0, 0x10), std::pair(3, 0x00), std::pair(3, 0xF3), std::pair(3, 0xEF), std::pair(5, 0xE7)}) {
            window->m_iButtonStep = step;
            device().connection.m_portInput.ucMiscIn = static_cast<UCHAR>(bits);
            tick();
        }
        log();
        QCOMPARE(trace, QString("X Sensor OFF at 1234 at Temperature 40.25\nX Sensor ON at 1234 at Temperature 40.25\n"
                                "Z Sensor OFF at 3000 at Temperature 0\n"));
        QVERIFY(window->ZsensorOff[0] == 1234 && window->TemperatureOn[0] == 40250 && window->ZsensorOff[2] == 3000);
        window->traceEncStream.setString(nullptr);
    }

    // The gimbal's recorder, which no person reaches. Its file lies in the folder itself, under a name with a
    // backslash; a second run has its own lines.
    void gimbalTrace() {
        const QTemporaryDir home;
        openFleet();
        qputenv("KNDD_HOME", "/nonexistent");
        ui().runGimbalEncoderTest_button->click();
        QVERIFY(ui().encoderTest_debug->toPlainText().endsWith("Error creating trace file !"));
        QVERIFY(!window->gimbEncTestTimer->isActive() && !ui().runGimbalEncoderTest_button->isEnabled());
        window->runGimbalEncoderTest();
        window->stopGimbalEncoderTest();
        QCOMPARE(device().count("get_tharlen_joint_angles"), 0);
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        for (int i = 0; i < 3; ++i) {
            device().encoders[3 + i] = 945 - i;
            device().gimbalAngles[i] = 0.0625f - float(i);
        }
        for (int run = 1; run <= 2; ++run) {
            ui().runGimbalEncoderTest_button->click();
            QVERIFY(window->gimbEncTestTimer->isActive() && ui().stopGimbalEncoderTest_button->isEnabled());
            for (int i = 0; i < run; ++i)
                window->runGimbalEncoderTest();
            ui().stopGimbalEncoderTest_button->click();
            QVERIFY(!window->gimbEncTestTimer->isActive() && ui().runGimbalEncoderTest_button->isEnabled());
            QFile file(window->traceGimbOutFile->fileName());
            QVERIFY(file.open(QIODevice::ReadOnly));
            QCOMPARE(file.readAll(), QByteArray("YAW\tPITCH\tROLL\tANGLE1\tANGLE2\tANGLE3\n")
                                         + QByteArray("945\t944\t943\t0.0625\t-0.9375\t-1.9375\n").repeated(run));
        }
        QVERIFY(QDir(home.path()).entryList(QDir::Files).value(0).startsWith("logs\\TraceGimbalEncoder_"));
    }
};

QTEST_MAIN(TestEncoderTest)
#include "tst_encodertest.moc"
