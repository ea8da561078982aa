// The panel's window: who is at the other end, the workspace, the figures, the controls by subject, and the
// row that records and plays.
#pragma once

#include <QWidget>

#include <array>

#include "handwishes.h"
#include "readouts.h"

class FaultList;
class FleetList;
class HandControls;
class HeatControls;
class JointControls;
class LoopView;
class QTabWidget;
class ScriptBar;
class WorkspaceView;

class ArmPanel : public QWidget {
    Q_OBJECT

public:
    explicit ArmPanel(QWidget* parent = nullptr);

    /// As ArmLink::start().
    void start(int retryMs = ArmLink::kRetryMs, int silentMs = ArmLink::kSilentMs) { link_.start(retryMs, silentMs); }
    ArmLink& link() { return link_; }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QLayout* header();
    QLayout* views();
    QTabWidget* tabs();
    void showCondition();
    void showState(const QJsonObject& json);
    void showError(const QString& sentence);
    void showStatus(const QString& text, bool error);

    ArmLink link_;
    HandWishes hand_;
    LineLabel *device_, *loop_, *status_;
    QWidget* body_;
    std::array<WorkspaceView*, 2> views_{};
    Readouts* readouts_;
    HandControls* handControls_;
    JointControls* jointControls_;
    FaultList* faults_;
    HeatControls* heat_;
    FleetList* fleet_;
    LoopView* loopView_;
    ScriptBar* script_;
    QTimer errorAge_;
    QStringList errors_;  // the latest last
};
