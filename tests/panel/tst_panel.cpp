// The panel against a small arm that speaks the line protocol by script: finding it, losing it, what is sent
// for a hand's wishes, and answers that are wrong.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <QCheckBox>
#include <QComboBox>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalServer>
#include <QMessageBox>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTreeWidget>
#include <QtTest>
#include <memory>

#include "armpanel.h"
#include "faultlist.h"
#include "fleetlist.h"
#include "handcontrols.h"
#include "handrecorder.h"
#include "loopview.h"
#include "readouts.h"
#include "scriptbar.h"
#include "scriptedarm.h"
#include "scriptfile.h"
#include "workspaceview.h"

class TestPanel : public PanelFixture {
    Q_OBJECT

    /// A link with an arm that has answered the first state and answers no more.
    struct Quiet {
        ScriptedArm arm;
        ArmLink link;
        explicit Quiet(const QString& path) : arm(path) {
            QSignalSpy states(&link, &ArmLink::stateArrived);
            link.start();
            QTRY_VERIFY_WITH_TIMEOUT(!states.isEmpty(), 2000);
            arm.answers = false;
            QTRY_VERIFY_WITH_TIMEOUT(arm.received.size() == 2, 2000);  // the state request of the next frame
            arm.received.removeFirst();
        }
    };

private slots:
    void init() { prepare(); }

    void findsTheNewestThatLives() {
        ScriptedArm older(path("arm-3.sock")), newer(path("arm-1.sock"));
        leaveStale(path("arm-2.sock"));
        leaveStale(path("other.sock"));
        QFile plain(path("arm-9.sock"));
        QVERIFY(plain.open(QIODevice::WriteOnly));
        setAge(path("arm-3.sock"), 300);
        setAge(path("arm-1.sock"), 200);
        setAge(path("arm-2.sock"), 100);
        QCOMPARE(ArmLink::candidates(), QStringList({path("arm-2.sock"), path("arm-1.sock"), path("arm-3.sock")}));
        // Some whose owners stand still, with their queues full, hold nobody up.
        std::vector<std::unique_ptr<StillArm>> still;
        for (int i = 20; i < 80; ++i)
            still.push_back(std::make_unique<StillArm>(path(QString("arm-%1.sock").arg(i))));
        ArmLink link;
        QElapsedTimer clock;
        clock.start();
        link.start(kRetryMs);
        QVERIFY2(clock.elapsed() < 6000, qPrintable(QString("%1 ms").arg(clock.elapsed())));
        QCOMPARE(link.socketPath(), path("arm-1.sock"));
        QTRY_VERIFY(!newer.received.isEmpty());
        QVERIFY(older.received.isEmpty());
    }

    void environmentNamesThePlace() {
        qputenv("NOLVA_ARM_SOCKET", "/elsewhere/arm.sock");
        QCOMPARE(ArmLink::candidates(), QStringList("/elsewhere/arm.sock"));
        qunsetenv("NOLVA_ARM_SOCKET");
        qunsetenv("XDG_RUNTIME_DIR");
        QCOMPARE(ArmLink::socketFolder().path(), QString("/tmp/nolva-diagnostic-%1").arg(getuid()));
    }

    void saysThatNoneRunsAndComesBack() {
        ArmPanel panel;
        QPushButton* button = panel.findChild<HandControls*>()->findChild<QPushButton*>();
        panel.start(kRetryMs, 300);
        QCOMPARE(text(panel, "device"), QString("No arm is running."));
        QVERIFY(text(panel, "loop").contains("connects by itself"));
        QVERIFY(!button->isEnabled());
        for (int round = 0; round < 2; ++round) {
            ScriptedArm arm(path(QString("arm-%1.sock").arg(round)));
            QTRY_VERIFY(text(panel, "device").startsWith("Arm 7"));
            QVERIFY(button->isEnabled());
            // A command that the arm takes with it is answered as lost, once, and does not stall the next arm.
            arm.answers = false;
            int lost = 0;
            panel.link().send("hand.dock", {}, [&lost](const QJsonObject& a) { lost += a["ok"].toBool() ? 100 : 1; });
            panel.link().sendLatest("hand.move", {});
            QTRY_VERIFY(!arm.named("hand.dock").isEmpty());
            arm.vanish();
            QTRY_COMPARE(text(panel, "device"), QString("No arm is running."));
            QCOMPARE(lost, 1);
            QCOMPARE(panel.link().commandsUnderWay(), 0);
            QVERIFY(!button->isEnabled());
        }
        {
            ScriptedArm arm(path("arm-1.sock"));
            QTRY_VERIFY(button->isEnabled());
            arm.answers = false;
            QTRY_VERIFY(text(panel, "device").contains("does not answer"));
            QVERIFY(!button->isEnabled());
            arm.answers = true;
            arm.reply(arm.received.last());
            QTRY_VERIFY(text(panel, "device").startsWith("Arm 7"));
            QVERIFY(button->isEnabled());
        }
        qputenv("NOLVA_ARM_SOCKET", "off");
        QTRY_VERIFY(text(panel, "device").contains("off"));
    }

    void asksForOneStateAtATime() {
        Quiet quiet(path("arm-1.sock"));
        for (int i = 0; i < 5; ++i)
            quiet.link.frame();
        int docked = 0;
        quiet.link.send("hand.dock", {}, [&docked](const QJsonObject&) { ++docked; });
        QTRY_COMPARE(quiet.arm.received.size(), 2);  // the state of before, and the command
        quiet.arm.replyToAll(0);
        QTRY_COMPARE(docked, 1);
        quiet.link.frame();
        QTRY_COMPARE(quiet.arm.named("state").size(), 2);
    }

    void sendsTheLatestMoveOfAFrame() {
        Quiet quiet(path("arm-1.sock"));
        HandWishes hand(quiet.link);
        const auto moves = [&] { return quiet.arm.named("hand.move"); };
        for (const double x : {1.0, 2.0, 3.0})
            hand.moveTo({x, 0, 0});
        quiet.link.frame();
        for (const double x : {4.0, 5.0}) {
            hand.moveTo({x, 0, 0});
            quiet.link.frame();
        }
        hand.nudge(0, 2.0);  // steps add up, though the state knows of none yet
        hand.nudge(0, 2.0);
        QTRY_COMPARE(moves().size(), 1);
        QCOMPARE(numbers(moves()[0]["position"]), QList<double>({3, 0, 0}));
        quiet.arm.replyToAll(0);
        QTRY_COMPARE(moves().size(), 2);
        QCOMPARE(numbers(moves()[1]["position"]), QList<double>({9, 0, 0}));
        // What was not sent yet must not grip the stylus again after it was let go.
        hand.moveTo({70, 0, 0});
        hand.release();
        quiet.arm.answers = true;
        quiet.arm.replyToAll(quiet.arm.received.size() - 1);
        QTRY_COMPARE(quiet.arm.named("hand.release").size(), 1);
        hand.moveTo({-700, 0, 0});
        QTRY_COMPARE(moves().size(), 3);
        QCOMPARE(numbers(moves()[2]["position"])[0], -HandWishes::kLimit);
    }

    void survivesWrongAnswers_data() {
        QTest::addColumn<QByteArrayList>("answers");  // ID and NEXT stand for ids of the two commands
        QTest::addColumn<QString>("first");           // error of the first command, empty for ok
        const QByteArray next = "{\"ok\":true,\"id\":NEXT}\n";
        const QString unreadable = "the answer cannot be read";
        QTest::newRow("in pieces") << QByteArrayList{"{\"ok\":tr", "ue,\"id\":ID", "}\n{\"ok\":true,", "\"id\":NEXT}\n"}
                                   << "";
        QTest::newRow("both in one") << QByteArrayList{"{\"ok\":true,\"id\":ID}\n" + next} << "";
        QTest::newRow("not JSON") << QByteArrayList{"nonsense\n" + next} << unreadable;
        QTest::newRow("nested deep") << QByteArrayList{"{\"ok\":true,\"id\":ID,\"x\":" + QByteArray(64, '[')
                                                       + QByteArray(64, ']') + "}\n" + next}
                                     << unreadable + ": nested deeper than 64 levels";
        QTest::newRow("control characters")
            << QByteArrayList{"{\"ok\":false,\"id\":ID,\"error\":\"a\\u001b[2J\\u0000b\\n\"}\n" + next} << "a?[2J?b?";
        QTest::newRow("long error") << QByteArrayList{"{\"ok\":false,\"id\":ID,\"error\":\"" + QByteArray(900000, 'x')
                                                      + "\"}\n" + next}
                                    << QString(120, 'x') + "..." + QString(77, 'x');
        QTest::newRow("empty line") << QByteArrayList{"\n" + next} << unreadable;
        QTest::newRow("array") << QByteArrayList{"[1,2]\n" + next} << unreadable;
        QTest::newRow("no ok") << QByteArrayList{"{\"id\":ID}\n" + next} << unreadable;
        QTest::newRow("no id") << QByteArrayList{"{\"ok\":false,\"error\":\"too far\"}\n" + next} << "too far";
        QTest::newRow("foreign id") << QByteArrayList{"{\"ok\":true,\"id\":987654}\n{\"ok\":true,\"id\":ID}\n" + next}
                                    << "";
        QTest::newRow("lost") << QByteArrayList{next} << "no answer came";
        QTest::newRow("twice") << QByteArrayList{"{\"ok\":true,\"id\":ID}\n{\"ok\":true,\"id\":ID}\n" + next} << "";
    }

    void survivesWrongAnswers() {
        QFETCH(QByteArrayList, answers);
        QFETCH(QString, first);
        Quiet quiet(path("arm-1.sock"));
        QSignalSpy refused(&quiet.link, &ArmLink::refused);
        quiet.arm.replyToAll(0);
        QTRY_COMPARE(quiet.arm.named("state").size(), 2);
        quiet.arm.reply(quiet.arm.received.last());
        QJsonObject got, gotNext;
        int calls = 0;
        QTRY_COMPARE(quiet.arm.named("state").size(), 3);
        quiet.link.send("hand.dock", {}, [&](const QJsonObject& a) { got = a, ++calls; });
        quiet.link.send("hand.undock", {}, [&](const QJsonObject& a) { gotNext = a, ++calls; });
        QTRY_COMPARE(quiet.arm.named("hand.undock").size(), 1);
        quiet.arm.reply(quiet.arm.named("state").last());
        for (QByteArray part : answers) {
            part.replace("ID", QByteArray::number(quiet.arm.named("hand.dock")[0]["id"].toInt()));
            part.replace("NEXT", QByteArray::number(quiet.arm.named("hand.undock")[0]["id"].toInt()));
            quiet.arm.client->write(part);
            quiet.arm.client->flush();
            QTest::qWait(1);
        }
        QTRY_COMPARE(calls, 2);
        QCOMPARE(got["ok"].toBool(), first.isEmpty());
        QCOMPARE(got["error"].toString(), first);
        QVERIFY(gotNext["ok"].toBool());
        QCOMPARE(refused.size(), first.isEmpty() ? 0 : 1);
        // And the states go on.
        const int before = quiet.arm.named("state").size();
        quiet.arm.answers = true;
        quiet.arm.reply(quiet.arm.named("state").last());
        QTRY_VERIFY(quiet.arm.named("state").size() > before + 1);
    }

    void endsAnEndlessLine() {
        Quiet quiet(path("arm-1.sock"));
        QSignalSpy refused(&quiet.link, &ArmLink::refused);
        quiet.arm.client->write(QByteArray(2 * 1024 * 1024, 'x'));
        QTRY_COMPARE(refused.size(), 1);
        QVERIFY(!quiet.link.isConnected());
        quiet.arm.answers = true;
        quiet.link.connectToArm();
        QSignalSpy states(&quiet.link, &ArmLink::stateArrived);
        QTRY_VERIFY(!states.isEmpty());
    }

    void readsAStateOfWrongKinds() {
        const ArmState state = readArmState({{"open", 1},
                                             {"joints", QJsonArray{1, 2}},
                                             {"position", "here"},
                                             {"switches", QJsonArray{true}},
                                             {"faults", 3},
                                             {"handTarget", QJsonArray{4, "x", 6}},
                                             {"jointMax", QJsonArray{1, 2, 1e300, -1e300, 3, 4}},
                                             {"encoders", QJsonArray{1e300, 0, 0, 0, 0, 0}},
                                             {"strength", 1e300},
                                             {"ticks", 1e300},
                                             {"name", "a\nb"},
                                             {"rate", 1000.0}});
        QCOMPARE(state.joints[1] + state.position[0], 0.0);
        QCOMPARE(state.jointMax, (Vec6{1, 2, 0, 0, 3, 4}));
        QCOMPARE(state.encoders[0] + state.strength + static_cast<double>(state.ticks), 0.0);
        QCOMPARE(state.name, std::string("a?b"));
        QVERIFY(!state.open && state.switches[0] && !state.switches[1] && state.faults.empty());
        QCOMPARE(state.handTarget[2], 6.0);
        QCOMPARE(state.rate, 1000);
    }

    void showsWhatTheArmRefuses() {
        ScriptedArm arm(path("arm-1.sock"));
        arm.answer = [](const QJsonObject& command) -> QJsonObject {
            if (command["command"] == "fault.list")
                return {{"faults", QJsonArray{QJsonObject{{"name", "hot"},
                                                          {"on", false},
                                                          {"axis", -1},
                                                          {"amount", 95},
                                                          {"unit", "degrees"},
                                                          {"text", "heat"}},
                                              QJsonObject{{"name", "far\noff"},
                                                          {"on", true},
                                                          {"axis", 2147483647},
                                                          {"amount", 1e300},
                                                          {"unit", "degrees"}},
                                              QJsonObject{{"name", "late-stop"}, {"manner", true}}}}};
            if (command["command"] == "fault.set" || command["command"] == "hand.dock")
                return {{"ok", false}, {"error", "not " + command["command"].toString()}};
            return {};
        };
        ArmPanel panel;
        panel.start(kRetryMs);
        auto* list = panel.findChild<FaultList*>()->findChild<QTreeWidget*>();
        QTRY_COMPARE(list->topLevelItemCount(), 4);
        QCOMPARE(list->topLevelItem(1)->text(0), QString("far?off"));
        QCOMPARE(list->topLevelItem(1)->text(1), QString("all"));
        QCOMPARE(list->topLevelItem(1)->text(2), QString("0 degrees"));
        list->topLevelItem(0)->setCheckState(0, Qt::Checked);
        QTRY_COMPARE(arm.named("fault.set").size(), 1);
        const QJsonObject sent = arm.named("fault.set")[0];
        QVERIFY(sent["on"].toBool());
        QVERIFY(!sent.contains("amount"));  // the arm's usual one
        QTRY_VERIFY(text(panel, "status").contains("not fault.set"));
        QTRY_COMPARE(list->topLevelItem(0)->checkState(0), Qt::Unchecked);
        // Manners stand below a heading, which is nothing to switch.
        QVERIFY(!list->topLevelItem(2)->flags() && !list->topLevelItem(2)->data(0, Qt::CheckStateRole).isValid());
        list->topLevelItem(3)->setCheckState(0, Qt::Checked);
        QTRY_COMPARE(arm.named("fault.set").size(), 2);
        QCOMPARE(arm.named("fault.set")[1]["name"].toString(), QString("late-stop"));
        panel.link().send("hand.dock");
        QTRY_VERIFY(text(panel, "status").contains("not hand.dock"));
        QVERIFY(panel.findChild<QLabel*>("status")->toolTip().contains("not fault.set"));
    }

    // Signs and axes of both views, from real mouse and key events to what the arm is told.
    void movesTheStylusInTheViews() {
        ScriptedArm arm(path("arm-1.sock"));
        ArmPanel panel;
        panel.show();
        panel.start(kRetryMs);
        QTRY_VERIFY(text(panel, "device").startsWith("Arm 7"));
        const auto views = panel.findChildren<WorkspaceView*>();
        const auto sentBy = [&](const std::function<void()>& act) {
            // Once the last move is answered, the stylus is where the state says again: at 1, 2, 3.
            const bool answered = QTest::qWaitFor([&] { return panel.link().commandsUnderWay() == 0; });
            const int before = arm.named("hand.move").size();
            act();
            const bool sent = QTest::qWaitFor([&] { return arm.named("hand.move").size() > before; });
            return !answered || !sent ? QList<double>() : numbers(arm.named("hand.move").value(before)["position"]);
        };
        for (int view = 0; view < 2; ++view) {
            WorkspaceView* widget = views[view];
            const QPoint middle(widget->width() / 2, 20 + (widget->height() - 20) / 2);
            const QList<double> to =
                sentBy([&] { QTest::mouseClick(widget, Qt::LeftButton, {}, middle + QPoint(60, -30)); });
            QCOMPARE(to.size(), 3);
            const double up = view == 0 ? to[1] : -to[2];
            QVERIFY(to[0] > 15.0 && std::abs(to[0] - 2.0 * up) < 1.5);
            QCOMPARE(view == 0 ? to[2] : to[1], view == 0 ? 3.0 : 2.0);  // as it is
        }
        struct Key {
            Qt::Key key;
            Qt::KeyboardModifiers with;
            QList<double> to;
        };
        const Key keys[] = {
            {Qt::Key_Right, Qt::NoModifier, {3, 2, 3}},    {Qt::Key_Left, Qt::ShiftModifier, {-9, 2, 3}},
            {Qt::Key_Up, Qt::NoModifier, {1, 4, 3}},       {Qt::Key_Down, Qt::NoModifier, {1, 0, 3}},
            {Qt::Key_PageDown, Qt::NoModifier, {1, 2, 5}}, {Qt::Key_PageUp, Qt::NoModifier, {1, 2, 1}},
            {Qt::Key_Home, Qt::NoModifier, {0, 0, 0}}};
        for (const Key& key : keys)
            QCOMPARE(sentBy([&] { QTest::keyClick(views[0], key.key, key.with); }), key.to);
        // From above the keys follow that picture: up is away from the operator, the depth is the height.
        QCOMPARE(sentBy([&] { QTest::keyClick(views[1], Qt::Key_Up); }), QList<double>({1, 2, 1}));
        QCOMPARE(sentBy([&] { QTest::keyClick(views[1], Qt::Key_PageUp); }), QList<double>({1, 4, 3}));
        QTest::keyClick(views[0], Qt::Key_Escape);
        QTRY_COMPARE(arm.named("hand.release").size(), 1);
    }

    void pushesThroughEachWall() {
        const QStringList names{"+X", "-X", "+Y", "-Y", "+Z", "-Z"};
        constexpr double kWallAt = 20.0, kReach = 45.0;
        HandScript all;
        for (int wall = 0; wall < kWalls; ++wall) {
            const HandScript script = wallScript(wall, 2, false);
            QCOMPARE(script.size(), 5);
            for (int i = 0; i < script.size(); ++i) {
                QCOMPARE(script[i].command, QString("hand.drag"));
                const QList<double> to = numbers(script[i].fields["position"]);
                const double outwards = to[wall / 2] * (wall % 2 == 0 ? 1.0 : -1.0);
                const double size = std::abs(to[0]) + std::abs(to[1]) + std::abs(to[2]);
                if (i % 2 == 0)
                    QCOMPARE(size, 0.0);
                else
                    QVERIFY(outwards > kWallAt + 15.0 && outwards < kReach && size == outwards);
                // The step lasts longer than its way takes.
                QVERIFY(script[i].waitMs > kReach / script[i].fields["speed"].toDouble() * 1000.0);
            }
            QVERIFY(script[1].label.contains(names[wall]));
            all += wallScript(wall, 3, false).mid(wall == 0 ? 0 : 1);

            const Vec3 edge = wallTarget(wall, true);
            int outside = 0;
            for (const double value : edge)
                outside += std::abs(value) > kWallAt ? 1 : 0;
            QCOMPARE(outside, 2);
        }
        QCOMPARE(allWallsScript(3, false).size(), all.size());
        for (int i = 0; i < all.size(); ++i)
            QCOMPARE(allWallsScript(3, false)[i].fields, all[i].fields);
    }

    // Steps come one by one and in order; a refusal, a cancel or another wish ends the series.
    void playsAScript() {
        const HandScript script = wallScript(4, 1, false);
        HandPlayer player;
        QStringList seen;
        connect(&player, &HandPlayer::step, this, [&](const HandStep& step) { seen << step.label; });
        QSignalSpy finished(&player, &HandPlayer::finished);
        player.start(script);
        QCOMPARE(seen.size(), 1);
        for (int i = 0; i < 5; ++i)
            player.advance();
        QCOMPARE(seen, QStringList({script[0].label, script[1].label, script[2].label}));
        QCOMPARE(finished.size(), 1);
        QVERIFY(finished[0][0].toBool());
        player.start(script);
        player.cancel();
        player.advance();
        QCOMPARE(seen.size(), 4);
        QVERIFY(!finished[1][0].toBool());

        ScriptedArm arm(path("arm-1.sock"));
        ArmLink link;
        HandWishes hand(link);
        link.start(kRetryMs);
        hand.play(script);
        QVERIFY(hand.isPlaying());
        hand.nudge(0, 1.0);
        QVERIFY(!hand.isPlaying());
        arm.answer = [](const QJsonObject& command) -> QJsonObject {
            return command["command"] == "hand.drag" ? QJsonObject{{"ok", false}, {"error", "no"}} : QJsonObject{};
        };
        hand.play(script);
        QTRY_VERIFY(!hand.isPlaying());
    }

    // Each button by the keyboard, and the word and fields that the arm gets for it.
    void saysTheArmsWords() {
        ScriptedArm arm(path("arm-1.sock"));
        arm.state["jointMin"] = QJsonArray{-1, -1, -1, -1, -1, -1};
        arm.state["jointMax"] = QJsonArray{1, 1, 1, 1, 1, 1};
        arm.state["gimbal"] = true;
        arm.state["grip"] = 1;
        ArmPanel panel;
        panel.show();
        panel.start(kRetryMs);
        QTRY_VERIFY(text(panel, "device").startsWith("Arm 7"));
        auto* tabs = panel.findChild<QTabWidget*>();
        struct Word {
            int tab;
            const char* button;
            const char* command;
            QJsonObject fields;
        };
        const QJsonArray origin{0, 0, 0};
        const Word words[] = {{0, "Dock in ink well", "hand.dock", {}},
                              {0, "Undock and hold", "hand.undock", {}},
                              {0, "Reset pose", "hand.reset", {}},
                              {0, "Hold at origin", "hand.move", {{"position", origin}}},
                              {0, "Release", "hand.release", {}},
                              {0, "Drag there", "hand.drag", {{"position", origin}, {"speed", 100}}},
                              {1, "5 Gimbal Y", "hand.sweep", {{"axis", 4}}},
                              {2, "-Z  rear", "hand.drag", {{"position", origin}}},
                              {3, "Clear all", "fault.clear", {}},
                              {4, "Cold (25 \u00b0C)", "heat.set", {{"motor", -1}, {"winding", 25}, {"stator", 25}}},
                              {5, "List anew", "fleet.list", {}},
                              {6, "Step", "loop.step", {{"ticks", 1000}}}};
        const auto sent = [&arm](const char* command, int before, const QJsonObject& fields) {
            if (!QTest::qWaitFor([&] { return arm.named(command).size() > before; }))
                return false;
            const QJsonObject got = arm.named(command)[before];
            for (auto it = fields.begin(); it != fields.end(); ++it) {
                if (got[it.key()] != it.value())
                    return false;
            }
            return true;
        };
        for (const Word& word : words) {
            tabs->setCurrentIndex(word.tab);
            QPushButton* key = button(*tabs->widget(word.tab), QString::fromUtf8(word.button));
            QVERIFY2(key && key->isVisible() && (key->focusPolicy() & Qt::TabFocus), word.button);
            const int before = arm.named(word.command).size();
            QTest::keyClick(key, Qt::Key_Space);
            QVERIFY2(sent(word.command, before, word.fields), word.button);
        }
        tabs->setCurrentIndex(0);
        QTest::keyPress(button(panel, "Extra switch 2"), Qt::Key_Space);
        QVERIFY(sent("hand.switch", 0, {{"button", 1}, {"pressed", true}}));
        QTest::keyRelease(button(panel, "Extra switch 2"), Qt::Key_Space);
        QVERIFY(sent("hand.switch", 1, {{"button", 1}, {"pressed", false}}));
        // The sliders follow no state while an answer is due, so that each is moved with none under way.
        const auto sliders = panel.findChildren<QSlider*>();
        const QStringList commands{"hand.strength", "hand.pinch",  "hand.joints", "hand.gimbal",
                                   "hand.joints",   "hand.joints", "hand.gimbal", "hand.gimbal"};
        QCOMPARE(sliders.size(), commands.size());
        QStringList moved;
        for (QSlider* slider : sliders) {
            QTRY_COMPARE(panel.link().commandsUnderWay(), 0);
            const int before = arm.received.size();
            slider->triggerAction(QAbstractSlider::SliderSingleStepAdd);
            QTRY_VERIFY(std::any_of(arm.received.begin() + before, arm.received.end(),
                                    [](const QJsonObject& c) { return c["command"] != "state"; }));
            for (int i = before; i < arm.received.size(); ++i) {
                if (arm.received[i]["command"] != "state")
                    moved << arm.received[i]["command"].toString();
            }
        }
        moved.sort();
        QStringList wanted = commands;
        wanted.sort();
        QCOMPARE(moved, wanted);
    }

    void everyControlHasKeyAndName() {
        ArmPanel panel;
        // All of it at a small window, so that nothing is cut off there.
        QVERIFY2(
            panel.minimumSizeHint().width() <= 700 && panel.minimumSizeHint().height() <= 600,
            qPrintable(QString("%1x%2").arg(panel.minimumSizeHint().width()).arg(panel.minimumSizeHint().height())));
        auto* tabs = panel.findChild<QTabWidget*>();
        QStringList always;
        for (int i = 0; i < tabs->count(); ++i)
            always << QKeySequence::mnemonic(tabs->tabText(i)).toString();
        for (int i = 0; i < tabs->count(); ++i) {
            QStringList keys = always;
            for (QWidget* control : tabs->widget(i)->findChildren<QWidget*>()) {
                QString shown = control->property("text").toString();
                if (!shown.contains('&'))
                    shown.clear();
                if (!QKeySequence::mnemonic(shown).isEmpty())
                    keys << QKeySequence::mnemonic(shown).toString();
                const bool own = qobject_cast<QAbstractButton*>(control) || qobject_cast<QSlider*>(control)
                                 || qobject_cast<QAbstractSpinBox*>(control) || qobject_cast<QComboBox*>(control);
                if (own && !control->objectName().startsWith("qt_"))
                    QVERIFY2(!control->toolTip().isEmpty() && (control->focusPolicy() & Qt::TabFocus),
                             qPrintable(tabs->tabText(i) + ": " + control->property("text").toString()));
            }
            keys.removeAll(QString());
            const int all = keys.size();
            QVERIFY2(keys.removeDuplicates() == 0 && all > 7, qPrintable(tabs->tabText(i) + ": " + keys.join(' ')));
        }
    }

    // What a colour or a place tells is in a text too; of the fleet, the open device is marked.
    void tellsWithoutColours() {
        ScriptedArm arm(path("arm-1.sock"));
        arm.state["winding"] = QJsonArray{25, 80, 90, 25, 25, 25};
        arm.state["warmLimit"] = 85;
        arm.state["faults"] = QJsonArray{"hot", "jitter"};
        arm.state["lateTicks"] = 3;
        arm.state["ticks"] = 1000;
        arm.answer = [](const QJsonObject& command) -> QJsonObject {
            return command["command"] == "fleet.list"
                       ? QJsonObject{{"devices", QJsonArray{"Arm 6", "Arm 7"}}, {"source", "built in"}}
                       : QJsonObject{};
        };
        ArmPanel panel;
        panel.start(kRetryMs);
        QTRY_VERIFY(text(panel, "device").startsWith("Arm 7"));
        QStringList names;
        for (const QWidget* it : panel.findChildren<QWidget*>())
            names << it->accessibleName();
        for (const char* name :
             {"2  base Y, winding near 80.0", "3  base Z, winding warm 90.0", "Amplifiers OFF", "2 faults on",
              "Workspace from above, X 1.0   Z 3.0 mm", "Not real-time", "Nobody holds it", "Late ticks 3 (0.300 %)",
              "3  base Z, winding to its warm limit 106 %"})
            QVERIFY2(names.contains(name), name);
        auto* fleet = panel.findChild<FleetList*>()->findChild<QTreeWidget*>();
        QTRY_COMPARE(fleet->topLevelItemCount(), 2);
        QCOMPARE(fleet->topLevelItem(0)->text(1), QString());
        QCOMPARE(fleet->topLevelItem(1)->text(1), QString("open"));
    }
};

QTEST_MAIN(TestPanel)
#include "tst_panel.moc"
