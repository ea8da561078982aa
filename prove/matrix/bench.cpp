#include "bench.h"

#include <QFile>
#include <QHash>

#include "examiner.h"
#include "servostate.h"
#include "tabs.h"

namespace {

constexpr int kLook = 250;             ///< ms between two looks at the error browser
constexpr double kHealthyJitter = 40;  ///< us

QString tabOf(Test test) { return test == Test::GimbalTrace ? "Encoder Test" : testName(test); }

/// What a test leaves behind for the next window of the same process.
void clearSharedState() {
    resetProcessState();
    testClock = &armcontrol::armMilliseconds;
}

QString calibrationPath(const Subject& subject) {
    return qEnvironmentVariable("KNDD_HOME") + "/config/THARLeN Calibration (" + subject.name + ")";
}

/// The calibration file of a healthy device, made once by a whole calibration.
QByteArray calibrationFile(const Subject& subject) {
    static QHash<QString, QByteArray> files;
    QByteArray& content = files[subject.name];
    if (!content.isEmpty())
        return content;
    Findings unused(nullptr);
    Cell cell{subject};
    Bench bench(cell, unused);
    if (bench.open().isEmpty() && bench.person->next("Calibrate").isEmpty())
        bench.person->calibrate();
    QFile file(calibrationPath(subject));
    if (file.open(QIODevice::ReadOnly))
        content = file.readAll();
    return content;
}

void restoreCalibration(const Subject& subject) {
    const QByteArray content = calibrationFile(subject);
    QFile file(calibrationPath(subject));
    if (file.open(QIODevice::WriteOnly))
        file.write(content);
}

bool isStall(const FaultCase* faultCase) { return faultCase && qstrcmp(faultCase->fault, "stall") == 0; }

}  // namespace

Bench::Bench(const Cell& cell, Findings& findings) : cell(cell), findings(findings), manner(cell.seed) {
    armcontrol::resetArm();
    armcontrol::loopStepped(true);
    clearSharedState();
    // A loop on a real machine is never quite even; the fault "jitter" takes this one's place.
    armcontrol::setFault("jitter", true, -1, manner.between(1, kHealthyJitter));
    if (cell.test == Test::Select && cell.faultCase && cell.faultCase->part == Part::Record)
        switchFault();
    qunsetenv("MVI_MANUFACTURING");
    qunsetenv("MVI_ENCODER_CHECK");
    if (cell.subject.inManufacturing(cell.test)) {
        qputenv("MVI_MANUFACTURING", "1");
        if (cell.test == Test::EncoderTest || cell.test == Test::GimbalTrace)
            qputenv("MVI_ENCODER_CHECK", "1");
    }
    window = std::make_unique<qtTharlenTest>();
    time = std::make_unique<SteppedTime>(*window);
    person = std::make_unique<Operator>(*window, *this, manner);
}

Bench::~Bench() {
    person.reset();
    time.reset();
    window.reset();
    clearSharedState();
    armcontrol::resetArm();
}

void Bench::switchFault() {
    if (cell.faultCase)
        armcontrol::setFault(cell.faultCase->fault, true, cell.axis, cell.faultCase->amount);
}

QString Bench::open() {
    spend(100);
    QString wrong;
    if (cell.subject.inManufacturing(cell.test))
        wrong = person->enterAdvancedMode(NOLVA_TOUR_WORD);
    if (wrong.isEmpty())
        wrong = person->select(cell.subject.name);
    if (!wrong.isEmpty())
        return wrong;
    insertTabs();
    armcontrol::handStrength(manner.between(25, 30));
    const armcontrol::Vec3 center = person->hand.center();
    person->hand.hold(center, manner.wait(300, 700));
    return {};
}

// All of the flow's tabs, since entering one disables another one by its number.
void Bench::insertTabs() {
    for (const Test test : {Test::Calibrate, Test::ReadEncoder, Test::CycleAmps, Test::TestForces, Test::BoxTest,
                            Test::Servoloop, cell.test}) {
        if (!has(page(test)))
            window->ui.tabWidget->addTab(page(test), tabOf(test));
    }
}

QWidget* Bench::page(Test test) const { return window->ui.*findTab(tabOf(test))->page; }

void Bench::enter() {
    if (!isStall(cell.faultCase))
        switchFault();
    window->ui.tabWidget->setCurrentWidget(page(cell.test));
    spend(manner.wait(50, 250));
}

void Bench::underWay() {
    if (isStall(cell.faultCase))
        switchFault();
}

void Bench::spend(int milliseconds) {
    while (milliseconds > 0) {
        const int part = qMin(milliseconds, kLook - m_sinceLook);
        time->spend(part);
        milliseconds -= part;
        m_sinceLook += part;
        if (m_sinceLook < kLook)
            continue;
        m_sinceLook = 0;
        readErrors();
    }
}

void Bench::readErrors() {
    const QString line = window->ui.error_browser->toPlainText().trimmed().section('\n', 0, 0);
    if (!line.isEmpty())
        findings.said("error browser: " + line.section(" : ", 1));
}

// --- A cell ----------------------------------------------------------------------------------------

namespace {

CellResult play(const Cell& cell, Findings& findings) {
    CellResult result;
    result.played = true;
    restoreCalibration(cell.subject);
    {
        Bench bench(cell, findings);
        if (cell.test == Test::Select)
            Examiner(bench).select();
        else
            result.broken = bench.open();
        if (result.broken.isEmpty() && cell.test != Test::Select)
            Examiner(bench).examine();
        result.armSeconds = armcontrol::armTime();
    }
    result.program = findings.program();
    result.person = findings.person();
    result.figures = findings.figures();
    return result;
}

/// The read-outs of a healthy arm in the usual manner; `why` where there are none.
const Readings& usualReadings(const Cell& cell, QString& why) {
    static QHash<QString, Readings> known;
    static QHash<QString, QString> broken;
    const QString key = QString(cell.subject.name) + '/' + testName(cell.test);
    if (!known.contains(key)) {
        Findings findings(nullptr);
        Cell healthy{cell.subject, cell.test};
        const CellResult result = play(healthy, findings);
        known[key] = findings.readings();
        broken[key] = result.broken.isEmpty() ? (result.program + result.person).join("; ") : result.broken;
    }
    why = broken[key];
    return known[key];
}

}  // namespace

CellResult examine(const Cell& cell) {
    QString why;
    const Readings& usual = usualReadings(cell, why);
    if (!why.isEmpty()) {
        CellResult result;
        result.played = true;
        result.broken = "a healthy arm in the usual manner does not pass: " + why;
        return result;
    }
    Findings findings(&usual);
    return play(cell, findings);
}
