// Amplifiers, motors, friction, slip, the box, the servo rate and the closed loop.
#include <QGraphicsRectItem>
#include <QRegularExpression>
#include <cmath>

#include "device/simulated/armcontrol.h"
#include "examiner.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"

using armcontrol::Vec3;

namespace {

constexpr const char* kAxes[6] = {"X", "Y", "Z", "gimbal X", "gimbal Y", "gimbal Z"};
// From memory a hand tells a force that is a quarter weaker or stronger than usual, but no difference of a tenth of
// a newton.
constexpr Tolerance kFelt{0.75, 1.25, 0.1};

double length(const Vec3& v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }

Vec3 difference(const Vec3& a, const Vec3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }

}  // namespace

/// What a tab says beside its verdicts. Taken ahead of the verdicts, since only so many findings are kept.
void Examiner::readNotes(const QTextBrowser* box) {
    for (const QString& line : box->toPlainText().split('\n')) {
        if (line.contains("Note: "))
            m_findings.said(line.mid(line.indexOf("Note: ")));
    }
}

// --- Cycle Amps --------------------------------------------------------------------------------------

void Examiner::cycleAmps() {
    auto& ui = m_window.ui;
    m_bench.underWay();
    const auto ended = [&ui] {
        return ui.cycleAmps_textBox->toPlainText().contains("The device amplifiers are OK")
               || ui.device_fault_button->text() == "YES";
    };
    if (!m_hand.waitUntil(ended, 14000, 100))
        m_findings.said("the amplifiers were not found to be OK");
    readNotes(ui.cycleAmps_textBox);
    if (ui.device_fault_button->text() == "YES")
        m_findings.said("the fault lamp shows YES");
}

// --- Test Forces -------------------------------------------------------------------------------------

void Examiner::testForces() {
    auto& ui = m_window.ui;
    m_bench.underWay();
    armcontrol::handStrength(m_bench.manner.between(9, 12));  // lightly, so that the arm is seen to move
    m_hand.hold({0, 0, 0}, m_bench.manner.wait(900, 1300));
    for (const int axis : m_bench.manner.order(m_window.is6dof() ? 6 : 3))
        pushMotor(axis);
    m_bench.spend(1100);
    const QLabel* const temperatures[6] = {ui.temp_X, ui.temp_Y, ui.temp_Z, ui.temp_TX, ui.temp_TY, ui.temp_TZ};
    for (int axis = 0; axis < (m_window.is6dof() ? 6 : 3); ++axis)
        m_findings.read(QString("temperature of %1").arg(kAxes[axis]), temperatures[axis]->text().toDouble(),
                        {1, 1, 15});
    if (ui.forces_textBox->toPlainText().contains("Motors are hot"))
        m_findings.said("Motors are hot");
    for (int axis = 0; m_window.manufMode && axis < 3; ++axis) {
        if (!m_window.repData->bForcesPass[axis])
            m_findings.said(QString("the force of %1 does not pass").arg(kAxes[axis]));
    }
}

/// One slider to either side: the push has to come, the usual way and about as strong as usual; the count has to
/// follow a hand that yields.
void Examiner::pushMotor(int axis) {
    auto& ui = m_window.ui;
    QSlider* const sliders[6] = {ui.slider_X, ui.slider_Y, ui.slider_Z, ui.slider_TX, ui.slider_TY, ui.slider_TZ};
    const QLabel* const counts[3] = {ui.label_103, ui.label_104, ui.label_105};
    const int notch = m_window.hasInkwell() ? 40 : axis < 3 ? 80 : 40;  // a newton or two, on every line
    const auto i = static_cast<std::size_t>(axis);
    long shown[2] = {};
    double turned[2] = {};
    for (const int side : {0, 1}) {
        const armcontrol::State before = armcontrol::state();
        sliders[axis]->setValue(side == 0 ? notch : -notch);
        m_bench.spend(m_bench.manner.wait(1150, 1500));
        const armcontrol::State pushed = armcontrol::state();
        const QString name = QString("%1 to the %2").arg(kAxes[axis], side == 0 ? "right" : "left");
        turned[side] = pushed.joints[i];
        if (axis < 3) {
            shown[side] = counts[axis]->text().toLong();
            const double way = pushed.joints[i] - before.joints[i] > 0 ? 1 : -1;
            m_findings.read("push of " + name + ", N", way * pushed.handForce, kFelt);
        } else {
            m_findings.read("turn of " + name + ", rad", pushed.joints[i] - before.joints[i], {0.75, 1.25, 0.01});
        }
    }
    sliders[axis]->setValue(0);
    m_bench.spend(m_bench.manner.wait(250, 400));
    if (axis < 3 && std::fabs(turned[0] - turned[1]) > 0.004 && std::labs(shown[0] - shown[1]) <= 2)
        m_findings.saw(QString("the count of %1 does not follow the push").arg(kAxes[axis]));
}

/// The arm as the tests want it that drive it by themselves.
void Examiner::letGoAtTheCenter() {
    const Vec3 center = m_hand.center();
    const int held = m_bench.manner.wait(700, 1300);
    m_hand.letGoAt(center, held, m_bench.manner.wait(200, 500));
}

// --- Test Friction -----------------------------------------------------------------------------------

void Examiner::testFriction() {
    letGoAtTheCenter();
    m_window.ui.startFrictionTest_button->click();
    m_bench.underWay();
    if (!m_hand.waitUntil([this] { return !m_window.frictionTestTimer->isActive(); }, 40000))
        m_findings.saw("the friction test does not end");
    readNotes(m_window.ui.friction_textBox);
    const REPORTDATA& data = *m_window.repData;
    for (int axis = 0; axis < 3; ++axis) {
        const double volts = static_cast<double>(data.fFrictionVoltage[axis]);
        m_findings.measured(QString("friction of %1, V").arg(kAxes[axis]), volts);
        m_findings.read(QString("friction of %1, V").arg(kAxes[axis]), volts, {0.8, 1.2, 0});
        if (!data.bFrictionPass[axis])
            m_findings.said(QString("the friction of %1 does not pass").arg(kAxes[axis]));
    }
}

// --- Test Capstan ------------------------------------------------------------------------------------

void Examiner::testCapstan() {
    letGoAtTheCenter();
    auto& ui = m_window.ui;
    ui.startCapstanTest_button->click();
    m_bench.underWay();
    bool ended = m_hand.waitUntil([this] { return !m_window.capstanTestRefTimer->isActive(); }, 20000);
    const armcontrol::State atStops = armcontrol::state();
    for (int axis = 0; axis < 3; ++axis)
        m_findings.read(QString("where %1 is driven to, rad").arg(kAxes[axis]),
                        atStops.joints[static_cast<std::size_t>(axis)], {1, 1, 0.1});
    m_bench.spend(m_bench.manner.wait(200, 500));
    ui.verifyCapstanTest_button->click();
    ended = m_hand.waitUntil([this] { return !m_window.capstanTestTimer->isActive(); }, 20000) && ended;
    if (!ended)
        m_findings.saw("the capstan test does not end");
    readNotes(ui.capstan_textBox);
    const REPORTDATA& data = *m_window.repData;
    for (int axis = 0; axis < 3; ++axis) {
        m_findings.measured(QString("slip of %1, counts").arg(kAxes[axis]), data.nCapstanChange[axis]);
        if (ended && !data.bCapstanPass[axis])
            m_findings.said(QString("the capstan of %1 does not pass").arg(kAxes[axis]));
    }
}

// --- Box Test ----------------------------------------------------------------------------------------

void Examiner::boxTest() {
    m_hand.hold({0, 0, 0}, m_bench.manner.wait(1200, 1600));
    m_bench.underWay();
    for (const int wall : m_bench.manner.order(6))
        feelWall(wall);
    if (m_window.manufMode)
        breakOut();
}

/// Presses a little into a wall: it pushes back as usual, and the cursor follows the hand.
void Examiner::feelWall(int wall) {
    const std::size_t axis = kBoxWalls[wall].axis;
    const double side = kBoxWalls[wall].side;
    const double before = m_window.hapticBoxRenderer->pPos[axis], from = armcontrol::state().position[axis];
    const Vec3 place = towards(wall, 24);
    m_hand.hold(place, m_bench.manner.wait(600, 800));
    Vec3 where{};
    double felt = 0, cursor = 0;
    for (int i = 0; i < 40; ++i) {
        m_bench.spend(5);
        const armcontrol::State state = armcontrol::state();
        felt += state.handForce / 40;
        cursor += static_cast<double>(m_window.hapticBoxRenderer->pPos[axis]) / 40;
        for (std::size_t k = 0; k < 3; ++k)
            where[k] += state.position[k] / 40;
    }
    // A wall that pulls has drawn the hand past where it wants to be.
    const Vec3 astray = difference(where, place);
    const double push = astray[axis] * side < 0 ? felt : -felt;
    m_findings.read(QString("push of the %1 wall, N").arg(kBoxWalls[wall].name), push, kFelt);
    if (length(astray) > 10)
        m_findings.saw(QString("the %1 wall throws the arm about").arg(kBoxWalls[wall].name));
    else if (std::fabs((cursor - before) - (where[axis] - from)) > 6)
        m_findings.saw(QString("the cursor does not follow the hand to the %1 wall").arg(kBoxWalls[wall].name));
    m_hand.hold({0, 0, 0}, m_bench.manner.wait(350, 500));
}

void Examiner::breakOut() {
    if (const Wall* firm = m_bench.person->pushThroughEachWall()) {
        m_findings.saw(QString("the %1 wall does not yield").arg(firm->name));
        return;
    }
    m_window.hapticBoxRenderer->graphicsCallback();  // the scene takes the verdict as it paints
    m_bench.spend(50);
    if (!m_window.repData->bBoxPass)
        m_findings.said("the box does not pass");
}

// --- Servoloop ---------------------------------------------------------------------------------------

void Examiner::servoloop() {
    auto& ui = m_window.ui;
    ui.hapticRate_startButton->click();
    m_bench.spend(m_bench.manner.wait(1100, 1400));
    m_bench.underWay();
    const int periods = static_cast<int>(m_bench.manner.between(3, 8));
    m_bench.spend(1000 * periods);
    for (const QGraphicsItem* item : m_window.histogramScene->items()) {
        if (const auto* bar = qgraphicsitem_cast<const QGraphicsRectItem*>(item)) {
            if (bar->brush().color() != QColor(Qt::green))
                m_findings.said("a bar is not green");
        }
    }
    ui.hapticRate_stoptButton->click();
    const QRegularExpression line("N: +(\\d+) +Min: +(\\S+) +Max: +(\\S+) +Mean: +(\\S+) +Var: +\\S+ +SD: +(\\S+)");
    int lines = 0;
    auto matches = line.globalMatch(ui.servoLoopUpdate_box->toPlainText());
    while (matches.hasNext()) {
        const auto match = matches.next();
        ++lines;
        const auto figure = [&match](int i) { return match.captured(i).toDouble(); };
        if (std::fabs(figure(1) - 1000) > 5)
            m_findings.saw(QString("a line with %1 samples").arg(figure(1)));
        if (figure(2) < 900 || figure(3) > 1100)
            m_findings.saw(QString("a line from %1 to %2 Hz").arg(figure(2)).arg(figure(3)));
        if (figure(5) > 4)
            m_findings.saw(QString("a line with a spread of %1 Hz").arg(figure(5)));
    }
    if (lines < 3)
        m_findings.saw("no lines of the servo rate");
}

// --- Encoder Test ------------------------------------------------------------------------------------

// Two test points with a loop between them. It stands where it takes half as long again as usual.
void Examiner::encoderTest() {
    letGoAtTheCenter();
    auto& ui = m_window.ui;
    ui.encoderTestLoopsSpinBox->setValue(2);
    ui.checkTestDegrees->setChecked(false);
    ui.runEncoderTest_button->click();
    m_bench.underWay();
    // A Corvale's loop is as long as its route, an Orda's also as long as its axes settle; the log has whole
    // seconds.
    const Tolerance ofLoop = m_window.isOrda() ? Tolerance{0.9, 1.1, 1} : Tolerance{1, 1, 1.6};
    const int mostForLoop = m_window.isOrda() ? 28000 : m_window.isCorvale() ? 57000 : 0;
    const auto reaches = [&](int loops, int most, const QString& what) {
        const double start = armcontrol::armTime();
        const bool reached = m_hand.waitUntil(
            [&] { return totalLoops >= loops || (startEncoderTest && !m_window.m_bServoControl && !seekingTestPoint); },
            most);
        m_findings.read(what + ", s", armcontrol::armTime() - start, loops == 2 ? ofLoop : Tolerance{0.8, 1.2, 1});
        if (!reached)
            m_findings.saw("the run does not come to " + what);
        return reached && totalLoops >= loops;
    };
    if (reaches(1, 20000, "the first test point") && reaches(2, mostForLoop, "the end of a loop"))
        reaches(3, 12000, "the second test point");
    m_bench.spend(60);
    compareTestPoints();
    readNotes(ui.encoderTest_debug);
    for (const QString& line : ui.encoderTest_debug->toPlainText().split('\n')) {
        if (line.contains("Error (") || line.contains("Warning ("))
            m_findings.said(line.section(" ] ", -1).simplified());
    }
    ui.stopEncoderTest_button->click();
}

/// Both times the axes are pushed to the same places.
void Examiner::compareTestPoints() {
    std::vector<std::array<long, 3>> points;
    for (const QString& line : m_window.ui.encoderTest_debug->toPlainText().split('\n')) {
        const QStringList counts = line.section("Encoder Values :  ", 1).split(", ");
        if (counts.size() == 3)
            points.push_back({counts[0].toLong(), counts[1].toLong(), counts[2].toLong()});
    }
    for (std::size_t axis = 0; axis < 3 && !points.empty(); ++axis) {
        m_findings.read(QString("counts of %1 at the first test point").arg(kAxes[axis]),
                        static_cast<double>(points[0][axis]), {1, 1, 20});
        if (points.size() > 1 && std::labs(points[1][axis] - points[0][axis]) >= 5)
            m_findings.saw(QString("%1 is %2 counts elsewhere at the second test point")
                               .arg(kAxes[axis])
                               .arg(points[1][axis] - points[0][axis]));
    }
}
