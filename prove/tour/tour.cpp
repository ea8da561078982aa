#include "tour.h"

#include <QFile>

#include "device/simulated/armcontrol.h"
#include "servostate.h"
#include "tabs.h"

Tour::Tour(const TourPlan& plan)
    : m_plan(plan),
      m_book(QString("Nolva Diagnostic: %1 on the simulated arm")
                 .arg(plan.flow == "pages" ? "the engineering pages" : "the " + plan.flow + " flow")) {}

void Tour::cancel() { FlowTime::cancel(); }

int Tour::run() {
    for (const QString& device : m_plan.devices) {
        if (FlowTime::cancelled())
            break;
        walk(device);
    }
    if (FlowTime::cancelled())
        m_book.close("The tour was broken off here.");
    return m_book.write(m_plan.folder) ? m_book.failures() : -1;
}

// A fresh arm and a fresh window for each device. The window turns the forces off as it goes.
void Tour::walk(const QString& device) {
    armcontrol::resetArm();
    armcontrol::loopStepped(m_plan.stepped);
    resetProcessState();
    m_device = device;
    m_window = std::make_unique<qtTharlenTest>();
    if (m_plan.stepped)
        m_time = std::make_unique<SteppedTime>(*m_window);
    else
        m_time = std::make_unique<RealTime>();
    m_person = std::make_unique<Operator>(*m_window, *m_time);
    m_window->show();
    m_time->spend(300);
    if (m_plan.flow == "user")
        walkUser();
    else if (m_plan.flow == "manufacturing")
        walkManufacturing();
    else
        walkPages();
    m_person.reset();
    m_time.reset();
    m_window.reset();
    armcontrol::resetArm();
}

bool Tour::step(const QString& name, const std::function<QString()>& act, const QString& note) {
    if (FlowTime::cancelled())
        return false;
    const double start = armcontrol::armTime();
    const QString verdict = act();
    if (FlowTime::cancelled())
        return false;
    m_book.add({m_device, name, verdict, note, armcontrol::armTime() - start, Logbook::photograph(*m_window)});
    if (!verdict.isEmpty())
        std::fprintf(stderr, "%s, %s: %s\n", qPrintable(m_device), qPrintable(name), qPrintable(verdict));
    return verdict.isEmpty();
}

bool Tour::go(const QString& tab) {
    return step(tab, [&] { return m_person->next(tab); });
}

void Tour::walkUser() {
    step("Mode", [] { return QString(); }) && step("Select", [&] { return m_person->select(m_device); })
        && go("Calibrate") && step("Calibrate done", [&] { return m_person->calibrate(); }) && go("Read Encoder")
        && step("Every axis and switch", [&] { return m_person->workEncodersAndSwitches(); }) && go("Cycle Amps")
        && step("Amplifiers cycled", [&] { return m_person->cycleAmplifiers(); }) && go("Test Forces")
        && step("Every motor both ways", [&] { return m_person->driveMotors(); }) && go("Box Test")
        && step("Every wall felt", [&] { return m_person->feelTheBox(); }) && go("Servoloop")
        && step("Servo rate", [&] { return m_person->runServoRate(); });
}

// A line whose flow ends at a gate ends there: that is not a failure.
void Tour::walkManufacturing() {
    const bool started = step("Mode", [&] { return m_person->enterAdvancedMode(NOLVA_TOUR_WORD); })
                         && step("Select", [&] { return m_person->select(m_device); }) && go("Calibrate")
                         && step("Calibrate done", [&] { return m_person->calibrate(); });
    if (!started)
        return;
    if (!m_person->canGoOn()) {
        step(
            "End of the flow", [] { return QString(); }, "a device of this line goes no further in manufacturing");
        return;
    }
    const bool read = go("Read Encoder")
                      && step("Every axis and switch", [&] { return m_person->workEncodersAndSwitches(); })
                      && step("Choices", [&] {
                             m_person->chooseEncoders(true);
                             m_person->chooseSwitches(true);
                             m_time->spend(100);
                             return QString();
                         });
    if (!read)
        return;
    if (!m_person->canGoOn()) {
        step(
            "End of the flow", [] { return QString(); }, "a device of this line goes no further in manufacturing");
        return;
    }
    const bool driven = go("Cycle Amps") && step("Amplifiers cycled", [&] { return m_person->cycleAmplifiers(); })
                        && go("Test Forces") && step("Every motor both ways", [&] { return m_person->driveMotors(); })
                        && step("Choices of forces", [&] {
                               m_person->chooseForces(true);
                               m_time->spend(200);
                               return QString();
                           });
    const bool mechanics = driven && measureMechanics();
    const bool reported = mechanics && go("Box Test")
                          && step("Every wall broken", [&] { return m_person->breakOutOfTheBox(); }) && go("Servoloop")
                          && step("Servo rate", [&] { return m_person->runServoRate(); }) && go("Summary");
    if (reported)
        keepReport();
}

// The wizard's list has taken these two tabs away; the tour puts them back where they belong.
bool Tour::measureMechanics() {
    if (!m_window->isOrda())
        return true;
    QTabWidget* tabs = m_window->ui.tabWidget;
    const int place = tabs->indexOf(m_window->ui.tab_10);
    for (const char* title : {"Test Capstan", "Test Friction"}) {
        const Tab& row = *findTab(title);
        tabs->insertTab(place, m_window->ui.*row.page, QIcon(row.icon), row.title);
    }
    return go("Test Friction") && step("Friction measured", [&] { return m_person->measureFriction(); })
           && go("Test Capstan") && step("Slip measured", [&] { return m_person->measureCapstan(); });
}

// The friction page has no control that starts it, which is meant.
void Tour::walkPages() {
    const bool started = step("Mode", [&] { return m_person->enterAdvancedMode(NOLVA_TOUR_WORD); })
                         && step("Select", [&] { return m_person->select(m_device); }) && go("Calibrate")
                         && step("Calibrate done", [&] { return m_person->calibrate(); })
                         && step("Performance Testing", [&] { return m_person->goTo("Performance Testing"); });
    if (!started)
        return;
    m_person->hand.hold({}, 1500);
    for (int row = 0; row < m_window->ui.listWidget->count(); ++row) {
        const QString page = m_window->ui.listWidget->item(row)->text();
        step(page, [&] { return m_person->usePage(page); });
    }
}

void Tour::keepReport() {
    QFile file(qEnvironmentVariable("KNDD_HOME") + "/logs/Test_Reports");
    if (file.open(QIODevice::ReadOnly))
        m_book.addReport(m_device, QString::fromUtf8(file.readAll()));
    if (m_window->ui.test_result_status->text() != "PASS")
        step("Verdict", [] { return QString("The summary does not say PASS."); });
}
