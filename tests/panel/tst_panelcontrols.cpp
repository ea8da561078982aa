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
#include "loopview.h"
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

QStringList accessibleNames(const QWidget& of) {
    QStringList names;
    for (const QWidget* it : of.findChildren<QWidget*>())
        names << it->accessibleName();
    return names;
}

}  // namespace

class TestPanelControls : public PanelFixture {
    Q_OBJECT

    /// A panel that shows an arm.
    struct Shown {
        ScriptedArm arm;
        ArmPanel panel;
        QJsonObject faults = kFaults;

        Shown(const QString& path, const QJsonObject& fields) : arm(path) {
            arm.answer = [this](const QJsonObject& command) {
                return command["command"] == "fault.list" ? faults : QJsonObject();
            };
            panel.show();
            panel.start(kRetryMs);
            show(fields);
        }
        /// Lets the panel show the arm's state with these fields in it.
        void show(const QJsonObject& fields) {
            for (auto it = fields.begin(); it != fields.end(); ++it)
                arm.state[it.key()] = it.value();
            const int before = arm.named("state").size();
            QTRY_VERIFY(panel.link().commandsUnderWay() == 0 && arm.named("state").size() > before + 2);
        }
        /// The commands that `act` leads to, the states aside.
        QStringList sent(const std::function<void()>& act) {
            const int before = arm.received.size();
            act();
            const int states = arm.named("state").size();
            (void)QTest::qWaitFor(
                [&] { return panel.link().commandsUnderWay() == 0 && arm.named("state").size() > states + 1; });
            QStringList lines;
            for (int i = before; i < arm.received.size(); ++i) {
                QJsonObject command = arm.received[i];
                command.remove("id");
                const QString name = command["command"].toString();
                if (name != "state" && name != "fault.list")
                    lines << line(command).trimmed();
            }
            return lines;
        }
        template <typename T>
        T* in(QWidget* page, int number = 0) {
            return page->findChildren<T*>().value(number);
        }
    };

private slots:
    void init() { prepare(); }

    // Each button by the keyboard, and the line that the arm gets for it.
    void saysTheArmsWords() {
        Shown shown(path("arm-1.sock"), kPosed);
        auto* tabs = shown.panel.findChild<QTabWidget*>();
        auto* hand = shown.panel.findChild<HandControls*>();
        for (int i = 0; i < 3; ++i)
            shown.in<QDoubleSpinBox>(hand, i)->setValue(10 * i + 5);
        auto* heat = shown.panel.findChild<HeatControls*>();
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
            QCOMPARE(shown.sent([&] { QTest::keyClick(key, Qt::Key_Space); }), QStringList(word.line));
        }
        button(shown.panel, "Stop")->click();
        auto* motor = shown.in<QComboBox>(heat);
        motor->setCurrentIndex(3);
        shown.in<QDoubleSpinBox>(heat, 0)->setValue(91.5);
        shown.in<QDoubleSpinBox>(heat, 1)->setValue(47.5);
        QCOMPARE(shown.sent([&] { button(*heat, "Set temperatures")->click(); }),
                 QStringList(R"({"command":"heat.set","motor":2,"stator":47.5,"winding":91.5})"));
        QSpinBox* pace = shown.in<QSpinBox>(heat);
        QCOMPARE(shown.sent([&] { pace->setValue(60); }), QStringList(R"({"command":"heat.pace","factor":60})"));
    }

    void buttonsOfTheStylus() {
        Shown shown(path("arm-1.sock"), kPosed);
        auto* hand = shown.panel.findChild<HandControls*>();
        QPushButton* press = button(*hand, "Extra switch 2");
        QCheckBox* latch = nullptr;
        for (QCheckBox* box : hand->findChildren<QCheckBox*>())
            latch = box->toolTip().contains("button 2") ? box : latch;
        const QStringList on(R"({"button":1,"command":"hand.switch","pressed":true})"),
            off(R"({"button":1,"command":"hand.switch","pressed":false})");
        QCOMPARE(shown.sent([&] {
            QTest::keyPress(press, Qt::Key_Space);
            shown.arm.state["switches"] = QJsonArray{false, true};
        }),
                 on);
        QVERIFY(!latch->isChecked());  // held down, it is no latch
        QCOMPARE(shown.sent([&] {
            QTest::keyRelease(press, Qt::Key_Space);
            shown.arm.state["switches"] = QJsonArray{false, false};
        }),
                 off);
        QCOMPARE(shown.sent([&] {
            latch->click();
            shown.arm.state["switches"] = QJsonArray{false, true};
        }),
                 on);
        QCOMPARE(shown.sent([&] { QTest::mouseClick(press, Qt::LeftButton); }), QStringList());
        QVERIFY(latch->isChecked());
        QCOMPARE(shown.sent([&] { shown.show({{"switches", QJsonArray{false, false}}}); }), QStringList());
        QVERIFY(!latch->isChecked());
        QCheckBox* presence = shown.in<QCheckBox>(hand);
        QCOMPARE(shown.sent([&] { presence->click(); }), QStringList(R"({"command":"hand.presence","present":true})"));
        QVERIFY(!presence->isChecked());  // this arm takes it and has none
        QCOMPARE(shown.sent([&] { shown.show({{"presence", true}}); }), QStringList());
        QVERIFY(presence->isChecked());
    }

    // Sliders follow the arm, but not under a hand, and not for a state that is older than the wish.
    void slidersFollowTheArm() {
        Shown shown(path("arm-1.sock"), kPosed);
        auto* hand = shown.panel.findChild<HandControls*>();
        auto* joints = shown.panel.findChild<JointControls*>();
        QSlider *strength = shown.in<QSlider>(hand, 0), *pinch = shown.in<QSlider>(hand, 1);
        QCOMPARE(shown.sent([&] { strength->setValue(31); }),
                 QStringList(R"({"command":"hand.strength","newtons":31})"));
        QCOMPARE(shown.sent([&] { pinch->setValue(40); }), QStringList(R"({"closed":0.4,"command":"hand.pinch"})"));
        QCOMPARE(shown.sent([&] { shown.show({{"strength", 12}, {"pinch", 0.75}}); }), QStringList());
        QVERIFY(strength->value() == 12 && pinch->value() == 75);
        strength->setSliderDown(true);
        shown.show({{"strength", 20}});
        QCOMPARE(strength->value(), 12);
        strength->setSliderDown(false);
        shown.show({{"grip", 0}});
        QVERIFY(strength->value() == 20 && !pinch->isEnabled());

        const auto joint = [&](int axis) { return shown.in<QSlider>(joints, axis); };
        shown.panel.findChild<QTabWidget*>()->setCurrentIndex(1);
        for (int i = 0; i < 6; ++i) {
            const auto tenths = [&](const char* field) {
                return 572.9578 * shown.arm.state[field].toArray()[i].toDouble();
            };
            QVERIFY(std::abs(joint(i)->value() - tenths("joints")) < 1);
            QVERIFY(std::abs(joint(i)->minimum() - tenths("jointMin")) < 1);
            QVERIFY(std::abs(joint(i)->maximum() - tenths("jointMax")) < 1);
        }
        // A base joint goes out with the other two and where the gimbal is; a gimbal joint with its own.
        for (const int axis : {1, 4}) {
            const int first = axis == 1 ? 0 : 3;
            const QStringList lines = shown.sent([&] { joint(axis)->setValue(joint(axis)->value() + 100); });
            QCOMPARE(lines.size(), 1);
            const QJsonObject command = QJsonDocument::fromJson(lines[0].toUtf8()).object();
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
        QVERIFY(joint(0)->value() == base && std::abs(joint(3)->value() - 286) <= 1);
        shown.show({{"holding", false}});
        QVERIFY(std::abs(joint(0)->value() - 286) <= 1);
        shown.show({{"gimbal", false}});
        QVERIFY(joint(2)->isEnabled() && !joint(3)->isEnabled() && !button(*joints, "4 Gimbal X")->isEnabled());

        // The state that comes ahead of a command's answer is older than the command.
        shown.arm.answers = false;
        int taken = shown.arm.named("state").size();
        QTRY_VERIFY(shown.arm.named("state").size() > taken);
        strength->setValue(50);
        joint(2)->setValue(400);
        QTRY_COMPARE(shown.panel.link().commandsUnderWay(), 2);
        shown.arm.reply(shown.arm.named("state").last());
        taken = shown.arm.named("state").size();
        QTRY_VERIFY(shown.arm.named("state").size() > taken);
        QVERIFY(strength->value() == 50 && joint(2)->value() == 400);
    }

    void choosesFaults() {
        Shown shown(path("arm-1.sock"), kPosed);
        auto* faults = shown.panel.findChild<FaultList*>();
        auto* list = faults->findChild<QTreeWidget*>();
        QSpinBox* axis = shown.in<QSpinBox>(faults);
        auto* amount = shown.in<QDoubleSpinBox>(faults);
        QTRY_COMPARE(list->topLevelItemCount(), 3);
        QTreeWidgetItem* hot = list->topLevelItem(1);
        list->setCurrentItem(hot);
        QVERIFY(axis->value() == 0 && amount->value() == 95);
        // Chosen before it is on, changed while it is on, and off again. The arm's own list comes between and holds
        // "off".
        axis->setValue(2);
        amount->setValue(77);
        shown.show({{"faults", QJsonArray{"jitter"}}});
        QCOMPARE(hot->text(1) + ", " + hot->text(2), QString("2, 77 C"));
        QCOMPARE(shown.sent([&] { hot->setCheckState(0, Qt::Checked); }),
                 QStringList(R"({"amount":77,"axis":1,"command":"fault.set","name":"hot","on":true})"));
        shown.faults = kHotFaults;
        shown.show({{"faults", QJsonArray{"hot"}}});
        QTRY_COMPARE(hot->checkState(0), Qt::Checked);
        QVERIFY(axis->value() == 2 && amount->value() == 77);
        QCOMPARE(shown.sent([&] { amount->setValue(88); }),
                 QStringList(R"({"amount":88,"axis":1,"command":"fault.set","name":"hot","on":true})"));
        QTRY_COMPARE(hot->checkState(0), Qt::Checked);
        QCOMPARE(shown.sent([&] { hot->setCheckState(0, Qt::Unchecked); })[0].contains(R"("on":false)"), true);
        list->setCurrentItem(list->topLevelItem(2));
        QVERIFY(!amount->isEnabled() && axis->value() == 0);
        // After "Clear all" the arm's usual amount is the one again.
        list->setCurrentItem(list->topLevelItem(0));
        amount->setValue(500);
        shown.sent([&] { button(*faults, "Clear all")->click(); });
        QTRY_COMPARE(amount->value(), 300.0);
        QCOMPARE(shown.sent([&] { list->topLevelItem(0)->setCheckState(0, Qt::Checked); }),
                 QStringList(R"({"axis":-1,"command":"fault.set","name":"jitter","on":true})"));
    }

    // What a colour or a place tells is in a text too; every figure stands beside its own name.
    void tellsWithoutColours() {
        Shown shown(path("arm-1.sock"), kPosed);
        shown.arm.answer = [](const QJsonObject& command) -> QJsonObject {
            return command["command"] == "fleet.list"
                       ? QJsonObject{{"devices", QJsonArray{"Arm 6", "Arm 7"}}, {"source", "built in"}}
                       : QJsonObject{};
        };
        shown.panel.findChild<HeatControls*>()->refresh();
        shown.show(object(R"({"winding":[25,80,90,31,32,33],"stator":[21,22,61,23,24,26],"warmLimit":85,"handForce":3.4,
            "faults":["hot","jitter"],"lateTicks":3,"ticks":1000,"rate":2000,"measuredRate":1999.4,"strength":25,
            "encoders":[101,-102,103,104,105,106],"dac":[-11,12,13,14,15,16],"force":[0,0,0],"calibrationStatus":255,
            "amplifiers":false,"loopRunning":true})"));
        const QStringList names = accessibleNames(shown.panel);
        const char* const wanted =
            "2  base Y, winding near 80.0|3  base Z, winding warm 90.0|6  gimbal Z, winding 33.0|Amplifiers OFF|"
            "Servo running|2 faults on|Workspace from above, X 1.0   Z 3.0 mm|Not real-time|Nobody holds it|"
            "Workspace from the front, X 1.0   Y 2.0 mm|Calibration due|Late ticks 3 (0.300 %)|Rate, set 2000 Hz|"
            "Rate, measured 1999.4 Hz|Servo callback running|3  base Z, winding to its warm limit 106 %|"
            "1  base X, angle 5.7\u00b0|5  gimbal Y, angle 28.6\u00b0|2  base Y, encoder -102|4  gimbal X, DAC 14|"
            "1  base X, between its stops 52 %";
        for (const QString& name : QString::fromUtf8(wanted).split('|'))
            QVERIFY2(names.contains(name), qPrintable(name));
        const auto heatSays = [&] {
            for (const QLabel* label : shown.panel.findChild<HeatControls*>()->findChildren<QLabel*>())
                if (label->text().contains(" now: "))
                    return label->text();
            return QString();
        };
        QVERIFY2(heatSays().contains("winding 90.0 \u00b0C, stator 61.0 \u00b0C; warm from 85"),
                 qPrintable(heatSays()));
        shown.panel.findChild<HeatControls*>()->findChild<QComboBox*>()->setCurrentIndex(5);
        shown.show({{"holding", true}, {"calibrationStatus", 0}});
        QVERIFY2(heatSays().contains("winding 32.0 \u00b0C, stator 24.0"), qPrintable(heatSays()));
        QVERIFY(accessibleNames(shown.panel).contains("Hand pulls 3.4 N")
                && accessibleNames(shown.panel).contains("Calibrated"));

        auto* list = shown.panel.findChild<FleetList*>();
        auto* fleet = list->findChild<QTreeWidget*>();
        list->refresh();
        QTRY_COMPARE(fleet->topLevelItemCount(), 2);
        QVERIFY(fleet->topLevelItem(0)->text(1).isEmpty() && fleet->topLevelItem(1)->text(1) == "open");
        QCOMPARE(shown.sent([&] { shown.show({{"name", "Arm 6"}}); }), QStringList());
        QCOMPARE(fleet->topLevelItem(0)->text(1), QString("open"));
        QCOMPARE(shown.sent([&] { shown.show({{"name", "Arm 9"}}); }), QStringList(R"({"command":"fleet.list"})"));
        for (const auto& [status, words] : {std::make_pair(0, "calibrated"),
                                            {16, "not calibrated (16)"},
                                            {-1, "not readable (-1)"},
                                            {255, "calibration due"}})
            QCOMPARE(calibrationText(status), QString(words));
        // With no device, and with no arm, old figures do not stay.
        shown.show({{"open", false}});
        for (const char* name : {"Amplifiers -", "Servo -", "Calibration -", "Workspace from above", "3  base Z -"})
            QVERIFY2(accessibleNames(shown.panel).contains(name), name);
        QSpinBox* pace = shown.panel.findChild<HeatControls*>()->findChild<QSpinBox*>();
        pace->setValue(50);
        shown.arm.vanish();
        QTRY_VERIFY(text(shown.panel, "device").contains("No arm"));
        ScriptedArm next(path("arm-2.sock"));
        QTRY_VERIFY(text(shown.panel, "device").startsWith("Arm 7"));
        QCOMPARE(pace->value(), 1);
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
            const double scale = 320 / 110.0;
            ArmState state;
            state.open = true;
            state.position = {20, 10, -30};
            state.handTarget = {-20, -15, 35};
            state.force = {4, 3, -5};
            const auto at = [&](const armcontrol::Vec3& place) {
                return (middle + QPointF(place[0], -up * place[along]) * scale).toPoint();
            };
            const auto picture = [&] {
                view.showState(state);
                return view.grab().toImage();
            };
            const QColor text = view.palette().color(QPalette::Text), hand = view.palette().color(QPalette::Highlight);
            QCOMPARE(picture().pixelColor(at(state.position)), text);
            const auto ring = [&] {
                const QColor color = picture().pixelColor(at(state.handTarget) + QPoint(0, 8));
                return std::abs(color.red() - hand.red()) + std::abs(color.blue() - hand.blue()) < 100;
            };
            QVERIFY(!ring());
            state.holding = true;
            QVERIFY(ring());
            const QPointF arrow(state.force[0], -up * state.force[along]);
            const QPoint tip = (QPointF(at(state.position)) + 20 * arrow / std::hypot(arrow.x(), arrow.y())).toPoint();
            QCOMPARE(picture().pixelColor(tip), QColor(0xe0, 0x7b, 0x1f));

            QSignalSpy drags(&view, &WorkspaceView::dragged), nudges(&view, &WorkspaceView::nudged);
            const auto mouse = [&](QEvent::Type type, const QPointF& place, Qt::MouseButton button) {
                QMouseEvent event(type, place, button, Qt::LeftButton, {});
                QApplication::sendEvent(&view, &event);
            };
            mouse(QEvent::MouseButtonPress, middle, Qt::RightButton);
            mouse(QEvent::MouseButtonPress, QPointF(161, 10), Qt::LeftButton);
            mouse(QEvent::MouseMove, middle, Qt::NoButton);
            QCOMPARE(drags.size(), 0);
            mouse(QEvent::MouseButtonPress, middle, Qt::LeftButton);
            state.position = {100, 0, 0};  // no wider under the pointer
            view.showState(state);
            mouse(QEvent::MouseMove, middle + QPointF(64, -32), Qt::NoButton);
            QCOMPARE(drags.size(), 2);
            const QList<QVariant> to = drags[1];
            QVERIFY(to[0].toInt() == 0 && to[2].toInt() == static_cast<int>(along));
            QVERIFY(std::abs(to[1].toDouble() - 22) < 0.2 && std::abs(to[3].toDouble() - up * 11) < 0.2);
            mouse(QEvent::MouseButtonRelease, middle, Qt::LeftButton);
            mouse(QEvent::MouseMove, middle, Qt::NoButton);
            QCOMPARE(drags.size(), 2);
            // The range is as wide as it has to be.
            for (const auto& [farthest, range] : {std::make_pair(300.0, 440.0), {100.0, 110.0}, {10.0, 55.0}}) {
                state.position = {farthest, 0, 0};
                view.showState(state);
                mouse(QEvent::MouseButtonPress, middle + QPointF(80, 0), Qt::LeftButton);
                mouse(QEvent::MouseButtonRelease, middle, Qt::LeftButton);
                QVERIFY(std::abs(drags.last()[1].toDouble() - range / 2) < 0.5);
            }
            mouse(QEvent::MouseButtonPress, middle, Qt::LeftButton);
            view.clear();
            QVERIFY(!view.accessibleName().contains("mm"));
            const int before = drags.size();
            mouse(QEvent::MouseMove, middle, Qt::NoButton);
            QCOMPARE(drags.size(), before);

            const auto wheel = [&](int angle, Qt::KeyboardModifiers with = {}) {
                QWheelEvent event(middle, middle, {}, {0, angle}, {}, with, Qt::NoScrollPhase, false);
                QApplication::sendEvent(&view, &event);
            };
            wheel(60);
            QCOMPARE(nudges.size(), 0);
            wheel(60);
            wheel(60);
            QCOMPARE(nudges.size(), 1);
            wheel(-300, Qt::ShiftModifier);
            QCOMPARE(nudges.size(), 2);
            QCOMPARE(nudges[0][0].toInt(), front ? 2 : 1);
            QCOMPARE(nudges[0][1].toDouble(), front ? -2.0 : 2.0);
            QCOMPARE(nudges[1][1].toDouble(), front ? 20.0 : -20.0);
        }
    }
};

QTEST_MAIN(TestPanelControls)
#include "tst_panelcontrols.moc"
