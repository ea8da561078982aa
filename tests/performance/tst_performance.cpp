// The pages of the last tab against the stand-in: typed commands, records, loads, plots.
#include <QGraphicsLineItem>
#include <QGraphicsTextItem>
#include <QScrollBar>
#include <QSignalSpy>
#include <set>

#include "standinwindow.h"

template <class Item>
static QList<Item*> itemsOf(const QGraphicsScene* scene) {
    QList<Item*> found;
    for (QGraphicsItem* item : scene->items(Qt::AscendingOrder))
        if (auto* wanted = qgraphicsitem_cast<Item*>(item))
            found << wanted;
    return found;
}

class TestPerformance : public StandinWindow {
    Q_OBJECT

    void page(const char* text) { QVERIFY(goToPage(*window, text)); }
    int loadsRunning() const {
        return int(std::count_if(std::begin(loadTimer), std::end(loadTimer),
                                 [](const QPointer<QTimer>& timer) { return timer && timer->isActive(); }));
    }
    QString loadText() const { return ui().servoloopText->toPlainText(); }

private slots:
    void init() {
        openFleet();
        window->performanceTestMode = window->manufMode = true;
        window->onInitTabItems();
        QVERIFY(goToTab(*window, "Performance Testing"));
    }

    // From the page that is shown, whichever was before; what does not parse is 0.
    void typedCommands() {
        const std::tuple<bool, bool, QStringList, QList<double>> rows[] = {
            {true, false, {"99999999999999999999", "1e3", "9"}, {0, 0, 9}},
            {false, false, {"12", "-300", " 7 "}, {12, -300, 7}},
            {true, true, {"0.5", "-2", "1e-1"}, {0.5, -2, double(0.1f)}},
            {false, true, {"nan", "1,5", "3"}, {0, 0, 3}},
            {false, true, {"-inf", "1e99", "one"}, {0, 0, 0}}};
        QLineEdit* const fields[2][3] = {{ui().cforce_1, ui().cforce_2, ui().cforce_3},
                                         {ui().motor_dac_1, ui().motor_dac_2, ui().motor_dac_3}};
        for (const auto& [temperaturePage, force, typed, sent] : rows) {
            page(temperaturePage ? "Motor Temp. Test" : "Force Test");
            for (int i = 0; i < 3; ++i) {
                fields[temperaturePage][i]->setText(typed[i]);
                fields[!temperaturePage][i]->setText("4444");
            }
            dac_values.fill(9);
            cForce.fill(9);
            ui().sendForce_checkBox->setChecked(temperaturePage && force);
            ui().sendForce_checkBox_2->setChecked(!temperaturePage && force);
            device().calls.clear();
            (temperaturePage ? ui().set_dac_button_2 : ui().pushButton_5)->click();
            tick();
            const char* name = force ? "send_tharlen_force_6dof" : "command_motor_dac_values";
            const auto calls = device().of({"enable_tharlen_forces_no_wait", name});
            QCOMPARE(calls.size(), 3u);  // on setting, then ahead of the command
            for (int i = 0; i < 6; ++i)
                QCOMPARE(calls.back().values[i + 1], i < 3 ? sent[i] : 0.0);
            QCOMPARE(force ? double(dac_values[0]) : double(cForce[0]), 9.0);
        }
    }

    // A command goes on when its page is left, with forces that come back, until one of the three clears it.
    void clearing() {
        for (const QString way : {"pushButton_15", "clear_dac_button_2", "Force Test"}) {
            page("Force Test");
            ui().cforce_2->setText("5");
            ui().motor_dac_1->setText("8");
            ui().sendForce_checkBox_2->setChecked(true);
            ui().pushButton_5->click();
            page("Workspace Test");
            QVERIFY(startPerformanceForceTest && !device().forcesEnabled);
            tick();
            QVERIFY(device().forcesEnabled);
            if (auto* button = window->findChild<QPushButton*>(way))
                button->click();
            else
                page(qPrintable(way));
            QVERIFY(!device().forcesEnabled && !startPerformanceForceTest && cForce[1] == 0.0f);
            QCOMPARE(ui().cforce_2->text() == "0.0", way != "clear_dac_button_2");
            QCOMPARE(ui().motor_dac_1->text() == "0", way != "pushButton_15");
        }
    }

    // Leaving the tab ends what its pages drive, and so does another device, which starts with nothing commanded.
    void nothingGoesOnPastTheTab() {
        for (const QString shown :
             {"Force Test", "Motor Temp. Test", "Passivity Test", "Filters Test", "Friction Test"}) {
            const bool scene = shown == "Passivity Test" || shown == "Filters Test";
            for (const bool otherDevice : {false, true}) {
                page("Workspace Test");
                page(qPrintable(shown));
                ui().cforce_1->setText("900");
                ui().motor_dac_1->setText("900");
                if (shown == "Friction Test")
                    window->startFrictionPerformanceTest();
                else if (!scene)
                    window->command_motor_dac();
                window->force_dac_values[2] = window->m_fVoltsToSend[1] = 50;
                if (scene)
                    ui().listWidget->setCurrentRow(-1);  // the page stays
                tick();
                if (otherDevice)
                    window->OnSelChangeTHARLeN();
                else
                    go("Calibrate");
                QVERIFY(otherDevice ? window->m_fVoltsToSend[1] == 0.0f && ui().cforce_1->text() == "0.0"
                                    : !device().forcesEnabled);
                device().forcesEnabled = startCalibTest = false;
                device().calls.clear();
                tick();
                QVERIFY2(!device().forcesEnabled, qPrintable(shown));
                const auto sent =
                    device().of({"command_motor_dac_values", "send_tharlen_force_6dof", "command_motor_voltages"});
                QCOMPARE(sent.size(), 1u);
                // The sliders' command goes with its own tab.
                QCOMPARE(sent[0].values,
                         (std::vector<double>{double(window->csTharlenID), 0, 0, otherDevice ? 0.0 : 50.0, 0, 0, 0}));
                // A scene goes on as the operator comes back.
                go("Performance Testing");
                QCOMPARE(startPassivityTest.load(), shown == "Passivity Test" && !otherDevice);
                QCOMPARE(startFiltersTest.load(), shown == "Filters Test" && !otherDevice);
            }
        }
    }

    // Putting the stylus back ends a typed command.
    void dockingEndsATypedCommand() {
        device().result["get_inkwell_switch"] = 1;
        window->inkwellSwitchState = 1;  // as another tab left it
        page("Workspace Test");
        page("Force Test");
        QCOMPARE(window->inkwellSwitchState, 0);
        window->updateForceDisplay();
        ui().cforce_1->setText("900");
        ui().pushButton_5->click();
        window->updateForceDisplay();
        QVERIFY(startPerformanceForceTest);
        device().result["get_inkwell_switch"] = 0;
        window->updateForceDisplay();
        QVERIFY(!startPerformanceForceTest && dac_values[0] == 0 && !device().forcesEnabled);
    }

    // The resolution page ends with its page, the workspace record goes on; each start makes a new timer.
    void records() {
        page("Resolution Test");
        for (int i = 0; i < 3; ++i) {
            device().encoders[i] = 20 * i - 7;
            device().position[i] = 40.5f - 7.0f * float(i);
        }
        const auto shown = [this] {
            QString all;
            for (const QLabel* label :
                 {ui().label_74, ui().label_75, ui().label_76, ui().label_81, ui().label_83, ui().label_85})
                all += label->text() + ' ';
            return all;
        };
        ui().pushButton_13->click();
        const QPointer<QTimer> first = resolutionTestTimer;
        window->updatePositionForResolutionTest();
        QCOMPARE(shown(), QString("-7 13 33 40.5 33.5 26.5 "));
        window->startResolutionTest();
        QVERIFY(resolutionTestTimer->isActive() && resolutionTestTimer->interval() == 10 && !first->isActive());
        ui().startRecord->click();
        QCOMPARE(posRecordTimer->interval(), 1);
        page("Workspace Test");
        QVERIFY(!resolutionTestTimer->isActive() && ui().pushButton_13->isEnabled());
        QCOMPARE(shown(), QString("0 0 0 0 0 0 "));
        ui().pushButton_13->click();
        ui().pushButton_14->click();
        QVERIFY(!resolutionTestTimer->isActive());
        go("Calibrate");
        QVERIFY(posRecordTimer->isActive() && ui().stopRecord->isEnabled());
        int painted = 0;  // some lines at a time, and all of them when the record ends
        for (int i = 0; i < 100; ++i) {
            window->recordWorkspace();
            painted += ui().textBrowser_2->updatesEnabled();
        }
        QVERIFY2(painted >= 1 && painted <= 10, qPrintable(QString::number(painted)));
        window->recordWorkspace();
        QVERIFY(!ui().textBrowser_2->updatesEnabled());
        QResizeEvent resized({300, 200}, {});
        QCoreApplication::sendEvent(ui().textBrowser_2, &resized);
        QCoreApplication::sendPostedEvents(ui().textBrowser_2, QEvent::MetaCall);
        QVERIFY(ui().textBrowser_2->updatesEnabled());
        ui().stopRecord->click();
        QVERIFY(!posRecordTimer->isActive() && ui().startRecord->isEnabled() && ui().textBrowser_2->updatesEnabled());
        QVERIFY(ui().textBrowser_2->toPlainText().endsWith("40.500000 \t33.500000 \t26.500000"));
        window.reset();
        QVERIFY(!resolutionTestTimer && !posRecordTimer);
    }

    // Forty million pixels down, further than coordinates of few bits reach: lines are painted, found under the mouse
    // and selected.
    void aLongRecordCanBeReadToItsEnd() {
        go("Performance Testing");
        page("Workspace Test");
        window->show();
        ui().startRecord->click();
        posRecordTimer->stop();
        QTextBrowser& record = *ui().textBrowser_2;
        QFont large = record.font();
        large.setPixelSize(1000);
        record.setFont(large);
        record.setPlainText(QString("8\n").repeated(40000));
        record.append("88");
        QCoreApplication::processEvents();
        const int height = record.document()->size().toSize().height(), last = record.document()->blockCount() - 1;
        QVERIFY(height > 40000000);
        QCOMPARE(record.verticalScrollBar()->maximum(), height - record.viewport()->height());
        QCOMPARE(record.cursorForPosition(QPoint(0, 20)).blockNumber(), 0);
        record.verticalScrollBar()->setValue(height);
        const auto colours = [&record] {
            const QImage image = record.viewport()->grab().toImage();
            std::set<QRgb> found;
            for (int y = 0; y < image.height(); ++y)
                for (int x = 0; x < image.width(); ++x)
                    found.insert(image.pixel(x, y));
            return found;
        };
        const QPalette& palette = record.palette();
        QVERIFY(colours().count(palette.color(QPalette::Text).rgb()));
        QVERIFY(!colours().count(palette.color(QPalette::Highlight).rgb()));
        const QPoint corner = record.viewport()->rect().bottomLeft();
        QTextCursor cursor = record.cursorForPosition(corner - QPoint(0, 5));
        QCOMPARE(cursor.blockNumber(), last);
        QVERIFY(cursor.atBlockStart());
        cursor.movePosition(QTextCursor::EndOfLine, QTextCursor::KeepAnchor);
        QCOMPARE(cursor.selectedText(), QString("88"));
        record.setTextCursor(cursor);
        record.verticalScrollBar()->setValue(height);
        QVERIFY(colours().count(palette.color(QPalette::Highlight).rgb()));

        const double two = record.document()->size().width();
        record.append("8888");
        for (int i = 0; i < 2; ++i)
            record.append("8");
        QVERIFY(record.document()->size().width() > two + 900);
        record.resize(record.width() / 2, record.height());
        QVERIFY(record.document()->size().width() > two + 900);
        record.clear();
        QVERIFY(record.document()->size().width() < 20);
    }

    // The plot, which no control reaches, joins every third sample to the one after next.
    void frictionPlot() {
        window->startFrictionPerformanceTest();
        for (int i = 0; i < 15000; ++i)
            jointVelocity[i] = float(i) / 1024;
        window->stopFrictionPerformanceTest();
        const auto lines = itemsOf<QGraphicsLineItem>(window->frictionPlotScene);
        QCOMPARE(lines.size(), 5000);
        QCOMPARE(lines.last()->line(), QLineF(14999, 300 - 1000 * 14999 / 1024.0, 14998, 300 - 1000 * 14997 / 1024.0));
        QVERIFY(!bFrictionPerformance && dacFloat == 0.0f && friction_dac_values[2] == 0);
    }

    // By its button or after eleven lines; each run counts from 0, and the keyboard goes along from button to button.
    void servoLoopPage() {
        page("Servo Loop Test");
        window->servoRate = 4000;
        for (const int lines : {2, 11}) {
            ui().pushButton_9->setFocus();
            ui().pushButton_9->click();
            QVERIFY(startServoTest && window->servoRateGraphicTimer->interval() == 1000);
            QVERIFY(ui().pushButton_10->isEnabled() && !ui().pushButton_9->isEnabled());
            QCOMPARE(window->focusWidget(), ui().pushButton_10);
            for (int i = 0; i < lines; ++i) {
                tick();
                window->updateServoLoopRateProgress();
            }
            if (lines < 11)
                ui().pushButton_10->click();
            QVERIFY(!startServoTest && !window->servoRateGraphicTimer->isActive());
            QVERIFY(!ui().pushButton_10->isEnabled() && ui().pushButton_9->isEnabled());
            QVERIFY(loadText().startsWith("Start: \n\nSample: 0 ") && loadText().endsWith("\nStop: \n"));
            QCOMPARE(loadText().count("Sample:"), lines);
        }
        QVERIFY(ui().error_browser->toPlainText().isEmpty());
        ui().pushButton_9->click();
        window->updateServoLoopRateProgress();
        QVERIFY(ui().error_browser->toPlainText().contains("No sample of the servo rate"));
    }

    // As choosing it would, also the one that the form shows first; a plot goes on as it is.
    void thePageThatShowsIsSetUp() {
        QCOMPARE(ui().listWidget->currentItem()->text(), QString("Motor Temp. Test"));
        ui().motor_dac_1->setText("7");
        ui().cforce_1->setText("4444");
        ui().set_dac_button_2->click();
        QCOMPARE(dac_values[0].load(), 7L);
        window->getMotorTemperature();
        const int items = window->linePlotScene->items().size();
        QVERIFY(items > 250);
        go("Calibrate", "Performance Testing");
        QVERIFY(window->linePlotScene->items().size() == items && runMotorTempTest);
        page("Force Test");
        go("Calibrate");
        QVERIFY(!window->tempGuiUpdateTimer->isActive());
        go("Performance Testing");
        QVERIFY(window->tempGuiUpdateTimer->isActive());
        window->csTharlenID = -1;
        ui().pushButton_5->click();
        QVERIFY(ui().error_browser->toPlainText().contains("goes to no motor"));
    }

    // Ten blocks, or a line that says why not; nothing is released twice, and a processor load leaves them alone.
    void memoryLoad() {
        window->releaseMemory();
        for (const auto& [typed, loads] : {std::pair{"8 MB", true}, {"-800", false}, {"8000", true}}) {
            ui().servoloopText->clear();
            ui().lineEdit_6->setText(typed);
            ui().pushButton_8->setEnabled(true);
            ui().pushButton_8->click();
            for (double* block : window->memoryLoadInt)
                QCOMPARE(block != nullptr, loads);
            QCOMPARE(loadText().contains("-800 bytes cannot be allocated"), !loads);
            QCOMPARE(loadText().contains("\"8 MB\" is no number"), QByteArray(typed) == "8 MB");
            QCOMPARE(ui().pushButton_12->isEnabled(), loads);
        }
        window->memoryLoadInt[9][99] = 1.5;
        window->loadCPU();
        QCOMPARE(window->memoryLoadInt[9][99], 1.5);
        ui().pushButton_12->click();
        window->releaseMemory();
        QVERIFY(!window->memoryLoadInt[0] && ui().pushButton_8->isEnabled());
    }

    // Two loads in a row, then one release: none of the first goes on.
    void processorLoad() {
        ui().pushButton_7->click();
        QCOMPARE(loadsRunning(), 500);
        const QPointer<QTimer> first = loadTimer[499];
        QSignalSpy fired(first, &QTimer::timeout);
        QCoreApplication::processEvents();
        QVERIFY(!fired.isEmpty());
        window->loadProcessor();
        ui().pushButton_11->click();
        QVERIFY(!first->isActive() && loadsRunning() == 0);
        window.reset();
        QVERIFY(!first && !loadTimer[0]);
    }

    // The grid, a tick a motor and second, and an x that only the stop button returns to 0.
    void temperaturePlot() {
        page("Motor Temp. Test");
        const auto lineItems = [this] { return itemsOf<QGraphicsLineItem>(window->linePlotScene); };
        const int grid = lineItems().size();
        const auto texts = itemsOf<QGraphicsTextItem>(window->linePlotScene);
        QVERIFY(grid == 10 + 240 && texts[0]->toPlainText() == "100" && texts[9]->toPlainText() == "10");
        QVERIFY(texts[10]->toPlainText() == "0" && texts[249]->toPlainText() == "7170");
        ui().pushButton_18->click();
        QCOMPARE(window->motorTempTimer->interval(), 1000);
        const float celsius[2][3] = {{25, 30, 110}, {25, 40, 90}};
        device().temperatures[1][1] = 22.5f;
        for (const auto& row : celsius) {
            std::copy(row, row + 3, device().temperatures[0]);
            window->getMotorTemperature();
        }
        const auto ticks = lineItems().mid(grid);
        const QLineF lines[6] = {{1, 300, 1, 225}, {1, 300, 1, 210}, {1, 300, 1, -30},
                                 {2, 225, 2, 225}, {2, 210, 2, 180}, {2, -30, 2, 30}};
        const Qt::GlobalColor colours[3] = {Qt::red, Qt::green, Qt::cyan};
        QCOMPARE(ticks.size(), 6);
        for (int i = 0; i < 6; ++i)
            QVERIFY(ticks[i]->line() == lines[i] && ticks[i]->pen().color() == QColor(colours[i % 3]));
        QVERIFY(ui().textBrowser_5->toPlainText().endsWith("25.0  40.0  90.0  0.0  22.5  0.0  "));
        page("Force Test");
        QVERIFY(!window->motorTempTimer->isActive() && window->linePlotScene->items().isEmpty());
        page("Motor Temp. Test");
        window->getMotorTemperature();
        QCOMPARE(lineItems().last()->line().x1(), 3.0);
        ui().pushButton_19->click();
        window->getMotorTemperature();
        QCOMPARE(lineItems().last()->line().x1(), 1.0);
    }
};

QTEST_MAIN(TestPerformance)
#include "tst_performance.moc"
