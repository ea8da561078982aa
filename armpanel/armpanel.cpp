// The window put together: header, views, figures, tabs, the script's row, status line.
#include "armpanel.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDateTime>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLocale>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QTabWidget>
#include <QTime>
#include <QVBoxLayout>

#include "beside.h"
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
constexpr QSize kWide{720, 680};
constexpr QSize kNarrow{450, 738};  // leaves an application of 900 pixels free on a screen of 1366
constexpr int kLowView = 150;       // pixels
constexpr int kLookMs = 1000;       // between looks for the application's window

QString usualStatus() {
    return ArmPanel::tr(
        "Drag the stylus in a view, or use the arrow keys, Page Up/Down and Shift there; Esc releases it.");
}

/// A page that is scrolled where the panel is smaller than it: with large fonts, on a small screen.
QWidget* scrolled(QWidget* page) {
    auto* area = new QScrollArea(page->parentWidget());
    area->setFrameShape(QFrame::NoFrame);
    area->setWidgetResizable(true);
    area->setFocusPolicy(Qt::NoFocus);
    page->setAutoFillBackground(false);
    area->setWidget(page);
    area->viewport()->setAutoFillBackground(false);
    area->setMinimumHeight(120);
    return area;
}

QString nameOf(const QString& socket) {
    return ArmPanel::tr("process %1, since %2")
        .arg(ArmLink::processOf(socket))
        .arg(QFileInfo(socket).lastModified().toString("HH:mm:ss"));
}

}  // namespace

ArmPanel::ArmPanel(QWidget* parent) : QWidget(parent), hand_(link_) {
    setWindowTitle(tr("Nolva arm - a hand on the simulated device"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(10, 8, 10, 6);
    layout->setSpacing(6);
    layout->addLayout(header());

    body_ = new QWidget(this);
    parts_ = new QBoxLayout(QBoxLayout::LeftToRight, body_);
    parts_->setContentsMargins(0, 0, 0, 0);
    parts_->setSpacing(10);
    parts_->addLayout(views(), 1);
    auto* right = new QVBoxLayout;
    right->setSpacing(8);
    readouts_ = new Readouts(body_);
    right->addWidget(readouts_);
    right->addWidget(tabs(), 1);
    parts_->addLayout(right, 1);
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
    connect(&link_, &ArmLink::runningChanged, this, &ArmPanel::showRunning);
    connect(&link_, &ArmLink::stateArrived, this, &ArmPanel::showState);
    connect(&link_, &ArmLink::refused, this, [this](const QString& why) { showError(tr("Refused: %1").arg(why)); });
    connect(script_, &ScriptBar::failed, this, &ArmPanel::showError);
    connect(&link_, &ArmLink::connected, faults_, &FaultList::refresh);
    connect(&link_, &ArmLink::connected, fleet_, &FleetList::refresh);
    auto* escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, &hand_, &HandWishes::release);
    look_.setInterval(kLookMs);
    connect(&look_, &QTimer::timeout, this, &ArmPanel::lookForApplication);
    connect(&link_, &ArmLink::connected, &look_, QOverload<>::of(&QTimer::start));
    showCondition();
    layout->setSizeConstraint(QLayout::SetNoConstraint);
    arrange(true);
    slim_ = layout->minimumSize().width() > kNarrow.width();
    arrange(true);
    setMinimumSize(layout->minimumSize());
    arrange(false);
    wideFrom_ = layout->minimumSize().width();
    resize(std::max(kWide.width(), wideFrom_), kWide.height());
}

void ArmPanel::arrange(bool narrow) {
    parts_->setDirection(narrow ? QBoxLayout::TopToBottom : QBoxLayout::LeftToRight);
    viewRow_->setDirection(narrow ? QBoxLayout::LeftToRight : QBoxLayout::TopToBottom);
    parts_->setStretch(0, narrow ? 0 : 1);  // the views: as wide as they are high is enough
    for (WorkspaceView* view : views_) {
        view->setMinimumHeight(narrow && slim_ ? kLowView : 0);
        view->setMaximumHeight(narrow ? kNarrow.width() / 2 : QWIDGETSIZE_MAX);
    }
    readouts_->setSlim(narrow && slim_);
    script_->setNarrow(narrow);
    parts_->activate();
    body_->updateGeometry();
    script_->updateGeometry();
}

void ArmPanel::place(const QRect& application) {
    const QRect place =
        beside::placeOf(QGuiApplication::primaryScreen()->availableGeometry(), application,
                        {std::max(kWide.width(), wideFrom_), kWide.height()}, kNarrow, frameGeometry().size() - size());
    resize(place.size());
    move(place.topLeft());
    placed_ = place.topLeft();
}

/// The application's window comes up later than its arm, after a dialog where there is one; a panel that a person has
/// moved stays where it is.
void ArmPanel::lookForApplication() {
    const QRect application = beside::windowOf(link_.process());
    if (!application.isEmpty() && pos() == placed_)
        place(application);
    if (!application.isEmpty() || !link_.isConnected())
        look_.stop();
}

void ArmPanel::resizeEvent(QResizeEvent* event) { arrange(event->size().width() < wideFrom_); }

QTabWidget* ArmPanel::tabs() {
    auto* tabs = new QTabWidget(body_);
    handControls_ = new HandControls(link_, hand_, tabs);
    jointControls_ = new JointControls(link_, hand_, tabs);
    faults_ = new FaultList(link_, tabs);
    heat_ = new HeatControls(link_, tabs);
    fleet_ = new FleetList(link_, tabs);
    loopView_ = new LoopView(link_, tabs);
    const auto add = [tabs](QWidget* page, const QString& text, const QString& tip) {
        tabs->setTabToolTip(tabs->addTab(scrolled(page), text), withKey(text, tip));
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
    applications_ = new QComboBox(this);
    applications_->setToolTip(tr("The running applications; this panel is the hand of one of them"));
    applications_->setAccessibleName(applications_->toolTip());
    applications_->setObjectName("applications");
    applications_->hide();
    connect(applications_, QOverload<int>::of(&QComboBox::activated), this, [this](int row) {
        newer_.clear();
        link_.hold(applications_->itemData(row).toString());
    });
    auto* top = new QHBoxLayout;
    top->addWidget(device_, 1);
    top->addWidget(applications_);
    layout->addLayout(top);
    layout->addWidget(loop_);
    return layout;
}

QLayout* ArmPanel::views() {
    viewRow_ = new QBoxLayout(QBoxLayout::TopToBottom);
    viewRow_->setSpacing(6);
    views_ = {new WorkspaceView(WorkspaceView::Side::Front, body_),
              new WorkspaceView(WorkspaceView::Side::Above, body_)};
    for (WorkspaceView* view : views_) {
        viewRow_->addWidget(view);
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
    return viewRow_;
}

void ArmPanel::showCondition() {
    using Condition = ArmLink::Condition;
    const Condition condition = link_.condition();
    body_->setEnabled(condition == Condition::Connected);
    script_->setCondition(condition);
    if (condition != Condition::Connected)
        hand_.stopScript();
    showRunning();
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

void ArmPanel::showRunning() {
    const QStringList running = link_.isConnected() ? link_.running() : QStringList();
    if (!running.isEmpty() && !met_.isEmpty() && !met_.contains(running.first()))
        newer_ = running.first();
    met_ = running;
    applications_->clear();
    for (const QString& socket : running)
        applications_->addItem(nameOf(socket), socket);
    applications_->setCurrentIndex(running.indexOf(link_.socketPath()));
    applications_->setVisible(running.size() > 1);
    takeNewer();
}

/// Whoever starts an application wants to hold its arm; a hand that is on another one stays there.
void ArmPanel::takeNewer() {
    if (newer_.isEmpty() || !hand_.isEmpty() || script_->isRecording())
        return;
    const QString newer = std::exchange(newer_, {});
    link_.hold(newer);
    if (link_.socketPath() == newer)
        showPassing(tr("Now the hand of the newer application, process %1.").arg(ArmLink::processOf(newer)), false);
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
    heat_->showState(state);
    faults_->showState(state);  // after those that ignore a state while a command is under way: it may send one
    fleet_->showState(state);
    loopView_->showState(state);
    takeNewer();
}

void ArmPanel::showStatus(const QString& text, bool error) {
    QFont font = this->font();
    font.setBold(error);
    status_->setFont(font);
    status_->setText(text);
}

void ArmPanel::showPassing(const QString& text, bool error) {
    showStatus(text, error);
    errorAge_.start();
}

void ArmPanel::showError(const QString& sentence) {
    errors_ << tr("%1  %2").arg(QTime::currentTime().toString("HH:mm:ss"), sentence);
    if (errors_.size() > kErrorsKept)
        errors_.removeFirst();
    showPassing(errors_.last(), true);
    status_->setToolTip(errors_.join('\n'));
}

void ArmPanel::closeEvent(QCloseEvent* event) {
    if (script_->mayDrop())
        event->accept();
    else
        event->ignore();
}
