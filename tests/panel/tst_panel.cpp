// The panel against a small arm that speaks the line protocol by script: finding it, losing it, what is sent for a
// hand's wishes, answers that are wrong, and scripts of the hand: recorded, saved, loaded, played, stopped and refused.
#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QMessageBox>
#include <QSlider>
#include <QTabWidget>
#include <QTreeWidget>
#include <chrono>
#include <deque>
#include <filesystem>

#include "beside.h"
#include "faultlist.h"
#include "handrecorder.h"
#include "handwishes.h"
#include "scriptbar.h"
#include "scriptedarm.h"
#include "scriptfile.h"
#include "workspaceview.h"

class TestPanel : public PanelFixture {
    Q_OBJECT

    /// A link with an arm that has answered the first state, owes the second one and answers no more.
    struct Quiet {
        ScriptedArm arm;
        ArmLink link;
        explicit Quiet(const QString& path) : arm(path) {
            QObject::connect(&link, &ArmLink::stateArrived, &arm,
                             [this] { arm.answers = arm.answers && arm.received.size() > 1; });
            link.start();
            QTRY_COMPARE_WITH_TIMEOUT(arm.received.size(), 2, 2000);
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
        const QStringList byAge{path("arm-2.sock"), path("arm-1.sock"), path("arm-3.sock")};
        const auto now = std::filesystem::file_time_type::clock::now();
        for (int i = 0; i < 3; ++i)
            std::filesystem::last_write_time(byAge[i].toStdString(), now - std::chrono::seconds(100 * (i + 1)));
        QCOMPARE(ArmLink::candidates(), byAge);
        // Some whose owners stand still, with their queues full, hold nobody up.
        std::deque<StillArm> still;
        for (int i = 20; i < 80; ++i)
            still.emplace_back(path(QString("arm-%1.sock").arg(i)));
        ArmLink link;
        QElapsedTimer clock;
        clock.start();
        link.start(kRetryMs);
        QVERIFY2(clock.elapsed() < 6000, qPrintable(QString("%1 ms").arg(clock.elapsed())));
        QCOMPARE(link.socketPath(), path("arm-1.sock"));
        QTRY_VERIFY(!newer.received.isEmpty());
        QVERIFY(older.received.isEmpty());

        qputenv("NOLVA_ARM_SOCKET", "/elsewhere/arm.sock");
        QCOMPARE(ArmLink::candidates(), QStringList("/elsewhere/arm.sock"));
        qunsetenv("XDG_RUNTIME_DIR");
        QCOMPARE(ArmLink::socketFolder().path(), QString("/tmp/nolva-diagnostic-%1").arg(getuid()));
    }

    void saysThatNoneRunsAndComesBack() {
        ArmPanel panel;
        const auto shows = [&panel](const char* device, bool lives) {
            return QTest::qWaitFor([&] {
                return panel.findChild<QLabel*>("device")->text().contains(device)
                       && button(panel, "Dock in ink well")->isEnabled() == lives;
            });
        };
        panel.start(kRetryMs, 300);
        QVERIFY(shows("No arm is running.", false));
        auto* view = panel.findChild<WorkspaceView*>();
        auto* record = button(panel, "Record");
        const QImage empty = view->grab().toImage();
        QVERIFY(panel.findChild<QLabel*>("loop")->text().contains("connects by itself"));
        for (int round = 0; round < 2; ++round) {
            ScriptedArm arm(path(QString("arm-%1.sock").arg(round)));
            QVERIFY(shows("Arm 7", true) && view->grab().toImage() != empty);
            record->click();
            // One that answers is never silent, however long it does so.
            QSignalSpy conditions(&panel.link(), &ArmLink::conditionChanged);
            QTest::qWait(400);
            QCOMPARE(conditions.size(), 0);
            arm.answers = false;
            QVERIFY(shows("does not answer", false) && record->isChecked());  // which a recording outlasts
            arm.reply(arm.received.last());
            QVERIFY(shows("Arm 7", true));
            // A command that the arm takes with it is answered as lost, once, and does not stall the next arm.
            QStringList lost;
            panel.link().send("hand.dock", {}, [&lost](const QJsonObject& a) { lost << a["error"].toString(); });
            panel.link().sendLatest("hand.move", {});
            QTRY_VERIFY(!arm.named("hand.dock").isEmpty());
            arm.vanish();
            QVERIFY(shows("No arm is running.", false) && view->grab().toImage() == empty && !record->isChecked());
            QCOMPARE(lost, QStringList("the arm is gone"));
            QCOMPARE(panel.link().commandsUnderWay(), 0);
        }
        qputenv("NOLVA_ARM_SOCKET", "off");
        QVERIFY(shows("off", false));
    }

    // An application that starts later is the one that its user looks at; a hand that holds something stays.
    void takesANewerOneWithEmptyHands() {
        const QString sockets[] = {path(QString("arm-%1.sock").arg(getppid())),
                                   path(QString("arm-%1.sock").arg(getpid()))};
        leaveStale(path("arm-999999999.sock"));
        ScriptedArm older(sockets[0]);
        const auto age = std::filesystem::file_time_type::clock::now() - std::chrono::seconds(100);
        std::filesystem::last_write_time(sockets[0].toStdString(), age);
        ArmPanel panel;
        panel.show();
        panel.start(kRetryMs);
        auto* chooser = panel.findChild<QComboBox*>("applications");
        const auto holds = [&](int which) {
            const QString& socket = sockets[which];
            return QTest::qWaitFor([&] {
                return panel.link().socketPath() == socket && panel.link().condition() == ArmLink::Condition::Connected
                       && chooser->currentData() == socket;
            });
        };
        older.state["holding"] = true;
        QVERIFY(holds(0) && !chooser->isVisible());
        QTRY_COMPARE(panel.findChild<QLabel*>("device")->text().left(5), QString("Arm 7"));
        ScriptedArm newer(sockets[1]);
        QTRY_VERIFY(chooser->isVisible());
        QTest::qWait(5 * kRetryMs);
        QVERIFY(holds(0) && chooser->count() == 2 && newer.received.isEmpty());
        older.state["holding"] = false;
        QVERIFY(holds(1));
        QVERIFY(panel.findChild<QLabel*>("status")->text().contains(QString::number(getpid())));
        // One that was chosen is held, whichever is newer.
        emit chooser->activated(chooser->findData(sockets[0]));
        QVERIFY(holds(0));
        QTest::qWait(5 * kRetryMs);
        QVERIFY(holds(0));
        older.vanish();
        QVERIFY(holds(1));
    }

    void placesItselfBesideTheApplication() {
        const QSize wide(720, 680), narrow(450, 738), frame(4, 30);
        const struct {
            QRect screen, application, place;
        } rows[] = {
            {{0, 0, 1920, 1080}, {0, 0, 904, 768}, {908, 0, 720, 680}},
            {{0, 0, 1920, 1080}, {1000, 200, 904, 768}, {272, 200, 720, 680}},  // more room at its left
            {{0, 0, 1366, 768}, {0, 0, 904, 768}, {908, 0, 450, 738}},
            {{0, 30, 1366, 738}, {}, {904, 30, 450, 708}},                  // none is known; a bar at the top
            {{0, 0, 1920, 1080}, {500, 0, 904, 768}, {1408, 0, 450, 738}},  // in the middle: narrow
            {{0, 0, 1024, 600}, {0, 0, 904, 768}, {570, 0, 450, 570}},      // no room: on the screen all the same
            {{1920, 0, 1920, 1080}, {1920, 900, 904, 768}, {2828, 370, 720, 680}},
        };
        for (const auto& row : rows)
            QCOMPARE(beside::placeOf(row.screen, row.application, wide, narrow, frame), row.place);
    }

    // One state and one move are under way at a time, while a command goes at once; a move is the latest wish.
    void asksForOneAtATime() {
        Quiet quiet(path("arm-1.sock"));
        HandWishes hand(quiet.link);
        const auto moves = [&] { return quiet.arm.named("hand.move"); };
        for (const double x : {1.0, 2.0, 3.0})
            hand.moveTo({x, 0, 0});
        quiet.link.frame();
        for (int i = 0; i < 3; ++i) {
            hand.nudge(0, 2.0);  // steps add up, though the state knows of none yet
            quiet.link.frame();
        }
        int docked = 0;
        quiet.link.send("hand.dock", {}, [&docked](const QJsonObject&) { ++docked; });
        QTRY_COMPARE(quiet.arm.received.size(), 3);  // the state of before, a move and the command
        QCOMPARE(quiet.link.commandsUnderWay(), 3);  // a move that waits is one of them
        QCOMPARE(numbers(moves()[0]["position"]), QList<double>({3, 0, 0}));
        for (int i = 0; i < 3; ++i)
            quiet.arm.reply(quiet.arm.received[i]);
        QTRY_COMPARE(docked, 1);
        QTRY_COMPARE(quiet.arm.named("state").size(), 2);
        QCOMPARE(numbers(moves()[1]["position"]), QList<double>({9, 0, 0}));
        // What was not sent yet must not grip the stylus again after it was let go.
        hand.moveTo({70, 0, 0});
        hand.act("hand.release");
        quiet.arm.answers = true;
        for (int i = 3; i < 5; ++i)
            quiet.arm.reply(quiet.arm.received[i]);
        QTRY_COMPARE(quiet.arm.named("hand.release").size(), 1);
        hand.moveTo({-700, 0, 0});
        QTRY_COMPARE(moves().size(), 3);
        QCOMPARE(numbers(moves()[2]["position"])[0], -HandWishes::kLimit);
    }

    // What is wished last is what is sent, a script ends by it, and a hand that holds nothing is not made to grip.
    void theLastWishHolds() {
        Shown shown(path("arm-1.sock"));
        HandWishes hand(shown.panel.link());
        ArmState free, held;
        free.position = held.position = {1, 2, 3};
        free.handTarget = held.handTarget = {5, 6, 7};
        held.holding = true;
        held.joints = {1, 2, 3, 4, 5, 6};
        const HandScript push = wallScript(0, 1, false).mid(0, 1);
        const auto nothing = [] {};
        const auto move = [&] { hand.moveTo({9, 9, 9}); };
        const auto turn = [&] { hand.turnTo({{"speed", 1}}); };
        const auto halt = [&] { hand.halt(); };
        const struct {
            const ArmState& state;
            std::function<void()> first, then;  // within a frame
            const char* line;
        } rows[] = {{free, turn, [&] { hand.nudge(0, 2); }, R"({"command":"hand.move","position":[3,2,3]})"},
                    {free, move, turn, R"({"command":"hand.joints","speed":1})"},
                    {free, move, [&] { hand.play(push); }, R"({"command":"hand.drag","position":[0,0,0],"speed":220})"},
                    {free, nothing, halt, ""},
                    {held, nothing, [&] { hand.nudge(1, -2); }, R"({"command":"hand.move","position":[5,4,7]})"},
                    {held, nothing, halt, R"({"angles":[1,2,3,4,5,6],"command":"hand.joints","speed":1.5})"}};
        for (const auto& row : rows) {
            hand.takeState(row.state);
            QCOMPARE(shown.sent([&] { row.first(), row.then(); }), QString(row.line));
        }
        const std::function<void()> ends[] = {move, turn, halt, [&] { hand.act("hand.dock"); },
                                              [&] { hand.stopScript(); }};
        for (const auto& end : ends) {
            hand.play(push);
            QVERIFY(hand.isPlaying());
            end();
            QVERIFY(!hand.isPlaying());
        }
    }

    void survivesWrongAnswers() {
        const QByteArray next = "{\"ok\":true,\"id\":NEXT}\n";
        const QString unreadable = "the answer cannot be read";
        const struct {
            QByteArrayList answers;  // ID and NEXT stand for ids of the two commands
            QString first;           // error of the first command, empty for ok
        } rows[] = {
            {{"{\"ok\":tr", "ue,\"id\":ID", "}\n{\"ok\":true,", "\"id\":NEXT}\n"}, ""},
            {{"nonsense\n" + next}, unreadable},
            {{"{\"ok\":true,\"id\":ID,\"x\":" + QByteArray(64, '[') + QByteArray(64, ']') + "}\n" + next},
             unreadable + ": nested deeper than 64 levels"},
            {{"{\"ok\":false,\"id\":ID,\"error\":\"a\\u001b[2J\\u0000b\\n" + QByteArray(900000, 'x') + "\"}\n" + next},
             "a?[2J?b?" + QString(112, 'x') + "..." + QString(77, 'x')},
            {{"{\"id\":ID}\n" + next}, unreadable},
            {{"{\"ok\":false,\"error\":\"too far\"}\n" + next}, "too far"},
            {{"{\"ok\":true,\"id\":987654}\n{\"ok\":true,\"id\":ID}\n{\"ok\":true,\"id\":ID}\n" + next}, ""},
            {{next}, "no answer came"}};
        for (const auto& row : rows) {
            Quiet quiet(path("arm-1.sock"));
            QSignalSpy refused(&quiet.link, &ArmLink::refused);
            QJsonObject got, gotNext;
            int calls = 0;
            quiet.link.send("hand.dock", {}, [&](const QJsonObject& a) { got = a, ++calls; });
            quiet.link.send("hand.undock", {}, [&](const QJsonObject& a) { gotNext = a, ++calls; });
            QTRY_COMPARE(quiet.arm.received.size(), 3);
            quiet.arm.reply(quiet.arm.received[0]);
            for (QByteArray part : row.answers) {
                part.replace("ID", QByteArray::number(quiet.arm.received[1]["id"].toInt()));
                part.replace("NEXT", QByteArray::number(quiet.arm.received[2]["id"].toInt()));
                quiet.arm.client->write(part);
                quiet.arm.client->flush();
                QTest::qWait(1);
            }
            QTRY_COMPARE(calls, 2);
            QCOMPARE(got["ok"].toBool(), row.first.isEmpty());
            QCOMPARE(got["error"].toString(), row.first);
            QVERIFY(gotNext["ok"].toBool());
            QCOMPARE(refused.size(), row.first.isEmpty() ? 0 : 1);
            QTRY_COMPARE(quiet.arm.named("state").size(), 2);  // and the states go on
        }
    }

    void endsAnEndlessLine() {
        Quiet quiet(path("arm-1.sock"));
        QSignalSpy refused(&quiet.link, &ArmLink::refused), states(&quiet.link, &ArmLink::stateArrived);
        quiet.arm.client->write(QByteArray(2 * 1024 * 1024, 'x'));
        QTRY_COMPARE(refused.size(), 1);
        QVERIFY(!quiet.link.isConnected());
        quiet.arm.answers = true;
        quiet.link.connectToArm();
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
        Shown shown(path("arm-1.sock"), {},
                    object(R"({"faults":[{"name":"hot","on":false,"axis":-1,"amount":95,"unit":"degrees"},
                        {"name":"far\u0001off","on":true,"axis":2147483647,"amount":1e300,"unit":"degrees"},
                        {"name":"late-stop","manner":true}]})"));
        for (const char* command : {"fault.set", "hand.dock"})
            shown.arm.more[command] = {{"ok", false}, {"error", QString("not %1").arg(command)}};
        auto* list = shown.panel.findChild<FaultList*>()->findChild<QTreeWidget*>();
        QTRY_COMPARE(list->topLevelItemCount(), 4);
        const QTreeWidgetItem *off = list->topLevelItem(1), *heading = list->topLevelItem(2);
        QCOMPARE(off->text(0) + off->text(1) + off->text(2), QString("far?offall0 degrees"));
        // Manners stand below a heading, which is nothing to switch.
        QVERIFY(!heading->flags() && !heading->data(0, Qt::CheckStateRole).isValid());
        for (const auto& [row, name] : {std::make_pair(0, "hot"), {3, "late-stop"}}) {
            QTreeWidgetItem* item = list->topLevelItem(row);
            QCOMPARE(shown.sent([&] { item->setCheckState(0, Qt::Checked); }),  // with the arm's usual amount
                     QString(R"({"axis":-1,"command":"fault.set","name":"%1","on":true})").arg(name));
            QVERIFY(shown.text("status").contains("not fault.set"));
            QTRY_COMPARE(item->checkState(0), Qt::Unchecked);
        }
        // The latest ten are kept to be read.
        const auto* status = shown.panel.findChild<QLabel*>("status");
        shown.sent([&] { button(shown.panel, "Dock in ink well")->click(); });
        QVERIFY(status->text().contains("not hand.dock") && status->toolTip().contains("not fault.set"));
        shown.sent([&] {
            for (int i = 0; i < 10; ++i)
                shown.panel.link().send("hand.dock");
        });
        QVERIFY(status->toolTip().count('\n') == 9 && !status->toolTip().contains("not fault.set"));
    }

    void pushesThroughEachWall() {
        constexpr double kWallAt = 20.0, kReach = 45.0;
        HandScript all;
        for (int wall = 0; wall < kWalls; ++wall) {
            const HandScript script = wallScript(wall, 3, false);
            QCOMPARE(script.size(), 7);
            QVERIFY(script[1].label.contains(QStringList{"+X", "-X", "+Y", "-Y", "+Z", "-Z"}[wall]));
            for (int i = 0; i < script.size(); ++i) {
                QCOMPARE(script[i].command, QString("hand.drag"));
                const QList<double> to = numbers(script[i].fields["position"]);
                const double outwards = to[wall / 2] * (wall % 2 == 0 ? 1.0 : -1.0);
                const double size = std::abs(to[0]) + std::abs(to[1]) + std::abs(to[2]);
                QVERIFY(size == outwards && (i % 2 == 0 ? size == 0.0 : size > kWallAt + 15.0 && size < kReach));
                // The step lasts longer than its way takes.
                QVERIFY(i == 0 || script[i].waitMs > kReach / script[i].fields["speed"].toDouble() * 1000.0 + 100);
            }
            all += script.mid(wall == 0 ? 0 : 1);
            const Vec3 edge = wallTarget(wall, true);
            QCOMPARE(std::count_if(edge.begin(), edge.end(), [](double mm) { return std::abs(mm) > kWallAt; }), 2L);
        }
        QCOMPARE(writeScript(allWallsScript(3, false)), writeScript(all));
        ArmState state;
        state.jointMin[1] = -0.5;
        state.jointMax[1] = 1.5;
        const HandScript sweep = sweepScript({1}, 2.0, state);  // there and back, and its rests
        QVERIFY(sweep.size() == 1 && sweep[0].waitMs > 2100 && sweep[0].waitMs < 3000);
    }

    // Steps come one by one and in order; a cancel ends the series.
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
        player.start(script);
        player.cancel();
        player.advance();
        QCOMPARE(seen.size(), 4);
        QVERIFY(finished.size() == 2 && finished[0][0].toBool() && !finished[1][0].toBool());

        // A step that is late makes the next one no later.
        QElapsedTimer clock;
        clock.start();
        player.start({{"long", {}, 60000, "long"}});  // of which nothing is left to wait for
        player.start({{"a", {}, 100, "a"}, {"b", {}, 100, "b"}, {"c", {}, 0, "c"}});
        player.advance();
        QTRY_COMPARE(seen.last(), QString("c"));
        QVERIFY2(clock.elapsed() >= 199, qPrintable(QString::number(clock.elapsed())));
    }

    void recordsWithItsTimes() {
        ArmLink link;
        HandRecorder recorder(link);
        recorder.take("hand.dock", {}, 5);  // before the start
        recorder.start();
        recorder.take("fault.clear", {}, 900);
        recorder.take("hand.dock", {}, 1000);
        recorder.take("hand.switch", {{"button", 0}, {"pressed", true}}, 1250);
        recorder.stopAt(1300);
        recorder.take("hand.undock", {}, 1400);
        QCOMPARE(writeScript(recorder.script()),
                 QByteArray("{\"command\":\"hand.dock\"}\n{\"wait\":250}\n{\"button\":0,\"command\":"
                            "\"hand.switch\",\"pressed\":true}\n{\"wait\":50}\n"));
        recorder.start();
        recorder.take("hand.undock", {}, 1500);
        recorder.stopAt(1500);
        QCOMPARE(writeScript(recorder.script()), QByteArray("{\"command\":\"hand.undock\"}\n"));
    }

    // From the operator's buttons to a file and back to the arm; what the arm refused is not in it.
    void recordsAndPlays() {
        Shown shown(path("arm-1.sock"));
        auto* bar = shown.panel.findChild<ScriptBar*>();
        const auto key = [&shown](const char* name) { return button(shown.panel, name); };
        const QString file = folder->filePath("walk.jsonl");
        const auto loads = [&](const QByteArray& text) {
            QFile out(file);
            return out.open(QIODevice::WriteOnly) && out.write(text) == text.size() && out.flush() && bar->load(file);
        };
        QVERIFY(!key("Play")->isEnabled() && !key("Save...")->isEnabled());
        shown.arm.more["hand.dock"] = {{"ok", false}, {"error", "no well"}};
        key("Record")->click();
        shown.sent([&] {
            key("-Z  rear")->click();
            key("Stop")->click();  // of the pushes, and of nothing else
        });
        QVERIFY(key("Record")->isChecked());
        for (const char* name : {"Reset pose", "Dock in ink well", "Hold at origin", "Undock and hold"})
            shown.sent([&] { key(name)->click(); });
        QVERIFY(!key("Play")->isEnabled() && !key("Open...")->isEnabled());
        shown.show({{"holding", true}});
        QCOMPARE(shown.sent([&] { key("Stop")->click(); }), QString());  // of the recording now
        QVERIFY(!key("Record")->isChecked());

        // A recording in no file is not closed away by one click, nor recorded over, nor where no file is named then.
        for (const auto answer : {QMessageBox::Cancel, QMessageBox::Save}) {
            QTimer answers;
            connect(&answers, &QTimer::timeout, this, [answer] {
                QWidget* asked = QApplication::activeModalWidget();
                if (auto* box = qobject_cast<QMessageBox*>(asked))
                    box->button(answer)->click();
                else if (asked)
                    asked->close();
            });
            answers.start(5);
            QVERIFY(!shown.panel.close());
            key("Record")->click();
            QVERIFY(!key("Record")->isChecked());
        }
        QVERIFY(bar->save(file));
        QVERIFY(shown.panel.close());
        QVERIFY(!bar->save("/nowhere/walk.jsonl"));
        QVERIFY(shown.text("status").contains("walk.jsonl: "));

        shown.arm.more.clear();
        QVERIFY(bar->load(file));
        const QString played = shown.sent([&] {
            key("Play")->click();
            QTRY_COMPARE(shown.text("script"), QString("Played walk.jsonl to its end"));
        });
        QCOMPARE(played, QString("{\"command\":\"hand.drag\",\"position\":[0,0,0],\"speed\":220}\n"
                                 "{\"command\":\"hand.reset\"}\n{\"command\":\"hand.move\",\"position\":[0,0,0]}\n"
                                 "{\"command\":\"hand.undock\"}"));

        // Stopped in the middle, the stylus is held where it is; a refused step ends the playing.
        QVERIFY(loads("{\"command\":\"hand.reset\"}\n{\"wait\":60000}\n{\"command\":\"hand.dock\"}\n"));
        QCOMPARE(shown.sent([&] { key("Play")->click(); }), QString(R"({"command":"hand.reset"})"));
        QVERIFY(shown.sent([&] { key("Stop")->click(); }).startsWith(R"({"angles":[0,0,0,0,0,0],"command":)"));
        QVERIFY(shown.text("script").contains("step 1 of 2, hand.reset"));
        shown.arm.more["hand.dock"] = {{"ok", false}, {"error", "no well"}};
        QVERIFY(loads("{\"command\":\"hand.dock\"}\n{\"wait\":60000}\n{\"command\":\"hand.release\"}\n"));
        key("Play")->click();
        QTRY_VERIFY(shown.text("script").contains("Ended"));
        QVERIFY(shown.text("status").contains("no well"));

        // Nothing is left to be played of a bad file, which is named with line and reason.
        QVERIFY(!loads("{\"command\":\"hand.dock\"}\n{\"command\":\"hand.fly\"}\n"));
        QVERIFY(shown.text("script").startsWith("walk.jsonl: line 2: command: \"hand.fly\""));
        QVERIFY(!key("Play")->isEnabled());
        QVERIFY(loads("{\"command\":\"hand.reset\"}\n{\"wait\":60000}\n") && key("Play")->isEnabled());
        shown.sent([&] { key("Play")->click(); });
        shown.arm.vanish();
        QTRY_VERIFY(shown.text("script").contains("Ended"));
        QVERIFY(!key("Play")->isEnabled());
    }

    void everyControlHasKeyAndName() {
        ArmPanel panel;
        // All of it at a small window, so that nothing is cut off there.
        const QSize least = panel.minimumSizeHint();
        QVERIFY2(least.width() <= 700 && least.height() <= 600,
                 qPrintable(QString("%1x%2").arg(least.width()).arg(least.height())));
        auto* tabs = panel.findChild<QTabWidget*>();
        const auto keyOf = [](const QString& text) { return QKeySequence::mnemonic(text).toString(); };
        for (int i = 0; i < tabs->count(); ++i) {
            QStringList keys;
            for (int other = 0; other < tabs->count(); ++other)
                keys << keyOf(tabs->tabText(other));
            for (QWidget* control : tabs->widget(i)->findChildren<QWidget*>()) {
                const QString shown = control->property("text").toString();
                if (shown.contains('&'))
                    keys << keyOf(shown);
                const auto* label = qobject_cast<QLabel*>(control);
                QVERIFY2(!label || !shown.contains('&') || label->buddy(), qPrintable(shown));
                const bool own = qobject_cast<QAbstractButton*>(control) || qobject_cast<QSlider*>(control)
                                 || qobject_cast<QAbstractSpinBox*>(control) || qobject_cast<QComboBox*>(control);
                if (own && !control->objectName().startsWith("qt_"))
                    QVERIFY2(!control->toolTip().isEmpty() && (control->focusPolicy() & Qt::TabFocus),
                             qPrintable(tabs->tabText(i) + ": " + shown));
            }
            keys.removeAll(QString());
            const int all = keys.size();
            QVERIFY2(keys.removeDuplicates() == 0 && all > 7, qPrintable(tabs->tabText(i) + ": " + keys.join(' ')));
        }
    }
};

QTEST_MAIN(TestPanel)
#include "tst_panel.moc"
