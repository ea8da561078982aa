// The way in for who certifies devices: the dialog and the window's gate, what is added to the window, and what goes
// from one device to the next.
#include <QAbstractButton>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTemporaryDir>
#include <QTimer>

#include "session.h"
#include "standinwindow.h"
#include "startdialog.h"
#include "supervisor.h"

class tst_Bench : public StandinWindow {
    Q_OBJECT

    static void type(StartDialog& dialog, const QString& word) {
        dialog.findChild<QLineEdit*>("word")->setText(word);
        dialog.findChild<QAbstractButton*>("start")->click();
    }
    static bool write(const QString& path, const QByteArray& text, QIODevice::OpenMode how = QIODevice::WriteOnly) {
        QFile file(path);
        return file.open(how) && file.write(text) == text.size();
    }
    static QStringList told(const StartDialog& dialog) {
        QStringList texts;
        for (const QLabel* label : dialog.findChildren<QLabel*>())
            texts << label->text();
        return texts;
    }
    /// Gone in by the dialog with a device of that type, in manufacturing, as far as "Test Forces" and its next tab.
    std::unique_ptr<BenchSession> certify(unsigned long modelType, bool mechanics) {
        openFleet({standin::record("Arm", modelType)});
        qputenv("MVI_MANUFACTURING", "1");
        window->ui.tabWidget->setCurrentIndex(0);
        window->ui.manuf_radioButton->setChecked(true);
        window->ui.manuf_password->setText(NOLVA_ADVANCED_WORD);
        window->onTestModeSelection();
        auto session = std::make_unique<BenchSession>(*window, Flow::all[0], mechanics, "Ann");
        window->ui.next_button->click();
        return session;
    }

private slots:
    void cleanup() {
        window.reset();
        qunsetenv("MVI_MANUFACTURING");
        qunsetenv("MVI_ENCODER_CHECK");
    }

    // The environment that was there before does not count, and the word stays nowhere.
    void eachFlowOpensItsMode() {
        const struct {
            const char* flow;
            bool manufacturing, encoderTest, performance;
            const char* title;
        } rows[] = {{"manufacturing", true, false, false, "Nolva Diagnostic - Manufacturing"},
                    {"encodertest", true, true, false, "Nolva Diagnostic - Manufacturing and encoder test"},
                    {"engineering", true, false, true, "Nolva Diagnostic - Engineering"}};
        for (const auto& row : rows) {
            const bool other = QByteArray(row.flow) != "encodertest";
            other ? qputenv("MVI_ENCODER_CHECK", "1") : qunsetenv("MVI_MANUFACTURING");
            openFleet();
            Kept before;
            before.flow = "engineering";
            before.mechanics = true;
            StartDialog dialog(*window, before);
            QCOMPARE(dialog.flow().word, "engineering");
            QVERIFY(!dialog.mechanics());
            dialog.findChild<QAbstractButton*>(row.flow)->click();
            type(dialog, NOLVA_ADVANCED_WORD);
            QVERIFY2(dialog.result() == QDialog::Accepted, row.flow);
            QVERIFY2(window->manufMode == row.manufacturing && window->encoderTestMode == row.encoderTest
                         && window->performanceTestMode == row.performance,
                     row.flow);
            QCOMPARE(dialog.mechanics(), !row.performance);
            QVERIFY(window->ui.manuf_password->text().isEmpty());
            BenchSession session(*window, dialog.flow(), false, {});
            QCOMPARE(window->windowTitle(), row.title);
            window->ui.user_radioButton->click();
            QCOMPARE(window->windowTitle(), "Nolva Diagnostic - User mode");
        }
    }

    // An empty word is no try. From the third wrong one on nobody gets in before the pause is over.
    void wrongWords() {
        openFleet();
        StartDialog dialog(*window, {});
        const auto* const answer = dialog.findChild<QLabel*>("answer");
        const auto* const start = dialog.findChild<QAbstractButton*>("start");
        const int pauses[] = {0, 0, 2, 4, 8, 16, 32, 60, 60};
        for (const int pause : pauses) {
            type(dialog, {});
            QVERIFY(start->isEnabled());
            type(dialog, "wrong");
            QVERIFY(answer->text().startsWith("Wrong password."));
            for (int left = pause; left > 0; --left) {
                QVERIFY2(!start->isEnabled(), qPrintable(QString::number(pause)));
                QVERIFY(answer->text().endsWith(QString("in %1 s.").arg(left)));
                QMetaObject::invokeMethod(&dialog, "start");
                QMetaObject::invokeMethod(&dialog, "waitOn");
            }
            QVERIFY(start->isEnabled());
        }
        QVERIFY(!window->manufMode);
        type(dialog, NOLVA_ADVANCED_WORD);
        QCOMPARE(dialog.result(), int(QDialog::Accepted));
    }

    // They stand before the box as Next is pressed, on the line that has them, where they were asked for; not behind
    // who is at the box already.
    void frictionAndCapstan() {
        const struct {
            unsigned long modelType;
            bool asked, atBox;
            int placed;
        } rows[] = {{kModelOrda, true, false, 2},
                    {kModelOrda, false, false, 0},
                    {kModelCorvale, true, false, 0},
                    {kModelOrda, true, true, 0}};
        for (const auto& row : rows) {
            const auto session = certify(row.modelType, row.asked);
            QTabWidget& tabs = *window->ui.tabWidget;
            tabs.addTab(window->ui.tab_7, "Test Forces");
            goToTab(*window, "Test Forces");
            tabs.addTab(window->ui.tab_10, "Box Test");
            if (row.atBox)
                goToTab(*window, "Box Test");
            window->ui.next_button->setEnabled(true);  // as the test before it ends
            window->ui.next_button->click();
            const QString shown = tabs.tabText(tabs.currentIndex());
            QCOMPARE(tabTexts(*window).filter(QRegExp("Friction|Capstan")).size(), row.placed);
            if (row.placed) {
                QCOMPARE(shown, "Test Friction");
                QCOMPARE(tabTexts(*window).mid(tabs.currentIndex()),
                         QStringList({"Test Friction", "Test Capstan", "Box Test"}));
            }
        }
    }

    // In manufacturing, before an operator looks for the next tab in vain; the engineering pages come after all.
    void whereTheFlowEnds() {
        for (const bool engineering : {false, true}) {
            const auto session = certify(2, false);  // a Stelmar
            window->performanceTestMode = engineering;
            goToTab(*window, "Calibrate");
            QCOMPARE(window->ui.calibrate_textbrowser2->toPlainText().contains("ends on this tab"), !engineering);
        }
    }

    // No way leads back to the page that writes it.
    void insistsOnTheReport() {
        QTemporaryDir home;
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        const auto session = certify(kModelOrda, false);
        auto& ui = window->ui;
        ui.tabWidget->setCurrentIndex(ui.tabWidget->insertTab(ui.tabWidget->count(), ui.tab_12, "Summary"));
        for (const bool room : {false, true}) {
            QVERIFY(ui.summary_text_browser->toPlainText().contains("tried again") && !QFile::exists(reportFile()));
            QVERIFY(!room || QDir(home.path()).mkpath("logs"));
            QMetaObject::invokeMethod(session.get(), "insistOnReport");
        }
        QVERIFY(QFile::exists(reportFile()) && ui.summary_text_browser->toPlainText().contains("Successfully"));
    }

    // The next device gets the operator and what was chosen, and is told of this one; odd characters come through.
    void whatIsKept() {
        QTemporaryDir home;
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        QVERIFY(QDir(home.path()).mkpath("logs"));
        for (const bool reported : {false, true}) {
            QVERIFY(write(reportFile(), "of the device before"));
            const auto session = certify(kModelOrda, true);
            window->ui.lineEdit_name->setText("Änn \"O'\" \\ \n");
            QVERIFY(!reported || write(reportFile(), " and of this one", QIODevice::Append));
            const QString file = home.filePath("kept.json");
            QVERIFY(writeKept(file, session->kept()));
            const Kept kept = readKept(file);
            QCOMPARE(kept.operatorName, window->ui.lineEdit_name->text());
            QCOMPARE(kept.flow, "manufacturing");
            QVERIFY(kept.mechanics && kept.device.startsWith("Arm, model ") && kept.ended.isEmpty());
            QCOMPARE(kept.reportTime.isEmpty(), !reported);
            QCOMPARE(QFile::permissions(file) & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
            StartDialog next(*window, kept);
            QVERIFY(told(next).contains(kept.device));
            QCOMPARE(told(next).contains("No report was written."), !reported);
            // The report that is shown is that device's, or none.
            for (int replaced = 0; replaced < 2 && reported; ++replaced) {
                QFile report(reportFile());
                QVERIFY(!replaced
                        || (report.open(QIODevice::ReadWrite)
                            && report.setFileTime(QDateTime::currentDateTime().addSecs(60),
                                                  QFileDevice::FileModificationTime)));
                QString page;
                QTimer::singleShot(0, &next, [&page] {
                    auto* const shown = qobject_cast<QDialog*>(QApplication::activeModalWidget());
                    page = shown->findChild<QPlainTextEdit*>()->toPlainText();
                    shown->reject();
                });
                QMetaObject::invokeMethod(&next, "showReport");
                QCOMPARE(page.contains("and of this one"), !replaced);
                QCOMPARE(page.contains("Another report"), bool(replaced));
            }
            Kept crashed;
            crashed.ended = "by a signal";
            const StartDialog after(*window, crashed);
            QVERIFY(told(after).contains("by a signal") && !told(after).contains("No report was written."));
            window.reset();
            QVERIFY(write(file, "{\"operator\": 5, \"device\"") && readKept(file).operatorName.isEmpty());
        }
        qunsetenv("KNDD_HOME");
    }

    // A script stands for the process of a device; $n counts them.
    void oneDeviceAfterTheOther() {
        const struct {
            const char* name;
            const char* script;
            int code, devices;
        } rows[] = {
            {"quit in the dialog", "exit 10", 0, 1},
            {"a second device", "[ $n = 1 ] && exit 0; exit 10", 0, 2},
            {"a window that cannot open", "exit 3", 3, 1},
            {"a crash before the window", "kill -SEGV $$", 1, 1},
            {"a crash beside a device",
             "[ $n = 2 ] && { grep -q Ann \"$2\" && grep -q 'signal 11' \"$2\" && ! grep -q Old \"$2\" && exit 10; "
             "exit 7; }\n"
             "rm \"$2.starting\"; echo '{\"operator\":\"Ann\",\"device\":\"Old\",\"reportTime\":\"Old\"}' > \"$2\"; "
             "kill -SEGV $$",
             0, 2},
        };
        for (const auto& row : rows) {
            QTemporaryDir folder;
            const QString script = folder.filePath("device");
            QVERIFY(write(script, QByteArray("#!/bin/sh\necho x >> \"$0.count\"; n=$(wc -l < \"$0.count\")\n")
                                      + row.script + "\n"));
            QFile::setPermissions(script, QFile::ReadOwner | QFile::ExeOwner);
            Supervisor supervisor(script);
            QTimer::singleShot(0, &supervisor, &Supervisor::startDevice);
            QVERIFY2(QCoreApplication::exec() == row.code, row.name);
            QFile count(script + ".count");
            QVERIFY(count.open(QIODevice::ReadOnly));
            QVERIFY2(count.readAll().count('\n') == row.devices, row.name);
        }
        Supervisor nothing("/nowhere/at/all");
        QTimer::singleShot(0, &nothing, &Supervisor::startDevice);
        QCOMPARE(QCoreApplication::exec(), 1);
    }
};

QTEST_MAIN(tst_Bench)
#include "tst_bench.moc"
