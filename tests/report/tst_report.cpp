// The report file, byte for byte against expected files (but for its date), and which items count.
#include <QTemporaryDir>

#include "restyle.h"
#include "standin.h"
#include "windowtest.h"

using standin::device;
using standin::record;

namespace {

void setAll(REPORTDATA& data, bool pass) {
    data.bCalibrationPass = data.bAmplifierPass = data.bBoxPass = pass;
    data.bSwitchPass = data.bExtraSwitchPass = data.bInkwellPass = pass;
    data.bManualSwitchPass = data.bManualExtraSwitchPass = data.bManualInkwellPass = pass;
    const long low[6] = {-2300, -3900, -900, -1900, -800, -1900};
    const long high[6] = {2300, 400, 2700, 1900, 900, 1900};
    const float lowForce[6] = {-4000.0f, -200.5f, -20000.0f, 0, 0, 0};
    const float highForce[6] = {4000.0f, 1.25f, 20000.0f, 0, 0, 0};
    for (int i = 0; i < 6; ++i) {
        data.lMinEncoderVal[i] = low[i];
        data.lMaxEncoderVal[i] = high[i];
        data.fMinForceVal[i] = lowForce[i];
        data.fMaxForceVal[i] = highForce[i];
        data.bEncoderPass[i] = data.bManualEncoderPass[i] = pass;
        data.bForcesPass[i] = data.bManualForcesPass[i] = pass;
    }
}

struct Case {
    const char *name, *model;
    unsigned long type, card;
    int gimbal;
    bool passed;
    bool REPORTFIELDS::*failed;  ///< one item that failed all the same
};

const Case kCases[] = {
    {"orda-passed", "THARLEN Orda", 5, 7, 1, true, nullptr},
    {"orda-untested", "THARLEN Orda", 5, 6, 1, false, nullptr},
    {"orda-calibration-failed", "THARLEN Orda", 5, 7, 0, true, &REPORTFIELDS::bCalibrationPass},
    {"orda-one-choice-failed", "THARLEN Orda", 5, 9, 1, true, nullptr},
    {"corvale-passed", "THARLEN Corvale", 3, 7, 1, true, nullptr},
    {"nolva-passed", "Nolva", 9, 7, 1, true, nullptr},
    {"stelmar-untested", "THARLEN Stelmar 1.5", 2, 1, 0, false, nullptr},
    {"stelmar-box-failed", "THARLEN Stelmar 1.0", 1, 2, 1, true, &REPORTFIELDS::bBoxPass},
    {"sixdof-passed", "THARLEN Stelmar 3.0 6DOF", 4, 3, 1, true, nullptr},
};

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

}  // namespace

class TestReport : public QObject {
    Q_OBJECT

    QTemporaryDir home;
    std::unique_ptr<qtTharlenTest> window;

    QString path() const { return home.filePath("logs/Test_Reports"); }

    void open(const char* model, unsigned long type, unsigned long card, int gimbal) {
        window.reset();
        standin::reset();
        resetSharedState();
        CTHARLeNDevice arm = record("Arm", type, card);
        arm.m_nChannel = 4;
        arm.m_nExtra6DOFOption = 2;
        device().fleet = {arm};
        device().model = model;
        device().result["tharlen_check_for_gimbal"] = gimbal;
        window = openWindow();
        window->ui.lineEdit_name->setText(QString::fromUtf8("Zoë Ω"));
    }
    bool passes() {
        window->createTestReport();
        return window->ui.test_result_status->text() == "PASS";
    }

private slots:
    void init() {
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        QDir(home.path()).mkpath("logs");
    }
    void cleanup() { window.reset(); }

    void reportIsAsExpected() {
        for (const Case& row : kCases) {
            open(row.model, row.type, row.card, row.gimbal);
            setAll(*window->repData, row.passed);
            if (row.failed)
                window->repData->*row.failed = false;
            if (QByteArray(row.name) == "orda-one-choice-failed")
                window->repData->bManualEncoderPass[4] = false;
            QCOMPARE(window->createTestReport(), 1);
            QList<QByteArray> lines = contents(path()).split('\n');
            QVERIFY2(lines.size() > 6, row.name);
            const QString date = QString::fromUtf8(lines[6]).section('\t', -1);
            QVERIFY(QDateTime::fromString(date, "MMMM-dd-yyyy  hh-mm-ss-AP").isValid());
            lines[6].replace(date.toUtf8(), "<date>");
            const QByteArray expected =
                contents(QString("../tests/report/expected/%1.txt").arg(QLatin1String(row.name)));
            QVERIFY2(lines.join('\n') == expected, row.name);
            const bool pass = expected.contains("All tests succeed                                     P");
            QCOMPARE(window->ui.test_result_status->text(), QString(pass ? "PASS" : "FAIL"));
            QCOMPARE(window->ui.test_result_status->styleSheet(), QString(pass ? kPassStyle : kNotYetStyle));
            QCOMPARE(window->ui.summary_text_browser->toPlainText(),
                     "Successfully generated a test report file : " + path());
        }
    }

    // Each item alone decides, where its line is printed.
    void eachCountedItemDecides() {
        const bool REPORTFIELDS::*const counted[] = {
            &REPORTFIELDS::bSwitchPass,       &REPORTFIELDS::bExtraSwitchPass,
            &REPORTFIELDS::bInkwellPass,      &REPORTFIELDS::bManualSwitchPass,
            &REPORTFIELDS::bManualInkwellPass, &REPORTFIELDS::bManualExtraSwitchPass,
            &REPORTFIELDS::bAmplifierPass,    &REPORTFIELDS::bBoxPass};
        open("THARLEN Orda", 5, 7, 1);
        for (const auto item : counted) {
            setAll(*window->repData, true);
            window->repData->*const_cast<bool REPORTFIELDS::*>(item) = false;
            QVERIFY(!passes());
        }
        for (int axis = 0; axis < 6; ++axis) {
            bool (REPORTFIELDS::*const arrays[])[6] = {&REPORTFIELDS::bEncoderPass, &REPORTFIELDS::bManualEncoderPass,
                                                       &REPORTFIELDS::bForcesPass, &REPORTFIELDS::bManualForcesPass};
            for (int which = 0; which < 4; ++which) {
                setAll(*window->repData, true);
                (window->repData->*arrays[which])[axis] = false;
                // Handle motors are printed on six-degree-of-freedom devices alone.
                QCOMPARE(passes(), which >= 2 && axis >= 3);
            }
        }
        for (const auto item : {&REPORTFIELDS::bCalibrationPass, &REPORTFIELDS::bPresencePass,
                                &REPORTFIELDS::bManualPinchPass}) {
            setAll(*window->repData, true);
            window->repData->*item = false;
            QVERIFY(passes());
        }
    }

    void failedOpenChangesNothing() {
        open("THARLEN Orda", 5, 7, 1);
        setAll(*window->repData, true);
        QVERIFY(passes());
        const QByteArray earlier = contents(path());
        setAll(*window->repData, false);
        for (const QByteArray& bad : {QByteArray("/nowhere"), QByteArray()}) {
            bad.isEmpty() ? qunsetenv("KNDD_HOME") : qputenv("KNDD_HOME", bad);
            QCOMPARE(window->createTestReport(), 0);
            QCOMPARE(window->ui.test_result_status->text(), QString("PASS"));
        }
        QCOMPARE(contents(path()), earlier);
    }

    void serialAndLongNames() {
        open("THARLEN Orda", 5, 7, 1);
        device().serial = "Unavailable";
        window->ui.hardwareSerial_lineedit->setText("typed");
        window->ui.lineEdit_name->setText(QString(10000, 'x') + "\t%s%n");
        QCOMPARE(window->createTestReport(), 1);
        QVERIFY(contents(path()).contains("\tSerial Number:\t\t\t\t\ttyped\n"));
        QVERIFY(contents(path()).contains(QByteArray(10000, 'x') + "\t%s%n\n"));
    }

    // Entering "Summary" writes it; coming again writes it over.
    void summaryTabWritesTheReport() {
        open("THARLEN Orda", 5, 7, 1);
        QFile::remove(path());
        window->ui.tabWidget->addTab(window->ui.tab_12, "Summary");
        goToTab(*window, "Summary");
        QVERIFY(contents(path()).contains("  * F *"));
        window->ui.tabWidget->setTabEnabled(1, true);
        goToTab(*window, "Select");
        setAll(*window->repData, true);
        goToTab(*window, "Summary");
        QVERIFY(!contents(path()).contains("  * F *"));
    }
};

QTEST_MAIN(TestReport)
#include "tst_report.moc"
