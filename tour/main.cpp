// tour <folder>: walks the user flow and leaves pictures of it in the folder.
#include <QApplication>
#include <QDir>
#include <cstdio>

#include "device/simulated/armcontrol.h"
#include "qttharlentest.h"
#include "userflow.h"

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() != 2 || !QDir(arguments.value(1)).exists()) {
        std::fprintf(stderr, "Usage: tour <existing folder for the pictures>\n");
        return 2;
    }
    qtTharlenTest window;
    window.show();
    UserFlow flow(window, QDir(arguments[1]));
    const QString error = flow.walk();
    if (!error.isEmpty()) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    std::printf("%d pictures of the user flow in %s\n", flow.pictures(), qPrintable(QDir(arguments[1]).absolutePath()));
    return 0;
}
