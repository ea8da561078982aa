// The report file: the verdict record as text, and the overall verdict that follows from what is printed.
#include <fcntl.h>
#include <unistd.h>

#include <QBuffer>
#include <QDateTime>
#include <QFileInfo>
#include <QSaveFile>
#include <QScopeGuard>
#include <cerrno>
#include <cstdio>

#include "plaintext.h"
#include "qttharlentest.h"
#include "restyle.h"

namespace {

constexpr char kEncoderHeading[] = "ENCODERS                                                PASS/FAIL\n";
constexpr char kStylusHeading[] = "· Stylus/gimbal encoder count ranges:\n";

const char* interfaceName(unsigned long cardType) {
    switch (cardType) {
        case kCardParallel1:
        case kCardParallel2:
            return "Parallel port";
        case kCard1394:
            return "1394 port";
        case kCardLan:
            return "LAN port";
        case kCardUsb:
            return "USB port";
        default:
            return "Unknown";
    }
}

/// Where a report that is complete may take the place of what is there: a file or nothing. A link is followed to its
/// end; what else a path may lead to, such as a device, has to stay itself.
QString replaceableTarget(const QString& path) {
    const QFileInfo target(path);
    if (!target.exists())
        return path;
    return target.isFile() ? target.canonicalFilePath() : QString();
}

QString systemReason(int error = errno) { return qt_error_string(error); }

/// By the system's calls, which give their reasons: the toolkit has none where a part of the text found room.
bool writeAll(int descriptor, QByteArray text) {
    while (!text.isEmpty()) {
        const ssize_t written = ::write(descriptor, text.constData(), static_cast<std::size_t>(text.size()));
        if (written <= 0 && errno != EINTR)
            return false;
        text.remove(0, static_cast<int>(qMax<ssize_t>(written, 0)));
    }
    return fsync(descriptor) == 0 || errno == EINVAL || errno == EROFS;  // which pipes and devices give
}

/// The file in writing: what was there stays whole until all of the text is on the disk. A file takes its place. Where
/// the folder does not let it, the text goes into the file that is there, once there is room for all of it.
class ReportFile {
public:
    explicit ReportFile(QFile& named)
        : m_named(named), m_target(replaceableTarget(named.fileName())), m_replacement(m_target) {}
    bool open() {
        if (m_target.isEmpty())
            return m_named.open(QIODevice::WriteOnly | QIODevice::Text) || failed(m_named.errorString());
        return m_replacement.open(QIODevice::WriteOnly) || openInPlace() || failed(m_replacement.errorString());
    }
    /// A disk that fills up may be noticed at any of these steps.
    bool write(const QByteArray& text) {
        if (m_replacement.isOpen()) {
            if (!writeAll(m_replacement.handle(), text))
                return failed(systemReason());
            if (m_replacement.commit())
                return true;
            if (!openInPlace())
                return failed(m_replacement.errorString());
        }
        if (!m_target.isEmpty())
            return writeInPlace(text);
        if (!writeAll(m_named.handle(), text))
            return failed(systemReason());
        m_named.close();
        return m_named.error() == QFileDevice::NoError || failed(m_named.errorString());
    }
    QString reason() const { return m_reason; }

private:
    bool openInPlace() { return m_named.open(QIODevice::ReadWrite | QIODevice::ExistingOnly); }
    bool writeInPlace(const QByteArray& text) {
        const int descriptor = m_named.handle();
        const QByteArray before = m_named.readAll();
        int error = posix_fallocate(descriptor, 0, text.size());
        if (error == 0 && lseek(descriptor, 0, SEEK_SET) == 0 && writeAll(descriptor, text)
            && ftruncate(descriptor, text.size()) == 0) {
            m_named.close();
            return true;
        }
        error = error != 0 ? error : errno;
        if (lseek(descriptor, 0, SEEK_SET) == 0)
            writeAll(descriptor, before);  // its room is still there
        if (ftruncate(descriptor, before.size()) != 0)
            error = errno;
        return failed(systemReason(error));
    }
    bool failed(const QString& reason) {
        m_reason = reason;
        m_named.close();
        return false;
    }

    QFile& m_named;
    const QString m_target;
    QSaveFile m_replacement;
    QString m_reason;
};

/// Writes one report. Literals go into the stream as char strings, which it takes as Latin-1. Meant:
/// the bullet reaches the file as the two characters of its UTF-8 form.
class ReportWriter {
public:
    ReportWriter(qtTharlenTest& window, QTextStream& stream, const QString& serial, const QString& date)
        : m_window(window),
          m_record(*window.repData),
          m_stream(stream),
          m_serial(serial),
          m_date(date),
          m_id(window.csTharlenID),
          m_gimbal(tharlen_check_for_gimbal(m_id) != 0),
          m_sixDof(window.is6dof()),
          m_automatic(window.isOrda() || window.isCorvale() || window.isCNolvaDevice()) {}

    /// Writes all of it; true when everything that counts has passed.
    bool write() {
        writeDevice();
        writeEncoders();
        if (m_gimbal)
            writeSwitches();
        writeAmplifiers();
        writeForces();
        writeBoxAndEnd();
        return m_overall;
    }

private:
    /// An item that clears both flags when it failed.
    void item(const char* text, bool pass) {
        if (!pass)
            m_overall = m_section = false;
        line(text, pass);
    }
    void line(const char* text, bool pass) { m_stream << text << m_window.addPassFail(pass) << "\n"; }

    void writeDevice();
    void writeEncoders();
    void encoderRange(int axis, int number);
    void manualAxis(int number, bool pass);
    void writeSwitches();
    void extraAndInkwell(bool extra, bool inkwell);
    void writeAmplifiers();
    void writeForces();
    void forceRange(int axis, int number);
    void writeBoxAndEnd();

    qtTharlenTest& m_window;
    const REPORTDATA& m_record;
    QTextStream& m_stream;
    const QString m_serial;
    const QString m_date;
    const int m_id;
    const bool m_gimbal;
    const bool m_sixDof;
    const bool m_automatic;  ///< one of the three lines with automatic inspections
    bool m_overall = true;
    bool m_section = true;
};

void ReportWriter::writeDevice() {
    const Ui::qtTharlenTestClass& ui = m_window.ui;
    const CTHARLeNDevice* device = m_window.selectedDevice();
    const QString serial = m_serial == "Unavailable" ? ui.hardwareSerial_lineedit->text() : m_serial;
    const QString model = QString::fromLatin1(get_tharlen_model_type(m_id));
    m_stream << "\n"
             << "Haptic Device TEST REPORT\n\n"
             << "\tHaptic device tested:\t\t\t\t" << oneLine(ui.m_cmbTHARLeN->currentText()) << "\n"
             << "\tSerial Number:\t\t\t\t\t" << oneLine(serial) << "\n"
             << "\tOperator's name:\t\t\t\t\t" << oneLine(ui.lineEdit_name->text()) << "\n"
             << "\tTest Date amd Time:\t\t\t\t" << m_date << "\n"
             << "\nCONFIGURATION\n\n"
             << "\tModel:\t\t\t\t\t\t" << oneLine(model) << "\n"
             << "\tInterface:\t\t\t\t\t" << interfaceName(device ? device->m_nCardType : 0) << "\n";
    if (m_window.isCNolvaDevice())
        m_stream << "\tPort number:\t\t\t\t\tCOM" << device->m_nChannel << "\n";
    if (m_sixDof)
        m_stream << "\tPinch Option:\t\t\t\t\t" << device->m_nExtra6DOFOption << "\n";
    m_stream << "\nCALIBRATION                                             PASS/FAIL\n";
    line("    · Device can be calibrated successfully             ", m_record.bCalibrationPass);
    m_stream << "\n";
}

void ReportWriter::encoderRange(int axis, int number) {
    char text[160];
    const long low = m_record.lMinEncoderVal[axis];
    const long high = m_record.lMaxEncoderVal[axis];
    std::snprintf(text, sizeof text, "        · Axis %d: %6ld to %6ld (range %5ld)        ", number, low, high,
                  high - low);
    item(text, m_record.bEncoderPass[axis]);
}

void ReportWriter::manualAxis(int number, bool pass) {
    char text[64];
    std::snprintf(text, sizeof text, "        · Axis %d:\t\t\t\t\t", number);
    item(text, pass);
}

// One section flag for the automatic and the manual rows.
void ReportWriter::writeEncoders() {
    if (m_automatic) {
        m_stream << "AUTOMATIC INSPECTION: \n" << kEncoderHeading << "    · Base encoder count ranges:\n";
        for (int i = 0; i < 3; ++i)
            encoderRange(i, i + 1);
        if (m_gimbal) {
            m_stream << kStylusHeading;
            for (int i = 3; i < 6; ++i)
                encoderRange(i, i - 2);
        }
    }
    m_stream << "MANUAL INSPECTION: \n" << kEncoderHeading;
    for (int i = 0; i < 3; ++i)
        manualAxis(i + 1, m_record.bManualEncoderPass[i]);
    if (m_gimbal) {
        m_stream << kStylusHeading;
        for (int i = 3; i < 6; ++i)
            manualAxis(i - 2, m_record.bManualEncoderPass[i]);
    }
    line("· All encoders appear to read correctly\t\t\t", m_section);
    m_stream << "\n";
}

void ReportWriter::extraAndInkwell(bool extra, bool inkwell) {
    if (!m_window.isCNolvaDevice() && !m_window.isOrda())
        return;
    item("    · Extra switch functions properly                   ", extra);
    item("    · Inkwell switch functions properly                 ", inkwell);
}

// From here on the section flag covers the manual items alone.
void ReportWriter::writeSwitches() {
    constexpr char kStylusSwitch[] = "    · Stylus switch functions properly                  ";
    if (m_automatic) {
        m_stream << "AUTOMATIC INSPECTION: \nSWITCHES: \n";
        m_section = true;
        item(kStylusSwitch, m_record.bSwitchPass);
        extraAndInkwell(m_record.bExtraSwitchPass, m_record.bInkwellPass);
    }
    m_stream << "MANUAL INSPECTION: \nSWITCHES: \n";
    m_section = true;
    item(kStylusSwitch, m_record.bManualSwitchPass);
    extraAndInkwell(m_record.bManualExtraSwitchPass, m_record.bManualInkwellPass);
    line("· All switches appear to read correctly\t\t\t", m_section);
    m_stream << "\n";
}

void ReportWriter::writeAmplifiers() {
    m_stream << "AMPLIFIERS: \n";
    m_overall = m_overall && m_record.bAmplifierPass;
    line("· Amplifiers can cycle successfully without faults      ", m_record.bAmplifierPass);
    m_stream << "\n";
}

void ReportWriter::forceRange(int axis, int number) {
    char text[200];
    const double low = m_record.fMinForceVal[axis];
    const double high = m_record.fMaxForceVal[axis];
    std::snprintf(text, sizeof text, "        · Axis %d: %6.3f DAC to %6.3f DAC (range %6.3f DAC) ", number, low, high,
                  high - low);
    item(text, m_record.bForcesPass[axis]);
}

void ReportWriter::writeForces() {
    if (m_automatic) {
        m_stream << "AUTOMATIC INSPECTION: \nFORCES: \n    · Motors:\n";
        m_section = true;
        for (int i = 0; i < 3; ++i)
            forceRange(i, i + 1);
        if (m_sixDof) {
            for (int i = 3; i < 6; ++i) {
                m_stream << "    · Handle motors:\n";  // Meant: once for each axis
                forceRange(i, i - 2);
            }
        }
    }
    m_stream << "MANUAL INSPECTION: \nFORCES: \n    · Motors:\n";
    m_section = true;
    for (int i = 0; i < 3; ++i)
        manualAxis(i + 1, m_record.bManualForcesPass[i]);
    if (m_sixDof) {
        for (int i = 3; i < 6; ++i)
            manualAxis(i - 2, m_record.bManualForcesPass[i]);
    }
    line("    · All motors appear to operate correctly            ", m_section);
    m_stream << "\n";
}

// The box counts on the three named lines alone.
void ReportWriter::writeBoxAndEnd() {
    m_stream << "BOX TEST: \n";
    if (m_automatic)
        m_overall = m_overall && m_record.bBoxPass;
    line("    · All walls of the box can be penetrated            ", m_record.bBoxPass);
    m_stream << "\nOVERALL STATUS: \n";
    line("    · All tests succeed                                 ", m_overall);
    m_stream << "\nCOMMENTS: \n    Enter any additional comments below\n";
}

}  // namespace

QString qtTharlenTest::addPassFail(bool pass) { return pass ? "    P" : "  * F *"; }

float qtTharlenTest::splitNreturnFloat(QString text) { return text.split('=').value(1).toFloat(); }
int qtTharlenTest::splitNreturnInt(QString text) { return text.split('=').value(1).toInt(); }

// One path for every device: each report replaces the last. One that fails changes nothing on its page, and the
// earlier report stays.
int qtTharlenTest::createTestReport() {
    const QString date = QDateTime::currentDateTime().toString("MMMM-dd-yyyy  hh-mm-ss-AP");
    const QString path = QString("%1/logs/Test_Reports").arg(qEnvironmentVariable("KNDD_HOME", "(null)"));
    delete testReportFile;
    testReportFile = new QFile(path);
    const QString serial = QString::fromLatin1(get_hardware_serial_number(csTharlenID));

    ReportFile file(*testReportFile);
    QBuffer report;
    report.open(QIODevice::WriteOnly);
    bool pass = false;
    const auto compose = [&] {
        const auto apart = qScopeGuard([this] { resultStream.setDevice(nullptr); });  // the library may throw
        resultStream.setDevice(&report);
        resultStream.setCodec("UTF-8");  // the operator's name as typed, whatever the locale
        pass = ReportWriter(*this, resultStream, serial, date).write();
        resultStream.flush();
        return report.data();
    };
    if (!file.open() || !file.write(compose())) {
        keepError("The test report could not be written: " + path + ": " + file.reason());
        return 0;
    }
    ui.test_result_status->setText(pass ? "PASS" : "FAIL");
    ui.test_result_status->setStyleSheet(pass ? kPassStyle : kNotYetStyle);
    ui.summary_text_browser->setPlainText("Successfully generated a test report file : " + testReportFile->fileName());
    return 1;
}
