// The form: its connections and those it must not have, texts, ranges, resources, and that nothing is cut off.
#include <QAccessible>
#include <QComboBox>
#include <QDomDocument>
#include <QFile>
#include <QImageReader>
#include <QMetaMethod>
#include <QResource>
#include <QScrollBar>

#include "spokenreadouts.h"
#include "standin.h"
#include "windowtest.h"

namespace {

const char kPrefix[] = ":/qtTharlenTest/Resources/";

// Sender, signal, receiver, slot, as the form must make them; the receiver is the window where none is named.
const QStringList kConnections{
    "manuf_radioButton clicked() onTestModeSelection()",
    "user_radioButton clicked() onTestModeSelection()",
    "manuf_password returnPressed() onTestModeSelection()",
    "setServoLoopRate clicked() updateServoLoopRate()",
    "m_cmbTHARLeN currentIndexChanged(QString) OnSelChangeTHARLeN()",
    "calibrate_button clicked() onClickCalibrateButton()",
    "slider_X valueChanged(int) onForceSlidersChange()",
    "slider_Y valueChanged(int) onForceSlidersChange()",
    "slider_Z valueChanged(int) onForceSlidersChange()",
    "slider_TX valueChanged(int) onForceSlidersChange()",
    "slider_TY valueChanged(int) onForceSlidersChange()",
    "slider_TZ valueChanged(int) onForceSlidersChange()",
    "pushButton_16 clicked() onClickResetForces()",
    "hapticRate_startButton clicked() startServoLoopRateTest()",
    "hapticRate_stoptButton clicked() stopServoLoopRateTest()",
    "clearHistoButton clicked() clearHistogram()",
    "clearHistoButton clicked() servoLoopUpdate_box.clear()",
    "updateCalib_button clicked() onClickUpdateCalibration()",
    "loseCalib_button clicked() onClickLoseCalibration()",
    "runEncoderTest_button clicked() initEncoderTest()",
    "stopEncoderTest_button clicked() stopEncoderTest()",
    "runGimbalEncoderTest_button clicked() initGimbalEncoderTest()",
    "stopGimbalEncoderTest_button clicked() stopGimbalEncoderTest()",
    "encoderTestClearBtn clicked() encoderTest_debug.clear()",
    "startFrictionTest_button clicked() onClickStartFrictionTest()",
    "startCapstanTest_button clicked() onClickStartCapstanTest()",
    "verifyCapstanTest_button clicked() onClickVerifyCapstanTest()",
    "pushButton clicked() closeTestApplication()",
    "pushButton_9 clicked() startServoLoopPerformance()",
    "pushButton_10 clicked() stopServoLoopPerformance()",
    "pushButton_7 clicked() loadProcessor()",
    "pushButton_11 clicked() releaseProcessor()",
    "pushButton_8 clicked() loadMemory()",
    "pushButton_12 clicked() releaseMemory()",
    "pushButton_13 clicked() startResolutionTest()",
    "pushButton_14 clicked() stopResolutionTest()",
    "pushButton_5 clicked() command_motor_dac()",
    "pushButton_15 clicked() clearForces()",
    "startRecord clicked() startWorkspaceRecord()",
    "stopRecord clicked() stopWorkspaceRecord()",
    "set_dac_button_2 clicked() command_motor_dac()",
    "clear_dac_button_2 clicked() clear_dac_value()",
    "pushButton_18 clicked() startLinePlot()",
    "pushButton_19 clicked() stopLinePlot()",
    "back_button clicked() gotoPrevTab()",
    "next_button clicked() gotoNextTab()",
    "pushButton_3 clicked() clearErrorBrowser()",
};

int warnings = 0;
void countWarnings(QtMsgType type, const QMessageLogContext&, const QString& message) {
    if (type == QtDebugMsg || type == QtInfoMsg || message.contains("XDG_RUNTIME_DIR"))
        return;
    std::fprintf(stderr, "%s\n", qPrintable(message));
    ++warnings;
}

/// QObject::isSignalConnected, which is protected.
struct Probe : QObject {
    using QObject::isSignalConnected;
};
bool hasReceiver(const QObject* object, const char* signal) {
    bool (QObject::*connected)(const QMetaMethod&) const = &Probe::isSignalConnected;
    const QMetaObject* meta = object->metaObject();
    return (object->*connected)(meta->method(meta->indexOfSignal(signal)));
}

}  // namespace

class TestForm : public QObject {
    Q_OBJECT

    std::unique_ptr<qtTharlenTest> window;

    template <class Widget = QWidget>
    Widget* child(const QString& name) const {
        return window->findChild<Widget*>(name);
    }

private slots:
    void initTestCase() { speakReadOuts(); }
    void init() {
        standin::reset();
        resetSharedState();
        standin::device().fleet = {standin::record("Arm", 5)};
        warnings = 0;
        const auto previous = qInstallMessageHandler(countWarnings);
        window = std::make_unique<qtTharlenTest>();
        qInstallMessageHandler(previous);
    }
    void cleanup() { window.reset(); }

    void buildsWithoutAWarning() { QCOMPARE(warnings, 0); }

    void connectionsAreTheTables() {
        QFile file("qttharlentest.ui");
        QVERIFY(file.open(QIODevice::ReadOnly));
        QDomDocument form;
        QVERIFY(form.setContent(&file));
        QStringList found;
        const QDomNodeList connections = form.elementsByTagName("connection");
        for (int i = 0; i < connections.size(); ++i) {
            const QDomElement connection = connections.at(i).toElement();
            const auto text = [&](const char* tag) { return connection.firstChildElement(tag).text(); };
            const QString receiver = text("receiver") == "qtTharlenTestClass" ? QString() : text("receiver") + ".";
            found << text("sender") + " " + text("signal") + " " + receiver + text("slot");
        }
        QCOMPARE(found, kConnections);
    }

    void someControlsHaveNoConnection() {
        for (const char* name : {"pushButton_4", "pushButton_20", "pushButton_17", "pushButton_6", "radioButton",
                                 "radioButton_2", "pinch_calibrate_button", "pushButton_21"})
            QVERIFY2(!hasReceiver(child(name), "clicked()") && !hasReceiver(child(name), "clicked(bool)"), name);
        QVERIFY(!hasReceiver(child("gain_slider"), "valueChanged(int)"));
        QVERIFY(!hasReceiver(child("lineEdit"), "returnPressed()"));
        QVERIFY(hasReceiver(child("pushButton_3"), "clicked()"));  // the probe does see one
    }

    void ranges_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("minimum");
        QTest::addColumn<int>("maximum");
        QTest::addColumn<int>("value");
        for (const char* slider : {"slider_X", "slider_Y", "slider_Z", "slider_TX", "slider_TY", "slider_TZ"})
            QTest::newRow(slider) << slider << -100 << 100 << 0;
        QTest::newRow("power") << "encoderTestPower" << 0 << 300 << 100;
        QTest::newRow("abort") << "encoderTestTempSpinBox" << 0 << 200 << 160;
        QTest::newRow("hours") << "SpinBoxTest" << 0 << 99 << 8;
        QTest::newRow("loops") << "encoderTestLoopsSpinBox" << 0 << 99 << 10;
        QTest::newRow("gain") << "gain_slider" << 0 << 100 << 0;
        for (const char* bar : {"xForceBar", "yForceBar", "zForceBar", "progressBar", "progressBar_2"})
            QTest::newRow(bar) << bar << 0 << 100 << 0;
    }
    void ranges() {
        QFETCH(QString, name);
        QObject* control = child<QObject>(name);
        QVERIFY(control);
        QTEST(control->property("minimum").toInt(), "minimum");
        QTEST(control->property("maximum").toInt(), "maximum");
        QTEST(control->property("value").toInt(), "value");
    }

    void styleSheetsAndTexts_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("property");
        QTest::addColumn<QString>("value");
        const char* const rows[][3] = {
            {"error_browser", "styleSheet", "background-color: rgb(255, 210, 249);"},
            {"calibDetails_textBox1", "styleSheet", "background-color: rgb(215, 255, 227);"},
            {"calibDetails_textBox2", "styleSheet", "background-color: rgb(254, 255, 183);"},
            {"textBrowser_5", "styleSheet", "background-color: rgb(225, 225, 255);"},
            {"label_34", "styleSheet", "color: rgb(255, 0, 0);\ncolor: rgb(0, 255, 255);"},
            {"frame_2", "styleSheet", "border-image: url(:/qtTharlenTest/Resources/MarlvaneCorpLogo-Resized.png);"},
            {"frame11", "styleSheet",
             "border-image: url(:/qtTharlenTest/Resources/corvale_calibration_illustration.png)"},
            {"next_button", "styleSheet", "QPushButton { border-image: url(:/qtTharlenTest/Resources/next.png) } ;"},
            {"back_button", "styleSheet", "QPushButton { border-image: url(:/qtTharlenTest/Resources/prev.png) };"},
            {"testRadio3", "text", "                 Hours"},
            {"calibrate_button", "text", "&CALIBRATE "},
            {"pinch_calibrate_button", "text", "CALIBRATE &ATTACHMENT"},
            {"version_label", "text", "stand-in 1.0"},
            {"motor_dac_2", "text", "0"},
            {"manuf_password", "toolTip", "Enter password here for advanced mode."},
            {"loseCalib_button", "toolTip", "Deletes calibration file"},
            {"updateCalib_button", "toolTip", "Writes new calibration file"},
            {"pushButton_3", "toolTip", "Clear the Errors"},
            {"X_HOME", "text", "SEARCHING.."},
        };
        for (const auto& row : rows)
            QTest::addRow("%s %s", row[0], row[1]) << row[0] << row[1] << row[2];
    }
    void styleSheetsAndTexts() {
        QFETCH(QString, name);
        QFETCH(QString, property);
        QObject* control = child<QObject>(name);
        QVERIFY(control);
        QTEST(control->property(qPrintable(property)).toString(), "value");
    }

    // Every image can be read; two are stored compressed, one is named by the form and is not there.
    void resources() {
        const QDir folder(":/qtTharlenTest/Resources");
        const QStringList files = folder.entryList(QDir::Files);
        QCOMPARE(files.size(), 38);
        for (const QString& name : files) {
            const bool compressed = name == "THARLeNTest.ico" || name == "Splash_Nolva.bmp";
            QCOMPARE(QResource(kPrefix + name).compressionAlgorithm(),
                     compressed ? QResource::ZlibCompression : QResource::NoCompression);
            QVERIFY2(!QImageReader(kPrefix + name).read().isNull(), qPrintable(name));
        }
        QVERIFY(QFile::exists(":/qtTharlenTest/qtTharlenTest.rc"));
        QVERIFY(!QFile::exists(kPrefix + QString("MarlvaneCorpLogo-Resized.png")));
    }

    // On each page, at the window's first size: no text control smaller than its text needs.
    void nothingIsCutOff() {
        QStringList cut;
        onEachPage([&](const QString& where) { cut << cutOff(where); });
        QCOMPARE(window->size(), QSize(900, 738));
        QVERIFY2(cut.isEmpty(), qPrintable(cut.join('\n')));
    }

    // On each page with all its controls enabled, the Tab key comes by every one of them, or by one of its group.
    void keyboardReachesEverything() {
        QStringList missed;
        onEachPage([&](const QString& where) {
            for (QWidget* widget : window->ui.tabWidget->currentWidget()->findChildren<QWidget*>())
                widget->setEnabled(true);
            window->ui.tabWidget->setFocus();
            QSet<const QWidget*> reached;
            for (QWidget* at = QApplication::focusWidget(); at && !reached.contains(at);
                 at = QApplication::focusWidget()) {
                reached << at;
                if (const auto* radio = qobject_cast<QRadioButton*>(at)) {
                    for (const QWidget* other : radio->parentWidget()->findChildren<QRadioButton*>())
                        reached << other;
                }
                QTest::keyClick(at, Qt::Key_Tab);
            }
            for (const QWidget* widget : window->findChildren<QWidget*>()) {
                if (isControl(widget) && !reached.contains(widget))
                    missed << where + widget->objectName();
            }
        });
        QVERIFY2(missed.isEmpty(), qPrintable(missed.join('\n')));
    }

    // A screen reader says what a read-out or lamp is and what it shows.
    void readOutsSpeak() {
        const auto said = [this](const char* name) {
            return QAccessible::queryAccessibleInterface(child(name))->text(QAccessible::Name);
        };
        window->ui.encoder_X->setText("-1200");
        window->ui.safetySwitch->setText("ON");
        window->ui.EncoderTestLCD_Y->display(41);
        QCOMPARE(said("encoder_X"), QString("Encoder X -1200"));
        QCOMPARE(said("safetySwitch"), QString("Safety switch ON"));
        QCOMPARE(said("EncoderTestLCD_Y"), QString("Estimated temperature Y 41"));
        QCOMPARE(said("X_HOME"), QString("X home SEARCHING.."));
        QCOMPARE(said("startRecord"), QString("Start recording"));
        QCOMPARE(said("calibrate_button"), QString("CALIBRATE "));
    }

private:
    /// Shows one page after the other, in the window's first size; `visit` gets the name of the page.
    template <class Visit>
    void onEachPage(const Visit& visit) {
        window->manufMode = true;
        for (const char* page : {"tab_2", "tab_3", "tab_4", "tab_5", "tab_6", "tab_7", "tab_8", "tab_9", "tab_10",
                                 "tab_11", "tab_12", "tab_13", "tab_14", "tab_15"})
            window->ui.tabWidget->addTab(child(page), page);
        window->resize(900, 738);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        for (int tab = 0; tab < window->ui.tabWidget->count(); ++tab) {
            window->ui.tabWidget->setCurrentIndex(tab);
            const bool pages = window->ui.tabWidget->currentWidget() == window->ui.tab_15;
            for (int page = 0; page < (pages ? window->ui.stackedWidget->count() : 1); ++page) {
                if (pages)
                    window->ui.stackedWidget->setCurrentIndex(page);
                QCoreApplication::processEvents();
                visit(QString("%1/%2 ").arg(window->ui.tabWidget->tabText(tab)).arg(page));
            }
        }
    }
    /// What a mouse can use now; lamps and the picture of the maker are not to be pressed.
    static bool isControl(const QWidget* widget) {
        const auto* button = qobject_cast<const QAbstractButton*>(widget);
        const QStringList lamps{"stylusButton_1",    "stylusButton_2",      "safetySwitch",       "inkwellSwitch",
                                "amp_status_button", "device_fault_button", "test_result_status", "pushButton_21"};
        if (!widget->isVisible() || !widget->isEnabled()
            || widget->objectName().startsWith("Scroll")  // the tab bar's own
            || lamps.contains(widget->objectName()) || widget->objectName().endsWith("_result"))
            return false;
        const bool slider = qobject_cast<const QAbstractSlider*>(widget) && !qobject_cast<const QScrollBar*>(widget);
        return button || slider || qobject_cast<const QComboBox*>(widget)
               || qobject_cast<const QAbstractSpinBox*>(widget) || qobject_cast<const QAbstractItemView*>(widget)
               || qobject_cast<const QTextBrowser*>(widget) || qobject_cast<const QTabBar*>(widget)
               || (qobject_cast<const QLineEdit*>(widget)
                   && !qobject_cast<const QAbstractSpinBox*>(widget->parentWidget()));
    }
    QStringList cutOff(const QString& where) const {
        QStringList cut;
        for (const QWidget* widget : window->findChildren<QWidget*>()) {
            const bool text = qobject_cast<const QLabel*>(widget) || qobject_cast<const QAbstractButton*>(widget)
                              || qobject_cast<const QComboBox*>(widget);
            if (!text || !widget->isVisible() || widget->objectName().isEmpty()
                || widget->objectName().startsWith("qt_")
                || widget->objectName().startsWith("Scroll"))  // the tab bar's own
                continue;
            const QSize needed = widget->minimumSizeHint();
            const bool small = widget->width() < needed.width() || widget->height() < needed.height();
            const QRect inWindow(widget->mapTo(window.get(), QPoint()), widget->size());
            if (small || !window->rect().contains(inWindow) || widget->visibleRegion().boundingRect() != widget->rect())
                cut << QString("%1%2 %3x%4 of %5x%6")
                           .arg(where, widget->objectName())
                           .arg(widget->width())
                           .arg(widget->height())
                           .arg(needed.width())
                           .arg(needed.height());
        }
        return cut;
    }
};

QTEST_MAIN(TestForm)
#include "tst_form.moc"
