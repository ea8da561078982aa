// An operator without a plan, who does whatever the window lets a person do.
#include <QApplication>
#include <QKeyEvent>
#include <QListWidget>
#include <QMessageBox>

#include "device/simulated/armcontrol.h"
#include "trouble.h"

namespace {

struct Hand {
    TroubleBench& bench;
    Dice& dice;
};

const char* const kOddTexts[] = {"",
                                 " ",
                                 "0",
                                 "-1",
                                 "1e400",
                                 "nan",
                                 "-inf",
                                 "2147483648",
                                 "99999999999999999999",
                                 "0x7f",
                                 "1,5",
                                 "1.5.2",
                                 "%s%n%d",
                                 "../../etc",
                                 "\xc3\x84rztin \xe2\x82\xac",
                                 "\xf0\x9f\x98\x80",
                                 "a\nb\tc",
                                 "<b>&amp;",
                                 "32767",
                                 "-32769",
                                 "100000",
                                 "calibrate?",
                                 "3",
                                 "0.5",
                                 "-2.5"};

/// Those in this place that a person can see and use.
template <class Widget>
QList<Widget*> usable(const QWidget& place) {
    QList<Widget*> found;
    const auto all = place.findChildren<Widget*>();
    for (Widget* widget : all)
        if (widget->isVisible() && widget->isEnabled())
            found.append(widget);
    return found;
}

/// Mostly on the page that is shown. False where there is none.
template <class Widget, class Act>
bool onOne(Hand& hand, const char* verb, Act act) {
    const QWidget& page = *hand.bench.window().ui.tabWidget->currentWidget();
    auto widgets = usable<Widget>(hand.dice.oneIn(4) ? hand.bench.window() : page);
    if (widgets.isEmpty())
        return false;
    Widget* widget = hand.dice.of(widgets);
    hand.bench.note(QString("%1 %2 on %3").arg(verb, widget->objectName(), hand.bench.tab()));
    act(widget);
    return true;
}

// --- Actions ---------------------------------------------------------------------------------------

bool click(Hand& hand) {
    return onOne<QAbstractButton>(hand, "click", [](QAbstractButton* button) { button->click(); });
}

bool press(Hand& hand) {
    constexpr int kKeys[] = {Qt::Key_Space,   Qt::Key_Space, Qt::Key_Return, Qt::Key_Escape, Qt::Key_Tab,
                             Qt::Key_Backtab, Qt::Key_Left,  Qt::Key_Right,  Qt::Key_Up,     Qt::Key_Down,
                             Qt::Key_Home,    Qt::Key_End,   Qt::Key_A,      Qt::Key_F1,     Qt::Key_Delete,
                             Qt::Key_PageUp,  Qt::Key_C,     Qt::Key_P};
    const int key = hand.dice.of(kKeys);
    const auto modifiers = hand.dice.oneIn(6)   ? Qt::AltModifier
                           : hand.dice.oneIn(8) ? Qt::ControlModifier
                                                : Qt::NoModifier;
    const QString text = key == Qt::Key_Space ? " " : key < 128 ? QString(QChar(key)) : QString();
    const auto send = [&](QWidget* widget) {
        for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
            QKeyEvent event(type, key, modifiers, text);
            QApplication::sendEvent(widget, &event);
        }
    };
    if (!hand.dice.oneIn(3))
        return onOne<QWidget>(hand, qPrintable(QString("key %1 to").arg(key)), send);
    hand.bench.note(QString("key %1 on %2").arg(key).arg(hand.bench.tab()));
    send(&hand.bench.window());
    return true;
}

bool slide(Hand& hand) {
    return onOne<QAbstractSlider>(hand, "slide", [&](QAbstractSlider* slider) {
        slider->setValue(hand.dice.between(slider->minimum(), slider->maximum()));
    });
}

bool type(Hand& hand) {
    return onOne<QLineEdit>(hand, "type into", [&](QLineEdit* field) {
        if (field->isReadOnly())
            return;
        const QString text = QString::fromUtf8(hand.dice.of(kOddTexts));
        field->setText(hand.dice.oneIn(20) ? text.repeated(3000) : text);
        QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
        QApplication::sendEvent(field, &enter);
    });
}

bool spin(Hand& hand) {
    return onOne<QSpinBox>(hand, "spin", [&](QSpinBox* box) {
        box->setValue(hand.dice.oneIn(2) ? hand.dice.between(box->minimum(), box->maximum())
                                         : hand.dice.between(0, 60));
    });
}

bool changeTab(Hand& hand) {
    auto& tabs = *hand.bench.window().ui.tabWidget;
    const int index = hand.dice.below(tabs.count());
    if (!tabs.isTabEnabled(index))
        return false;
    hand.bench.note("tab " + tabs.tabText(index));
    tabs.setCurrentIndex(index);
    return true;
}

bool chooseRow(Hand& hand) {
    return onOne<QListWidget>(
        hand, "row of", [&](QListWidget* list) { list->setCurrentRow(hand.dice.between(-1, list->count() - 1)); });
}

bool chooseDevice(Hand& hand) {
    return onOne<QComboBox>(hand, "choose in",
                            [&](QComboBox* box) { box->setCurrentIndex(hand.dice.below(box->count())); });
}

bool moveArm(Hand& hand) {
    Dice& dice = hand.dice;
    const armcontrol::Vec3 place{dice.real(-60, 60), dice.real(-60, 60), dice.real(-60, 60)};
    switch (dice.below(9)) {
        case 0:
            armcontrol::handDrag(place, dice.real(10, 800));
            break;
        case 1:
            armcontrol::handSweep(dice.below(6), dice.real(0.2, 8));
            break;
        case 2:
            armcontrol::handDock();
            break;
        case 3:
            armcontrol::handUndock();
            break;
        case 4:
            armcontrol::handRelease();
            break;
        case 5:
            armcontrol::handSwitch(dice.below(2), dice.oneIn(2));
            break;
        case 6:
            armcontrol::handReset();
            break;
        case 7:
            armcontrol::handPinch(dice.real(0, 1));
            break;
        default:
            armcontrol::handMove(place);
    }
    return true;
}

// Two actions in three find the arm sound.
bool breakOrMend(Hand& hand) {
    const auto names = armcontrol::faultNames();
    if (!armcontrol::state().faults.empty() || hand.dice.oneIn(3))
        hand.bench.mendArm();
    else
        hand.bench.breakArm(QString::fromStdString(hand.dice.of(names)), hand.dice);
    return true;
}

bool wait(Hand& hand) {
    hand.bench.spend(hand.dice.between(200, 2500));
    return true;
}

bool look(Hand& hand) {
    hand.bench.paint();
    return true;
}

/// The gates of the manufacturing modes open to those alone who pass each test.
bool passGates(Hand& hand) {
    const qtTharlenTest& window = hand.bench.window();
    if (!window.manufMode || window.performanceTestMode || window.ui.tabWidget->currentIndex() < 1)
        return false;
    hand.bench.note("all pages");
    hand.bench.showAllPages();
    return true;
}

/// The mode is chosen by whoever starts the program; the rest is up to the operator.
bool arrive(Hand& hand) {
    constexpr Mode kModes[] = {Mode::User, Mode::Manufacturing, Mode::EncoderTest, Mode::Performance};
    hand.bench.choose(hand.dice.of(kModes));
    return true;
}

bool closeWindow(Hand& hand) {
    hand.bench.stillness().sure = !hand.dice.oneIn(3);
    hand.bench.note(hand.bench.stillness().sure ? "close" : "close, and think better of it");
    const bool asked = hand.bench.window().manufMode && hand.bench.tab() != "Summary";
    const bool closed = hand.bench.window().close();
    if (closed != (hand.bench.stillness().sure || !asked))
        throw TroubleFound("The question of closing was not heeded.");
    return true;
}

struct Action {
    int weight;
    bool (*act)(Hand&);
};
// What a person does often comes often.
constexpr Action kActions[] = {{300, click},     {90, press},     {90, slide},        {80, type},    {30, spin},
                               {140, changeTab}, {60, chooseRow}, {30, chooseDevice}, {80, moveArm}, {40, breakOrMend},
                               {20, wait},       {5, look},       {15, passGates},    {3, arrive},   {3, closeWindow}};

bool actOnce(Hand& hand) {
    int total = 0;
    for (const Action& action : kActions)
        total += action.weight;
    int ticket = hand.dice.below(total);
    for (const Action& action : kActions) {
        ticket -= action.weight;
        if (ticket < 0)
            return action.act(hand);
    }
    return false;
}

// A box that is modal to the window keeps a person from everything else.
void answerBox(Hand& hand) {
    if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
        hand.bench.note("answer " + box->windowTitle());
        box->button(QMessageBox::Ok) ? box->button(QMessageBox::Ok)->click() : box->reject();
    }
}

/// Opening throws where no device was open before, and that ends the process.
bool endsProcess(const std::exception& error) {
    return QString(error.what()).contains("answered with nonsense") && !dynamic_cast<const TroubleFound*>(&error);
}

}  // namespace

void troubleOperator(TroubleBench& bench, Diary& diary, unsigned seed, long first, long count) {
    Dice opening(seed, -1 - first);
    Hand newcomer{bench, opening};
    arrive(newcomer);
    for (long i = first; i < first + count && !FlowTime::cancelled(); ++i) {
        diary.at = i;
        Dice dice(seed, i);
        Hand hand{bench, dice};
        const QWidget* before = bench.window().ui.tabWidget->currentWidget();
        try {
            answerBox(hand);
            while (!actOnce(hand)) {
            }
            if (bench.window().ui.tabWidget->currentWidget() != before)
                bench.checkForces();
            bench.spend(dice.below(150));
        } catch (const TroubleFound&) {
            throw;
        } catch (const std::exception& error) {
            if (!endsProcess(error))
                throw;
            bench.note("the process ends: opening threw");
            bench.window().close();
        }
        if (!bench.window().isVisible()) {
            bench.mendArm();
            bench.openWindow();
            arrive(hand);
        }
        if (i % 50 == 0)
            bench.checkAlive();
    }
    bench.mendArm();
    bench.checkReport();
}
