// What each control of the panel tells the arm, and what it shows of the arm's state: the very commands and words.
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QMouseEvent>
#include <QSlider>
#include <QTabWidget>
#include <QTreeWidget>
#include <QWheelEvent>

#include "faultlist.h"
#include "fleetlist.h"
#include "handcontrols.h"
#include "heatcontrols.h"
#include "jointcontrols.h"
#include "readouts.h"
#include "scriptedarm.h"
#include "workspaceview.h"

namespace {

const QJsonObject kPosed = object(R"({"gimbal":true,"grip":1,"joints":[0.1,0.2,0.3,0.4,0.5,0.6],
    "jointMin":[-1,-0.9,-0.8,-0.7,-0.6,-0.5],"jointMax":[1.1,1.2,1.3,1.4,1.5,1.6]})");
const QJsonObject kFaults = object(R"({"faults":[{"name":"jitter","amount":300,"axis":-1,"unit":"us"},
    {"name":"hot","amount":95,"axis":-1,"unit":"C"},{"name":"dead","axis":-1,"unit":""}]})");
const QJsonObject kHotFaults = object(R"({"faults":[{"name":"jitter","amount":300,"axis":-1,"unit":"us"},
    {"name":"hot","on":true,"amount":77,"axis":1,"unit":"C"},{"name":"dead","axis":-1,"unit":""}]})");

constexpr double kTenthsPerRad = 572.9578;  // of a degree

}  // namespace

class TestPanelControls : public PanelFixture {
    Q_OBJECT

private slots:
    void init() { prepare(); }

    // Each button by the keyboard, and the line that the arm gets for it.
    void saysTheArmsWords() {
        Shown shown(path("arm-1.sock"), kPosed);
        auto* tabs = shown.panel.findChild<QTabWidget*>();
        for (int i = 0; i < 3; ++i)
            in<QDoubleSpinBox>(tabs->widget(0), i)->setValue(10 * i + 5);
        const struct {
            int tab;
            const char *button, *line;
        } words[] = {{0, "Dock in ink well", R"({"command":"hand.dock"})"},
                     {0, "Undock and hold", R"({"command":"hand.undock"})"},
                     {0, "Reset pose", R"({"command":"hand.reset"})"},
                     {0, "Hold at origin", R"({"command":"hand.move","position":[0,0,0]})"},
                     {0, "Release", R"({"command":"hand.release"})"},
                     {0, "Move there", R"({"command":"hand.move","position":[5,15,25]})"},
                     {0, "Drag there", R"({"command":"hand.drag","position":[5,15,25],"speed":100})"},
                     {1, "5 Gimbal Y", R"({"axis":4,"command":"hand.sweep","speed":1.0471975511965976})"},
                     {2, "-Z  rear", R"({"command":"hand.drag","position":[0,0,0],"speed":220})"},
                     {3, "Clear all", R"({"command":"fault.clear"})"},
                     {4, "Cold (25 \u00b0C)", R"({"command":"heat.set","motor":-1,"stator":25,"winding":25})"},
                     {5, "List anew", R"({"command":"fleet.list"})"},
                     {6, "Step", R"({"command":"loop.step","ticks":1000})"}};
        for (const auto& word : words) {
            tabs->setCurrentIndex(word.tab);
            QPushButton* key = button(*tabs->widget(word.tab), QString::fromUtf8(word.button));
            QVERIFY2(key && key->isVisible() && (key->focusPolicy() & Qt::TabFocus), word.button);
            const auto press = [&] {
                QTest::keyClick(key, Qt::Key_Space);
                button(shown.panel, "Stop")->click();  // of what goes on by itself
            };
            QCOMPARE(shown.sent(press), QString(word.line));
        }
        auto* heat = shown.panel.findChild<HeatControls*>();
        in<QComboBox>(heat)->setCurrentIndex(3);
        in<QDoubleSpinBox>(heat, 0)->setValue(91.5);
        in<QDoubleSpinBox>(heat, 1)->setValue(47.5);
        QCOMPARE(shown.sent([&] { button(*heat, "Set temperatures")->click(); }),
                 QString(R"({"command":"heat.set","motor":2,"stator":47.5,"winding":91.5})"));
        QCOMPARE(shown.sent([&] { in<QSpinBox>(heat)->setValue(60); }),
                 QString(R"({"command":"heat.pace","factor":60})"));
    }

    void buttonsOfTheStylus() {
        Shown shown(path("arm-1.sock"), kPosed);
        auto* hand = shown.panel.findChild<HandControls*>();
        QPushButton* press = button(*hand, "Extra switch 2");
        QCheckBox *latch = in<QCheckBox>(hand, 2), *presence = in<QCheckBox>(hand);
        QVERIFY(latch->toolTip().contains("button 2"));
        const char *on = R"({"button":1,"command":"hand.switch","pressed":true})",
                   *off = R"({"button":1,"command":"hand.switch","pressed":false})";
        const struct {
            std::function<void()> act;
            bool pressed;  // as the arm says then
            const char* line;
            bool latched;  // what is held down is no latch
        } rows[] = {{[&] { QTest::keyPress(press, Qt::Key_Space); }, true, on, false},
                    {[&] { QTest::keyRelease(press, Qt::Key_Space); }, false, off, false},
                    {[&] { latch->click(); }, true, on, true},
                    {[&] { QTest::mouseClick(press, Qt::LeftButton); }, true, "", true},
                    {[] {}, false, "", false}};
        for (const auto& row : rows) {
            const auto act = [&] {
                row.act();
                shown.show({{"switches", QJsonArray{false, row.pressed}}});
            };
            QCOMPARE(shown.sent(act), QString(row.line));
            QCOMPARE(latch->isChecked(), row.latched);
        }
        // Faster than the arm answers.
        QCOMPARE(shown.sent([&] { QTest::mouseClick(press, Qt::LeftButton); }), QString("%1\n%2").arg(on, off));
        QCOMPARE(shown.sent([&] { presence->click(); }), QString(R"({"command":"hand.presence","present":true})"));
        QVERIFY(!presence->isChecked());  // this arm takes it and has none
        QCOMPARE(shown.sent([&] { shown.show({{"presence", true}}); }), QString());
        QVERIFY(presence->isChecked());
    }

    // Sliders follow the arm, but not under a hand, and not for a state that is older than the wish.
    void slidersFollowTheArm() {
        Shown shown(path("arm-1.sock"), kPosed);
        auto* hand = shown.panel.findChild<HandControls*>();
        auto* joints = shown.panel.findChild<JointControls*>();
        QSlider *strength = in<QSlider>(hand, 0), *pinch = in<QSlider>(hand, 1);
        QCOMPARE(shown.sent([&] { strength->setValue(31); }), QString(R"({"command":"hand.strength","newtons":31})"));
        QCOMPARE(shown.sent([&] { pinch->setValue(40); }), QString(R"({"closed":0.4,"command":"hand.pinch"})"));
        QCOMPARE(shown.sent([&] { shown.show({{"strength", 12}, {"pinch", 0.75}}); }), QString());
        QVERIFY(strength->value() == 12 && pinch->value() == 75);
        strength->setSliderDown(true);
        shown.show({{"strength", 20}});
        QCOMPARE(strength->value(), 12);
        strength->setSliderDown(false);
        shown.show({{"grip", 0}});
        QVERIFY(strength->value() == 20 && !pinch->isEnabled());

        const auto joint = [&](int axis) { return in<QSlider>(joints, axis); };
        const auto isAt = [](int tenths, double radians) { return std::abs(tenths - kTenthsPerRad * radians) < 1; };
        shown.panel.findChild<QTabWidget*>()->setCurrentIndex(1);
        for (int i = 0; i < 6; ++i) {
            QVERIFY(isAt(joint(i)->value(), kPosed["joints"][i].toDouble()));
            QVERIFY(isAt(joint(i)->minimum(), kPosed["jointMin"][i].toDouble()));
            QVERIFY(isAt(joint(i)->maximum(), kPosed["jointMax"][i].toDouble()));
        }
        // A base joint goes out with the other two and where the gimbal is; a gimbal joint with its own.
        for (const int axis : {1, 4}) {
            const int first = axis == 1 ? 0 : 3;
            const QJsonObject command =
                object(shown.sent([&] { joint(axis)->setValue(joint(axis)->value() + 100); }).toUtf8());
            QCOMPARE(command["command"].toString(), QString(axis == 1 ? "hand.joints" : "hand.gimbal"));
            const QList<double> angles = numbers(command["angles"]);
            QCOMPARE(angles.size(), 6 - first);
            for (int i = first; i < 6; ++i)
                QVERIFY(std::abs(angles[i - first] - (0.1 * (i + 1) + (i == axis ? 0.1745 : 0)))
                        < (i < 3 || axis > 3 ? 0.003 : 0.02));
            QCOMPARE(command["speed"].toDouble(), axis == 1 ? 60 / 57.29577951308232 : 0.0);
            shown.show({});
        }
        // A little give is not followed, the hand's own slider not at all while it holds.
        const int base = joint(0)->value(), gimbal = joint(3)->value();
        shown.show({{"joints", QJsonArray{0.1 + 0.007, 0.2, 0.3, 0.4 + 0.04, 0.5, 0.6}}});
        QVERIFY(joint(0)->value() == base && joint(3)->value() == gimbal);
        QApplication::setActiveWindow(&shown.panel);
        joint(0)->setFocus();
        shown.show({{"joints", QJsonArray{0.5, 0.2, 0.3, 0.5, 0.5, 0.6}}, {"holding", true}});
        QVERIFY(joint(0)->value() == base && isAt(joint(3)->value(), 0.5));
        shown.show({{"holding", false}, {"gimbal", false}});
        QVERIFY(isAt(joint(0)->value(), 0.5));
        QVERIFY(joint(2)->isEnabled() && !joint(3)->isEnabled() && !button(*joints, "4 Gimbal X")->isEnabled());
        shown.show({{"jointMax", shown.arm.state["jointMin"]}, {"buttons", 1}, {"inkWell", false}, {"motors", 3}});
        QVERIFY(button(shown.panel, "Stylus switch 1")->isEnabled() && button(shown.panel, "Reset pose")->isEnabled());
        for (const char* lacking : {"Extra switch 2", "Dock in ink well", "Undock and hold"})
            QVERIFY2(!button(shown.panel, lacking)->isEnabled(), lacking);
        const QString sweeps = shown.sent([&] {
            button(*joints, "Sweep all in turn")->click();
            QTRY_VERIFY(!shown.text("script").contains("stop to stop"));
        });
        QCOMPARE(sweeps.count("hand.sweep"), 3);
        QCOMPARE(shown.text("script"), QString("Done: all axes swept"));

        // The state that comes ahead of a command's answer is older than the command.
        shown.arm.answers = false;
        const int states = shown.arm.named("state").size();
        QTRY_COMPARE(shown.arm.named("state").size(), states + 1);
        strength->setValue(50);
        joint(2)->setValue(400);
        QTRY_COMPARE(shown.panel.link().commandsUnderWay(), 2);
        shown.arm.reply(shown.arm.named("state").last());
        QTRY_COMPARE(shown.arm.named("state").size(), states + 2);
        QVERIFY(strength->value() == 50 && joint(2)->value() == 400);
    }

    void choosesFaults() {
        Shown shown(path("arm-1.sock"), kPosed, kFaults);
        auto* faults = shown.panel.findChild<FaultList*>();
        auto* list = faults->findChild<QTreeWidget*>();
        auto* axis = in<QSpinBox>(faults);
        auto* amount = in<QDoubleSpinBox>(faults);
        QTRY_COMPARE(list->topLevelItemCount(), 3);
        QTreeWidgetItem *jitter = list->topLevelItem(0), *hot = list->topLevelItem(1);
        list->setCurrentItem(hot);
        QVERIFY(axis->value() == 0 && amount->value() == 95);
        // Chosen before it is on, changed while it is on, and off again. The arm's own list comes between and holds
        // "off".
        axis->setValue(2);
        amount->setValue(77);
        shown.show({{"faults", QJsonArray{"jitter"}}});
        QCOMPARE(hot->text(1) + ", " + hot->text(2), QString("2, 77 C"));
        list->setCurrentItem(jitter);
        QCOMPARE(shown.sent([&] { hot->setCheckState(0, Qt::Checked); }),
                 QString(R"({"amount":77,"axis":1,"command":"fault.set","name":"hot","on":true})"));
        shown.arm.more["fault.list"] = kHotFaults;
        shown.show({{"faults", QJsonArray{"hot"}}});
        QTRY_COMPARE(hot->checkState(0), Qt::Checked);
        QVERIFY(axis->value() == 2 && amount->value() == 77);  // what is ticked is described
        QCOMPARE(shown.sent([&] { amount->setValue(88); }),
                 QString(R"({"amount":88,"axis":1,"command":"fault.set","name":"hot","on":true})"));
        QTRY_COMPARE(hot->checkState(0), Qt::Checked);
        QVERIFY(shown.sent([&] { hot->setCheckState(0, Qt::Unchecked); }).contains(R"("on":false)"));
        list->setCurrentItem(list->topLevelItem(2));
        QVERIFY(!amount->isEnabled() && axis->value() == 0);
        // After "Clear all" the arm's usual amount is the one again.
        list->setCurrentItem(jitter);
        amount->setValue(500);
        shown.sent([&] { button(*faults, "Clear all")->click(); });
        QTRY_COMPARE(amount->value(), 300.0);
        QCOMPARE(shown.sent([&] { jitter->setCheckState(0, Qt::Checked); }),
                 QString(R"({"axis":-1,"command":"fault.set","name":"jitter","on":true})"));
    }

    // What a colour or a place tells is in a text too; every figure stands beside its own name.
    void tellsWithoutColours() {
        Shown shown(path("arm-1.sock"), kPosed);
        shown.arm.more["fleet.list"] = object(R"({"devices":["Arm 6","Arm 7"],"source":"built in"})");
        auto* heat = shown.panel.findChild<HeatControls*>();
        const auto says = [&](const char* wanted) {
            QStringList names;
            for (const QWidget* it : shown.panel.findChildren<QWidget*>())
                names << it->accessibleName();
            for (const QLabel* it : heat->findChildren<QLabel*>())
                names << it->text();
            for (const QString& name : QString::fromUtf8(wanted).split('|'))
                if (!names.contains(name))
                    return name;
            return QString();
        };
        shown.show(object(R"({"winding":[25,80,90,31,32,33],"stator":[21,22,61,23,24,26],"warmLimit":85,"handForce":3.4,
            "faults":["hot","jitter"],"lateTicks":3,"ticks":1000,"rate":2000,"measuredRate":1999.4,"strength":25,
            "encoders":[101,-102,103,104,105,106],"dac":[-11,12,13,14,15,16],"force":[0,0,0],"calibrationStatus":255,
            "amplifiers":false,"loopRunning":true})"));
        QCOMPARE(
            says("2  base Y, winding near 80.0|3  base Z, winding warm 90.0|6  gimbal Z, winding 33.0|Amplifiers OFF|"
                 "Servo running|2 faults on|Workspace from above, X 1.0   Z 3.0 mm|Not real-time|Nobody holds it|"
                 "Workspace from the front, X 1.0   Y 2.0 mm|Calibration due|Late ticks 3 (0.300 %)|Rate, set 2000 Hz|"
                 "Rate, measured 1999.4 Hz|Servo callback running|3  base Z, winding to its warm limit 106 %|"
                 "1  base X, angle 5.7\u00b0|5  gimbal Y, angle 28.6\u00b0|2  base Y, encoder -102|4  gimbal X, DAC 14|"
                 "1  base X, between its stops 52 %|"
                 "Warmest now: winding 90.0 \u00b0C, stator 61.0 \u00b0C; warm from 85 \u00b0C"),
            QString());
        in<QComboBox>(heat)->setCurrentIndex(5);
        shown.show({{"holding", true}});
        QCOMPARE(says("This motor now: winding 32.0 \u00b0C, stator 24.0 \u00b0C; warm from 85 \u00b0C|"
                      "Hand pulls 3.4 N"),
                 QString());

        auto* list = shown.panel.findChild<FleetList*>();
        auto* fleet = list->findChild<QTreeWidget*>();
        list->refresh();
        QTRY_COMPARE(fleet->topLevelItemCount(), 2);
        QVERIFY(fleet->topLevelItem(0)->text(1).isEmpty() && fleet->topLevelItem(1)->text(1) == "open");
        QCOMPARE(shown.sent([&] { shown.show({{"name", "Arm 6"}}); }), QString());
        QCOMPARE(fleet->topLevelItem(0)->text(1), QString("open"));
        QCOMPARE(shown.sent([&] { shown.show({{"name", "Arm 9"}}); }), QString(R"({"command":"fleet.list"})"));
        for (const auto& [status, words] :
             {std::make_pair(0, "Calibrated"), {16, "Not calibrated (16)"}, {-1, "Not readable (-1)"}}) {
            shown.show({{"calibrationStatus", status}});
            QCOMPARE(says(words), QString());
            for (Lamp* lamp : shown.panel.findChildren<Lamp*>())
                QVERIFY(lamp->text() != words
                        || lamp->grab().toImage().pixelColor(8, lamp->height() / 2)
                               == QColor(status ? 0xe07b1f : 0x2f9e55));
        }
        // With no device, and with no arm, old figures do not stay.
        shown.show({{"open", false}});
        QCOMPARE(says("Amplifiers -|Servo -|Calibration -|Workspace from above|3  base Z -"), QString());
        QCOMPARE(shown.sent([&] { shown.show({{"heatPace", 50}}); }), QString());  // another's choice
        QCOMPARE(in<QSpinBox>(heat)->value(), 50);
    }

    // Signs and axes of both views, from mouse and keys on the panel to what the arm is told.
    void movesTheStylusInTheViews() {
        Shown shown(path("arm-1.sock"));
        const auto views = shown.panel.findChildren<WorkspaceView*>();
        for (const bool front : {true, false}) {
            WorkspaceView* view = views[front ? 0 : 1];
            const QPoint place(view->width() / 2 + 60, 20 + (view->height() - 20) / 2 - 30);
            const QString line = shown.sent([&] { QTest::mouseClick(view, Qt::LeftButton, {}, place); });
            const QList<double> to = numbers(object(line.toUtf8())["position"]);
            QCOMPARE(to.size(), 3);
            QVERIFY(to[0] > 15.0 && std::abs(to[0] - 2.0 * (front ? to[1] : -to[2])) < 1.5);
            QCOMPARE(front ? to[2] : to[1], front ? 3.0 : 2.0);  // as it is
        }
        // From above the keys follow that picture: up is away from the operator, the depth is the height.
        const struct {
            int view;
            Qt::Key key;
            Qt::KeyboardModifiers with;
            const char* to;
        } keys[] = {{0, Qt::Key_Right, {}, "3,2,3"},    {0, Qt::Key_Left, Qt::ShiftModifier, "-9,2,3"},
                    {0, Qt::Key_Up, {}, "1,4,3"},       {0, Qt::Key_Down, {}, "1,0,3"},
                    {0, Qt::Key_PageDown, {}, "1,2,5"}, {0, Qt::Key_PageUp, {}, "1,2,1"},
                    {0, Qt::Key_Home, {}, "0,0,0"},     {1, Qt::Key_Up, {}, "1,2,1"},
                    {1, Qt::Key_PageUp, {}, "1,4,3"}};
        for (const auto& key : keys)
            QCOMPARE(shown.sent([&] { QTest::keyClick(views[key.view], key.key, key.with); }),
                     QString(R"({"command":"hand.move","position":[%1]})").arg(key.to));
        QCOMPARE(shown.sent([&] { QTest::keyClick(views[0], Qt::Key_Escape); }),
                 QString(R"({"command":"hand.release"})"));
    }

    // The stylus and the force where they are in each view; drags from the press to the release of the left button
    // alone; wheel and range.
    void views() {
        for (const auto side : {WorkspaceView::Side::Front, WorkspaceView::Side::Above}) {
            const bool front = side == WorkspaceView::Side::Front;
            const std::size_t along = front ? 1 : 2;
            const double up = front ? 1 : -1;
            WorkspaceView view(side);
            view.resize(322, 342);  // a field of 320 pixels for 110 mm
            view.show();
            const QPointF middle(161, 181);
            ArmState state;
            state.open = true;
            state.position = {20, 10, -30};
            state.handTarget = {-20, -15, 35};
            state.force = {4, 3, -5};
            const auto at = [&](const armcontrol::Vec3& place) {
                return (middle + QPointF(place[0], -up * place[along]) * 320 / 110).toPoint();
            };
            const auto colorAt = [&](const QPoint& place) {
                view.showState(state);
                return view.grab().toImage().pixelColor(place);
            };
            const auto ring = [&] {
                const QColor color = colorAt(at(state.handTarget) + QPoint(0, 8));
                const QColor hand = view.palette().color(QPalette::Highlight);
                return std::abs(color.red() - hand.red()) + std::abs(color.blue() - hand.blue()) < 100;
            };
            QCOMPARE(colorAt(at(state.position)), view.palette().color(QPalette::Text));
            QVERIFY(!ring());
            state.holding = true;
            QVERIFY(ring());
            const QPointF arrow(state.force[0], -up * state.force[along]);
            const QPoint tip = (QPointF(at(state.position)) + 20 * arrow / std::hypot(arrow.x(), arrow.y())).toPoint();
            QCOMPARE(colorAt(tip), QColor(0xe0, 0x7b, 0x1f));

            QSignalSpy drags(&view, &WorkspaceView::dragged), nudges(&view, &WorkspaceView::nudged);
            const auto mouse = [&](QEvent::Type type, const QPointF& place, Qt::MouseButton button = Qt::LeftButton) {
                QMouseEvent event(type, place, button, Qt::LeftButton, {});
                QApplication::sendEvent(&view, &event);
            };
            mouse(QEvent::MouseButtonPress, middle, Qt::RightButton);
            mouse(QEvent::MouseButtonPress, QPointF(161, 10));
            mouse(QEvent::MouseMove, middle);
            QCOMPARE(drags.size(), 0);
            mouse(QEvent::MouseButtonPress, middle);
            state.position = {100, 0, 0};  // no wider under the pointer
            view.showState(state);
            mouse(QEvent::MouseMove, middle + QPointF(64, -32));
            QCOMPARE(drags.size(), 2);
            QVERIFY(std::abs(drags[1][1].toDouble() - 22) < 0.2 && std::abs(drags[1][3].toDouble() - up * 11) < 0.2);
            mouse(QEvent::MouseButtonRelease, middle);
            mouse(QEvent::MouseMove, middle);
            QCOMPARE(drags.size(), 2);
            // The range is as wide as it has to be.
            for (const auto& [farthest, range] : {std::make_pair(300.0, 440.0), {100.0, 110.0}, {10.0, 55.0}}) {
                state.position = {farthest, 0, 0};
                view.showState(state);
                mouse(QEvent::MouseButtonPress, middle + QPointF(80, 0));
                mouse(QEvent::MouseButtonRelease, middle);
                QVERIFY(std::abs(drags.last()[1].toDouble() - range / 2) < 0.5);
            }
            mouse(QEvent::MouseButtonPress, middle);
            view.clear();
            mouse(QEvent::MouseMove, middle);
            QCOMPARE(drags.size(), 6);
            QVERIFY(!view.accessibleName().contains("mm"));

            // Half a notch alone is none.
            for (const auto& [angle, steps] : {std::make_pair(60, 0), {60, 1}, {60, 1}, {-300, 2}}) {
                const Qt::KeyboardModifiers with = angle < 0 ? Qt::ShiftModifier : Qt::NoModifier;
                QWheelEvent event(middle, middle, {}, {0, angle}, {}, with, Qt::NoScrollPhase, false);
                QApplication::sendEvent(&view, &event);
                QCOMPARE(nudges.size(), steps);
            }
            QCOMPARE(nudges[0][0].toInt(), front ? 2 : 1);
            QCOMPARE(nudges[0][1].toDouble(), front ? -2.0 : 2.0);
            QCOMPARE(nudges[1][1].toDouble(), front ? 20.0 : -20.0);
        }
    }
};

QTEST_MAIN(TestPanelControls)
#include "tst_panelcontrols.moc"
