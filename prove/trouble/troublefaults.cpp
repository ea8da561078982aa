// Each fault in the middle of each test.
#include <QListWidget>
#include <QTimer>
#include <algorithm>

#include "device/simulated/armcontrol.h"
#include "qttharlenhapticrenderer.h"
#include "servostate.h"
#include "trouble.h"

namespace {

// The built-in fleet, by place: which devices a test is for.
constexpr int kOrdas[] = {0, 1, 2};
constexpr int kCorvales[] = {3, 4, 5};
constexpr int kWithRoute[] = {0, 1, 2, 3, 4, 5};
constexpr int kAll[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13};

constexpr int kLongestRun = 90000;  ///< ms until a test that ends by itself has ended

struct Scene {
    TroubleBench& bench;
    Dice& dice;
    qtTharlenTest& window;
    Ui::qtTharlenTestClass& ui;
};

/// What the operator starts, and what the hand and the operator do meanwhile, again and again.
struct Trial {
    const char* name;
    Mode mode;
    const char* tab;
    int page;  ///< of the last tab, -1 elsewhere
    const int* devices;
    int deviceCount;
    void (*start)(Scene&);
    void (*meanwhile)(Scene&);
};

// --- What hand and operator do ---------------------------------------------------------------------

void nothing(Scene&) {}

void moveHand(Scene& s) { armcontrol::handMove({s.dice.real(-50, 50), s.dice.real(-50, 50), s.dice.real(-50, 50)}); }

void sweepHand(Scene& s) {
    armcontrol::handSweep(s.dice.below(6), s.dice.real(0.5, 6));
    armcontrol::handSwitch(s.dice.below(2), s.dice.oneIn(2));
}

void dockHand(Scene& s) {
    if (armcontrol::handDock().empty())
        return;
    s.dice.oneIn(2) ? armcontrol::handReset() : armcontrol::handSweep(s.dice.below(3), 1.0);
}

void calibrate(Scene& s) {
    dockHand(s);
    s.ui.calibrate_button->click();
}

void changeDevice(Scene& s) { s.ui.m_cmbTHARLeN->setCurrentIndex(s.dice.below(s.ui.m_cmbTHARLeN->count())); }

void moveSliders(Scene& s) {
    QSlider* const sliders[] = {s.ui.slider_X, s.ui.slider_Y, s.ui.slider_Z};
    s.dice.of(sliders)->setValue(s.dice.between(-100, 100));
    moveHand(s);
}

void pushWalls(Scene& s) { armcontrol::handMove(towards(s.dice.below(kWalls), kPushDistance)); }

void startFriction(Scene& s) {
    s.bench.person().hand.letGoAt({}, 700, 0);
    s.ui.startFrictionTest_button->click();
}

void startCapstan(Scene& s) {
    s.bench.person().hand.letGoAt({}, 700, 0);
    s.ui.startCapstanTest_button->click();
}

void startEncoderTest(Scene& s) {
    s.bench.person().hand.letGoAt({}, 700, 0);
    s.ui.runEncoderTest_button->click();
}

void typeCommands(Scene& s) {
    for (QLineEdit* field : {s.ui.cforce_1, s.ui.cforce_2, s.ui.motor_dac_1, s.ui.motor_dac_3})
        field->setText(QString::number(s.dice.between(-40000, 40000)));
    s.ui.sendForce_checkBox->setChecked(s.dice.oneIn(2));
    s.ui.sendForce_checkBox_2->setChecked(s.dice.oneIn(2));
    s.window.command_motor_dac();
    moveHand(s);
}

// --- The tests -------------------------------------------------------------------------------------

template <std::size_t N>
constexpr Trial trial(const char* name, Mode mode, const char* tab, int page, const int (&devices)[N],
                      void (*start)(Scene&), void (*meanwhile)(Scene&)) {
    return {name, mode, tab, page, devices, static_cast<int>(N), start, meanwhile};
}

constexpr char kLast[] = "Performance Testing";

const Trial kTrials[] = {
    trial("device change", Mode::User, "Select", -1, kAll, nothing, changeDevice),
    trial("calibration", Mode::Manufacturing, "Calibrate", -1, kAll, calibrate, dockHand),
    trial(
        "calibration details", Mode::Manufacturing, "Calibration Details", -1, kCorvales,
        [](Scene& s) { s.dice.oneIn(2) ? s.ui.loseCalib_button->click() : s.ui.updateCalib_button->click(); },
        sweepHand),
    trial("encoders", Mode::Manufacturing, "Read Encoder", -1, kAll, nothing, sweepHand),
    trial("amplifiers", Mode::Manufacturing, "Cycle Amps", -1, kAll, nothing, moveHand),
    trial("forces", Mode::Manufacturing, "Test Forces", -1, kAll, moveSliders, moveSliders),
    trial("friction", Mode::Manufacturing, "Test Friction", -1, kOrdas, startFriction, nothing),
    trial("capstan", Mode::Manufacturing, "Test Capstan", -1, kOrdas, startCapstan,
          [](Scene& s) { s.ui.verifyCapstanTest_button->click(); }),
    trial("box of the user", Mode::User, "Box Test", -1, kAll, pushWalls, pushWalls),
    trial("box", Mode::Manufacturing, "Box Test", -1, kAll, pushWalls, pushWalls),
    trial(
        "servo rate", Mode::User, "Servoloop", -1, kAll, [](Scene& s) { s.ui.hapticRate_startButton->click(); },
        moveHand),
    trial("encoder test", Mode::EncoderTest, "Encoder Test", -1, kWithRoute, startEncoderTest, nothing),
    trial(
        "gimbal recorder", Mode::EncoderTest, "Encoder Test", -1, kWithRoute,
        [](Scene& s) { s.window.initGimbalEncoderTest(); }, sweepHand),
    trial(
        "resolution", Mode::Performance, kLast, 0, kAll, [](Scene& s) { s.ui.pushButton_13->click(); }, moveHand),
    trial("commanded forces", Mode::Performance, kLast, 1, kAll, typeCommands, typeCommands),
    trial(
        "workspace", Mode::Performance, kLast, 2, kAll, [](Scene& s) { s.ui.startRecord->click(); }, moveHand),
    trial(
        "friction page", Mode::Performance, kLast, 3, kAll, [](Scene& s) { s.window.startFrictionPerformanceTest(); },
        [](Scene& s) {
            if (s.dice.oneIn(3))
                s.window.stopFrictionPerformanceTest();
        }),
    trial(
        "passivity", Mode::Performance, kLast, 4, kAll,
        [](Scene& s) { s.window.onPassivitySliderChange(s.dice.below(101)); }, pushWalls),
    trial(
        "servo load", Mode::Performance, kLast, 5, kAll,
        [](Scene& s) {
            s.ui.pushButton_9->click();
            s.ui.lineEdit_6->setText("100000");
            s.ui.pushButton_8->click();
        },
        moveHand),
    trial(
        "motor temperatures", Mode::Performance, kLast, 6, kAll,
        [](Scene& s) {
            s.ui.pushButton_18->click();
            typeCommands(s);
        },
        typeCommands),
    trial("filters", Mode::Performance, kLast, 7, kAll, nothing, moveHand),
};

// --- A run -----------------------------------------------------------------------------------------

/// Lets time pass in pieces, between which hand and operator go on.
void goOn(Scene& scene, const Trial& trial, int milliseconds) {
    while (milliseconds > 0) {
        const int piece = qMin(milliseconds, scene.dice.between(30, 400));
        scene.bench.spend(piece);
        trial.meanwhile(scene);
        milliseconds -= piece;
    }
}

/// A test that ends by itself does so, whatever happened to it, on its tab or on another one.
void awaitEnds(Scene& scene) {
    const auto under = [&] {
        return scene.window.frictionTestTimer->isActive() || scene.window.capstanTestRefTimer->isActive()
               || scene.window.capstanTestTimer->isActive() || scene.window.servoRateGraphicTimer->isActive();
    };
    for (int waited = 0; under(); waited += 100) {
        if (waited > kLongestRun)
            throw TroubleFound("A test that ends by itself has not ended.");
        scene.bench.spend(100);
    }
}

/// Milliseconds into a test: short for those that are at once in the middle, and now and then long for all.
int moment(const Trial& trial, Dice& dice) {
    const bool slow = trial.start == startFriction || trial.start == startCapstan || trial.start == startEncoderTest
                      || QLatin1String(trial.tab) == "Cycle Amps";
    return dice.between(0, dice.oneIn(20) ? 8000 : slow ? 4000 : 500);
}

/// Half of the runs that find the arm without a calibration give it one first.
void calibrateArm(Scene& scene) {
    if (armcontrol::state().calibrationStatus == 0 || scene.dice.oneIn(2))
        return;
    Operator& person = scene.bench.person();
    const CalibrationStyle style = person.calibrationStyle();
    const int id = scene.window.csTharlenID;
    person.hand.calibrate(style, [=] { takeCalibration(id, style); }, {2.5, 4000});
    armcontrol::handUndock();
    scene.bench.note(QString("calibration: %1").arg(armcontrol::state().calibrationStatus));
}

/// An empty fault is none to switch: a manner may be on all the time.
void run(Scene& scene, const Trial& trial, const QString& fault) {
    TroubleBench& bench = scene.bench;
    bench.choose(trial.mode);
    bench.select(trial.devices[scene.dice.below(trial.deviceCount)]);
    if (trial.page < 0 && trial.mode != Mode::User)
        bench.showAllPages();
    calibrateArm(scene);
    const bool early = scene.dice.oneIn(5);  // before the tab is entered
    if (early && !fault.isEmpty())
        bench.breakArm(fault, scene.dice);
    bench.go(trial.tab);
    if (bench.tab() != trial.tab)
        throw TroubleFound(QString("\"%1\" cannot be entered.").arg(trial.tab));
    if (trial.page >= 0)
        scene.ui.listWidget->setCurrentRow(trial.page);
    trial.start(scene);
    goOn(scene, trial, moment(trial, scene.dice));
    if (!early && !fault.isEmpty())
        bench.breakArm(fault, scene.dice);
    goOn(scene, trial, moment(trial, scene.dice));
    if (!fault.isEmpty())
        bench.mendArm();
    goOn(scene, trial, moment(trial, scene.dice));
    // What outlasts its page by design comes to its end here; a page's flag falls with the change of page.
    if (trial.page >= 0) {
        if (bFrictionPerformance)
            scene.window.stopFrictionPerformanceTest();
        scene.ui.stopRecord->click();
        scene.ui.listWidget->setCurrentRow(trial.page == 0 ? 2 : 0);
        scene.window.clearForces();
    }
    if (scene.dice.oneIn(3))
        awaitEnds(scene);
    bench.go(scene.dice.oneIn(2) ? "Select" : "Calibrate");
    bench.checkAlive();
    bench.checkReport();
    awaitEnds(scene);
}

}  // namespace

int troubleRound() { return static_cast<int>(std::size(kTrials) * armcontrol::faultNames().size()); }

void troubleFaults(TroubleBench& bench, Diary& diary, unsigned seed, long first, long count) {
    constexpr long kRunsOfWindow = 10;
    const std::vector<std::string> faults = armcontrol::faultNames(), manners = armcontrol::mannerNames();
    constexpr long kTests = static_cast<long>(std::size(kTrials));
    for (long i = first; i < first + count && !FlowTime::cancelled(); ++i) {
        diary.at = i;
        if (i % kRunsOfWindow == 0 && i != first)
            bench.freshArm();
        Dice dice(seed, i);
        const Trial& trial = kTrials[i % kTests];
        const std::string& name = faults[static_cast<std::size_t>(i / kTests) % faults.size()];
        const QString fault = QString::fromStdString(name);
        // A library has its manners from the first opening to the window's end, as a rule.
        const bool isManner = std::find(manners.begin(), manners.end(), name) != manners.end();
        const bool always = isManner && !dice.oneIn(3);
        bench.note(QString("run: %1 with %2%3").arg(trial.name, fault, always ? " all the time" : ""));
        if (always)
            bench.freshArm(fault, TroubleBench::drawAmount(fault, dice));
        Scene scene{bench, dice, bench.window(), bench.window().ui};
        run(scene, trial, always ? QString() : fault);
        if (always)
            bench.openWindow();
        bench.mendArm();
        if (dice.oneIn(25))
            bench.paint();
    }
}
