// A device of the fleet on the stepped arm, the window beside it, and an operator's hand: what every test of the
// detection matrix is played with.
#pragma once

#include <QString>
#include <memory>

#include "device/simulated/armcontrol.h"
#include "faultexpectations.h"
#include "findings.h"
#include "flowtime.h"
#include "manner.h"
#include "operator.h"
#include "qttharlentest.h"
#include "subjects.h"

/// One test of one arm.
struct Cell {
    Subject subject;
    Test test = Test::Select;
    const FaultCase* faultCase = nullptr;  ///< null on a healthy arm
    int axis = -1;
    unsigned seed = 0;  ///< the operator's manner
};

class Bench : public FlowTime {
public:
    /// A fresh arm and a fresh window. One bench may be alive at a time.
    Bench(const Cell& cell, Findings& findings);
    ~Bench() override;

    /// Opens the device, calibrated as its last operator left it, in the mode of the test; the hand holds it near
    /// the center. What went wrong, empty when nothing did.
    QString open();
    /// Shows the test's tab, inserted where no operator has it. The fault comes on just before, but a stall, which
    /// is over at once, with underWay().
    void enter();
    /// The test is at what it measures.
    void underWay();
    /// Lets time pass and looks at the error browser.
    void spend(int milliseconds) override;
    void switchFault();

    // --- The eyes ---
    bool has(QWidget* page) const { return window->ui.tabWidget->indexOf(page) >= 0; }
    QWidget* page(Test test) const;

    const Cell& cell;
    Findings& findings;
    Manner manner;
    std::unique_ptr<qtTharlenTest> window;
    std::unique_ptr<SteppedTime> time;
    std::unique_ptr<Operator> person;

private:
    void insertTabs();
    void readErrors();
    int m_sinceLook = 0;  ///< ms
};

/// What one test of one arm came to.
struct CellResult {
    bool played = false;
    QStringList program, person;  ///< who held what against the arm
    Readings figures;
    double armSeconds = 0;
    QString broken;  ///< why the test could not be played; empty when it was
    bool found() const { return !program.isEmpty() || !person.isEmpty(); }
};

/// Plays the cell; read-outs are compared with those of the same test on a healthy arm, which is played first where
/// that was not done before. Graphical thread, with no window alive and KNDD_HOME set to a folder of its own.
CellResult examine(const Cell& cell);
