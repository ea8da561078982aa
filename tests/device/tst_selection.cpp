// Finding, opening and changing devices, with every odd order of both paths.
#include <limits>

#include "qttharlendraw.h"
#include "standinwindow.h"

namespace {

const std::set<std::string> kOpening = {"EnumerateTHARLeNs", "init_tharlen",    "startServoLoop",  "stopServoLoop",
                                        "disable_tharlen",   "createServoLoop", "setServoLoopRate"};
using Names = std::vector<std::string>;

}  // namespace

class TestSelection : public StandinWindow {
    Q_OBJECT

    QString information() const { return ui().textBrowser->toPlainText(); }
    void choose(int index) { ui().m_cmbTHARLeN->setCurrentIndex(index); }

private slots:
    void init() { fresh({record("Default Device", 5), record("Second", 3, 6)}); }

    // The device is opened as the first item comes, before the loop object exists; "Select" tries again.
    void firstDeviceOpensBeforeTheLoopExists() {
        window = std::make_unique<qtTharlenTest>();
        QCOMPARE(device().namesOf(kOpening),
                 (Names{"EnumerateTHARLeNs", "init_tharlen", "startServoLoop", "createServoLoop", "setServoLoopRate"}));
        QVERIFY(window->csTharlenID == -1 && prevTharlenID == -1);
        QVERIFY(information().contains("Error starting ServoLoop"));
        QCOMPARE(window->m_acsCredentials[1], QString("Default Device"));
        device().calls.clear();
        go("Select");
        QCOMPARE(device().namesOf(kOpening), (Names{"init_tharlen", "startServoLoop"}));
        QVERIFY(window->csTharlenID == prevTharlenID && prevTharlenID >= 0);
        QCOMPARE(information(), QString("Device initialization OK...\nServo Loop started..."));
        QVERIFY(window->selectionTimer->isActive() && window->selectionTimer->interval() == 30);
        QCOMPARE(tabTexts(*window).size(), 8);
    }

    // A library whose loop starts at once is as good: the device is open before the window is shown.
    void aLoopThatStartsAtOnceWorksToo() {
        device().result["startServoLoop"] = 0;
        window = std::make_unique<qtTharlenTest>();
        const int id = window->csTharlenID;
        QVERIFY(id >= 0 && prevTharlenID == id && window->tharlenRenderer->cs_DeviceID == id);
        window->onTestModeSelection();  // takes the tabs, and the loop runs
        go("Select");
        QCOMPARE(device().count("init_tharlen"), 1);
        QVERIFY(!window->selectionTimer->isActive());
        QCOMPARE(tabTexts(*window).size(), 8);
    }

    void changeClosesThePreviousDeviceFirst() {
        window = openWindow();
        const int first = window->csTharlenID;
        window->accumulateErrors(-4);
        device().calls.clear();
        choose(1);
        QCOMPARE(device().namesOf(kOpening),
                 (Names{"stopServoLoop", "disable_tharlen", "init_tharlen", "startServoLoop"}));
        QCOMPARE(device().of({"disable_tharlen"})[0].values, (std::vector<double>{double(first)}));
        QCOMPARE(device().of({"init_tharlen"})[0].text, std::string("Second"));
        QCOMPARE(information(), QString("Device initialization OK..."));
        QVERIFY(window->csTharlenID != first && window->errorMessage.isEmpty() && window->isCorvale());
        // The loop stops with the way back to "Mode", and the device is opened anew.
        const int second = window->csTharlenID;
        go("Mode");
        QVERIFY(!device().loopRunning && window->csTharlenID == second && ui().glDrawWidget1->isHidden());
        device().calls.clear();
        go("Select");
        QCOMPARE(device().namesOf(kOpening),
                 (Names{"stopServoLoop", "disable_tharlen", "init_tharlen", "startServoLoop"}));
    }

    // An opening that fails leaves no handle on either path, a loop that does not start leaves the new one on the
    // change path alone. The last good handle is closed a second time.
    void failedOpenOnEitherPath() {
        device().result["init_tharlen"] = -7;
        window = std::make_unique<qtTharlenTest>();
        go("Select");
        const QString problem = "Device initialization problem...\nPlease check the Device connections..";
        QVERIFY(information().startsWith(problem));
        QVERIFY(tabTexts(*window) == (QStringList{"Mode", "Select"}) && ui().next_button->isEnabled());
        QVERIFY(ui().error_browser->toPlainText().endsWith("Selected Device cannot be initialized !"));
        device().result = {{"startServoLoop", -3}};
        QCOMPARE(window->OnSelChangeTHARLeN(), -3);
        QCOMPARE(window->csTharlenID.load(), -1);
        device().result.clear();
        QCOMPARE(window->OnSelChangeTHARLeN(), 0);
        const int good = prevTharlenID;
        device().result["init_tharlen"] = -7;
        QCOMPARE(window->OnSelChangeTHARLeN(), -7);
        QVERIFY(information().startsWith(problem));
        QVERIFY(prevTharlenID == good && ui().glDrawWidget1->isHidden());
        device().result = {{"startServoLoop", -3}};
        QCOMPARE(window->OnSelChangeTHARLeN(), -3);
        QCOMPARE(device().of({"disable_tharlen"}).back().values, (std::vector<double>{double(good)}));
        QVERIFY(window->csTharlenID > good && prevTharlenID == good);
        QVERIFY(information().contains("Error starting ServoLoop"));
        // An exception ends in the change of device.
        device().result.clear();
        device().initThrows = "no such port";
        for (int again = 0; again < 2; ++again) {
            QCOMPARE(window->OnSelChangeTHARLeN(), 0);
            QVERIFY(window->csTharlenID == -1 && prevTharlenID == good && tabTexts(*window).size() == 8);
        }
        device().initThrows.clear();
        QCOMPARE(window->OnSelChangeTHARLeN(), 0);
        QVERIFY(window->csTharlenID > good && !ui().glDrawWidget1->isHidden());
    }

    // The handle of a device whose loop did not start keeps no other one from being opened, nor its amplifiers on.
    void oneOpeningAtATime() {
        bool open = false;
        device().onCall = [&open](const standin::Call& call) {
            if (call.name == "init_tharlen") {
                device().result.erase("init_tharlen");
                if (open)
                    device().result["init_tharlen"] = -9;
                open = true;
            }
            open = open && call.name != "disable_tharlen";
        };
        window = openWindow();  // the loop exists only at the second opening
        QVERIFY(window->csTharlenID >= 0 && open);
        device().result["startServoLoop"] = -3;
        QCOMPARE(window->OnSelChangeTHARLeN(), -3);
        const int unstarted = window->csTharlenID;
        device().result.erase("startServoLoop");
        device().initThrows = "no such port";
        device().calls.clear();
        QCOMPARE(window->OnSelChangeTHARLeN(), 0);
        QCOMPARE(device().of({"disable_tharlen"}).back().values, (std::vector<double>{double(unstarted)}));
        device().initThrows.clear();
        open = false;
        QCOMPARE(window->OnSelChangeTHARLeN(), 0);
        QVERIFY(window->csTharlenID > unstarted);
        device().onCall = nullptr;
    }

    // The text is trimmed and the record's name is not: such a device is skipped, with no message. Without any device
    // there is one.
    void nameWithBlanksIsNeverOpened() {
        openFleet({record(" Blank ", 5)});
        QVERIFY(information().isEmpty() && device().count("init_tharlen") == 0 && window->csTharlenID == -1);
        QCOMPARE(tabTexts(*window).size(), 8);
        openFleet({});
        QVERIFY(information().contains("Device initialization problem...") && device().count("init_tharlen") == 0);
    }

    // A record that cannot be read has no item; from then on item and record differ.
    void unreadableRecordShiftsTheIndices() {
        device().fleet = {record("Broken", 5), record("Second", 3)};
        device().unreadable = {0};
        window = std::make_unique<qtTharlenTest>();
        QVERIFY(ui().m_cmbTHARLeN->count() == 1 && ui().m_cmbTHARLeN->currentText() == "Second");
        QVERIFY(device().count("init_tharlen") == 0 && window->isOrda());
    }

    // What is beyond the list is left out and said so, at each look at the list; the name ends at its field.
    void moreThanTheListHolds() {
        CTHARLeNDevice endless = record("", 5);
        std::fill(std::begin(endless.m_szName), std::end(endless.m_szName), 'x');
        for (const int count : {21, std::numeric_limits<int>::max()}) {
            openFleet(std::vector<CTHARLeNDevice>(20, endless),
                      [count] { device().result["EnumerateTHARLeNs"] = count; });
            QCOMPARE(ui().m_cmbTHARLeN->count(), 20);
            QCOMPARE(ui().error_browser->toPlainText(),
                     QString("%1 devices are configured. The list holds 20; the others are left out.").arg(count));
            QCOMPARE(device().of({"init_tharlen"}).back().text, std::string(128, 'x'));
        }
    }

    // Of a test tab's read-outs nothing outlives its device; within one only the fault lamp does.
    void readOutsGoWithTheirDevice() {
        window = openWindow();
        const QByteArrayList names{
            "encoder_X", "gimbal_Z",  "position_Y",         "pinch_value",        "stylusButton_1", "temp_X",
            "force_gx",  "x_voltage", "x_friction_result",  "y_capstan_result",   "z_capstan_volt", "boxTest_status",
            "x_force",   "label_65",  "test_result_status", "device_fault_button"};
        const QByteArrayList boxes{"forces_textBox", "cycleAmps_textBox", "friction_textBox", "summary_text_browser"};
        const QString used = "* { background-color: rgb(0,200,0) }";
        const auto state = [&] {
            QStringList all;
            for (const QByteArray& name : names) {
                const auto* widget = window->findChild<QWidget*>(name);
                all << widget->property("text").toString() + '|' + widget->styleSheet();
            }
            for (const QByteArray& name : boxes)
                all << window->findChild<QTextEdit*>(name)->toPlainText();
            return all << QString::number(ui().EncoderTestLCD_X->value() + ui().xForceBar->value());
        };
        const auto use = [&] {
            for (const QByteArray& name : names) {
                window->findChild<QWidget*>(name)->setProperty("text", "7");
                window->findChild<QWidget*>(name)->setStyleSheet(used);
            }
            for (const QByteArray& name : boxes)
                window->findChild<QTextEdit*>(name)->append("Motors are hot..Please wait until they cool down");
            ui().EncoderTestLCD_X->display(41);
            ui().xForceBar->setValue(41);
        };
        const QStringList form = state();
        use();
        window->keepError("an error of the device before");
        choose(1);
        QCOMPARE(state(), form);
        QVERIFY(window->errorMessage.isEmpty() && ui().error_browser->toPlainText().isEmpty());
        use();
        goToTab(*window, "Test Forces");  // another visit
        QCOMPARE(ui().temp_X->text() + '|' + ui().forces_textBox->toPlainText(), "|" + form[16]);
        go("Mode", "Select");
        QStringList kept = form;
        kept[15] = "7|" + used;
        QCOMPARE(state(), kept);
    }

    void identity() {
        const std::tuple<const char*, unsigned long, const char*> models[] = {
            {"THARLEN Orda", 0, "Nolva"},
            {"THARLEN Corvale", 0, "Nolva X"},
            {"THARLEN orda", 2, "THARLEN orda"},
            {"THARLEN Orda", 1, "THARLEN Orda (High Force Model)"}};
        for (const auto& [model, highForce, shown] : models) {
            openFleet({record("Arm", (7UL << 32) + 5, 7, highForce)}, [model = model] {
                device().model = model;
                device().serial = "<b>";
                device().result["get_hardware_rev"] = 6;
            });
            QCOMPARE(ui().tharlenModel_lineedit->text(), QString(shown));
            QCOMPARE(ui().hardwareSerial_lineedit->text() + ui().hardwareSerial_label->text(), QString("<b><b>"));
            QCOMPARE(ui().hardwareRev_label->text() + ui().version_label->text(), QString("6stand-in 1.0"));
            QVERIFY(window->isOrda());  // of a model type the lower half counts
            for (const QLabel* label :
                 {ui().version_label, ui().hardwareSerial_label, ui().hardwareRev_label, ui().calibFileStatus})
                QCOMPARE(label->textFormat(), Qt::PlainText);
        }
    }
};

QTEST_MAIN(TestSelection)
#include "tst_selection.moc"
