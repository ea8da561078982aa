// The box's force, its limits and its pop-through, tick by tick, for every model line in both modes.
#include <cmath>
#include <limits>

#include "motorsoff.h"
#include "qttharlenhapticrenderer.h"
#include "restyle.h"
#include "standinwindow.h"

namespace {

using Force = std::array<float, 3>;

/// A line's record and the walls it should have, by the stand-in's stiffness and forces.
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

class TestBoxForce : public StandinWindow {
    Q_OBJECT

    void open(const Line& line, bool manufacturing) {
        openFleet({record("Arm", line.type, line.card, line.highForce)});
        window->manufMode = manufacturing;
        startBoxTest = true;
        device().forcesEnabled = true;
    }

    /// One tick at a position; the force that was sent, by the scene that is on.
    std::array<float, 3> tickAt(float x, float y, float z) {
        device().position[0] = x, device().position[1] = y, device().position[2] = z;
        device().calls.clear();
        tick();
        const auto sent = device().of({"send_tharlen_force", "send_tharlen_force_6dof"}).at(0).values;
        return {float(sent[1]), float(sent[2]), float(sent[3])};
    }
    int count(int wall) const { return window->hapticBoxRenderer->m_nWallTransitions[wall]; }

private slots:
    void wallsAreSpringsOfEachLinesGain() {
        for (const Line& line : kLines) {
            for (const bool manufacturing : {false, true}) {
                open(line, manufacturing);
                const float gain = manufacturing ? line.manufacturingGain : line.userGain;
                QVERIFY2(tickAt(20.0f, -20.0f, 3.0f) == Force{}, line.name);
                const Force force = tickAt(21.0f, -19.0f, -21.5f);
                QVERIFY2(std::fabs(force[0] + gain) < 1e-6f && force[1] == 0, line.name);
                QVERIFY2(std::fabs(force[2] - 1.5f * gain) < 1e-6f, line.name);
                QCOMPARE(window->hapticBoxRenderer->pPos.copy(), (Force{20.0f, -19.0f, -20.0f}));
            }
        }
    }

    // Far into one wall, in user mode: Corvale switches its forces off, the others are limited.
    void userModeIsLimited() {
        for (const Line& line : kLines) {
            open(line, false);
            const float deep = 21.0f + 2 * line.limit / line.userGain;
            const bool switches = line.type == 3;
            const Force force = tickAt(0, deep, 0);
            QVERIFY2(switches ? force[1] < -line.limit : force[1] == -line.limit, line.name);
            QVERIFY2(device().count("disable_tharlen_forces") == switches && device().forcesEnabled != switches,
                     line.name);
            tickAt(0, 20.0f + 0.97f * line.limit / line.userGain, 0);
            QVERIFY2(device().count("disable_tharlen_forces") == 0 && device().forcesEnabled, line.name);
        }
    }

    // Of two axes over the limit only one is limited a tick, the positive side first. A Stelmar's components are
    // limited one by one, once the whole is past the limit; along one axis it never pops through.
    void whichAxesAreLimited() {
        open(kLines[0], false);
        QCOMPARE(tickAt(40.0f, -40.0f, -50.0f), (Force{-5.0f, 3.3f, 7.5f}));  // -5 N, 5 N, 7.5 N
        QCOMPARE(window->forceProgress.copy(), (Force{0, 3.3f, 0}));
        QCOMPARE(tickAt(40.0f, 0, 60.0f), (Force{-3.3f, 0, -10.0f}));
        tickAt(24.0f, 0, 0);
        QCOMPARE(window->forceProgress.copy(), (Force{-1.0f, 0, 0}));
        open(kLines[5], true);
        for (int ticks = 0; ticks < 20; ++ticks)
            QCOMPARE(tickAt(60.0f, 0, 0), (Force{-3.6f, 0, 0}));
        QCOMPARE(count(0), 0);
        QCOMPARE(tickAt(29.0f, 22.0f, 0), (Force{-3.6f, -1.0f, 0.0f}));  // -4.5 N, -1 N; limit 3.6 N
        open(kLines[4], true);
        QCOMPARE(tickAt(40.0f, 22.0f, 0), (Force{-3.3f, -0.5f, 0.0f}));  // -5 N, -0.5 N; limit 3.3 N
    }

    // No motor gets what is no finite number; the window says so once of a device, and nothing counts as a wall.
    void whatIsNoNumberDrivesNothing() {
        const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
        for (const Line& line : {kLines[0], kLines[2], kLines[5]}) {
            for (const bool manufacturing : {false, true}) {
                open(line, manufacturing);
                for (const float bad : {inf, -inf, nan}) {
                    for (int ticks = 0; ticks < 5; ++ticks)
                        QVERIFY2(tickAt(0, bad, 0) == Force{}, line.name);
                    for (float* figure : {&device().maxForce, &device().maxStiffness}) {
                        const float before = *figure;
                        *figure = device().maxContinuousForce = bad;
                        QVERIFY2(tickAt(25.0f, 0, 0) == Force{}, line.name);
                        *figure = before;
                        device().maxContinuousForce = 3.3f;
                    }
                    watchLoop(*window);
                }
                QCOMPARE(window->hapticBoxRenderer->m_nWallTransitions.copy(), (std::array<int, 6>{}));
                QCOMPARE(ui().error_browser->toPlainText().count("no number"), 1);
                window->OnSelChangeTHARLeN();
                window->m_lastSaid.clear();
                startBoxTest = true;
                tickAt(0, inf, 0);
                watchLoop(*window);
                QCOMPARE(ui().error_browser->toPlainText().count("no number"), 1);
            }
        }
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
                QVERIFY2(tickAt(-over, beside, 0)[0] > 0, line.name);
                QVERIFY2(count(1) == excursion && count(2) == (stelmar ? excursion : 0), line.name);
                for (int ticks = 0; ticks < 5; ++ticks)
                    QVERIFY2(tickAt(-over, beside, 0) == Force{}, line.name);
                QVERIFY2(tickAt(-under, 0, 0) == Force{} && count(1) == excursion, line.name);
                tickAt(0, 0, 0);
                QVERIFY2(!window->hapticBoxRenderer->m_bBrokeOutOfBox, line.name);
            }
        }
    }

    // And nothing counts where the tab is left in the middle of the tick.
    void aCornerCountsForAllItsWalls() {
        for (const bool left : {false, true}) {
            open(kLines[0], true);
            tickAt(45.0f, -45.0f, 45.0f);
            tickAt(45.0f, -45.0f, 45.0f);
            device().onCall = [&](const standin::Call& call) {
                if (left && call.name == "get_tharlen_pos")
                    forcesOff(*window);
            };
            tickAt(45.0f, -45.0f, 45.0f);
            device().onCall = nullptr;
            const auto counted = left ? std::array<int, 6>{} : std::array<int, 6>{1, 0, 0, 1, 1, 0};
            QCOMPARE(window->hapticBoxRenderer->m_nWallTransitions.copy(), counted);
        }
    }

    // An operator whose box does not pass goes on all the same, with the failure on record. On the last tab the timer,
    // which is another page's too, lights nothing, and no wall is passed unseen by coming back.
    void goingOnWithoutThePass() {
        open(kLines[0], true);
        startBoxTest = false;
        window->disableTestTabs();
        enter(ui().tab_10, "Box Test");
        QVERIFY(!ui().next_button->isEnabled());
        window->forceProgressUpdate();
        ui().next_button->click();
        QCOMPARE(tabTexts(*window).mid(2), (QStringList{"Box Test", "Servoloop", "Summary"}));
        QVERIFY(ui().tabWidget->currentIndex() == 3 && !window->repData->bBoxPass);
        go("Summary");
        window->forceProgressUpdate();
        QVERIFY(!ui().next_button->isEnabled());
        window->hapticBoxRenderer->m_nWallTransitions.fill(3);
        go("Box Test");
        window->hapticBoxRenderer->graphicsCallback();
        QVERIFY(window->hapticBoxRenderer->m_bPassTest);
        go("Servoloop", "Box Test");
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
        QVERIFY(ui().xForceBar->value() == 50 && ui().yForceBar->value() == 25 && ui().zForceBar->value() == 0);
        QCOMPARE(ui().x_force->text() + ' ' + ui().y_force->text() + ' ' + ui().z_force->text(),
                 QString("1.6 0.82 0.01"));
        QCOMPARE(looks(ui().boxTest_status), QString(kNotYetStyle));
        window->hapticBoxRenderer->m_bPassTest = true;
        window->forceProgressUpdate();
        window->forceProgressUpdate();
        QVERIFY(window->repData->bBoxPass);
        QCOMPARE(looks(ui().boxTest_status), QString("PASS") + kPassStyle);
        QVERIFY(tabTexts(*window).count("Summary") == 1 && tabTexts(*window).count("Servoloop") == 1);
    }

    void entryTellsTheOperator() {
        const std::tuple<unsigned long, bool, const char*> rows[] = {{3, false, "feel all the faces and edges"},
                                                                     {3, true, "break out 3 times from bottom face"},
                                                                     {9, true, "including the hidden front wall"}};
        for (const auto& [type, manufacturing, text] : rows) {
            open({"", type, 7, 0, 0, 0, 0}, manufacturing);
            startBoxTest = false;
            go("Box Test");
            QVERIFY2(ui().textBrowser_8->toPlainText().contains(text), text);
            QVERIFY(ui().boxTest_status->isHidden() != manufacturing && ui().next_button->isEnabled() != manufacturing);
            const auto& scene = *window->hapticBoxRenderer;
            QVERIFY(startBoxTest && scene.graphicTimer->isActive() && scene.manufacturingMode == manufacturing);
            go("Servoloop");
            QVERIFY(!startBoxTest && !scene.graphicTimer->isActive());
        }
    }

    // The passivity cube: no force at 40.0 or with no gain, forces on at the first crossing.
    void passivityCube() {
        open(kLines[0], false);
        startBoxTest = false;
        startPassivityTest = true;
        device().forcesEnabled = false;
        window->onPassivitySliderChange(25);  // 2.5 N/mm
        QCOMPARE(tickAt(40.0f, -40.0f, 0), Force{});
        QVERIFY(!device().forcesEnabled);
        QCOMPARE(tickAt(42.0f, 0, -41.0f), (Force{-5.0f, 0, 2.5f}));
        QCOMPARE(device().count("enable_tharlen_forces"), 1);
        QCOMPARE(passivityTestForce[2].load(), 2.5f);
        QCOMPARE(window->passivityBoxRenderer->pPos.copy(), (Force{40.0f, 0, -40.0f}));
        window->onPassivitySliderChange(0);
        QCOMPARE(tickAt(90.0f, 0, 0), Force{});
        QCOMPARE(tickAt(std::numeric_limits<float>::infinity(), 0, 0), Force{});
    }
};

QTEST_MAIN(TestBoxForce)
#include "tst_boxforce.moc"
