// The report file, byte for byte against expected files (but for its date), and which items count.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QRadioButton>
#include <QTemporaryDir>
#include <QTextCodec>
#include <csignal>
#include <cstddef>

#include "qttharlenhapticrenderer.h"
#include "restyle.h"
#include "standinwindow.h"

namespace {

/// One verdict of the record, or one an axis.
struct Field {
    std::size_t offset, count;
};
#define FIELD(name) \
    { offsetof(REPORTFIELDS, name), sizeof(REPORTFIELDS::name) }

struct Case {
    const char *name, *model;
    unsigned long type, card;
    int gimbal;
    bool passed;
    Field failed{};  ///< one item that failed all the same
    int axis = 0;
};

const Case kCases[] = {
    {"orda-passed", "THARLEN Orda", 5, 7, 1, true},
    {"orda-untested", "THARLEN Orda", 5, 6, 1, false},
    {"orda-calibration-failed", "THARLEN Orda", 5, 7, 0, true, FIELD(bCalibrationPass)},
    {"orda-one-choice-failed", "THARLEN Orda", 5, 9, 1, true, FIELD(bManualEncoderPass), 4},
    {"corvale-passed", "THARLEN Corvale", 3, 7, 1, true},
    {"nolva-passed", "Nolva", 9, 7, 1, true},
    {"stelmar-untested", "THARLEN Stelmar 1.5", 2, 1, 0, false},
    {"stelmar-box-failed", "THARLEN Stelmar 1.0", 1, 2, 1, true, FIELD(bBoxPass)},
    {"sixdof-passed", "THARLEN Stelmar 3.0 6DOF", 4, 3, 1, true},
};

const Case* const kOrda = &kCases[0];
const Case* const kSixDof = &kCases[8];

/// An item failed alone, against the file of a device that passed: its own line, its section's and the last one turn.
/// Lines are counted from 1.
struct Item {
    const Case* of;
    Field field;
    int lines[2];  ///< of the first axis and of the fourth; 0 where they are not printed
    std::vector<int> also;
};

const Item kItems[] = {
    {kOrda, FIELD(bEncoderPass), {20, 24}, {36, 71}},
    {kOrda, FIELD(bManualEncoderPass), {29, 33}, {36, 71}},
    {kOrda, FIELD(bForcesPass), {56}, {71}},
    {kOrda, FIELD(bManualForcesPass), {62}, {65, 71}},
    {kOrda, FIELD(bSwitchPass), {40}, {71}},
    {kOrda, FIELD(bExtraSwitchPass), {41}, {71}},
    {kOrda, FIELD(bInkwellPass), {42}, {71}},
    {kOrda, FIELD(bManualSwitchPass), {45}, {48, 71}},
    {kOrda, FIELD(bManualExtraSwitchPass), {46}, {48, 71}},
    {kOrda, FIELD(bManualInkwellPass), {47}, {48, 71}},
    {kOrda, FIELD(bAmplifierPass), {51}, {71}},
    {kOrda, FIELD(bBoxPass), {68}, {71}},
    {kOrda, FIELD(bCalibrationPass), {15}, {}},
    {kOrda, FIELD(bFrictionPass), {}, {}},
    {kOrda, FIELD(bCapstanPass), {}, {}},
    {kOrda, FIELD(bPresencePass), {}, {}},
    {kOrda, FIELD(bManualPresencePass), {}, {}},
    {kOrda, FIELD(bManualPinchPass), {}, {}},
    {kSixDof, FIELD(bEncoderPass), {}, {}},
    {kSixDof, FIELD(bManualForcesPass), {40, 43}, {46, 52}},
    {kSixDof, FIELD(bBoxPass), {49}, {}},
    {kSixDof, FIELD(bAmplifierPass), {35}, {52}},
};

bool* verdicts(REPORTDATA& data, const Field& field) {
    return reinterpret_cast<bool*>(static_cast<REPORTFIELDS*>(&data)) + field.offset;
}

void setAll(REPORTDATA& data, bool pass) {
    const long low[6] = {-2300, -3900, -900, -1900, -800, -1900};
    const long high[6] = {2300, 400, 2700, 1900, 900, 1900};
    const float lowForce[6] = {-4000.0f, -200.5f, -20000.0f, 0, 0, 0};
    const float highForce[6] = {4000.0f, 1.25f, 20000.0f, 0, 0, 0};
    std::copy_n(low, 6, data.lMinEncoderVal);
    std::copy_n(high, 6, data.lMaxEncoderVal);
    std::copy_n(lowForce, 6, data.fMinForceVal);
    std::copy_n(highForce, 6, data.fMaxForceVal);
    for (const Item& item : kItems)
        std::fill_n(verdicts(data, item.field), item.field.count, pass);
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

QList<QByteArray> expected(const char* name) {
    return contents(QString("../tests/report/expected/%1.txt").arg(name)).split('\n');
}

}  // namespace

class TestReport : public StandinWindow {
    Q_OBJECT

    QTemporaryDir home, full;

    QString path() const { return home.filePath("logs/Test_Reports"); }
    QByteArray logs() const { return QFile::encodeName(home.filePath("logs")); }

    void open(const Case& row = kCases[0]) {
        CTHARLeNDevice arm = record("Arm", row.type, row.card);
        arm.m_nChannel = 4;
        arm.m_nExtra6DOFOption = 2;
        openFleet({arm}, [&row] {
            device().model = row.model;
            device().result["tharlen_check_for_gimbal"] = row.gimbal;
        });
        ui().lineEdit_name->setText(QString::fromUtf8("Zoë Ω"));
        setAll(*window->repData, row.passed);
    }
    /// The lines of a report just made, "<date>" for a date as it has to be.
    QList<QByteArray> report() {
        if (window->createTestReport() != 1)
            return {};
        QList<QByteArray> lines = contents(path()).split('\n');
        const QByteArray date = lines.value(6).split('\t').last();
        if (QDateTime::fromString(date, "MMMM-dd-yyyy  hh-mm-ss-AP").isValid())
            lines[6].replace(date, "<date>");
        return lines;
    }
    /// By someone whom a shut folder stops, with room for so many bytes in a file.
    int createWith(rlim_t room) {
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit less{qMin(room, limit.rlim_cur), limit.rlim_max};
        const uid_t user = geteuid();
        const int became = user == 0 ? seteuid(65534) : 0;
        setrlimit(RLIMIT_FSIZE, &less);
        const int result = window->createTestReport();
        setrlimit(RLIMIT_FSIZE, &limit);
        return became == 0 && seteuid(user) == 0 ? result : -1;
    }

private slots:
    void initTestCase() {
        // As in a locale that cannot write the operator's name.
        QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1"));
        std::signal(SIGXFSZ, SIG_IGN);
        QDir(home.path()).mkpath("logs");
        QDir(full.path()).mkpath("logs");
        chmod(QFile::encodeName(full.path()), 0755);
        QFile::link("/dev/full", full.filePath("logs/Test_Reports"));
    }
    void init() {
        qputenv("KNDD_HOME", QFile::encodeName(home.path()));
        chmod(QFile::encodeName(home.path()), 0755);
        chmod(logs(), 0777);
        QFile::remove(path());
    }

    void reportIsAsExpected() {
        for (const Case& row : kCases) {
            open(row);
            if (row.failed.count)
                verdicts(*window->repData, row.failed)[row.axis] = false;
            QVERIFY2(report() == expected(row.name), row.name);
            const bool pass =
                expected(row.name).contains("    Â· All tests succeed                                     P");
            QCOMPARE(looks(ui().test_result_status),
                     QString(pass ? "PASS" : "FAIL") + (pass ? kPassStyle : kNotYetStyle));
            QCOMPARE(ui().summary_text_browser->toPlainText(), "Successfully generated a test report file : " + path());
        }
    }

    void eachItemAlone() {
        for (const Item& item : kItems) {
            open(*item.of);
            for (std::size_t axis = 0; axis < item.field.count; ++axis) {
                setAll(*window->repData, true);
                verdicts(*window->repData, item.field)[axis] = false;
                QList<QByteArray> lines = expected(item.of->name);
                const auto turn = [&lines](int line) { lines[line - 1].replace("    P", "  * F *"); };
                if (const int first = item.lines[axis / 3]) {
                    turn(first + static_cast<int>(axis % 3));
                    std::for_each(item.also.begin(), item.also.end(), turn);
                }
                QCOMPARE(report(), lines);
            }
        }
    }

    // The page and the earlier report stay, and the error browser says why.
    void failedWriteChangesNothing() {
        const std::tuple<QString, mode_t, rlim_t, const char*> rows[] = {
            {"/nowhere", 0777, RLIM_INFINITY, "No such file or directory"},
            {home.path(), 0777, 1000, "File too large"},
            {home.path(), 0555, 1000, "File too large"},
            {full.path(), 0777, RLIM_INFINITY, "No space left on device"}};
        for (const auto& [folder, mode, room, reason] : rows) {
            init();
            open();
            // Longer than what follows, whose room is there thus: it is the writing that fails, halfway.
            ui().lineEdit_name->setText(QString(500, 'x'));
            QCOMPARE(window->createTestReport(), 1);
            const QByteArray earlier = contents(path());
            ui().lineEdit_name->clear();
            setAll(*window->repData, false);
            ui().summary_text_browser->setText("as it was");
            qputenv("KNDD_HOME", QFile::encodeName(folder));
            QVERIFY(chmod(logs(), mode) == 0 && chmod(QFile::encodeName(path()), 0666) == 0);
            QCOMPARE(createWith(room), 0);
            QCOMPARE(ui().test_result_status->text(), QString("PASS"));
            QCOMPARE(ui().summary_text_browser->toPlainText(), QString("as it was"));
            const QString line = ui().error_browser->toPlainText();
            QVERIFY2(line.endsWith(window->testReportFile->fileName() + ": " + reason), qPrintable(line));
            QCOMPARE(contents(path()), earlier);
            QCOMPARE(QDir(home.filePath("logs")).entryList(QDir::Files), QStringList{"Test_Reports"});
        }
    }

    // At the end of links; where the report may be written to and its folder takes no file, or none in the place of
    // another's. What is no file stays itself.
    void replacesTheEarlier() {
        open();
        const QString link = home.filePath("link"), end = home.filePath("end");
        ui().lineEdit_name->setText(QString(500, 'x'));
        QVERIFY(window->createTestReport() == 1 && QFile::rename(path(), end));
        QVERIFY(QFile::link(end, link) && QFile::link(link, path()) && chmod(QFile::encodeName(end), 0666) == 0);
        qint64 size = QFileInfo(end).size();
        for (const mode_t mode : {01777, 0555, 0777}) {
            ui().lineEdit_name->setText(ui().lineEdit_name->text().mid(100));
            chmod(QFile::encodeName(home.path()), mode);
            QCOMPARE(createWith(RLIM_INFINITY), 1);
            QVERIFY(QFileInfo(path()).isSymLink() && QFileInfo(link).isSymLink());
            QCOMPARE(QFileInfo(end).size(), size -= 100);
            QVERIFY(contents(end).contains("TEST REPORT") && contents(end).endsWith("below\n"));
        }
        QVERIFY(QFile::remove(path()) && mkfifo(QFile::encodeName(path()), 0666) == 0);
        QFile pipe(path());
        pipe.open(::open(QFile::encodeName(path()), O_RDWR | O_NONBLOCK), QIODevice::ReadOnly,
                  QFileDevice::AutoCloseHandle);
        QCOMPARE(window->createTestReport(), 1);
        QCOMPARE(pipe.read(size + 1).size(), static_cast<int>(size));
    }

    // Whatever a device or a clipboard holds is one line, however long.
    void valuesAreOneLine() {
        open();
        const int lines = report().size();
        const QString ends = QString::fromUtf8("<b>\n\r\v\f\x1b\xc2\x85\xe2\x80\xa8\xe2\x80\xa9.");
        device().serial = device().model = "<b>\n\r\v\f\x1b\x85.";
        ui().m_cmbTHARLeN->setItemText(0, ends);
        ui().lineEdit_name->clear();
        ui().lineEdit_name->insert(QString(10000, 'x') + "\t%s%n" + ends);
        QByteArray text = report().join('\n');
        QCOMPARE(text.count('\n') + 1, lines);
        QCOMPARE(text.count("\t<b>      .\n"), 2);
        QCOMPARE(text.count("\t<b>        .\n"), 1);
        QVERIFY(text.contains(QByteArray(10000, 'x') + "\t%s%n<b>        .\n"));
        device().serial = "Unavailable";
        ui().hardwareSerial_lineedit->setText("typed");
        QVERIFY(report().contains("\tSerial Number:\t\t\t\t\ttyped"));
    }

    // "Summary" makes no report then.
    void noRecordIsSelected() {
        openFleet({});
        ui().tabWidget->addTab(ui().tab_12, "Summary");
        QVERIFY(goToTab(*window, "Summary") && !QFileInfo::exists(path()));
        QVERIFY(report().contains("\tInterface:\t\t\t\t\tUnknown"));
    }

    void anotherDeviceStartsFromNothing() {
        open();
        const auto buttons = window->findChildren<QRadioButton*>(QRegularExpression("^RB_.*_[PF]$"));
        for (const char* choice : {"_P", "_F"}) {
            for (QRadioButton* button : buttons) {
                if (button->objectName().endsWith(choice))
                    button->setChecked(true);
            }
            window->m_lMaxEncoderVal[2] = window->stylusSwitchCounterOff = 5;
            window->hapticBoxRenderer->m_nWallTransitions[4] = 3;
            go("Servoloop");
            window->onClickTestAnotherDevice();
            QCOMPARE(ui().tabWidget->currentIndex(), 1);
            for (const QRadioButton* button : buttons)
                QVERIFY2(button->isCheckable() && !button->isChecked(), qPrintable(button->objectName()));
            QVERIFY(window->m_lMaxEncoderVal[2] < 0 && window->stylusSwitchCounterOff == 0);
            QCOMPARE(window->hapticBoxRenderer->m_nWallTransitions[4].load(), 0);
        }
        for (const Item& item : kItems) {
            const bool* first = verdicts(*window->repData, item.field);
            QCOMPARE(std::count(first, first + item.field.count, true), 0L);
        }
    }
};

QTEST_MAIN(TestReport)
#include "tst_report.moc"
