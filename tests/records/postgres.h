// A PostgreSQL server of the tests' own, in a folder, on a local socket alone.
#pragma once

#include <pwd.h>
#include <unistd.h>

#include <QDir>
#include <QProcess>

class Postgres {
public:
    explicit Postgres(const QString& folder) : folder_(folder) {
        QDir().mkpath(folder);
        const QFileInfoList versions = QDir("/usr/lib/postgresql").entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot);
        if (versions.isEmpty()) {
            why_ = "PostgreSQL is not installed";
            return;
        }
        bin_ = versions.last().filePath() + "/bin/";
        if (getuid() == 0) {  // whom the server refuses
            const passwd* user = getpwnam("postgres");
            if (!user || chown(folder.toLocal8Bit().constData(), user->pw_uid, user->pw_gid) != 0) {
                why_ = "no user for the server";
                return;
            }
            for (QDir up(folder); up.cdUp() && up.path() != "/tmp" && up.path() != "/";)
                QFile(up.path()).setPermissions(QFile(up.path()).permissions() | QFile::ExeOther | QFile::ReadOther);
        }
        ready_ = run({bin_ + "initdb", "-D", folder_ + "/data", "-A", "trust", "-U", "keeper", "--no-sync"}) && start();
    }
    ~Postgres() { stop(); }

    bool runs() const { return ready_; }
    QString why() const { return why_; }
    bool start() {
        return run({bin_ + "pg_ctl", "-D", folder_ + "/data", "-w", "-l", folder_ + "/log", "-o",
                    "-F -c listen_addresses= -c unix_socket_directories=" + folder_, "start"});
    }
    void stop() { run({bin_ + "pg_ctl", "-D", folder_ + "/data", "-m", "fast", "stop"}); }
    /// A database without tables.
    QString fresh(const QString& name) {
        run({bin_ + "createdb", "-h", folder_, "-U", "keeper", name});
        return QString("postgresql://keeper@/%1?host=%2").arg(name, folder_);
    }

private:
    bool run(QStringList command) {
        if (getuid() == 0)
            command = QStringList{"runuser", "-u", "postgres", "--"} + command;
        QProcess process;
        process.setWorkingDirectory(folder_);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.setStandardOutputFile(folder_ + "/output");
        process.start(command.takeFirst(), command);
        const bool good = process.waitForFinished(120000) && process.exitCode() == 0;
        QFile output(folder_ + "/output");
        if (!good && output.open(QIODevice::ReadOnly))
            why_ = QString::fromLocal8Bit(output.readAll());
        return good;
    }

    const QString folder_;
    QString bin_, why_;
    bool ready_ = false;
};
