// The box's force, its limits and its pop-through, tick by tick, for every model line in both modes.
#include <cmath>
#include <limits>

#include "motorsoff.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"
#include "standin.h"
#include "windowtest.h"

using standin::device;
using standin::record;

namespace {

/// A line of the table: its record and the walls it should have. Stiffness of the stand-in is 0.5 N/mm, its
/// nominal force 3.3 N, its continuous force 0.9 N.
struct Line {
    const char* name;
    unsigned long type, card, highForce;
    float userGain, manufacturingGain;  ///< N/mm
    float limit;                        ///< N
};

const Line kLines[] = {
    {"Orda", 5, 7, 0, 0.25f, 0.25f, 3.3f},
    {"Orda high force", 5, 7, 1, 0.25f, 0.25f, 3.3f},
    {"Corvale LAN", 3, 6, 0, 0.35f, 0.35f, 3.3f},
    {"Corvale USB", 3, 7, 0, 0.25f, 0.25f, 3.3f},
    {"Nolva", 9, 7, 0, 0.4f, 0.25f, 3.3f},
    {"Stelmar", 1, 1, 0, 0.25f, 0.5f, 3.6f},
    {"Stelmar high force", 1, 1, 1, 0.25f, 0.5f, 0.9f},
    {"six degrees", 4, 3, 0, 0.25f, 0.5f, 3.6f},
    {"Corvale 1394", 3, 3, 0, 0.25f, 0.25f, 3.3f},
};

}  // namespace

class TestBoxForce : public QObject {
    Q_OBJECT

    std::unique_ptr<qtTharlenTest> window;

    void open(const Line& line, bool manufacturing) {
        window.reset();
        standin::reset();
        resetSharedState();
        device().fleet = {record("Arm", line.type, line.card, line.highForce)};
        window = openWindow();
        window->manufMode = manufacturing;
        startBoxTest = true;
        device().forcesEnabled = true;
    }

    /// One tick at a position; the force that was sent.
    std::array<float, 3> tickAt(float x, float y, float z) {
        const float position[3] = {x, y, z};
        std::copy(position, position + 3, device().position);
        device().calls.clear();
        ServoLoopCallBack(window.get());
        const auto sent = device().of({"send_tharlen_force"}).at(0).values;
        return {float(sent[1]), float(sent[2]), float(sent[3])};
    }
    int count(int wall) const { return window->hapticBoxRenderer->m_nWallTransitions[wall]; }

private slots:
    void cleanup() {
        resetSharedState();
        window.reset();
    }

    void wallsAreSpringsOfEachLinesGain() {
        for (const Line& line : kLines) {
            for (const bool manufacturing : {false, true}) {
                open(line, manufacturing);
                const float gain = manufacturing ? line.manufacturingGain : line.userGain;
                const auto inside = tickAt(20.0f, -20.0f, 3.0f);
                QVERIFY2(inside == (std::array<float, 3>{0, 0, 0}), line.name);
                const auto force = tickAt(21.0f, -19.0f, -21.5f);
                QVERIFY2(std::fabs(force[0] + gain) < 1e-6f, line.name);
                QVERIFY2(force[1] == 0, line.name);
                QVERIFY2(std::fabs(force[2] - 1.5f * gain) < 1e-6f, line.name);
                const auto cursor = window->hapticBoxRenderer->pPos.copy();
                QVERIFY2(cursor == (std::array<float, 3>{20.0f, -19.0f, -20.0f}), line.name);
            }
        }
    }

    // Far into one wall, in user mode: Corvale switches its forces off, the others are limited.
    void userModeIsLimited() {
        for (const Line& line : kLines) {
            open(line, false);
            const float deep = 21.0f + 2 * line.limit / line.userGain;
            const auto force = tickAt(0, deep, 0);
            if (line.type == 3) {
                QVERIFY2(force[1] < -line.limit, line.name);
                QVERIFY2(device().count("disable_tharlen_forces") == 1 && !device().forcesEnabled, line.name);
                tickAt(0, 20.5f, 0);
                QVERIFY2(device().count("enable_tharlen_forces") >= 1 && device().forcesEnabled, line.name);
            } else {
                QVERIFY2(force[1] == -line.limit, line.name);
                QVERIFY2(device().count("disable_tharlen_forces") == 0, line.name);
            }
        }
    }

    // Of two axes over the limit only one is limited a tick, the positive side first.
    void oneAxisIsLimitedATick() {
        open(kLines[0], false);
        auto force = tickAt(40.0f, -40.0f, -50.0f);  // -5 N, 5 N, 7.5 N
        QCOMPARE(force, (std::array<float, 3>{-5.0f, 3.3f, 7.5f}));
        QCOMPARE(window->forceProgress[1].load(), 3.3f);
        QCOMPARE(window->forceProgress[2].load(), 0.0f);
        force = tickAt(40.0f, 0, 60.0f);
        QCOMPARE(force, (std::array<float, 3>{-3.3f, 0.0f, -10.0f}));
        tickAt(24.0f, 0, 0);
        QCOMPARE(window->forceProgress.copy(), (std::array<float, 3>{-1.0f, 0.0f, 0.0f}));
    }

    // A nominal force of 0 leaves none to either side, one axis a tick.
    void noNominalForceLeavesNone() {
        open(kLines[0], false);
        device().maxForce = 0;
        QCOMPARE(tickAt(-30.0f, 0, 0), (std::array<float, 3>{0, 0, 0}));
        QCOMPARE(tickAt(30.0f, 0, 0), (std::array<float, 3>{0, 0, 0}));
    }

    // Whatever the library gives, no motor gets what is no finite number; the window says so once, and nothing counts
    // as a wall.
    void whatIsNoNumberDrivesNothing() {
        const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
        for (const Line& line : kLines) {
            for (const bool manufacturing : {false, true}) {
                open(line, manufacturing);
                for (const float bad : {inf, -inf, nan}) {
                    for (int tick = 0; tick < 5; ++tick)
                        QVERIFY2(tickAt(0, bad, 0) == (std::array<float, 3>{0, 0, 0}), line.name);
                    device().maxForce = device().maxContinuousForce = bad;
                    QVERIFY2(tickAt(25.0f, 0, 0) == (std::array<float, 3>{0, 0, 0}), line.name);
                    device().maxForce = device().maxContinuousForce = 3.3f;
                    device().maxStiffness = bad;
                    QVERIFY2(tickAt(25.0f, 0, 0) == (std::array<float, 3>{0, 0, 0}), line.name);
                    device().maxStiffness = 0.5f;
                    watchLoop(*window);
                }
                for (int wall = 0; wall < 6; ++wall)
                    QVERIFY2(count(wall) == 0, line.name);
                QCOMPARE(window->ui.error_browser->toPlainText().count("no number"), 1);
            }
        }
    }

    // A Stelmar's components are limited one by one, once the whole is past the limit.
    void stelmarComponents() {
        open(kLines[5], true);
        const auto force = tickAt(29.0f, 22.0f, 0);  // -4.5 N, -1 N; limit 3.6 N
        QCOMPARE(force, (std::array<float, 3>{-3.6f, -1.0f, 0.0f}));
        open(kLines[4], true);  // -5 N, -0.5 N; limit 3.3 N
        QCOMPARE(tickAt(40.0f, 22.0f, 0), (std::array<float, 3>{-3.3f, -0.5f, 0.0f}));
    }

    // Three ticks over the limit, not in a row, within one excursion; then no force until inside again.
    void popThroughAndReArming() {
        for (const Line& line : kLines) {
            open(line, true);
            const bool stelmar = line.type == 1 || line.type == 4;
            const float limit = line.type == 9 ? line.limit / 1.03f : line.limit;
            const float over = 20.0f + 1.2f * limit / line.manufacturingGain;
            const float under = 20.0f + 0.5f * limit / line.manufacturingGain;
            const float beside = stelmar ? 20.5f : 0.0f;  // a second axis lifts a Stelmar over its limit
            for (int excursion = 1; excursion <= 4; ++excursion) {
                tickAt(-over, beside, 0);
                tickAt(-under, beside, 0);
                tickAt(-over, beside, 0);
                QVERIFY2(count(1) == excursion - 1, line.name);
                const auto third = tickAt(-over, beside, 0);
                QVERIFY2(third[0] > 0, line.name);
                QVERIFY2(count(1) == excursion, line.name);
                QVERIFY2(count(2) == (stelmar ? excursion : 0), line.name);
                for (int tick = 0; tick < 5; ++tick)
                    QVERIFY2(tickAt(-over, beside, 0) == (std::array<float, 3>{0, 0, 0}), line.name);
                QVERIFY2(tickAt(-under, 0, 0) == (std::array<float, 3>{0, 0, 0}), line.name);
                QVERIFY2(count(1) == excursion, line.name);
                tickAt(0, 0, 0);
                QVERIFY2(!window->hapticBoxRenderer->m_bBrokeOutOfBox, line.name);
            }
        }
    }

    // Along one axis a Stelmar stays exactly at its limit and never pops through.
    void stelmarAlongOneAxisHolds() {
        open(kLines[5], true);
        for (int tick = 0; tick < 20; ++tick)
            QCOMPARE(tickAt(60.0f, 0, 0)[0], -3.6f);
        QCOMPARE(count(0), 0);
    }

    void aCornerCountsForAllItsWalls() {
        open(kLines[0], true);
        for (int tick = 0; tick < 3; ++tick)
            tickAt(45.0f, -45.0f, 45.0f);
        const int expected[6] = {1, 0, 0, 1, 1, 0};
        for (int wall = 0; wall < 6; ++wall)
            QCOMPARE(count(wall), expected[wall]);
    }

    void forcesAreEnabledOnlyOutsideTheBox() {
        open(kLines[0], false);
        device().result["enable_tharlen_forces"] = -4;  // they do not come
        device().forcesEnabled = false;
        tickAt(25.0f, 0, -25.0f);
        QCOMPARE(device().count("enable_tharlen_forces"), 3);  // two walls, and the dispatcher's own check
        tickAt(20.0f, 0, -20.0f);
        QCOMPARE(device().count("enable_tharlen_forces"), 1);
    }

    void breakOutsWanted_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("manufacturing");
        QTest::addColumn<int>("wanted");
        QTest::newRow("Corvale") << 3 << true << 11;
        QTest::newRow("Orda") << 5 << true << 12;
        QTest::newRow("other") << 9 << true << 3;
        QTest::newRow("user mode leaves it") << 5 << false << 99;
    }
    void breakOutsWanted() {
        QFETCH(int, type);
        QFETCH(bool, manufacturing);
        QFETCH(int, wanted);
        open({"", static_cast<unsigned long>(type), 7, 0, 0, 0, 0}, manufacturing);
        window->m_cdCorvale.nWallTransitions = 11;
        window->m_cdLodrin.nWallTransitions = 12;
        window->hapticBoxRenderer->m_PopThruRequirement = 99;
        tickAt(0, 0, 0);
        QCOMPARE(window->hapticBoxRenderer->m_PopThruRequirement.load(), wanted);
    }

    void noDeviceGivesNoForce() {
        open(kLines[0], true);
        float position[3] = {50.0f, 0, 0};
        long dac[3] = {};
        window->hapticBoxRenderer->pPos[0] = 1.0f;
        const float* force = window->calcForce(-1, position, dac);
        QVERIFY(force[0] == 0 && force[1] == 0 && force[2] == 0);
        QCOMPARE(window->hapticBoxRenderer->pPos[0].load(), 1.0f);
    }

    // An operator whose box does not pass goes on all the same, with the failure on record, and passes no wall unseen
    // by coming back.
    void goingOnWithoutThePass() {
        open(kLines[0], false);
        window->manufMode = true;
        startBoxTest = false;
        window->disableTestTabs();
        window->ui.tabWidget->addTab(window->ui.tab_10, "Box Test");
        goToTab(*window, "Box Test");
        QVERIFY(!window->ui.next_button->isEnabled());
        window->forceProgressUpdate();
        QVERIFY(window->ui.next_button->isEnabled());
        window->ui.next_button->click();
        QCOMPARE(tabTexts(*window).mid(2), (QStringList{"Box Test", "Servoloop", "Summary"}));
        QCOMPARE(window->ui.tabWidget->currentIndex(), 3);
        QVERIFY(!window->repData->bBoxPass);
        // On the last tab the timer, which is another page's too, does not light it.
        goToTab(*window, "Summary");
        window->forceProgressUpdate();
        QVERIFY(!window->ui.next_button->isEnabled());
        // A second visit passes nothing by itself.
        window->hapticBoxRenderer->m_nWallTransitions.fill(3);
        goToTab(*window, "Box Test");
        window->hapticBoxRenderer->graphicsCallback();
        QVERIFY(window->hapticBoxRenderer->m_bPassTest);
        goToTab(*window, "Servoloop");
        goToTab(*window, "Box Test");
        window->forceProgressUpdate();
        QVERIFY(!window->repData->bBoxPass);
    }

    // Bars show the last motor command in percent, labels the share of the nominal force.
    void progressAndVerdict() {
        open(kLines[0], true);
        device().lastDac[0] = -16384;
        device().lastDac[1] = 8192;
        device().lastDac[2] = 100;
        tickAt(0, 0, 0);
        window->forceProgressUpdate();
        QCOMPARE(window->ui.xForceBar->value(), 50);
        QCOMPARE(window->ui.yForceBar->value(), 25);
        QCOMPARE(window->ui.zForceBar->value(), 0);
        QCOMPARE(window->ui.x_force->text(), QString("1.6"));
        QCOMPARE(window->ui.z_force->text(), QString("0.01"));
        QCOMPARE(window->ui.boxTest_status->text(), QString());
        QCOMPARE(window->ui.boxTest_status->styleSheet(), QString("* { background-color: rgb(200,150,150) }"));
        QVERIFY(window->ui.next_button->isEnabled());

        window->hapticBoxRenderer->m_bPassTest = true;
        window->forceProgressUpdate();
        window->forceProgressUpdate();
        QVERIFY(window->repData->bBoxPass);
        QCOMPARE(window->ui.boxTest_status->text(), QString("PASS"));
        QCOMPARE(window->ui.boxTest_status->styleSheet(), QString("* { background-color: rgb(0,200,0) }"));
        QCOMPARE(tabTexts(*window).count("Summary"), 1);
        QCOMPARE(tabTexts(*window).count("Servoloop"), 1);
    }

    void entryTellsTheOperator_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("manufacturing");
        QTest::addColumn<QString>("text");
        QTest::newRow("user")
            << 3 << false << "Slowly move the cursor and feel all the faces and edges of the box using the Device .";
        QTest::newRow("Corvale") << 3 << true
                                 << "To tension cables: break out 3 times from bottom face, then 3 times from right "
                                    "face, then 3 times from inner face.";
        QTest::newRow("other")
            << 9 << true << "Breakout through each wall 3 times to pass the test. including the hidden front wall. ";
    }
    void entryTellsTheOperator() {
        QFETCH(int, type);
        QFETCH(bool, manufacturing);
        QFETCH(QString, text);
        open({"", static_cast<unsigned long>(type), 7, 0, 0, 0, 0}, false);
        window->manufMode = manufacturing;
        startBoxTest = false;
        goToTab(*window, "Box Test");
        QCOMPARE(window->ui.textBrowser_8->toPlainText(), text);
        QCOMPARE(window->ui.boxTest_status->isHidden(), !manufacturing);
        QCOMPARE(window->ui.next_button->isEnabled(), !manufacturing);
        QVERIFY(startBoxTest);
        QCOMPARE(window->hapticBoxRenderer->manufacturingMode, manufacturing);
        QVERIFY(window->forceProgressTimer->isActive() && window->hapticBoxRenderer->graphicTimer->isActive());
        window->hapticBoxRenderer->m_nWallTransitions[3] = 2;
        goToTab(*window, "Servoloop");
        QVERIFY(!startBoxTest && !window->forceProgressTimer->isActive());
        QVERIFY(!window->hapticBoxRenderer->graphicTimer->isActive());
        QCOMPARE(count(3), 0);
    }

    // The passivity cube: no force at 40.0 or with no gain, forces on at the first crossing.
    void passivityCube() {
        open(kLines[0], false);
        startBoxTest = false;
        startPassivityTest = true;
        device().forcesEnabled = false;
        const auto tick = [this](float x, float y, float z) {
            const float position[3] = {x, y, z};
            std::copy(position, position + 3, device().position);
            device().calls.clear();
            ServoLoopCallBack(window.get());
            return device().of({"send_tharlen_force_6dof"}).at(0).values;
        };
        const double id = window->csTharlenID;
        window->onPassivitySliderChange(25);  // 2.5 N/mm
        QCOMPARE(tick(40.0f, -40.0f, 0), (std::vector<double>{id, 0, 0, 0, 0, 0, 0}));
        QVERIFY(!device().forcesEnabled);
        QCOMPARE(tick(42.0f, 0, -41.0f), (std::vector<double>{id, -5.0, 0, 2.5, 0, 0, 0}));
        QCOMPARE(device().count("enable_tharlen_forces"), 1);
        QCOMPARE(passivityTestForce[2].load(), 2.5f);
        QCOMPARE(window->passivityBoxRenderer->pPos.copy(), (std::array<float, 3>{40.0f, 0, -40.0f}));
        window->onPassivitySliderChange(0);
        QCOMPARE(tick(90.0f, 0, 0)[1], 0.0);
        QCOMPARE(tick(std::numeric_limits<float>::infinity(), 0, 0)[1], 0.0);
    }

    void filtersSceneFollowsTheRawPosition() {
        open(kLines[0], false);
        startBoxTest = false;
        startFiltersTest = true;
        device().position[1] = 55.5f;
        ServoLoopCallBack(window.get());
        QCOMPARE(window->filtersRenderer->pPos[1].load(), 55.5f);
    }
};

QTEST_MAIN(TestBoxForce)
#include "tst_boxforce.moc"
