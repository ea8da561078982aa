// The report file: written with care for the one that is there, and the page that says so.
#include <fcntl.h>
#include <unistd.h>

#include <QBuffer>
#include <QDateTime>
#include <QFileInfo>
#include <QSaveFile>
#include <QScopeGuard>
#include <cerrno>

#include "modellines.h"
#include "printer.h"
#include "qttharlentest.h"
#include "restyle.h"

namespace {

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

report::Subject subjectOf(const qtTharlenTest& window, const QString& serial, const QString& date) {
    const Ui::qtTharlenTestClass& ui = window.ui;
    const ModelLine& line = window.modelLine();
    report::Subject subject;
    if (const CTHARLeNDevice* entry = window.selectedDevice()) {
        subject.cardType = entry->m_nCardType;
        subject.channel = entry->m_nChannel;
        subject.extraOption = entry->m_nExtra6DOFOption;
    }
    subject.gimbal = tharlen_check_for_gimbal(window.csTharlenID) != 0;
    subject.sixDof = line.sixDof;
    subject.automatic = line.automaticInspections;
    subject.extraSwitches = window.hasInkwell();
    subject.port = window.isCNolvaDevice();
    subject.device = ui.m_cmbTHARLeN->currentText();
    subject.serial = serial == "Unavailable" ? ui.hardwareSerial_lineedit->text() : serial;
    subject.operatorName = ui.lineEdit_name->text();
    subject.date = date;
    subject.model = QString::fromLatin1(get_tharlen_model_type(window.csTharlenID));
    return subject;
}

QByteArray asText(QTextStream& stream, const report::Items& items) {
    QBuffer text;
    text.open(QIODevice::WriteOnly);
    const auto apart = qScopeGuard([&stream] { stream.setDevice(nullptr); });  // whatever is thrown, before `text` goes
    stream.setDevice(&text);
    stream.setCodec("UTF-8");  // the operator's name as typed, whatever the locale
    report::printText(stream, items);
    stream.flush();
    return text.data();
}

}  // namespace

QString qtTharlenTest::addPassFail(bool pass) { return report::passFail(pass); }

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
    const auto failed = [&] {
        keepError("The test report could not be written: " + path + ": " + file.reason());
        return 0;
    };
    if (!file.open())
        return failed();
    const report::Items items = report::itemsOf(*repData, subjectOf(*this, serial, date));
    if (!file.write(asText(resultStream, items)))
        return failed();
    const bool pass = report::passes(items);
    ui.test_result_status->setText(pass ? "PASS" : "FAIL");
    ui.test_result_status->setStyleSheet(pass ? kPassStyle : kNotYetStyle);
    ui.summary_text_browser->setPlainText("Successfully generated a test report file : " + testReportFile->fileName());
    return 1;
}
