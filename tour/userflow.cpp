#include "userflow.h"

#include <QEventLoop>
#include <QTimer>
#include <cmath>

#include "device/simulated/armcontrol.h"
#include "qttharlenhapticrenderer.h"
#include "qttharlentest.h"

namespace {

QString currentTab(const qtTharlenTest& window) {
    return window.ui.tabWidget->tabText(window.ui.tabWidget->currentIndex());
}

}  // namespace

void UserFlow::wait(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

QString UserFlow::picture(const QString& what) {
    const QString name =
        QString("%1-%2.png").arg(m_taken + 1, 2, 10, QChar('0')).arg(QString(what).toLower().replace(' ', '-'));
    if (!m_window.grab().save(m_pictures.filePath(name)))
        return "The picture " + m_pictures.filePath(name) + " cannot be written.";
    ++m_taken;
    return {};
}

QString UserFlow::next(const QString& expectedTab) {
    m_window.ui.next_button->click();
    wait(400);
    if (currentTab(m_window) != expectedTab)
        return QString("\"%1\" was expected after Next, but \"%2\" is shown.").arg(expectedTab, currentTab(m_window));
    return picture(expectedTab);
}

/// Rests the arm in the ink well until the tab says that it is calibrated, then takes it out.
QString UserFlow::calibrate() {
    armcontrol::handDock();
    for (int i = 0; i < 50 && !m_window.repData->bCalibrationPass; ++i)
        wait(100);
    const QString error = picture("Calibrate done");
    armcontrol::handUndock();
    wait(500);
    return m_window.repData->bCalibrationPass ? error : "The arm rests in the ink well and is not calibrated.";
}

/// Presses each wall in turn: the wall has to push back and the cursor to stay at it.
QString UserFlow::feelTheBox() {
    const struct {
        const char* name;
        int axis;
        double place;  ///< mm
    } walls[] = {{"right wall", 0, 30}, {"left wall", 0, -30}, {"upper wall", 1, 30},
                 {"lower wall", 1, -30}, {"inner wall", 2, -30}, {"near wall", 2, 30}};
    for (const auto& wall : walls) {
        armcontrol::Vec3 target{};
        target[wall.axis] = wall.place;
        armcontrol::handMove(target);
        wait(700);
        const double cursor = m_window.hapticBoxRenderer->pPos[wall.axis];
        const double force = armcontrol::state().force[wall.axis];
        if (std::fabs(cursor) < 19.9 || force * wall.place >= 0)
            return QString("The %1 does not push back: cursor at %2 mm, force %3 N.")
                .arg(wall.name)
                .arg(cursor)
                .arg(force);
        const QString error = picture(QString("Box Test %1").arg(wall.name));
        if (!error.isEmpty())
            return error;
        armcontrol::handMove({});
        wait(300);
    }
    return {};
}

QString UserFlow::walk() {
    wait(300);
    QString error = picture("Mode");
    const char* const tabs[] = {"Select",      "Calibrate", "Read Encoder", "Cycle Amps",
                                "Test Forces", "Box Test",  "Servoloop"};
    for (const char* tab : tabs) {
        if (error.isEmpty())
            error = next(tab);
        if (error.isEmpty() && QString(tab) == "Select" && m_window.csTharlenID < 0)
            error = "The first device could not be opened.";
        if (error.isEmpty() && QString(tab) == "Calibrate")
            error = calibrate();
        if (error.isEmpty() && QString(tab) == "Box Test")
            error = feelTheBox();
    }
    armcontrol::handRelease();
    return error;
}
