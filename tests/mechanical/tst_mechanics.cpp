// The machines of the friction and the capstan test, step by step on the stand-in.
#include "restyle.h"
#include "standinwindow.h"

class TestMechanics : public StandinWindow {
    Q_OBJECT

    void open(unsigned long type, const char* tab) {
        openFleet({record("Arm", type)});
        window->manufMode = true;
        window->m_cdLodrin.vvFrictionMaxVoltage = {{0.01f, 0.02f, 0.03f}};
        window->m_cdLodrin.vvCapstanMaxVoltage = {{0.5f, 0.5f, 0.5f}};
        window->m_cdLodrin.nCapstanTimeAtMax = 3;
        for (int i = 0; i < 3; ++i) {
            window->m_cdLodrin.axtlFriction[i] = {7, 0.5f, 0.015f};
            window->m_cdLodrin.axclCapstan[i] = {4, 0, 0.5f};
        }
        ui().tabWidget->addTab(ui().tab_8, "Test Friction");
        ui().tabWidget->addTab(ui().tab_9, "Test Capstan");
        go(tab);
    }
    static bool ends(const QTextBrowser* browser, const char* text) { return browser->toPlainText().endsWith(text); }
    /// Steps of a machine until it has left the stage; more than 2000 are a failure.
    int stepsInStage(int (qtTharlenTest::*step)()) {
        const int stage = window->m_nStage;
        int steps = 0;
        for (; window->m_nStage == stage && steps < 2000; ++steps)
            (window.get()->*step)();
        return steps;
    }
    int friction() { return stepsInStage(&qtTharlenTest::runFrictionTest); }
    int reference() { return stepsInStage(&qtTharlenTest::runCapstanTest_ref); }
    void verify(const std::array<long, 3>& stops) {
        std::copy(stops.begin(), stops.end(), device().encoders);
        window->onClickVerifyCapstanTest();
        while (window->capstanTestTimer->isActive())
            window->runCapstanTest_verify();
    }

private slots:
    // The arm is at rest after 500 still steps in a row: 5 counts from the last step are still, 6 are not. X moves
    // forwards, Y does not before its limit, Z moves back after the arm had to come to rest anew.
    void rampsAxisByAxis() {
        open(5, "Test Friction");
        ui().startFrictionTest_button->click();
        QVERIFY(device().forcesEnabled && startFrictionTest && window->frictionTestTimer->interval() == 1);
        QCOMPARE(friction(), 1);
        for (int i = 1; i < 499; ++i) {
            device().encoders[2] = i % 2 ? 5 : 0;
            window->runFrictionTest();
        }
        device().encoders[2] = 6;
        window->runFrictionTest();
        QCOMPARE(friction(), 500);
        device().encoders[2] = 0;
        device().encoders[0] = 6;
        for (int i = 0; i < 51; ++i)
            window->runFrictionTest();
        QCOMPARE(window->m_nAxis, 0);
        device().encoders[0] = 7;
        // The voltage stays through a single step of rest; then the next ramp takes it away.
        QVERIFY(friction() == 1 && friction() == 1);
        QVERIFY(qAbs(window->m_fVoltsToSend[0] - 0.0051f) < 1e-6f);
        window->runFrictionTest();
        QCOMPARE(window->m_fVoltsToSend[0].load(), 0.0f);
        QVERIFY(qAbs(friction() - 200) <= 1);
        device().encoders[1] = 40;
        QCOMPARE(friction(), 501);
        for (int i = 0; i < 100; ++i)
            window->runFrictionTest();
        device().encoders[2] = -7;
        QVERIFY(friction() == 1 && friction() == 1);
        QVERIFY(!startFrictionTest && !window->frictionTestTimer->isActive());
        QVERIFY(!ui().startFrictionTest_button->isEnabled());
        QVERIFY(ends(ui().friction_textBox, "Click 'Next'to continue testing.."));
        const REPORTDATA& data = *window->repData;
        QVERIFY(data.nFrictionChange[0] == -7 && data.nFrictionChange[2] == 7);
        QVERIFY(data.bFrictionPass[0] && !data.bFrictionPass[1] && data.bFrictionPass[2]);
        QCOMPARE(ui().x_friction_result->text() + ui().y_friction_result->text(), QString("PASSFAIL"));
        QCOMPARE(ui().z_friction_result->styleSheet(), QString(kPassStyle));
        QVERIFY(qAbs(ui().x_voltage->text().toDouble() - 0.0051 * 32767 / 513.708) < 1e-4);
        QVERIFY(qAbs(ui().z_voltage->text().toDouble() - 0.01 * 32767 / 513.708) < 0.01);
        go("Select", "Test Friction");
        QVERIFY(ui().startFrictionTest_button->isEnabled() && window->m_vvMoveResult.afVoltages[0] == 0.0f);
        QCOMPARE(ui().y_friction_result->text(), QString("NULL"));
    }

    // No measurement is no pass. Voltages have an upper limit only.
    void verdictsAndLimit() {
        open(5, "Test Friction");
        for (const auto& [volts, pass] : {std::pair{0.0f, false}, {0.0001f, true}, {0.015f, true}, {0.01501f, false}}) {
            window->m_vvMoveResult.afVoltages[1] = volts;
            window->updateFrictionTestResults();
            QCOMPARE(window->repData->bFrictionPass[1], pass);
        }
        window->m_vvMoveMaxVoltage = {{0.3f, 0.3f, 0.3f}};
        window->m_fVoltsToSend.fill(9);
        float volts[3] = {0.31f, -2.0f, 0.2f};
        QCOMPARE(window->SendVoltages(0, volts), 0);
        QVERIFY(window->m_fVoltsToSend.copy() == (std::array<float, 6>{0.3f, -2.0f, 0.2f, 0, 0, 0}));
    }

    // Towards the stops with damping, X's of the other sign and a fifth of the size; at rest, the push.
    void referenceRun() {
        for (int push : {0, 3}) {
            open(5, "Select");
            window->m_cdLodrin.nCapstanTimeAtMax = push;
            go("Test Capstan");
            QVERIFY(!ui().verifyCapstanTest_button->isEnabled() && ui().x_capstan_volt->isHidden());
            ui().startCapstanTest_button->click();
            QVERIFY(startCapstanTest && device().forcesEnabled && window->capstanTestRefTimer->interval() == 1);
            QCOMPARE(reference(), 1);
            std::fill(device().velocity, device().velocity + 3, 200.0f);
            window->runCapstanTest_ref();
            const float damped[3] = {0.22f, 0.25f, 0.2f};
            for (int i = 0; i < 3; ++i)
                QVERIFY(qAbs(window->m_fVoltsToSend[i] - damped[i]) < 1e-6f);
            std::fill(device().velocity, device().velocity + 3, 0.0f);
            device().encoders[2] = -3000;
            QCOMPARE(reference(), 501);
            QCOMPARE(window->m_pvMoveResult1.anCoords[2], -3000);
            QCOMPARE(reference(), push + 1);
            QCOMPARE(window->m_fVoltsToSend[1].load(), push ? 0.5f : 0.35f);
            QCOMPARE(reference(), 1);
            // The flag outlives the run, so that the last voltages go on being sent, without forces.
            QVERIFY(startCapstanTest && !device().forcesEnabled && !window->capstanTestRefTimer->isActive());
            QVERIFY(!ui().startCapstanTest_button->isEnabled() && ui().verifyCapstanTest_button->isEnabled());
        }
    }

    // A difference at the limit passes; a second verify run is judged against the same reference.
    void verifyRuns() {
        open(5, "Test Capstan");
        std::fill(device().encoders, device().encoders + 3, 100L);
        ui().startCapstanTest_button->click();
        while (window->capstanTestRefTimer->isActive())
            window->runCapstanTest_ref();
        const REPORTDATA& data = *window->repData;
        verify({104, 95, 100});
        QVERIFY(data.bCapstanPass[0] && !data.bCapstanPass[1] && data.bCapstanPass[2]);
        QVERIFY(data.nCapstanChange[0] == 4 && data.nCapstanChange[1] == 5 && data.nCapstanChange[2] == 0);
        QCOMPARE(ui().y_capstan_result->styleSheet(), QString(kFailStyle));
        QVERIFY(!startCapstanTest && !verifyCapstanTest && !device().forcesEnabled);
        QVERIFY(ends(ui().capstan_textBox, "Please press the next button to proceed."));
        verify({105, 96, 100});
        QVERIFY(!data.bCapstanPass[0] && data.bCapstanPass[1] && data.nCapstanChange[0] == 5);
    }

    // More than a tenth of a run, or its end, is said; what is shorter, or a run that hardly had ticks, is not. A
    // new run begins from nothing.
    void whatAWatchSays() {
        const QString silent = "the device did not answer during ", off = "the amplifiers were not on during ";
        const std::pair<std::vector<std::tuple<int, int, bool>>, QString> rows[] = {
            {{{99, -5, false}}, ""},
            {{{1000, -5, false}}, silent + "this run"},
            {{{150, -28, true}, {850, 0, true}}, silent + "a part"},
            {{{40, -28, true}, {100, 0, true}, {40, -28, true}, {100, 0, true}, {10, -28, true}, {800, 0, true}}, ""},
            {{{1000, 0, false}}, off + "this run"},
            {{{970, 0, true}, {30, -4, false}}, off + "a part"},
            {{{30, 0, false}, {970, 0, true}}, ""}};
        standin::reset();
        RunWatch watch;
        for (const auto& [parts, wanted] : rows) {
            watch.start();
            QVERIFY(watch.seen().ticks == 0);
            for (const auto& [ticks, status, on] : parts) {
                device().forcesEnabled = on;
                for (int i = 0; i < ticks; ++i)
                    watch.note(0, status);
            }
            const QString note = watch.end().note();
            watch.note(0, -5);
            QVERIFY2(wanted.isEmpty() ? note.isEmpty() : note.contains(wanted), qPrintable(note));
        }
        const int asked = device().count("is_tharlen_forces_enabled");
        for (int i = 0; i < 100; ++i)
            watch.note(0, 0);
        QCOMPARE(device().count("is_tharlen_forces_enabled"), asked);
    }

    // Another model is told so, with all controls off; in the user mode or without a device nothing is prepared.
    void notPrepared() {
        for (unsigned long type : {1, 3, 9}) {
            open(type, "Test Friction");
            QVERIFY(!ui().startFrictionTest_button->isEnabled());
            QVERIFY(ends(ui().friction_textBox, "Please click next to go to next test"));
            go("Test Capstan");
            QVERIFY(!ui().startCapstanTest_button->isEnabled() && !ui().verifyCapstanTest_button->isEnabled());
            QVERIFY(!ui().capstanTestGroupBox->isEnabled() && !device().forcesEnabled);
            QCOMPARE(window->m_vvVoltageIncr.afVoltages[1], 0.35f);
        }
        for (bool manufacturing : {false, true}) {
            open(5, "Select");
            window->manufMode = manufacturing;
            window->csTharlenID = manufacturing ? -1 : window->csTharlenID.load();
            go("Test Friction", "Test Capstan");
            QVERIFY(window->m_pvEncoderChange.anCoords[1] == 0 && window->m_vvVoltageIncr.afVoltages[1] == 0.0f);
        }
    }
};

QTEST_MAIN(TestMechanics)
#include "tst_mechanics.moc"
