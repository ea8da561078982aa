// Scripts of a hand in the panel: recorded from the operator's buttons, saved, loaded, played, stopped and refused.
#include <QMessageBox>

#include "handrecorder.h"
#include "scriptbar.h"
#include "scriptedarm.h"
#include "scriptfile.h"

class TestPanelScripts : public PanelFixture {
    Q_OBJECT

private slots:
    void init() { prepare(); }

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
        ScriptedArm arm(path("arm-1.sock"));
        bool refuses = true;
        arm.answer = [&refuses](const QJsonObject& command) -> QJsonObject {
            return refuses && command["command"] == "hand.dock" ? QJsonObject{{"ok", false}, {"error", "no well"}}
                                                                : QJsonObject{};
        };
        ArmPanel panel;
        panel.start(kRetryMs);
        QTRY_VERIFY(text(panel, "device").startsWith("Arm 7"));
        auto* bar = panel.findChild<ScriptBar*>();
        const auto press = [&panel](const char* name) { button(panel, name)->click(); };
        QVERIFY(!button(panel, "Play")->isEnabled() && !button(panel, "Save...")->isEnabled());
        press("Record");
        for (const char* name : {"Reset pose", "Dock in ink well", "Hold at origin", "Undock and hold"}) {
            press(name);
            QTRY_COMPARE(panel.link().commandsUnderWay(), 0);
        }
        QVERIFY(!button(panel, "Play")->isEnabled() && !button(panel, "Open...")->isEnabled());
        arm.state["holding"] = true;
        const int shown = arm.named("state").size();
        QTRY_VERIFY(arm.named("state").size() > shown + 2);
        press("Stop");  // of the recording, and of nothing else
        QTRY_COMPARE(panel.link().commandsUnderWay(), 0);
        QVERIFY(arm.named("hand.joints").isEmpty() && !button(panel, "Record")->isChecked());
        const QString file = folder->filePath("walk.jsonl");

        // A recording in no file is not closed away by one click.
        QMessageBox::StandardButton pressed = QMessageBox::Cancel;
        const auto answerBox = [&pressed] {
            qobject_cast<QMessageBox*>(QApplication::activeModalWidget())->button(pressed)->click();
        };
        QTimer::singleShot(0, &panel, answerBox);
        QVERIFY(!panel.close());
        QVERIFY(bar->save(file));
        QVERIFY(panel.close());
        QVERIFY(!bar->save("/nowhere/walk.jsonl"));
        QVERIFY(text(panel, "status").contains("walk.jsonl: "));

        const int before = arm.received.size();
        const auto handCommands = [&] {
            QStringList out;
            for (int i = before; i < arm.received.size(); ++i) {
                if (arm.received[i]["command"] != "state")
                    out << arm.received[i]["command"].toString();
            }
            return out;
        };
        QVERIFY(bar->load(file));
        press("Play");
        QTRY_COMPARE(text(panel, "script"), QString("Played walk.jsonl to its end"));
        QTRY_COMPARE(handCommands(), QStringList({"hand.reset", "hand.move", "hand.undock"}));

        // Stopped in the middle, the stylus is held where it is; a refused step ends the playing.
        arm.state["holding"] = true;
        QFile out(file);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write("{\"command\":\"hand.reset\"}\n{\"wait\":60000}\n{\"command\":\"hand.dock\"}\n");
        out.close();
        QVERIFY(bar->load(file));
        const int states = arm.named("state").size();
        QTRY_VERIFY(arm.named("state").size() > states + 2);
        press("Play");
        QTRY_VERIFY(!arm.named("hand.reset").isEmpty());
        press("Stop");
        QTRY_COMPARE(arm.named("hand.joints").size(), 1);
        QVERIFY(text(panel, "script").contains("step 1 of 2, hand.reset"));

        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write("{\"command\":\"hand.dock\"}\n{\"wait\":60000}\n{\"command\":\"hand.release\"}\n");
        out.close();
        QVERIFY(bar->load(file));
        press("Play");
        QTRY_VERIFY(text(panel, "script").contains("Ended"));
        QVERIFY(text(panel, "status").contains("no well"));

        // Nothing is left to be played of a bad file, which is named with line and reason.
        QVERIFY(out.open(QIODevice::WriteOnly | QIODevice::Append));
        out.write("{\"command\":\"hand.fly\"}\n");
        out.close();
        QVERIFY(!bar->load(file));
        QVERIFY(text(panel, "script").startsWith("walk.jsonl: line 4: command: \"hand.fly\""));
        QVERIFY(!button(panel, "Play")->isEnabled());
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write("{\"command\":\"hand.dock\"}\n");
        out.close();
        QVERIFY(bar->load(file) && button(panel, "Play")->isEnabled());
        arm.vanish();
        QTRY_VERIFY(!button(panel, "Play")->isEnabled());
    }
};

QTEST_MAIN(TestPanelScripts)
#include "tst_panelscripts.moc"
