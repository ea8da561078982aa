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
        shown.sent([&] { key("-Z  rear")->click(); });
        key("Stop")->click();  // of the pushes, and of nothing else
        QVERIFY(key("Record")->isChecked());
        for (const char* name : {"Reset pose", "Dock in ink well", "Hold at origin", "Undock and hold"})
            shown.sent([&] { key(name)->click(); });
        QVERIFY(!key("Play")->isEnabled() && !key("Open...")->isEnabled());
        shown.show({{"holding", true}});
        QCOMPARE(shown.sent([&] { key("Stop")->click(); }), QString());  // of the recording now
        QVERIFY(!key("Record")->isChecked());

        // A recording in no file is not closed away by one click.
        QTimer::singleShot(0, &shown.panel, [] {
            qobject_cast<QMessageBox*>(QApplication::activeModalWidget())->button(QMessageBox::Cancel)->click();
        });
        QVERIFY(!shown.panel.close());
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
        key("Play")->click();
        shown.arm.vanish();
        QTRY_VERIFY(shown.text("script").contains("Ended"));
        QVERIFY(!key("Play")->isEnabled());
    }
};

QTEST_MAIN(TestPanelScripts)
#include "tst_panelscripts.moc"
