// An operator who takes one test and looks: what the program says goes to the findings as such, what eye and hand
// notice beside it.
#pragma once

#include "bench.h"

class QLabel;
class QPushButton;
class QTextBrowser;

class Examiner {
public:
    explicit Examiner(Bench& bench)
        : m_bench(bench), m_hand(bench.person->hand), m_window(*bench.window), m_findings(bench.findings) {}

    /// Opens the device itself, from a window that was just started.
    void select();
    /// Takes the bench's test on a device that is open.
    void examine();

private:
    // Sensors (examinesensors.cpp)
    void calibrate();
    void calibrationDetails();
    void readEncoder();
    void sweepAndCompare(int axis);
    void holdStill();
    void feelForFriction();
    void workButton(const char* name, QPushButton* button, int number);
    void workInkWell();
    void readVerdicts();
    void gimbalTrace();

    // Motors and loop (examinemotors.cpp)
    void readNotes(const QTextBrowser* box);
    void cycleAmps();
    void testForces();
    void pushMotor(int axis);
    void letGoAtTheCenter();
    void testFriction();
    void testCapstan();
    void boxTest();
    void feelWall(int wall);
    void breakOut();
    void servoloop();
    void encoderTest();
    void compareTestPoints();

    Bench& m_bench;
    Gestures& m_hand;
    qtTharlenTest& m_window;
    Findings& m_findings;
};
