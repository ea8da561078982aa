// The pages of the last tab against the stand-in: typed commands, records, loads, plots.
#include <sys/resource.h>

#include <QGraphicsLineItem>
#include <QGraphicsTextItem>
#include <QSignalSpy>

#include "servostate.h"
#include "standin.h"
#include "windowtest.h"

using standin::device;
using standin::record;

namespace {

template <class Item>
QList<Item*> itemsOf(const QGraphicsScene* scene) {
    QList<Item*> found;
    for (QGraphicsItem* item : scene->items(Qt::AscendingOrder))
        if (auto* wanted = qgraphicsitem_cast<Item*>(item))
            found << wanted;
    return found;
}

}  // namespace

class TestPerformance : public QObject {
    Q_OBJECT

    std::unique_ptr<qtTharlenTest> window;

    void page(const char* text) {
        auto* list = window->ui.listWidget;
        list->setCurrentItem(list->findItems(text, Qt::MatchExactly).at(0));
    }
    void tick() { ServoLoopCallBack(window.get()); }
    int loadsRunning() const {
        return int(std::count_if(std::begin(loadTimer), std::end(loadTimer),
                                 [](const QPointer<QTimer>& timer) { return timer && timer->isActive(); }));
    }
    QString loadText() const { return window->ui.servoloopText->toPlainText(); }

private slots:
    void init() {
        standin::reset();
        resetSharedState();
        device().fleet = {record("Arm", 5)};
        window = std::make_unique<qtTharlenTest>();
        window->performanceTestMode = window->manufMode = true;
        window->onInitTabItems();
        goToTab(*window, "Select");
        QVERIFY(goToTab(*window, "Performance Testing"));
    }
    void cleanup() { window.reset(); }

    // What is typed goes out on the next tick from the page that is set up; what does not parse is 0.
    void typedCommands_data() {
        QTest::addColumn<bool>("temperaturePage");
        QTest::addColumn<bool>("force");
        QTest::addColumn<QStringList>("typed");
        QTest::addColumn<QVector<double>>("sent");
        QTest::newRow("counts") << false << false << QStringList{"12", "-300", " 7 "} << QVector<double>{12, -300, 7};
        QTest::newRow("bad counts") << false << false << QStringList{"", "1.5", "0x10"} << QVector<double>{0, 0, 0};
        QTest::newRow("counts past their type")
            << true << false << QStringList{"99999999999999999999", "1e3", "9"} << QVector<double>{0, 0, 9};
        QTest::newRow("newtons") << true << true << QStringList{"0.5", "-2", "1e-1"}
                                 << QVector<double>{0.5, -2, double(0.1f)};
        QTest::newRow("bad newtons") << false << true << QStringList{"one", "1,5", "1e99"} << QVector<double>{0, 0, 0};
        QTest::newRow("no number") << false << true << QStringList{"nan", "-inf", "3"} << QVector<double>{0, 0, 3};
    }
    void typedCommands() {
        QFETCH(bool, temperaturePage);
        QFETCH(bool, force);
        QFETCH(QStringList, typed);
        QFETCH(QVector<double>, sent);
        auto& ui = window->ui;
        page(temperaturePage ? "Motor Temp. Test" : "Force Test");
        QLineEdit* const fields[2][3] = {{ui.cforce_1, ui.cforce_2, ui.cforce_3},
                                         {ui.motor_dac_1, ui.motor_dac_2, ui.motor_dac_3}};
        for (int i = 0; i < 3; ++i) {
            fields[temperaturePage][i]->setText(typed[i]);
            fields[!temperaturePage][i]->setText("4444");
        }
        dac_values.fill(9);
        cForce.fill(9);
        (temperaturePage ? ui.sendForce_checkBox : ui.sendForce_checkBox_2)->setChecked(force);
        device().calls.clear();
        (temperaturePage ? ui.set_dac_button_2 : ui.pushButton_5)->click();
        tick();
        const char* name = force ? "send_tharlen_force_6dof" : "command_motor_dac_values";
        const auto calls = device().of({"enable_tharlen_forces_no_wait", name});
        QCOMPARE(calls.size(), 3u);  // on setting, then ahead of the command
        const std::vector<double> expected{double(window->csTharlenID), sent[0], sent[1], sent[2], 0, 0, 0};
        QCOMPARE(calls.back().values, expected);
        QCOMPARE(force ? double(dac_values[0]) : double(cForce[0]), 9.0);
    }

    // A command goes on when its page is left, with forces that come back, until one of the three clears it.
    void clearing_data() {
        QTest::addColumn<QString>("way");
        QTest::addColumn<QStringList>("disables");
        const QString now = "disable_tharlen_forces", noWait = "disable_tharlen_forces_no_wait";
        QTest::newRow("clear forces") << "pushButton_15" << QStringList{now};
        QTest::newRow("clear counts") << "clear_dac_button_2" << QStringList{noWait};
        // Entering: the passivity page's leaving, both clearings, the filters page's leaving.
        QTest::newRow("the page again") << "Force Test" << QStringList{now, noWait, now, now};
    }
    void clearing() {
        QFETCH(QString, way);
        QFETCH(QStringList, disables);
        page("Force Test");
        window->ui.cforce_2->setText("5");
        window->ui.motor_dac_1->setText("8");
        window->ui.sendForce_checkBox_2->setChecked(true);
        window->ui.pushButton_5->click();
        page("Workspace Test");
        QVERIFY(startPerformanceForceTest && !device().forcesEnabled);
        tick();
        QVERIFY(device().forcesEnabled);
        device().calls.clear();
        if (auto* button = window->findChild<QPushButton*>(way))
            button->click();
        else
            page(qPrintable(way));
        QStringList seen;
        for (const auto& name : device().namesOf({"disable_tharlen_forces", "disable_tharlen_forces_no_wait"}))
            seen << QString::fromStdString(name);
        QCOMPARE(seen, disables);
        QVERIFY(!startPerformanceForceTest && cForce[1] == 0.0f);
        QCOMPARE(window->ui.cforce_2->text() == "0.0", way != "clear_dac_button_2");
        QCOMPARE(window->ui.motor_dac_1->text() == "0", way != "pushButton_15");
    }

    // Leaving the tab ends what its pages drive, and so does another device, which starts with nothing commanded.
    void nothingGoesOnPastTheTab_data() {
        QTest::addColumn<QString>("page");
        QTest::addColumn<bool>("otherDevice");
        for (const char* text : {"Force Test", "Motor Temp. Test", "Passivity Test", "Filters Test", "Friction Test"})
            for (const bool other : {false, true})
                QTest::addRow("%s%s", text, other ? ", another device" : "") << text << other;
    }
    void nothingGoesOnPastTheTab() {
        QFETCH(QString, page);
        QFETCH(bool, otherDevice);
        auto& ui = window->ui;
        this->page("Workspace Test");
        this->page(qPrintable(page));
        if (page == "Friction Test")
            window->startFrictionPerformanceTest();
        ui.cforce_1->setText("900");
        ui.motor_dac_1->setText("900");
        if (page == "Force Test" || page == "Motor Temp. Test")
            window->command_motor_dac();
        window->force_dac_values[2] = window->m_fVoltsToSend[1] = 50;
        if (page == "Passivity Test" || page == "Filters Test")
            ui.listWidget->setCurrentRow(-1);  // the page stays
        tick();
        if (otherDevice)
            window->OnSelChangeTHARLeN();
        else
            goToTab(*window, "Calibrate");
        QVERIFY(otherDevice || !device().forcesEnabled);
        device().forcesEnabled = false;
        device().calls.clear();
        startCalibTest = false;
        tick();
        QVERIFY(!device().forcesEnabled);
        const auto sent =
            device().of({"command_motor_dac_values", "send_tharlen_force_6dof", "command_motor_voltages"});
        QCOMPARE(sent.size(), 1u);
        QCOMPARE(sent[0].values[1], 0.0);
        QCOMPARE(sent[0].values[3], otherDevice ? 0.0 : 50.0);  // the sliders' own command goes with its own tab
        // A scene goes on as the operator comes back.
        goToTab(*window, "Performance Testing");
        QCOMPARE(startPassivityTest.load(), page == "Passivity Test" && !otherDevice);
        QCOMPARE(startFiltersTest.load(), page == "Filters Test" && !otherDevice);
    }

    // Putting the stylus back ends a typed command.
    void dockingEndsATypedCommand() {
        device().result["get_inkwell_switch"] = 1;
        page("Workspace Test");
        page("Force Test");
        window->updateForceDisplay();
        window->ui.cforce_1->setText("900");
        window->ui.pushButton_5->click();
        window->updateForceDisplay();
        QVERIFY(startPerformanceForceTest);
        device().result["get_inkwell_switch"] = 0;
        window->updateForceDisplay();
        QVERIFY(!startPerformanceForceTest && dac_values[0] == 0 && !device().forcesEnabled);
    }

    // The resolution page ends with its page, the workspace record goes on; each start makes a new timer.
    void records() {
        page("Resolution Test");
        device().encoders[2] = -4321;
        device().position[0] = -40.5f;
        window->ui.pushButton_13->click();
        const QPointer<QTimer> first = resolutionTestTimer;
        window->updatePositionForResolutionTest();
        QCOMPARE(window->ui.label_76->text() + window->ui.label_81->text(), QString("-4321-40.5"));
        window->startResolutionTest();
        QVERIFY(resolutionTestTimer->isActive() && resolutionTestTimer->interval() == 10 && !first->isActive());
        window->ui.startRecord->click();
        QCOMPARE(posRecordTimer->interval(), 1);
        page("Workspace Test");
        QVERIFY(!resolutionTestTimer->isActive() && window->ui.pushButton_13->isEnabled());
        QCOMPARE(window->ui.label_76->text() + window->ui.label_81->text(), QString("00"));
        goToTab(*window, "Calibrate");
        QVERIFY(posRecordTimer->isActive() && window->ui.stopRecord->isEnabled());
        int painted = 0;  // some lines at a time, and all of them when the record ends
        for (int i = 0; i < 100; ++i) {
            window->recordWorkspace();
            painted += window->ui.textBrowser_2->updatesEnabled();
        }
        QVERIFY2(painted >= 1 && painted <= 10, qPrintable(QString::number(painted)));
        window->ui.stopRecord->click();
        QVERIFY(!posRecordTimer->isActive() && window->ui.startRecord->isEnabled());
        QVERIFY(window->ui.textBrowser_2->updatesEnabled());
        QVERIFY(window->ui.textBrowser_2->toPlainText().endsWith("-40.500000 \t0.000000 \t0.000000"));
        window.reset();
        QVERIFY(!resolutionTestTimer && !posRecordTimer);
    }

    // The plot joins every third sample to the one after next; a second stop draws over the first.
    void frictionPlot() {
        window->startFrictionPerformanceTest();
        for (int i = 0; i < 15003; ++i) {
            device().jointVelocities[2] = float(i) / 1024;
            tick();
        }
        QCOMPARE(jointVelocityIndex.load(), 15002);
        for (int stops = 1; stops <= 2; ++stops) {
            window->stopFrictionPerformanceTest();
            const auto lines = itemsOf<QGraphicsLineItem>(window->frictionPlotScene);
            QCOMPARE(lines.size(), stops * 5000);
            QCOMPARE(lines.last()->line().x1(), 14999.0);
            QCOMPARE(lines.last()->line().y1(), 300 - 1000 * 15000 / 1024.0);
            QCOMPARE(lines.last()->line().x2(), 14998.0);
            QCOMPARE(lines.last()->line().y2(), 300 - 1000 * 14998 / 1024.0);
        }
        QVERIFY(!bFrictionPerformance && dacFloat == 0.0f && friction_dac_values[2] == 0);
    }

    // Ten blocks, or a line that says why not; nothing is released twice, and a processor load leaves them alone.
    void memoryLoad() {
        window->releaseMemory();
        for (const auto& [typed, loads] : {std::pair<const char*, bool>{"8000", true},
                                           {"8 MB", true},
                                           {"", true},
                                           {"99999999999", true},
                                           {"-800", false},
                                           {"8000", true}}) {
            window->ui.servoloopText->clear();
            window->ui.lineEdit_6->setText(typed);
            window->loadMemory();
            for (double* block : window->memoryLoadInt)
                QCOMPARE(block != nullptr, loads);
            QCOMPARE(loadText().contains("-800 bytes cannot be allocated"), !loads);
            QCOMPARE(window->ui.pushButton_12->isEnabled(), loads);
        }
        window->memoryLoadInt[9][99] = 1.5;
        window->loadCPU();
        QCOMPARE(window->memoryLoadInt[9][99], 1.5);
        window->releaseMemory();
        window->releaseMemory();
        QVERIFY(!window->memoryLoadInt[0] && window->ui.pushButton_8->isEnabled());
    }

    void memoryThatIsNotThere() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        QSKIP("the sanitizer's own memory is past any limit");
#endif
        rlimit before{}, tight{1 << 30, RLIM_INFINITY};
        QCOMPARE(getrlimit(RLIMIT_AS, &before), 0);
        tight.rlim_max = before.rlim_max;
        QCOMPARE(setrlimit(RLIMIT_AS, &tight), 0);
        window->ui.lineEdit_6->setText("2147483647");
        window->loadMemory();
        setrlimit(RLIMIT_AS, &before);
        QVERIFY(loadText().contains("2147483647 bytes cannot be allocated"));
        QVERIFY(!window->memoryLoadInt[0] && window->ui.pushButton_8->isEnabled());
    }

    void processorLoad() {
        window->ui.pushButton_7->click();
        QCOMPARE(loadsRunning(), 500);
        const QPointer<QTimer> first = loadTimer[499];
        QSignalSpy fired(first, &QTimer::timeout);
        QCoreApplication::processEvents();
        QVERIFY(!fired.isEmpty());
        window->ui.pushButton_11->click();
        QCOMPARE(loadsRunning(), 0);
        // Two loads in a row, then one release: none of the first goes on.
        window->loadProcessor();
        const QPointer<QTimer> second = loadTimer[0];
        window->loadProcessor();
        window->releaseProcessor();
        QVERIFY(!second->isActive() && !first->isActive() && loadsRunning() == 0);
        window.reset();
        QVERIFY(!first && !loadTimer[0]);
    }

    // The grid, a tick a motor and second, and an x that only the stop button returns to 0.
    void temperaturePlot() {
        page("Motor Temp. Test");
        const int grid = itemsOf<QGraphicsLineItem>(window->linePlotScene).size();
        QCOMPARE(grid, 10 + 240);
        QStringList texts;
        for (const auto* text : itemsOf<QGraphicsTextItem>(window->linePlotScene))
            texts << text->toPlainText();
        QCOMPARE(texts.mid(0, 11), QString("100 90 80 70 60 50 40 30 20 10 0").split(' '));
        QCOMPARE(texts.mid(249), (QStringList{"7170", "Time in seconds", "Temp. in Celcius"}));
        window->ui.pushButton_18->click();
        QCOMPARE(window->motorTempTimer->interval(), 1000);
        const float celsius[2][3] = {{25, 30, 110}, {25, 40, 90}};
        for (const auto& row : celsius) {
            std::copy(row, row + 3, device().temperatures[0]);
            device().temperatures[1][1] = 22.5f;
            window->getMotorTemperature();
        }
        const auto ticks = itemsOf<QGraphicsLineItem>(window->linePlotScene).mid(grid);
        const QLineF lines[6] = {{1, 300, 1, 225}, {1, 300, 1, 210}, {1, 300, 1, -30},
                                 {2, 225, 2, 225}, {2, 210, 2, 180}, {2, -30, 2, 30}};
        const Qt::GlobalColor colours[3] = {Qt::red, Qt::green, Qt::cyan};
        QCOMPARE(ticks.size(), 6);
        for (int i = 0; i < 6; ++i) {
            QCOMPARE(ticks[i]->line(), lines[i]);
            QCOMPARE(ticks[i]->pen().color(), QColor(colours[i % 3]));
        }
        QVERIFY(window->ui.textBrowser_5->toPlainText().endsWith("25.0  40.0  90.0  0.0  22.5  0.0  "));
        page("Force Test");
        QVERIFY(!window->motorTempTimer->isActive() && window->linePlotScene->items().isEmpty());
        page("Motor Temp. Test");
        window->getMotorTemperature();
        QCOMPARE(itemsOf<QGraphicsLineItem>(window->linePlotScene).last()->line().x1(), 3.0);
        window->ui.pushButton_19->click();
        window->getMotorTemperature();
        QCOMPARE(itemsOf<QGraphicsLineItem>(window->linePlotScene).last()->line().x1(), 1.0);
    }
};

QTEST_MAIN(TestPerformance)
#include "tst_performance.moc"
