#include "tour.h"

#include <QAbstractButton>
#include <QFile>
#include <QLabel>

#include "device/simulated/armcontrol.h"
#include "servostate.h"
#include "startdialog.h"

Tour::Tour(const TourPlan& plan)
    : m_plan(plan),
      m_book(QString("Nolva Diagnostic: %1 on the simulated arm")
                 .arg(plan.flow == "pages" ? "the engineering pages" : "the " + plan.flow + " flow")) {
    if (plan.flow != "user")
        m_book.open("This flow is offered by nolva-bench alone; the application's own Mode tab offers the user flow.");
}

void Tour::cancel() { FlowTime::cancel(); }

int Tour::run() {
    for (const QString& device : m_plan.devices) {
        if (FlowTime::cancelled())
            break;
        walk(device);
    }
    QString end = FlowTime::cancelled() ? "The tour was broken off here. " : "";
    if (!m_plan.stepped)
        end += QString("Of the servo loop's periods %1 had their tick and %2 went by without.")
                   .arg(m_ticks)
                   .arg(m_lostTicks);
    m_book.close(end);
    if (!m_plan.stepped)
        std::printf("%s\n", qPrintable(end));
    if (!m_book.write(m_plan.folder))
        return -1;
    return m_book.failures() + (FlowTime::cancelled() ? 1 : 0);
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
    if (m_plan.flow == "user")
        walkUser();
    else if (m_plan.flow == "manufacturing")
        walkManufacturing();
    else
        walkPages();
    const armcontrol::State loop = armcontrol::state();
    m_ticks += loop.ticks;
    m_lostTicks += loop.lateTicks;
    m_person.reset();
    m_time.reset();
    m_session.reset();
    m_window.reset();
    armcontrol::resetArm();
}

bool Tour::step(const QString& name, const std::function<QString()>& act, const QString& note) {
    if (FlowTime::cancelled())
        return false;
    m_window->setWindowTitle(QString("Nolva Diagnostic - tour: %1, %2").arg(m_device, name));
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

bool Tour::startAtBench(const QString& flow, bool mechanics) {
    StartDialog dialog(*m_window, {});
    dialog.findChild<QAbstractButton*>(flow)->click();
    dialog.findChild<QAbstractButton*>("mechanics")->setChecked(mechanics);
    dialog.findChild<QLineEdit*>("word")->setText(NOLVA_TOUR_WORD);
    dialog.show();
    m_time->spend(300);
    const QByteArray picture = Logbook::photograph(dialog);
    dialog.findChild<QAbstractButton*>("start")->click();
    const bool open = dialog.result() == QDialog::Accepted;
    const QString answer = open ? QString() : dialog.findChild<QLabel*>("answer")->text();
    m_book.add({m_device, "Start", answer, {}, 0.3, picture});
    if (!open)
        return false;
    m_session = std::make_unique<BenchSession>(*m_window, dialog.flow(), dialog.mechanics(), "A. Operator");
    m_window->show();
    m_time->spend(300);
    return true;
}

void Tour::walkUser() {
    m_window->show();
    m_time->spend(300);
    step("Mode", [] { return QString(); }) && step("Select", [&] { return m_person->select(m_device); })
        && go("Calibrate") && step("Calibrate done", [&] { return m_person->calibrate(); }) && go("Read Encoder")
        && step("Every axis and switch", [&] { return m_person->workEncodersAndSwitches(); }) && go("Cycle Amps")
        && step("Amplifiers cycled", [&] { return m_person->cycleAmplifiers(); }) && go("Test Forces")
        && step("Every motor both ways", [&] { return m_person->driveMotors(); }) && go("Box Test")
        && step("Every wall felt", [&] { return m_person->feelTheBox(); }) && go("Servoloop")
        && step("Servo rate", [&] { return m_person->runServoRate(); });
}

// A line whose flow ends at a gate ends there: that is not a failure, but has to be said.
bool Tour::goesOn() {
    const QString said = flowEndsHere(*m_window);
    if (m_person->canGoOn()) {
        if (!said.isEmpty())
            step("Way on", [] { return QString("The flow is said to end here, and goes on."); });
        return said.isEmpty();
    }
    step(
        "End of the flow",
        [&said] { return said.isEmpty() ? QString("The flow ends here, and nobody says so.") : QString(); }, said);
    return false;
}

void Tour::walkManufacturing() {
    const bool started = startAtBench("manufacturing", true) && step("Mode", [] { return QString(); })
                         && step("Select", [&] { return m_person->select(m_device); }) && go("Calibrate")
                         && step("Calibrate done", [&] { return m_person->calibrate(); });
    if (!started)
        return;
    if (!goesOn())
        return;
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
    if (!goesOn())
        return;
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

// The bench has put these two tabs before "Box Test".
bool Tour::measureMechanics() {
    if (!m_window->isOrda())
        return true;
    return go("Test Friction") && step("Friction measured", [&] { return m_person->measureFriction(); })
           && go("Test Capstan") && step("Slip measured", [&] { return m_person->measureCapstan(); });
}

// The friction page has no control that starts it, which is meant.
void Tour::walkPages() {
    const bool started = startAtBench("engineering", false) && step("Mode", [] { return QString(); })
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
