// The flows behind the gate of the advanced modes: what they are for, what they do to motors, and where they end.
#pragma once

#include <QString>
#include <array>

class qtTharlenTest;

/// A row of the start dialog.
struct Flow {
    const char* word;    ///< by which it is kept from device to device
    const char* title;   ///< in the dialog and in the window's title
    const char* motors;  ///< what it does to motors, and what it leaves behind
    bool manufacturing;  ///< MVI_MANUFACTURING is set for the gate
    bool encoderCheck;   ///< MVI_ENCODER_CHECK is set for the gate

    /// Sets both variables of the environment for the gate, which looks at them when it is asked.
    void prepareGate() const;

    static const std::array<Flow, 3> all;
};

/// The row of a word; the first one where there is none.
const Flow& findFlow(const QString& word);

/// Of a flow that ends in a report: on which lines it goes to its end and on which it stops before.
QString whereFlowsEnd();

/// Why the flow goes no further than the tab that is shown, for the open device; empty where it goes on, without a
/// device, and outside manufacturing. Graphical thread.
QString flowEndsHere(const qtTharlenTest& window);
