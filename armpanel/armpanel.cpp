// The window put together: header, views, figures, tabs, the script's row, status line.
#include "armpanel.h"

#include <QCloseEvent>
#include <QLocale>
#include <QShortcut>
#include <QTabWidget>
#include <QTime>
#include <QVBoxLayout>

#include "controls.h"
#include "faultlist.h"
#include "fleetlist.h"
#include "handcontrols.h"
#include "heatcontrols.h"
#include "jointcontrols.h"
#include "loopview.h"
#include "readouts.h"
#include "scriptbar.h"
#include "shown.h"
#include "wallcontrols.h"
#include "workspaceview.h"

namespace {

constexpr int kErrorMs = 15000;  // how long an error stays on the status line
constexpr int kErrorsKept = 10;  // in its tool tip

QString usualStatus() {
    return ArmPanel::tr(
        "Drag the stylus in a view, or use the arrow keys, Page Up/Down and Shift there; Esc releases it.");
}

}  // namespace

ArmPanel::ArmPanel(QWidget* parent) : QWidget(parent), hand_(link_) {
    setWindowTitle(tr("Nolva arm - a hand on the simulated device"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 8, 10, 6);
    layout->setSpacing(6);
    layout->addLayout(header());

    body_ = new QWidget(this);
    auto* body = new QHBoxLayout(body_);
    body->setContentsMargins(0, 0, 0, 0);
    body->setSpacing(10);
    body->addLayout(views(), 1);
    auto* right = new QVBoxLayout;
    right->setSpacing(8);
    readouts_ = new Readouts(body_);
    right->addWidget(readouts_);
    right->addWidget(tabs(), 1);
    body->addLayout(right, 1);
    layout->addWidget(body_, 1);

    script_ = new ScriptBar(link_, hand_, this);
    layout->addWidget(script_);
    status_ = new LineLabel(usualStatus(), this);
    status_->setObjectName("status");
    status_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(status_);

    errorAge_.setSingleShot(true);
    errorAge_.setInterval(kErrorMs);
    connect(&errorAge_, &QTimer::timeout, this, [this] { showStatus(usualStatus(), false); });
    connect(&link_, &ArmLink::conditionChanged, this, &ArmPanel::showCondition);
    connect(&link_, &ArmLink::stateArrived, this, &ArmPanel::showState);
    connect(&link_, &ArmLink::refused, this, [this](const QString& why) { showError(tr("Refused: %1").arg(why)); });
    connect(script_, &ScriptBar::failed, this, &ArmPanel::showError);
    connect(&link_, &ArmLink::connected, faults_, &FaultList::refresh);
    connect(&link_, &ArmLink::connected, heat_, &HeatControls::refresh);
    connect(&link_, &ArmLink::connected, fleet_, &FleetList::refresh);
    auto* escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, &hand_, &HandWishes::release);
    showCondition();
    resize(720, 680);
}

QTabWidget* ArmPanel::tabs() {
    auto* tabs = new QTabWidget(body_);
    handControls_ = new HandControls(link_, hand_, tabs);
    jointControls_ = new JointControls(link_, hand_, tabs);
    faults_ = new FaultList(link_, tabs);
    heat_ = new HeatControls(link_, tabs);
    fleet_ = new FleetList(link_, tabs);
    loopView_ = new LoopView(link_, tabs);
    const auto add = [tabs](QWidget* page, const QString& text, const QString& tip) {
        tabs->setTabToolTip(tabs->addTab(page, text), withKey(text, tip));
    };
    add(handControls_, tr("&Hand"), tr("Hold, move, press and release the stylus"));
    add(jointControls_, tr("&Joints"), tr("Sweep an axis from stop to stop, hold joint angles"));
    add(new WallControls(hand_, tabs), tr("&Walls"), tr("Push through the walls of the box test"));
    add(faults_, tr("&Fault"), tr("What is broken"));
    add(heat_, tr("H&eat"), tr("Temperatures of the motors"));
    add(fleet_, tr("F&leet"), tr("The configured devices"));
    add(loopView_, tr("L&oop"), tr("The servo loop"));
    return tabs;
}

QLayout* ArmPanel::header() {
    auto* layout = new QVBoxLayout;
    layout->setSpacing(1);
    device_ = new LineLabel(this);
    device_->setObjectName("device");
    QFont bold = device_->font();
    bold.setBold(true);
    device_->setFont(bold);
    loop_ = new LineLabel(this);
    loop_->setObjectName("loop");
    layout->addWidget(device_);
    layout->addWidget(loop_);
    return layout;
}

QLayout* ArmPanel::views() {
    auto* column = new QVBoxLayout;
    column->setSpacing(6);
    views_ = {new WorkspaceView(WorkspaceView::Side::Front, body_),
              new WorkspaceView(WorkspaceView::Side::Above, body_)};
    for (WorkspaceView* view : views_) {
        column->addWidget(view);
        connect(view, &WorkspaceView::dragged, this, [this](int across, double mm, int along, double mmAlong) {
            Vec3 target = hand_.target();
            target[across] = mm;
            target[along] = mmAlong;
            hand_.moveTo(target);
        });
        connect(view, &WorkspaceView::nudged, &hand_, &HandWishes::nudge);
        connect(view, &WorkspaceView::originWanted, this, [this] { hand_.moveTo({}); });
        connect(view, &WorkspaceView::letGo, &hand_, &HandWishes::release);
    }
    return column;
}

void ArmPanel::showCondition() {
    using Condition = ArmLink::Condition;
    const Condition condition = link_.condition();
    body_->setEnabled(condition == Condition::Connected);
    script_->setCondition(condition);
    if (condition != Condition::Connected)
        hand_.stopScript();
    switch (condition) {
        case Condition::Connected:
            return;  // the first state tells the rest
        case Condition::Silent:
            device_->showLine(tr("The arm does not answer. Waiting for it."));
            loop_->showLine(shown(link_.socketPath()));
            return;
        case Condition::Off:
            device_->showLine(tr("NOLVA_ARM_SOCKET is \"off\": the arm has no socket."));
            break;
        case Condition::NoArm:
            device_->showLine(tr("No arm is running."));
            break;
    }
    loop_->showLine(condition == Condition::Off
                        ? tr("Start both programs without it.")
                        : tr("Start the diagnostic application; this panel connects by itself."));
    readouts_->clear();
    for (WorkspaceView* view : views_)
        view->clear();
}

void ArmPanel::showState(const QJsonObject& json) {
    const ArmState state = readArmState(json);
    const QLocale locale;
    if (state.open) {
        device_->showLine(tr("%1 \u2014 %2, serial %3")
                              .arg(QString::fromStdString(state.name), QString::fromStdString(state.model),
                                   QString::fromStdString(state.serial)));
        loop_->showLine(tr("%1 Hz set, %2 measured;  %3 of %4 ticks late;  %5")
                            .arg(state.rate)
                            .arg(state.measuredRate, 0, 'f', 1)
                            .arg(locale.toString(state.lateTicks), locale.toString(state.ticks),
                                 state.realTime ? tr("real-time scheduling") : tr("ordinary scheduling")));
    } else {
        device_->showLine(tr("The arm runs, but the application has no device open."));
        loop_->showLine(tr("What is set here holds for the device that it opens next."));
    }
    hand_.takeState(state);
    for (WorkspaceView* view : views_)
        view->showState(state);
    state.open ? readouts_->showState(state) : readouts_->clear();
    handControls_->showState(state);
    jointControls_->showState(state);
    faults_->showState(state);
    heat_->showState(state);
    fleet_->showState(state);
    loopView_->showState(state);
}

void ArmPanel::showStatus(const QString& text, bool error) {
    QFont font = this->font();
    font.setBold(error);
    status_->setFont(font);
    status_->setText(text);
}

void ArmPanel::showError(const QString& sentence) {
    errors_ << tr("%1  %2").arg(QTime::currentTime().toString("HH:mm:ss"), sentence);
    if (errors_.size() > kErrorsKept)
        errors_.removeFirst();
    showStatus(errors_.last(), true);
    status_->setToolTip(errors_.join('\n'));
    errorAge_.start();
}

void ArmPanel::closeEvent(QCloseEvent* event) {
    if (script_->mayDrop())
        event->accept();
    else
        event->ignore();
}
