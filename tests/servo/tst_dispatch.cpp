// One servo tick against the recording stand-in: what each flag sends, in which order, and what wins.
#include <algorithm>

#include "motorsoff.h"
#include "servostate.h"
#include "standinwindow.h"

using standin::device;

namespace {

const std::set<std::string> kCommands = {"update_tharlen",         "get_pinch_value",
                                         "send_tharlen_force",     "send_tharlen_force_6dof",
                                         "command_motor_voltages", "command_motor_dac_values",
                                         "enable_tharlen_forces",  "enable_tharlen_forces_no_wait",
                                         "disable_tharlen_forces", "disable_tharlen_forces_no_wait",
                                         "get_tharlen_inst_rate",  "get_tharlen_pos"};

struct Flag {
    const char* name;
    Shared<bool>& flag;
    std::vector<std::string> commands;  ///< after update_tharlen
};

// In the order of the chain.
const std::vector<Flag> kChain = {
    {"box", startBoxTest, {"get_tharlen_pos", "send_tharlen_force", "enable_tharlen_forces"}},
    {"passivity", startPassivityTest, {"get_tharlen_pos", "get_tharlen_pos", "send_tharlen_force_6dof"}},
    {"calibration", startCalibTest, {}},
    {"filters", startFiltersTest, {"get_tharlen_pos"}},
    {"friction", startFrictionTest, {"command_motor_voltages"}},
    {"capstan", startCapstanTest, {"command_motor_voltages"}},
    {"verify", verifyCapstanTest, {"command_motor_voltages"}},
    {"servo rate", startServoTest, {"get_tharlen_inst_rate"}},
    {"encoder test", startEncoderTest, {"command_motor_dac_values"}},
    {"performance force", startPerformanceForceTest, {"enable_tharlen_forces_no_wait", "command_motor_dac_values"}},
    {"friction performance", bFrictionPerformance, {"command_motor_dac_values"}},
};

}  // namespace

class TestDispatch : public StandinWindow {
    Q_OBJECT

    void tick() {
        device().calls.clear();
        QCOMPARE(ServoLoopCallBack(window.get()), 0);
    }

private slots:
    void init() {
        openFleet();
        QVERIFY(window->csTharlenID >= 0);
    }
    void cleanup() {
        resetSharedState();
        window.reset();
    }

    // Each flag alone, and each with all later ones: the first of the chain wins and the others starve.
    void firstFlagOfTheChainActs() {
        for (std::size_t first = 0; first < kChain.size(); ++first) {
            std::vector<std::string> expected{"update_tharlen"};
            expected.insert(expected.end(), kChain[first].commands.begin(), kChain[first].commands.end());
            device().forcesEnabled = false;
            kChain[first].flag = true;
            tick();
            QVERIFY2(device().namesOf(kCommands) == expected, kChain[first].name);
            for (std::size_t later = first; later < kChain.size(); ++later)
                kChain[later].flag = true;
            device().forcesEnabled = false;
            tick();
            QVERIFY2(device().namesOf(kCommands) == expected, kChain[first].name);
            for (const Flag& link : kChain)
                link.flag = false;
        }
    }

    void defaultBranchSendsForceDacValues() {
        for (int i = 0; i < 6; ++i)
            window->force_dac_values[i] = 100 * (i + 1);
        tick();
        const auto sent = device().of({"command_motor_dac_values"});
        QCOMPARE(sent.size(), std::size_t(1));
        const double id = window->csTharlenID;
        QCOMPARE(sent[0].values, (std::vector<double>{id, 100, 200, 300, 400, 500, 600}));
    }

    void pinchIsReadBesideAnyBranch() {
        device().pinch = 321.5;
        startPinchCalibration = true;
        startBoxTest = true;
        tick();
        QCOMPARE(window->m_pinchValue.load(), 321.5);
        QCOMPARE(device().count("send_tharlen_force"), 1);
    }

    // -2 disables in the box branch and enables in the passivity and default branches.
    void maximumForceExceeded() {
        const std::tuple<Shared<bool>*, const char*, const char*> rows[] = {
            {&startBoxTest, "send_tharlen_force", "disable_tharlen_forces_no_wait"},
            {&startPassivityTest, "send_tharlen_force_6dof", "enable_tharlen_forces"},
            {nullptr, "command_motor_dac_values", "enable_tharlen_forces"}};
        for (const auto& [flag, operation, answer] : rows) {
            if (flag)
                *flag = true;
            device().forcesEnabled = true;
            tick();
            QCOMPARE(device().count(answer), 0);
            device().result[operation] = -2;
            tick();
            QCOMPARE(device().count(answer), 1);
            // The box's forces come back by themselves at the next tick.
            device().result.clear();
            tick();
            QVERIFY(device().forcesEnabled);
            if (flag)
                *flag = false;
        }
    }

    // Forces that cannot be enabled are an error, and a tick of a loop that was stopped sends the last force again.
    void boxBranch() {
        startBoxTest = true;
        device().result["enable_tharlen_forces"] = -4;
        tick();
        QVERIFY(window->errorMessage.contains("Device Fault") && window->numAccumErrors == 1);
        device().position[0] = 24.0f;
        tick();
        const auto running = device().of({"send_tharlen_force"});
        QVERIFY(running[0].values[1] < 0);
        device().loopRunning = false;
        device().position[0] = 0.0f;
        tick();
        QCOMPARE(device().of({"send_tharlen_force"}), running);
        device().loopRunning = true;
    }

    void voltagesAreEchoedAndReported() {
        for (int i = 0; i < 6; ++i)
            window->m_fVoltsToSend[i] = 0.1f * (i + 1);
        verifyCapstanTest = true;
        device().result["command_motor_voltages"] = -13;
        tick();
        QCOMPARE(window->m_fVoltsSent.copy(), window->m_fVoltsToSend.copy());
        QVERIFY(window->errorMessage.contains("max velocity"));
    }

    // DAC of the third axis: the sum of the truncated rates 0.1, 0.2 ...; samples from the second tick on.
    void frictionRampAndItsSamples() {
        bFrictionPerformance = true;
        friction_dac_values[0] = 7;
        friction_dac_values[1] = 8;
        long expected = 0;
        float rate = 0;
        for (int i = 0; i < 40; ++i) {
            device().jointVelocities[1] = -1.0f;
            device().jointVelocities[2] = static_cast<float>(i);
            tick();
            rate = static_cast<float>(rate + 0.1);
            expected += static_cast<long>(rate);
        }
        const auto sent = device().of({"command_motor_dac_values"});
        QCOMPARE(sent[0].values, (std::vector<double>{double(window->csTharlenID), 0, 8, double(expected), 0, 0, 0}));
        QVERIFY(expected > 40);
        for (int i = 0; i < 39; ++i)
            QCOMPARE(jointVelocity[i].load(), static_cast<float>(i + 1));
        QCOMPARE(jointVelocity[39].load(), 0.0f);
        // Past the end nothing is stored and the counter goes on.
        jointVelocityIndex = 15000;
        tick();
        QCOMPARE(jointVelocityIndex.load(), 15001);
    }

    void rateSamplesStayInTheirBuffer() {
        startServoTest = true;
        for (const float rate : {1000.0f, 990.0f, 1012.0f}) {
            device().rate = rate;
            tick();
        }
        QCOMPARE(window->minUpdateRate.load(), 990.0f);
        QCOMPARE(window->maxUpdateRate.load(), 1012.0f);
        QCOMPARE(totalRateSamples.load(), 3002.0f);
        QCOMPARE(sample[2].load(), 1012.0f);
        for (int i = 3; i < kRateSamples + 5; ++i)
            tick();
        QCOMPARE(rateCounter.load(), kRateSamples);
        const float full = totalRateSamples;
        tick();
        QCOMPARE(totalRateSamples.load(), full);
    }

    // The window switches off in the middle of a tick, at each call of it: nothing stays on, nothing stays commanded.
    void switchingOffInTheMiddleOfATick_data() {
        QTest::addColumn<QString>("activity");
        QTest::addColumn<QString>("way");
        for (const char* row : {"box tab", "box exception", "passivity tab", "passivity page", "sliders tab",
                                "typed tab", "typed page", "typed clear", "encoder stop"})
            QTest::newRow(row) << QString(row).section(' ', 0, 0) << QString(row).section(' ', 1);
    }
    void switchingOffInTheMiddleOfATick() {
        QFETCH(QString, activity);
        QFETCH(QString, way);
        const auto& ui = window->ui;
        const auto page = [this](const char* text) { QVERIFY(goToPage(*window, text)); };
        const auto start = [&] {
            goToTab(*window, activity == "box" ? "Box Test" : activity == "sliders" ? "Test Forces" : "Select");
            if (activity == "passivity" || activity == "typed") {
                ui.tabWidget->addTab(ui.tab_15, "Performance Testing");
                goToTab(*window, "Performance Testing");
                page("Workspace Test");
                page(activity == "typed" ? "Force Test" : "Passivity Test");
                window->passivityGain = 2;
                ui.cforce_1->setText("700");
                if (activity == "typed")
                    ui.pushButton_5->click();
            }
            if (activity == "sliders")
                ui.slider_Y->setValue(50);
            if (activity == "encoder")
                window->initEncoderTest();
            window->m_lDACvalues[1] = activity == "encoder" ? 900 : 0;
        };
        const auto leave = [&] {
            if (way == "tab")
                goToTab(*window, "Calibrate");
            else if (way == "page")
                page("Resolution Test");
            else if (way == "clear")
                window->clear_dac_value();
            else if (way == "stop")
                window->stopEncoderTest();
            else
                surviveException(*window, "");
        };
        device().position[0] = 52.0f;
        int leftAt = 1;  // what comes ahead of it is a tick that begins afterwards
        for (bool left = true; left; ++leftAt) {
            start();
            device().result = {
                {"send_tharlen_force", -2}, {"send_tharlen_force_6dof", -2}, {"command_motor_dac_values", -2}};
            device().forcesEnabled = leftAt % 2;
            device().calls.clear();
            int call = 0;
            left = false;
            device().onCall = [&](const standin::Call&) {
                if (call++ != leftAt)
                    return;
                left = true;
                leave();
                device().result.clear();
            };
            ServoLoopCallBack(window.get());
            device().onCall = nullptr;
            device().result.clear();
            if (!left)
                break;
            const QByteArray where = QByteArray::number(leftAt);
            QVERIFY2(!device().forcesEnabled, where);
            const auto sent =
                device().of({"send_tharlen_force", "send_tharlen_force_6dof", "command_motor_dac_values"});
            QVERIFY2(sent.empty()
                         || std::all_of(sent.back().values.begin() + 1, sent.back().values.end(),
                                        [](double value) { return value == 0; }),
                     where);
        }
        QVERIFY(leftAt >= 3);
    }

    // What the next tab reads may hang: ticks that come meanwhile drive nothing and take the amplifiers off.
    void ticksWhileTheNextTabReads() {
        for (const char* from : {"Box Test", "Cycle Amps", "Test Forces", "Performance Testing"}) {
            for (const char* to : {"Calibrate", "Read Encoder", "Mode"}) {
                goToTab(*window, "Select");
                if (QByteArray(from) == "Performance Testing") {
                    enter(window->ui.tab_15, from);
                    goToPage(*window, "Workspace Test");
                    goToPage(*window, "Force Test");
                    window->ui.cforce_1->setText("700");
                    window->ui.pushButton_5->click();
                }
                goToTab(*window, from);
                device().calls.clear();
                device().position[0] = 52.0f;
                window->ui.slider_Y->setValue(QByteArray(from) == "Test Forces" ? 50 : 0);
                device().forcesEnabled = true;
                int ticks = 0, left = 0;
                bool inTick = false;
                device().onCall = [&](const standin::Call&) {
                    if (inTick)
                        return;
                    inTick = true;
                    ServoLoopCallBack(window.get());
                    inTick = false;
                    ++ticks;
                    const auto sent = device().of({"send_tharlen_force", "command_motor_dac_values"}).back().values;
                    left += device().forcesEnabled
                            || std::any_of(sent.begin() + 1, sent.end(), [](double v) { return v != 0; });
                };
                goToTab(*window, to);
                device().onCall = nullptr;
                QVERIFY2(ticks > 2 && left == 0 && !device().forcesEnabled, from);
                QCOMPARE(device().count("enable_tharlen_forces_no_wait"), 0);
            }
        }
    }

    void noWindowIsHarmless() {
        device().calls.clear();
        QCOMPARE(ServoLoopCallBack(nullptr), 0);
        QCOMPARE(device().namesOf(kCommands), std::vector<std::string>{"update_tharlen"});
    }
};

QTEST_MAIN(TestDispatch)
#include "tst_dispatch.moc"
