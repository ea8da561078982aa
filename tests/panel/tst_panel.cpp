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
            // One that answers is never silent, however long it does so; the script of one that is gone has ended.
            QSignalSpy conditions(&panel.link(), &ArmLink::conditionChanged);
            QTest::qWait(400);
            QCOMPARE(conditions.size(), 0);
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

    void survivesWrongAnswers() {
        const QByteArray next = "{\"ok\":true,\"id\":NEXT}\n";
        const QString unreadable = "the answer cannot be read";
        const struct {
            QByteArrayList answers;  // ID and NEXT stand for ids of the two commands
            QString first;           // error of the first command, empty for ok
        } rows[] = {{{"{\"ok\":tr", "ue,\"id\":ID", "}\n{\"ok\":true,", "\"id\":NEXT}\n"}, ""},
                    {{"nonsense\n" + next}, unreadable},
                    {{"{\"ok\":true,\"id\":ID,\"x\":" + QByteArray(64, '[') + QByteArray(64, ']') + "}\n" + next},
                     unreadable + ": nested deeper than 64 levels"},
                    {{"{\"ok\":false,\"id\":ID,\"error\":\"a\\u001b[2J\\u0000b\\n\"}\n" + next}, "a?[2J?b?"},
                    {{"{\"ok\":false,\"id\":ID,\"error\":\"" + QByteArray(900000, 'x') + "\"}\n" + next},
                     QString(120, 'x') + "..." + QString(77, 'x')},
                    {{"{\"id\":ID}\n" + next}, unreadable},
                    {{"{\"ok\":false,\"error\":\"too far\"}\n" + next}, "too far"},
                    {{"{\"ok\":true,\"id\":987654}\n{\"ok\":true,\"id\":ID}\n" + next}, ""},
                    {{next}, "no answer came"},
                    {{"{\"ok\":true,\"id\":ID}\n{\"ok\":true,\"id\":ID}\n" + next}, ""}};
        for (const auto& row : rows) {
            const QString& first = row.first;
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
            for (QByteArray part : row.answers) {
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
        const ArmState state = readArmState(object(R"({"open":1,"joints":[1,2],"position":"here","switches":[true],
            "faults":3,"handTarget":[4,"x",6],"jointMax":[1,2,1e300,-1e300,3,4],"encoders":[1e300,0,0,0,0,0],
            "strength":1e300,"ticks":1e300,"name":"a\u0001b","rate":1000.0})"));
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
                return object(R"({"faults":[{"name":"hot","on":false,"axis":-1,"amount":95,"unit":"degrees"},
                    {"name":"far\u0001off","on":true,"axis":2147483647,"amount":1e300,"unit":"degrees"},
                    {"name":"late-stop","manner":true}]})");
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

    // What is wished last is what is sent, and a hand that holds nothing is not made to grip.
    void theLastWishHolds() {
        Quiet quiet(path("arm-1.sock"));
        quiet.arm.answers = true;
        HandWishes hand(quiet.link);
        const auto sent = [&](const std::function<void()>& act) {
            const int before = quiet.arm.received.size();
            act();
            (void)QTest::qWaitFor([&] { return quiet.link.commandsUnderWay() == 0; });
            QString lines;
            for (const QJsonObject& command : quiet.arm.received.mid(before))
                if (command["command"] != "state")
                    lines += command["command"].toString()
                             + QJsonDocument(command["position"].toArray()).toJson(QJsonDocument::Compact);
            return lines;
        };
        quiet.arm.reply(quiet.arm.received.last());
        ArmState state;
        state.position = {1, 2, 3};
        state.handTarget = {5, 6, 7};
        hand.takeState(state);
        QCOMPARE(sent([&] { hand.turnTo({{"speed", 1}}), hand.nudge(0, 2); }), QString("hand.move[3,2,3]"));
        QCOMPARE(sent([&] { hand.moveTo({9, 9, 9}), hand.turnTo({{"speed", 1}}); }), QString("hand.joints[]"));
        QCOMPARE(sent([&] {
                     hand.moveTo({9, 9, 9}), hand.play(wallScript(0, 1, false));
                 }),
                 QString("hand.drag[0,0,0]"));
        QCOMPARE(sent([&] { hand.halt(); }), QString());
        state.holding = true;
        state.joints = {1, 2, 3, 4, 5, 6};
        hand.takeState(state);
        QCOMPARE(sent([&] { hand.nudge(1, -2); }), QString("hand.move[5,4,7]"));
        QCOMPARE(sent([&] { hand.halt(); }), QString("hand.joints[]"));
        QCOMPARE(numbers(quiet.arm.named("hand.joints").last()["angles"]), QList<double>({1, 2, 3, 4, 5, 6}));
        state.jointMin[1] = -0.5;
        state.jointMax[1] = 1.5;
        const HandScript sweep = sweepScript({1}, 2.0, state);
        QVERIFY(sweep.size() == 1 && sweep[0].waitMs > 2100
                && sweep[0].waitMs < 3000);  // there and back, and its rests
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

        // A step that is late makes the next one no later.
        QElapsedTimer clock;
        clock.start();
        player.start({{"a", {}, 100, "a"}, {"b", {}, 100, "b"}, {"c", {}, 0, "c"}});
        player.advance();
        QTRY_COMPARE(seen.last(), QString("c"));
        QVERIFY2(clock.elapsed() >= 199, qPrintable(QString::number(clock.elapsed())));

        ScriptedArm arm(path("arm-1.sock"));
        ArmLink link;
        HandWishes hand(link);
        link.start(kRetryMs);
        const std::function<void()> ends[] = {[&] { hand.nudge(0, 1.0); },    [&] { hand.turnTo({}); },
                                              [&] { hand.act("hand.dock"); }, [&] { hand.release(); },
                                              [&] { hand.halt(); },           [&] { hand.stopScript(); }};
        for (const auto& end : ends) {
            hand.play(script);
            QVERIFY(hand.isPlaying());
            end();
            QVERIFY(!hand.isPlaying());
        }
        QTRY_COMPARE(link.commandsUnderWay(), 0);
        arm.answer = [](const QJsonObject& command) -> QJsonObject {
            return command["command"] == "hand.drag" ? QJsonObject{{"ok", false}, {"error", "no"}} : QJsonObject{};
        };
        hand.play(script);
        QTRY_VERIFY(!hand.isPlaying());
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
};

QTEST_MAIN(TestPanel)
#include "tst_panel.moc"
