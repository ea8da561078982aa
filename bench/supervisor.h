// A process for each device, one after the other: nothing of a device can stay for the next.
#pragma once

#include <QProcess>
#include <QTemporaryDir>
#include <memory>

/// With this code the process of a device says that there is no next one. With 0 its window was closed, and the next
/// follows; any other one is passed on.
constexpr int kQuit = 10;

/// Starts this program with `--device FILE`, again and again, and ends the event loop once that is over. Main thread.
class Supervisor : public QObject {
    Q_OBJECT

public:
    /// `program` is what is started for a device.
    explicit Supervisor(const QString& program);
    /// Has a window that is still open taken down in its order. It is not killed: it may be switching motors off.
    ~Supervisor() override;
    void startDevice();

    /// The mark of a process that has not come as far as its window. The process takes it away.
    static QString startingMark(const QString& keptFile) { return keptFile + ".starting"; }

private:
    void deviceEnded(int code, QProcess::ExitStatus how);
    void end(int code, const QString& reason = {});

    QString m_program;
    QTemporaryDir m_folder;
    QString m_keptFile;  ///< goes from one device to the next
    std::unique_ptr<QProcess> m_device;
};
