#include "supervisor.h"

#include <signal.h>
#include <sys/prctl.h>

#include <QCoreApplication>
#include <QFile>
#include <cstdio>

#include "kept.h"

namespace {

constexpr int kPatience = 15000;  ///< ms, for a window that is taken down

/// A window whose supervisor is gone is taken down as by any signal that ends it.
class DeviceProcess : public QProcess {
protected:
    void setupChildProcess() override { prctl(PR_SET_PDEATHSIG, SIGTERM); }
};

}  // namespace

Supervisor::Supervisor(const QString& program)
    : m_program(program), m_keptFile(m_folder.filePath("kept.json")), m_device(std::make_unique<DeviceProcess>()) {
    m_device->setProcessChannelMode(QProcess::ForwardedChannels);
    m_device->setInputChannelMode(QProcess::ForwardedInputChannel);
    connect(m_device.get(), QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &Supervisor::deviceEnded);
    connect(m_device.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end(1, m_program + " cannot be started: " + m_device->errorString());
    });
}

Supervisor::~Supervisor() {
    m_device->disconnect(this);
    if (m_device->state() == QProcess::NotRunning)
        return;
    m_device->terminate();
    if (m_device->waitForFinished(kPatience))
        return;
    std::fprintf(stderr,
                 "The window of the device (process %lld) does not end. Switch the device off before killing it.\n",
                 static_cast<long long>(m_device->processId()));
    std::fflush(stderr);
    _exit(1);  // the destructor of the process would kill it
}

void Supervisor::startDevice() {
    QFile mark(startingMark(m_keptFile));
    if (!m_folder.isValid() || !mark.open(QIODevice::WriteOnly)) {
        end(1, "No folder for what goes from one device to the next: " + m_folder.errorString());
        return;
    }
    mark.close();
    m_device->start(m_program, {"--device", m_keptFile});
}

void Supervisor::deviceEnded(int code, QProcess::ExitStatus how) {
    const bool crashed = how == QProcess::CrashExit;
    if (crashed && QFile::exists(startingMark(m_keptFile))) {
        end(1, QString("The program was ended by signal %1 before its window came.").arg(code));
        return;
    }
    if (!crashed && code != 0) {
        end(code == kQuit ? 0 : code);
        return;
    }
    if (crashed) {
        Kept kept = readKept(m_keptFile);
        kept.device.clear();
        kept.reportTime.clear();
        kept.ended = QString(
                         "Its window was ended by signal %1, without a person's doing. Make sure that its amplifiers "
                         "are off before you touch it.")
                         .arg(code);
        writeKept(m_keptFile, kept);
    }
    startDevice();
}

void Supervisor::end(int code, const QString& reason) {
    if (!reason.isEmpty())
        std::fprintf(stderr, "nolva-bench: %s\n", qPrintable(reason));
    QCoreApplication::exit(code);
}
