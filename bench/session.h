// One device's way through the window: what the bench adds to it, and what it keeps of it.
#pragma once

#include <QObject>
#include <QTimer>

#include "flows.h"
#include "kept.h"

class qtTharlenTest;

/// Puts the tabs of friction and capstan into their place, says where a flow ends, tells the mode in the window's
/// title, and sees to it that the report gets written. Graphical thread.
class BenchSession : public QObject {
    Q_OBJECT

public:
    /// From the moment at which the gate has opened. The window has to live as long.
    BenchSession(qtTharlenTest& window, const Flow& flow, bool mechanics, const QString& operatorName);
    /// What goes to the next device.
    Kept kept() const;

private slots:
    /// They take their place as "Box Test" does, before anybody can go past them.
    void placeMechanics();
    void sayWhereFlowEnds();
    void tellMode();
    /// No way leads back to "Summary": a report that could not be written is tried again by itself.
    void insistOnReport();

private:
    qtTharlenTest& m_window;
    const Flow& m_flow;
    bool m_mechanics;
    QString m_reportBefore;  ///< stamp of the report's file as the session began
    QTimer m_watch, m_insist;
};
