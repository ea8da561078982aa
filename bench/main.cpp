// nolva-bench: certifies one device after the other. `--device FILE` is the process of one of them, which this program
// starts for itself.
#include <QFile>
#include <QTimer>
#include <cstdio>
#include <cstring>

#include "application.h"
#include "driverahead.h"
#include "looks.h"
#include "qttharlentest.h"
#include "session.h"
#include "sharedhome.h"
#include "spokenreadouts.h"
#include "startdialog.h"
#include "supervisor.h"

namespace {

int certifyDevice(int argc, char** argv, const QString& keptFile) {
    QCoreApplication::addLibraryPath(".");
    DiagnosticApplication application(argc, argv);
    const QuitOnSignals ending;
    speakReadOuts();
    try {
        const Kept before = readKept(keptFile);
        const DriverAhead driver;
        qtTharlenTest window;
        std::unique_ptr<BenchSession> session;
        StartDialog dialog(window, before);
        QObject::connect(&dialog, &QDialog::rejected, [] { QCoreApplication::exit(kQuit); });
        QObject::connect(&dialog, &QDialog::accepted, [&] {
            session = std::make_unique<BenchSession>(window, dialog.flow(), dialog.mechanics(), before.operatorName);
            QFile::remove(Supervisor::startingMark(keptFile));
            fitToScreen(window);
            window.show();
        });
        dialog.show();
        const SharedHome home;
        const int code = QApplication::exec();
        if (dialog.isVisible() || window.isVisible())  // by a signal
            return kQuit;
        if (session && !writeKept(keptFile, session->kept()))
            std::fprintf(stderr, "nolva-bench: %s cannot be written; the next device knows nothing of this one\n",
                         qPrintable(keptFile));
        return code;
    } catch (...) {
        return sayCannotStart();
    }
}

int supervise(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QuitOnSignals ending;
    Supervisor supervisor(QCoreApplication::applicationFilePath());
    QTimer::singleShot(0, &supervisor, &Supervisor::startDevice);
    return QCoreApplication::exec();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--device") == 0)
        return certifyDevice(argc, argv, QString::fromLocal8Bit(argv[2]));
    if (argc > 1) {
        std::fprintf(stderr, "nolva-bench takes no argument.\n");
        return 2;
    }
    return supervise(argc, argv);
}
