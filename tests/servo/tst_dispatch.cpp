// One servo tick against the recording stand-in: what each flag sends, in which order, and what wins.
#include <algorithm>

#include "motorsoff.h"
#include "standinwindow.h"

namespace {

const std::set<std::string> kCommands = {"update_tharlen",         "get_pinch_value",
                                         "send_tharlen_force",     "send_tharlen_force_6dof",
                                         "command_motor_voltages", "command_motor_dac_values",
                                         "enable_tharlen_forces",  "enable_tharlen_forces_no_wait",
                                         "disable_tharlen_forces", "disable_tharlen_forces_no_wait",
                                         "get_tharlen_inst_rate",  "get_tharlen_pos"};

const std::set<std::string> kForces = {"send_tharlen_force", "send_tharlen_force_6dof", "command_motor_dac_values"};

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
    /// Goes to where the motors are driven, and drives them.
    void drive(const QString& tab, const char* page) {
        go("Select");
        if (tab == "Performance Testing") {
            enter(ui().tab_15, "Performance Testing");
            goToPage(*window, "Workspace Test");
            goToPage(*window, page);
            window->passivityGain = 2;
            ui().cforce_1->setText("700");
            if (!startPassivityTest)
                ui().pushButton_5->click();
        } else if (tab == "Encoder Test") {
            enter(ui().tab_5, "Encoder Test");
            window->initEncoderTest();
            window->m_lDACvalues[1] = 900;
        }
        go(tab);
        ui().slider_Y->setValue(tab == "Test Forces" ? 50 : 0);
        device().position[0] = 52.0f;
    }
    /// Whether the amplifiers are on, or the last command was not nothing.
    static bool drives() {
        const auto sent = device().of(kForces);
        const auto commands = [](double value) { return value != 0; };
        return device().forcesEnabled
               || (!sent.empty() && std::any_of(sent.back().values.begin() + 1, sent.back().values.end(), commands));
    }

private slots:
    void init() { openFleet(); }

    // Each flag alone, and each with all later ones: the first of the chain wins and the others starve.
    void firstFlagOfTheChainActs() {
        for (std::size_t first = 0; first < kChain.size(); ++first) {
            std::vector<std::string> expected{"update_tharlen"};
            expected.insert(expected.end(), kChain[first].commands.begin(), kChain[first].commands.end());
            for (const std::size_t last : {first + 1, kChain.size()}) {
                for (std::size_t later = first; later < last; ++later)
                    kChain[later].flag = true;
                device().forcesEnabled = false;
                tick();
                QVERIFY2(device().namesOf(kCommands) == expected, kChain[first].name);
            }
            for (const Flag& link : kChain)
                link.flag = false;
        }
    }

    // The sliders' counts and a mechanical run's volts go out as they are; what the answer says is an error line.
    void commandsGoOutAsGiven() {
        for (int i = 0; i < 6; ++i) {
            window->force_dac_values[i] = 100 * (i + 1);
            window->m_fVoltsToSend[i] = 0.1f * (i + 1);
        }
        tick();
        const double id = window->csTharlenID;
        QCOMPARE(device().of({"command_motor_dac_values"}).at(0).values,
                 (std::vector<double>{id, 100, 200, 300, 400, 500, 600}));
        verifyCapstanTest = true;
        device().result["command_motor_voltages"] = -13;
        tick();
        QCOMPARE(window->m_fVoltsSent.copy(), window->m_fVoltsToSend.copy());
        QVERIFY(window->errorMessage.contains("max velocity"));
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

    // A tick of a loop that was stopped sends the last force again. A grip that is calibrated is read beside it.
    void boxBranch() {
        startBoxTest = startPinchCalibration = true;
        device().pinch = 321.5;
        device().result["enable_tharlen_forces"] = -4;
        tick();
        QCOMPARE(window->m_pinchValue.load(), 321.5);
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

    // DAC of the third axis: the sum of the truncated rates 0.1, 0.2 ...; samples from the second tick on.
    void frictionRampAndItsSamples() {
        bFrictionPerformance = true;
        friction_dac_values[0] = 7;
        friction_dac_values[1] = 8;
        for (int i = 0; i < 40; ++i) {
            device().jointVelocities[2] = static_cast<float>(i);
            tick();
        }
        // The rate is 1 from the tenth tick on, 2 from the 20th; in float 3 comes a tick late, and so would 4.
        QCOMPARE(device().of({"command_motor_dac_values"})[0].values,
                 (std::vector<double>{double(window->csTharlenID), 0, 8, 62, 0, 0, 0}));
        QVERIFY(jointVelocity[0] == 1.0f && jointVelocity[38] == 39.0f && jointVelocity[39] == 0.0f);
        jointVelocityIndex = 15000;  // past the end
        tick();
        QCOMPARE(jointVelocityIndex.load(), 15001);
    }

    void rateSamplesStayInTheirBuffer() {
        startServoTest = true;
        for (int i = 0; i < kRateSamples + 5; ++i)
            tick();
        QCOMPARE(rateCounter.load(), kRateSamples);
        QCOMPARE(totalRateSamples.load(), 1000.0f * kRateSamples);
    }

    // The window switches off in the middle of a tick, at each call of it: nothing stays on, nothing stays commanded.
    void switchingOffInTheMiddleOfATick() {
        const auto toCalibrate = [](qtTharlenTest& of) { goToTab(of, "Calibrate"); };
        const std::tuple<const char*, const char*, void (*)(qtTharlenTest&)> rows[] = {
            {"Box Test", "", toCalibrate},
            {"Box Test", "", [](qtTharlenTest& of) { surviveException(of, ""); }},
            {"Test Forces", "", toCalibrate},
            {"Encoder Test", "", [](qtTharlenTest& of) { of.stopEncoderTest(); }},
            {"Performance Testing", "Passivity Test", toCalibrate},
            {"Performance Testing", "Passivity Test", [](qtTharlenTest& of) { goToPage(of, "Resolution Test"); }},
            {"Performance Testing", "Force Test", [](qtTharlenTest& of) { of.clear_dac_value(); }}};
        for (const auto& [tab, page, leave] : rows) {
            int leftAt = 1;  // what comes ahead of it is a tick that begins afterwards
            for (bool left = true; left; ++leftAt) {
                drive(tab, page);
                for (const std::string& command : kForces)
                    device().result[command] = -2;
                device().forcesEnabled = leftAt % 2;
                device().calls.clear();
                int call = 0;
                left = false;
                device().onCall = [&, leave = leave](const standin::Call&) {
                    if (call++ != leftAt)
                        return;
                    left = true;
                    leave(*window);
                    device().result.clear();
                };
                ServoLoopCallBack(window.get());
                device().onCall = nullptr;
                device().result.clear();
                QVERIFY2(!left || !drives(), qPrintable(QString("%1 %2 %3").arg(tab, page).arg(leftAt)));
            }
            QVERIFY2(leftAt > 3, tab);
        }
    }

    // What the next tab reads may hang: ticks that come meanwhile drive nothing and take the amplifiers off.
    void ticksWhileTheNextTabReads() {
        for (const char* from : {"Box Test", "Cycle Amps", "Test Forces", "Performance Testing"}) {
            for (const char* to : {"Calibrate", "Read Encoder", "Mode"}) {
                drive(from, "Force Test");
                device().calls.clear();
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
                    left += drives();
                };
                go(to);
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
