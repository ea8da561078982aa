// Finding, opening and changing devices, with every odd order of both paths.
#include <limits>
#include <stdexcept>

#include "qttharlendraw.h"
#include "servostate.h"
#include "standin.h"
#include "windowtest.h"

using standin::device;
using standin::record;

namespace {

const std::set<std::string> kOpening = {"EnumerateTHARLeNs", "init_tharlen",    "startServoLoop",  "stopServoLoop",
                                        "disable_tharlen",   "createServoLoop", "setServoLoopRate"};
using Names = std::vector<std::string>;

#if defined(__SANITIZE_ADDRESS__)
extern "C" void __lsan_disable();
extern "C" void __lsan_enable();
#else
void __lsan_disable() {}
void __lsan_enable() {}
#endif

/// For a scope in which an exception unwinds through the toolkit, which then loses some bytes of its own.
struct UntrackedLeaks {
    UntrackedLeaks() { __lsan_disable(); }
    ~UntrackedLeaks() { __lsan_enable(); }
};

}  // namespace

class TestSelection : public QObject {
    Q_OBJECT

    std::unique_ptr<qtTharlenTest> window;

    QString information() const { return window->ui.textBrowser->toPlainText(); }
    void choose(int index) { window->ui.m_cmbTHARLeN->setCurrentIndex(index); }

private slots:
    void init() {
        standin::reset();
        resetSharedState();
        device().fleet = {record("Default Device", 5), record("Second", 3, 6)};
    }
    void cleanup() { window.reset(); }

    // The device is opened as the first item comes, before the loop object exists; "Select" tries again.
    void firstDeviceOpensBeforeTheLoopExists() {
        window = std::make_unique<qtTharlenTest>();
        QCOMPARE(device().namesOf(kOpening),
                 (Names{"EnumerateTHARLeNs", "init_tharlen", "startServoLoop", "createServoLoop", "setServoLoopRate"}));
        QCOMPARE(window->csTharlenID.load(), -1);
        QCOMPARE(prevTharlenID, -1);
        QVERIFY(information().contains("Error starting ServoLoop"));
        QCOMPARE(window->m_acsCredentials[1], QString("Default Device"));

        device().calls.clear();
        goToTab(*window, "Select");
        QCOMPARE(device().namesOf(kOpening), (Names{"init_tharlen", "startServoLoop"}));
        QCOMPARE(window->csTharlenID.load(), prevTharlenID);
        QVERIFY(window->csTharlenID >= 0);
        QCOMPARE(information(), QString("Device initialization OK...\nServo Loop started..."));
        QVERIFY(window->selectionTimer->isActive());
        QCOMPARE(window->selectionTimer->interval(), 30);
        QCOMPARE(tabTexts(*window).size(), 8);
    }

    // A library whose loop starts at once is as good: the device is open before the window is shown.
    void aLoopThatStartsAtOnceWorksToo() {
        device().result["startServoLoop"] = 0;
        window = std::make_unique<qtTharlenTest>();
        QVERIFY(window->csTharlenID >= 0);
        QCOMPARE(prevTharlenID, window->csTharlenID.load());
        QCOMPARE(window->tharlenRenderer->cs_DeviceID, window->csTharlenID.load());
        window->onTestModeSelection();  // takes the tabs, and the loop runs
        goToTab(*window, "Select");
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
        QVERIFY(window->csTharlenID != first);
        QCOMPARE(information(), QString("Device initialization OK..."));
        QVERIFY(window->errorMessage.isEmpty());
        QVERIFY(window->isCorvale());
    }

    // An opening that fails leaves no handle on either path, a loop that does not start leaves the new one on the
    // change path alone. The last good handle is closed a second time.
    void failedOpenOnEitherPath() {
        device().result["init_tharlen"] = -7;
        window = std::make_unique<qtTharlenTest>();
        goToTab(*window, "Select");
        const QString problem =
            "Device initialization problem...\nPlease check the Device connections..\n"
            "Also check if your Device Setup is correct";
        QCOMPARE(information(), problem);
        QCOMPARE(tabTexts(*window), (QStringList{"Mode", "Select"}));
        QVERIFY(window->ui.error_browser->toPlainText().endsWith("Selected Device cannot be initialized !"));
        device().result = {{"startServoLoop", -3}};
        QCOMPARE(window->OnSelChangeTHARLeN(), -3);
        QCOMPARE(window->csTharlenID.load(), -1);
        device().result.clear();
        QCOMPARE(window->OnSelChangeTHARLeN(), 0);
        const int good = prevTharlenID;
        device().result["init_tharlen"] = -7;
        QCOMPARE(window->OnSelChangeTHARLeN(), -7);
        QCOMPARE(information(), problem);
        QVERIFY(prevTharlenID == good && window->ui.glDrawWidget1->isHidden());
        device().result = {{"startServoLoop", -3}};
        QCOMPARE(window->OnSelChangeTHARLeN(), -3);
        QCOMPARE(device().of({"disable_tharlen"}).back().values, (std::vector<double>{double(good)}));
        QVERIFY(window->csTharlenID > good && prevTharlenID == good);
        QVERIFY(information().contains("Error starting ServoLoop"));
        device().result.clear();
        QCOMPARE(window->OnSelChangeTHARLeN(), 0);
        QVERIFY(!window->ui.glDrawWidget1->isHidden());
    }

    // A library that opens one device at a time, and a device whose loop did not start: its handle is in nobody's hands
    // and keeps no other one from being opened, nor its amplifiers on.
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
        QVERIFY(window->csTharlenID >= 0);
        QVERIFY(open);
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

    void exceptionPassesOnAtFirstAndEndsInAChange() {
        device().initThrows = "no such port";
        {
            const UntrackedLeaks toolkit;
            QVERIFY_EXCEPTION_THROWN(qtTharlenTest(), std::runtime_error);
        }
        device().initThrows.clear();
        window = openWindow();
        const int good = prevTharlenID;
        device().initThrows = "no such port";
        for (int again = 0; again < 2; ++again) {
            QCOMPARE(window->OnSelChangeTHARLeN(), 0);
            QCOMPARE(window->csTharlenID.load(), -1);
            QCOMPARE(prevTharlenID, good);
            QCOMPARE(tabTexts(*window).size(), 8);
        }
        device().initThrows.clear();
        QCOMPARE(window->OnSelChangeTHARLeN(), 0);
        QVERIFY(window->csTharlenID > good);
    }

    // The text is trimmed and the record's name is not: such a device is skipped, with no message. Without any device
    // there is one.
    void nameWithBlanksIsNeverOpened() {
        device().fleet = {record(" Blank ", 5)};
        window = openWindow();
        QCOMPARE(device().count("init_tharlen"), 0);
        QCOMPARE(window->csTharlenID.load(), -1);
        QCOMPARE(tabTexts(*window).size(), 8);
        window.reset();
        resetSharedState();
        device().fleet.clear();
        window = openWindow();
        QVERIFY(information().contains("Device initialization problem...") && device().count("init_tharlen") == 0);
        QCOMPARE(tabTexts(*window), (QStringList{"Mode", "Select"}));
        window->displayDateTime();
        QVERIFY(window->errorMessage.contains("Communication Error"));
    }

    // A record that cannot be read has no item; from then on item and record differ.
    void unreadableRecordShiftsTheIndices() {
        device().fleet = {record("Broken", 5), record("Second", 3)};
        device().unreadable = {0};
        window = std::make_unique<qtTharlenTest>();
        QCOMPARE(window->ui.m_cmbTHARLeN->count(), 1);
        QCOMPARE(window->ui.m_cmbTHARLeN->currentText(), QString("Second"));
        QCOMPARE(device().count("init_tharlen"), 0);
        QVERIFY(window->isOrda());
    }

    // What is beyond the list is left out and said so, at each look at the list; the name ends at its field.
    void moreThanTheListHolds() {
        CTHARLeNDevice endless = record("", 5);
        std::fill(std::begin(endless.m_szName), std::end(endless.m_szName), 'x');
        device().fleet.assign(20, endless);
        for (const int count : {21, std::numeric_limits<int>::max()}) {
            window.reset();
            resetSharedState();
            device().result["EnumerateTHARLeNs"] = count;
            window = openWindow();
            QCOMPARE(window->ui.m_cmbTHARLeN->count(), 20);
            QCOMPARE(window->ui.error_browser->toPlainText(),
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
        const auto state = [&] {
            QStringList all;
            for (const QByteArray& name : names) {
                const auto* widget = window->findChild<QWidget*>(name);
                all << widget->property("text").toString() + '|' + widget->styleSheet();
            }
            for (const QByteArray& name : boxes)
                all << window->findChild<QTextEdit*>(name)->toPlainText();
            all << QString::number(window->ui.EncoderTestLCD_X->value())
                << QString::number(window->ui.xForceBar->value());
            return all;
        };
        const QStringList form = state();
        const auto use = [&] {
            for (const QByteArray& name : names) {
                window->findChild<QWidget*>(name)->setProperty("text", "7");
                window->findChild<QWidget*>(name)->setStyleSheet("* { background-color: rgb(0,200,0) }");
            }
            for (const QByteArray& name : boxes)
                window->findChild<QTextEdit*>(name)->append("Motors are hot..Please wait until they cool down");
            window->ui.EncoderTestLCD_X->display(41);
            window->ui.xForceBar->setValue(41);
        };
        use();
        window->keepError("an error of the device before");
        choose(1);
        QCOMPARE(state(), form);
        QVERIFY(window->errorMessage.isEmpty() && window->ui.error_browser->toPlainText().isEmpty());
        use();
        goToTab(*window, "Test Forces");  // another visit
        QCOMPARE(window->ui.temp_X->text() + '|' + window->ui.forces_textBox->toPlainText(), "|" + form[16]);
        goToTab(*window, "Mode");
        goToTab(*window, "Select");
        QStringList kept = form;
        kept[15] = "7|* { background-color: rgb(0,200,0) }";
        QCOMPARE(state(), kept);
    }

    void predicates() {
        const std::pair<unsigned long, const char*> types[] = {
            {3, "Corvale"}, {4, "6dof Stelmar"}, {5, "Orda Inkwell"}, {9, "Nolva Stelmar Inkwell"}, {1, "Stelmar"}};
        for (const auto& [type, yes] : types) {
            window.reset();
            resetSharedState();
            device().fleet = {record("A", type), record("B", type, 7, 1), record("C", (7UL << 32) + type, 7, 2)};
            window = openWindow();
            for (int index = 0; index < 3; ++index) {
                choose(index);
                QString found;
                const std::pair<const char*, bool> asked[] = {
                    {"Corvale", window->isCorvale()},    {"6dof", window->is6dof()},
                    {"Orda", window->isOrda()},          {"Nolva", window->isCNolvaDevice()},
                    {"Stelmar", window->isAnyStelmar()}, {"Inkwell", window->hasInkwell()}};
                for (const auto& [name, answer] : asked)
                    found += answer ? QString(" ") + name : QString();
                QCOMPARE(found.trimmed(), QString(yes));
                QCOMPARE(window->isHighForceDevice(), index == 1);
            }
        }
    }

    void identity() {
        const std::tuple<const char*, bool, const char*> models[] = {
            {"THARLEN Orda", false, "Nolva"},
            {"THARLEN Corvale", false, "Nolva X"},
            {"THARLEN orda", false, "THARLEN orda"},
            {"THARLEN Orda", true, "THARLEN Orda (High Force Model)"}};
        for (const auto& [model, highForce, shown] : models) {
            window.reset();
            resetSharedState();
            device().fleet = {record("Arm", 5, 7, highForce ? 1 : 0)};
            device().model = model;
            device().serial = "K-77";
            device().result["get_hardware_rev"] = 6;
            window = openWindow();
            QCOMPARE(window->ui.tharlenModel_lineedit->text(), QString(shown));
            QCOMPARE(window->ui.hardwareSerial_lineedit->text(), QString("K-77"));
            QCOMPARE(window->ui.hardwareSerial_label->text(), QString("K-77"));
            QCOMPARE(window->ui.hardwareRev_label->text(), QString("6"));
            for (const QLabel* label : {window->ui.version_label, window->ui.hardwareSerial_label,
                                        window->ui.hardwareRev_label, window->ui.calibFileStatus})
                QCOMPARE(label->textFormat(), Qt::PlainText);
        }
    }

    void backToModeStopsTheLoopAndSelectReopens() {
        window = openWindow();
        const int first = window->csTharlenID;
        goToTab(*window, "Mode");
        QVERIFY(!device().loopRunning);
        QCOMPARE(window->csTharlenID.load(), first);
        QVERIFY(window->ui.glDrawWidget1->isHidden());
        device().calls.clear();
        goToTab(*window, "Select");
        QCOMPARE(device().namesOf(kOpening),
                 (Names{"stopServoLoop", "disable_tharlen", "init_tharlen", "startServoLoop"}));
    }
};

QTEST_MAIN(TestSelection)
#include "tst_selection.moc"
