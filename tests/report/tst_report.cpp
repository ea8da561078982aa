// The report file, byte for byte against expected files (but for its date), and which items count.
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QTemporaryDir>
#include <csignal>
#include <cstring>
#include <functional>
#include <new>

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

    QTemporaryDir home, full;
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

    // Each item failed alone, against the file of a device that passed: its own line, its section's and the last
    // one turn. Lines are counted from 1; those of an item that is not printed or does not count are left out.
    void eachItemAlone() {
        struct Item {
            const char* file;
            std::function<void(REPORTDATA&)> fail;
            std::vector<int> lines;
        };
        std::vector<Item> items;
        const auto add = [&items](const char* file, auto member, std::vector<int> lines) {
            items.push_back({file, [member](REPORTDATA& data) { data.*member = false; }, std::move(lines)});
        };
        const auto addAxis = [&items](const char* file, auto member, int axis, std::vector<int> lines) {
            items.push_back({file, [=](REPORTDATA& data) { (data.*member)[axis] = false; }, std::move(lines)});
        };
        for (int axis = 0; axis < 6; ++axis) {
            const int gap = axis < 3 ? 0 : 1;  // the heading of the gimbal's axes
            addAxis("orda-passed", &REPORTFIELDS::bEncoderPass, axis, {20 + axis + gap, 36, 71});
            addAxis("orda-passed", &REPORTFIELDS::bManualEncoderPass, axis, {29 + axis + gap, 36, 71});
            addAxis("sixdof-passed", &REPORTFIELDS::bEncoderPass, axis, {});
            addAxis("sixdof-passed", &REPORTFIELDS::bManualForcesPass, axis, {40 + axis, 46, 52});
        }
        for (int axis = 0; axis < 3; ++axis) {
            addAxis("orda-passed", &REPORTFIELDS::bForcesPass, axis, {56 + axis, 71});
            addAxis("orda-passed", &REPORTFIELDS::bManualForcesPass, axis, {62 + axis, 65, 71});
            addAxis("orda-passed", &REPORTFIELDS::bForcesPass, axis + 3, {});
            addAxis("orda-passed", &REPORTFIELDS::bManualForcesPass, axis + 3, {});
            addAxis("orda-passed", &REPORTFIELDS::bFrictionPass, axis, {});
            addAxis("orda-passed", &REPORTFIELDS::bCapstanPass, axis, {});
        }
        add("orda-passed", &REPORTFIELDS::bSwitchPass, {40, 71});
        add("orda-passed", &REPORTFIELDS::bExtraSwitchPass, {41, 71});
        add("orda-passed", &REPORTFIELDS::bInkwellPass, {42, 71});
        add("orda-passed", &REPORTFIELDS::bManualSwitchPass, {45, 48, 71});
        add("orda-passed", &REPORTFIELDS::bManualExtraSwitchPass, {46, 48, 71});
        add("orda-passed", &REPORTFIELDS::bManualInkwellPass, {47, 48, 71});
        add("orda-passed", &REPORTFIELDS::bAmplifierPass, {51, 71});
        add("orda-passed", &REPORTFIELDS::bBoxPass, {68, 71});
        add("orda-passed", &REPORTFIELDS::bCalibrationPass, {15});
        add("orda-passed", &REPORTFIELDS::bPresencePass, {});
        add("orda-passed", &REPORTFIELDS::bManualPinchPass, {});
        add("sixdof-passed", &REPORTFIELDS::bBoxPass, {49});
        add("sixdof-passed", &REPORTFIELDS::bAmplifierPass, {35, 52});

        for (const Case& row : kCases) {
            if (!QByteArray(row.name).endsWith("-passed"))
                continue;
            open(row.model, row.type, row.card, row.gimbal);
            for (const Item& item : items) {
                if (QByteArray(item.file) != row.name)
                    continue;
                setAll(*window->repData, true);
                item.fail(*window->repData);
                QCOMPARE(window->createTestReport(), 1);
                QList<QByteArray> expected =
                    contents(QString("../tests/report/expected/%1.txt").arg(QLatin1String(row.name))).split('\n');
                for (const int line : item.lines)
                    expected[line - 1].replace(QByteArray("    P"), QByteArray("  * F *"));
                QList<QByteArray> lines = contents(path()).split('\n');
                expected[6] = lines[6];
                QCOMPARE(lines, expected);
            }
        }
    }

    // The page and the earlier report stay, and the error browser says why.
    void failedWriteChangesNothing_data() {
        QTest::addColumn<QByteArray>("folder");
        QTest::addColumn<int>("room");  // bytes, -1 for no limit
        QTest::addColumn<QString>("reason");
        QDir(full.path()).mkpath("logs");
        QFile::link("/dev/full", full.filePath("logs/Test_Reports"));
        QTest::newRow("no folder") << QByteArray("/nowhere") << -1 << "No such file or directory";
        QTest::newRow("unset") << QByteArray() << -1 << "No such file or directory";
        QTest::newRow("disk full") << home.path().toLocal8Bit() << 1000 << "File too large";
        QTest::newRow("full device") << full.path().toLocal8Bit() << -1 << "No space left on device";
    }
    void failedWriteChangesNothing() {
        QFETCH(QByteArray, folder);
        QFETCH(int, room);
        QFETCH(QString, reason);
        open("THARLEN Orda", 5, 7, 1);
        setAll(*window->repData, true);
        QVERIFY(passes());
        const QByteArray earlier = contents(path());
        setAll(*window->repData, false);
        window->ui.summary_text_browser->setText("as it was");
        folder.isNull() ? qunsetenv("KNDD_HOME") : qputenv("KNDD_HOME", folder);
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        rlimit less = limit;
        if (room >= 0)
            less.rlim_cur = static_cast<rlim_t>(room);
        std::signal(SIGXFSZ, SIG_IGN);
        setrlimit(RLIMIT_FSIZE, &less);
        const int result = window->createTestReport();
        setrlimit(RLIMIT_FSIZE, &limit);
        QCOMPARE(result, 0);
        QCOMPARE(window->ui.test_result_status->text(), QString("PASS"));
        QCOMPARE(window->ui.summary_text_browser->toPlainText(), QString("as it was"));
        const QString line = window->ui.error_browser->toPlainText();
        QVERIFY2(line.endsWith(window->testReportFile->fileName() + ": " + reason), qPrintable(line));
        QCOMPARE(contents(path()), earlier);
        QCOMPARE(QDir(home.filePath("logs")).entryList(QDir::Files), QStringList{"Test_Reports"});
        if (reason.startsWith("No space"))
            QVERIFY(QFileInfo(window->testReportFile->fileName()).isSymLink() && !QFileInfo("/dev/full").isFile());
    }

    // Where the report may be written to and its folder not, it takes the place of the earlier one all the same, and
    // never half of it.
    void aShutFolder() {
        open("THARLEN Orda", 5, 7, 1);
        QVERIFY(window->createTestReport() == 1);
        const QByteArray earlier = contents(path());
        setAll(*window->repData, true);
        const QByteArray root = QFile::encodeName(home.path()), logs = root + "/logs";
        QVERIFY(chmod(root, 0755) == 0 && chmod(logs, 0555) == 0 && chmod(QFile::encodeName(path()), 0666) == 0);
        const uid_t user = geteuid();
        const bool superuser = user == 0;
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        rlimit less = limit;
        less.rlim_cur = 1000;
        std::signal(SIGXFSZ, SIG_IGN);
        const int became = superuser ? seteuid(65534) : 0;
        setrlimit(RLIMIT_FSIZE, &less);
        const int failed = window->createTestReport();
        const QByteArray kept = contents(path());
        setrlimit(RLIMIT_FSIZE, &limit);
        const int passed = window->createTestReport();
        const QByteArray written = contents(path());
        if (superuser)
            QCOMPARE(seteuid(user), 0);
        chmod(logs, 0755);
        QCOMPARE(became, 0);
        QVERIFY(failed == 0 && kept == earlier);
        QVERIFY(passed == 1 && written.contains("TEST REPORT") && written.endsWith("below\n") && written != earlier);
    }

    void linksAreFollowed() {
        open("THARLEN Orda", 5, 7, 1);
        QFile::remove(path());
        QVERIFY(QFile::link(home.filePath("a"), path()) && QFile::link(home.filePath("b"), home.filePath("a")));
        for (int again = 0; again < 2; ++again) {
            QCOMPARE(window->createTestReport(), 1);
            QVERIFY(QFileInfo(path()).isSymLink() && contents(path()).contains("TEST REPORT"));
        }
        QFile::remove(path());
    }

    // Whatever a device or a clipboard holds is one line.
    void valuesAreOneLine() {
        open("THARLEN Orda", 5, 7, 1);
        QCOMPARE(window->createTestReport(), 1);
        const int lines = contents(path()).count('\n');
        const QString ends = QString::fromUtf8("<b>\n\r\v\f\x1b\xc2\x85\xe2\x80\xa8\xe2\x80\xa9.");
        device().serial = device().model = "<b>\n\r\v\f\x1b\x85.";
        window->ui.m_cmbTHARLeN->setItemText(0, ends);
        window->ui.lineEdit_name->clear();
        window->ui.lineEdit_name->insert(ends);
        QCOMPARE(window->createTestReport(), 1);
        const QString report = QString::fromUtf8(contents(path()));
        QCOMPARE(report.count('\n'), lines);
        QCOMPARE(report.count("\t<b>      .\n"), 2);
        QCOMPARE(report.count("\t<b>        .\n"), 2);
    }

    void noRecordIsSelected() {
        open("", 5, 7, 0);
        window.reset();
        device().fleet.clear();
        window = openWindow();
        QCOMPARE(window->createTestReport(), 1);
        QVERIFY(contents(path()).contains("Interface:\t\t\t\t\tUnknown\n"));
    }

    void partsAfterTheEqualsSign() {
        open("", 5, 7, 0);
        for (const auto& [text, real, whole] : {std::tuple<const char*, float, int>{"a=1.5", 1.5f, 0},
                                                {"=7", 7.0f, 7},
                                                {"a=-2=9", -2.0f, -2},
                                                {"a=0x10", 0.0f, 0},
                                                {"a", 0.0f, 0}}) {
            QCOMPARE(window->splitNreturnFloat(text), real);
            QCOMPARE(window->splitNreturnInt(text), whole);
        }
    }

    void recordLeavesZero() {
        alignas(REPORTDATA) unsigned char memory[sizeof(REPORTDATA)];
        std::memset(memory, 0xff, sizeof memory);
        auto* data = new (memory) REPORTDATA;
        setAll(*data, true);
        data->~_REPORTDATA();
        QCOMPARE(std::count(memory, memory + sizeof memory, 0), long(sizeof memory));
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
