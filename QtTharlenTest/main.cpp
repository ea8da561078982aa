// Process entry. No command-line option is read.
#include <QApplication>
#include <QCoreApplication>

#include "qttharlentest.h"
#include "spokenreadouts.h"

int main(int argc, char** argv) {
    QCoreApplication::addLibraryPath(".");
    QApplication application(argc, argv);
    speakReadOuts();
    qtTharlenTest window;
    window.show();
    return QApplication::exec();
}
