// The panel's window: who is at the other end, the workspace, the figures, the controls by subject, and the
// row that records and plays. Where it is narrow the figures stand below the workspace.
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
class QBoxLayout;
class QComboBox;
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
    /// Beside an application's window, which is empty where none is known.
    void place(const QRect& application);

protected:
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    QLayout* header();
    QLayout* views();
    QTabWidget* tabs();
    void arrange(bool narrow);
    void showCondition();
    void showRunning();
    void takeNewer();
    void lookForApplication();
    void showState(const QJsonObject& json);
    void showError(const QString& sentence);
    void showStatus(const QString& text, bool error);
    void showPassing(const QString& text, bool error);

    ArmLink link_;
    HandWishes hand_;
    LineLabel *device_, *loop_, *status_;
    QComboBox* applications_;  // by the path of the socket
    QStringList met_;          // applications that ran before, and are nothing new
    QString newer_;            // one that started while the hands were full
    QPoint placed_;            // where the panel put itself
    QTimer look_;              // for the application's window
    QWidget* body_;
    QBoxLayout *parts_, *viewRow_;
    int wideFrom_ = 0;   // pixels; a narrower panel stacks its parts
    bool slim_ = false;  // then it needs slim figures too
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
