// Process entry. No command-line option is read.
#include <QCoreApplication>

#include "application.h"
#include "driverahead.h"
#include "looks.h"
#include "qttharlentest.h"
#include "sharedhome.h"
#include "spokenreadouts.h"

int main(int argc, char** argv) {
    QCoreApplication::addLibraryPath(".");
    DiagnosticApplication application(argc, argv);
    const QuitOnSignals ending;
    speakReadOuts();
    try {
        const DriverAhead driver;
        qtTharlenTest window;
        fitToScreen(window);
        window.show();
        const SharedHome home;
        return QApplication::exec();
    } catch (...) {
        return sayCannotStart();
    }
}
