// Two programs on one KNDD_HOME replace each other's report and calibration files. Graphical thread.
#pragma once

#include <QDir>
#include <QLockFile>
#include <QMessageBox>
#include <memory>

/// Held while the program lives; where another one holds it, says so in a box that waits for nobody. Without the
/// folder, or without the right to write there, nothing is known and nothing said.
class SharedHome {
public:
    SharedHome() {
        const QString home = qEnvironmentVariable("KNDD_HOME");
        if (home.isEmpty())
            return;
        m_lock = std::make_unique<QLockFile>(QDir(home).filePath(".nolva-diagnostic.lock"));
        m_lock->setStaleLockTime(0);  // by its process alone, however long that runs
        if (m_lock->tryLock(0) || m_lock->error() != QLockFile::LockFailedError)
            return;
        qint64 process = 0;
        QString host, program;
        m_lock->getLockInfo(&process, &host, &program);
        m_box = std::make_unique<QMessageBox>(
            QMessageBox::Warning, "Nolva Diagnostic",
            QString(
                "%1 (process %2 on %3) works with the same folder:\n%4\n\nCalibration files and reports of one replace "
                "those of the other. Give each its own KNDD_HOME, or close one.")
                .arg(program)
                .arg(process)
                .arg(host, home),
            QMessageBox::Ok);
        m_box->setTextFormat(Qt::PlainText);
        m_box->setAttribute(Qt::WA_QuitOnClose, false);
        m_box->setModal(false);
        m_box->show();
    }

private:
    std::unique_ptr<QLockFile> m_lock;
    std::unique_ptr<QMessageBox> m_box;
};
