// The closed-loop encoder test on the simulated arm: healthy arms go round without a complaint, and what is wrong
// with an arm ends or marks the run.
#include <QTemporaryDir>
#include <functional>

#include "gestures.h"
#include "servostate.h"
#include "windowtest.h"

class TestEncoderFlow : public QObject {
    Q_OBJECT

    QTemporaryDir home;
    std::unique_ptr<qtTharlenTest> window;

    void open(const QString& device) {
        window.reset();
        armcontrol::resetArm();
        QCOMPARE(armcontrol::loopStepped(true), std::string());
        resetSharedState();
        testClock = &armcontrol::armMilliseconds;
        window = std::make_unique<qtTharlenTest>();
        goToTab(*window, "Select");
        window->ui.m_cmbTHARLeN->setCurrentText(device);
        QVERIFY(window->csTharlenID >= 0);
        Gestures hand;
        QCOMPARE(hand.calibrate(window->csTharlenID), std::string());
        hand.letGoAt({}, 1500, 0);
        window->manufMode = window->encoderTestMode = true;
        window->ui.tabWidget->addTab(window->ui.tab_5, "Encoder Test");
        goToTab(*window, "Encoder Test");
    }
    QStringList log() { return window->ui.encoderTest_debug->toPlainText().split('\n', Qt::SkipEmptyParts); }

    /// The counts of the log's test points.
    QVector<std::array<long, 3>> testPoints() {
        QVector<std::array<long, 3>> points;
        for (const QString& line : log().filter("Encoder Values :  ")) {
            const QStringList counts = line.section(":  ", 1).split(", ");
            points.append({counts[0].toLong(), counts[1].toLong(), counts[2].toLong()});
        }
        return points;
    }

    /// Simulated seconds until the condition holds, at most `most`.
    double runUntil(const std::function<bool()>& condition, double most) {
        const double start = armcontrol::armTime();
        while (!condition() && armcontrol::armTime() < start + most) {
            armcontrol::step(20);
            window->showEncoderTestEvents();
        }
        return armcontrol::armTime() - start;
    }
    double runLoops(int loops) {
        return runUntil([=] { return totalLoops >= loops; }, 60);
    }
    void start() {
        window->ui.encoderTestLoopsSpinBox->setValue(2);
        window->ui.checkTestDegrees->setChecked(false);
        window->ui.runEncoderTest_button->click();
    }

private slots:
    void initTestCase() {
        qputenv("KNDD_HOME", home.path().toLocal8Bit());
        QDir(home.path()).mkdir("config");
        qputenv("NOLVA_ARM_SOCKET", "off");
    }
    void cleanup() {
        window.reset();
        armcontrol::resetArm();
        resetSharedState();
    }

    // Two test points with a loop between them, on every arm that has a route: no complaint, no warning, and the
    // arm ends up at the same counts both times.
    void healthy() {
        for (const char* device :
             {"Default Device", "Orda LAN", "Orda High Force", "Corvale USB", "Corvale LAN", "Corvale 1394"}) {
            open(device);
            start();
            runLoops(1);
            const double seconds = runLoops(2);
            QVERIFY2(seconds < (window->isOrda() ? 19.0 : 38.0), qPrintable(QString::number(seconds)));
            runLoops(3);
            const auto points = testPoints();
            QCOMPARE(points.size(), 2);
            for (int axis = 0; axis < 3; ++axis) {
                QVERIFY2(std::labs(points[1][axis] - points[0][axis]) <= 1, qPrintable(log().join(" | ")));
                // A Corvale passes each home sensor on the way that is meant for it.
                QCOMPARE(window->ZsensorOn[axis] != 0 && window->ZsensorOff[axis] != 0, window->isCorvale());
            }
            window->ui.stopEncoderTest_button->click();
            QCOMPARE(log().size(), 4);  // start, two test points, end
            armcontrol::step(20);
            QVERIFY(!armcontrol::state().amplifiers && window->errorMessage.isEmpty());
            start();  // a second run settles as the first did
            runLoops(1);
            QCOMPARE(testPoints().size(), 3);
        }
    }

    // A fault that comes between two test points: the run stands at a step, or a line says what is wrong.
    void faults() {
        const std::tuple<const char*, const char*, int, double, QString> rows[] = {
            {"Default Device", "unplugged", -1, 1, "Note: the device does not answer."},
            {"Orda High Force", "hot", 0, 95, "Temprature Warning (95.000) estimated on axis 0"},
            {"Orda LAN", "amplifier", -1, 1, "Note: the amplifiers are not on."},
            {"Corvale USB", "hot", 2, 165, "Temperature Error (165.000) detected at axis 2"},
            {"Corvale LAN", "weak-motor", 2, 0, ""},
            {"Corvale 1394", "dead-encoder", -1, 1, "Error ("}};
        for (const auto& [device, fault, axis, amount, mark] : rows) {
            open(device);
            start();
            // Set while all three axes are on their way, so that none holds the others in the band.
            runUntil([this] { return window->m_iButtonStep == 2; }, 40);
            armcontrol::step(200);
            QCOMPARE(armcontrol::setFault(fault, true, axis, amount), std::string());
            runLoops(2);
            const QString all = device + QString(": ") + log().join(" | ");
            QVERIFY2(all.contains(mark) && (startEncoderTest && window->m_bServoControl) != mark.contains("Error"),
                     qPrintable(all));
            QVERIFY2(!mark.isEmpty() || (totalLoops == 1 && log().size() == 2), qPrintable(all));
            QVERIFY(log().filter("Note: ").size() <= 1);
        }
    }
};

QTEST_MAIN(TestEncoderFlow)
#include "tst_encoderflow.moc"
