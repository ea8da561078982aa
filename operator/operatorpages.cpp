// The engineering pages, each used for what it is there for.
#include <cmath>

#include "device/simulated/armcontrol.h"
#include "operator.h"
#include "qttharlenhapticrenderer.h"
#include "qttharlentest.h"
#include "servostate.h"

namespace {

QString unless(bool condition, const QString& complaint) { return condition ? QString() : complaint; }

}  // namespace

QString Operator::usePage(const QString& page) {
    auto& ui = m_window.ui;
    const auto items = ui.listWidget->findItems(page, Qt::MatchExactly);
    if (items.size() != 1)
        return QString("There is no page \"%1\".").arg(page);
    ui.listWidget->setCurrentItem(items.first());
    m_time.spend(200);
    if (page == "Resolution Test") {
        ui.pushButton_13->click();
        m_time.spend(200);
        const QString before = ui.label_74->text();
        hand.hold({20, 0, 0}, 1000);
        return unless(ui.label_74->text() != before, "The encoder's reading does not follow the hand.");
    }
    if (page == "Force Test") {
        ui.cforce_1->setText("900");
        ui.pushButton_5->click();
        m_time.spend(1200);
        const double command = armcontrol::state().dac[0];
        ui.pushButton_15->click();  // leaving the page would not end it
        return unless(command == 900, "The typed command does not reach the motor.");
    }
    if (page == "Workspace Test") {
        ui.startRecord->click();
        armcontrol::handDrag({-20, 15, 10}, 40);
        m_time.spend(1000);
        ui.stopRecord->click();
        const int lines = ui.textBrowser_2->document()->blockCount();  // fewer than 1000 where painting is slow
        return unless(lines > 250, QString("The record has %1 lines of a second.").arg(lines));
    }
    if (page == "Passivity Test") {
        hand.hold({44, 0, 0}, 1000);
        const double cursor = m_window.passivityBoxRenderer->pPos[0];
        hand.hold({}, 500);
        return unless(std::fabs(cursor - 40) < 0.01, "The cursor does not stay at the wall.");
    }
    if (page == "Servo Loop Test") {
        ui.pushButton_9->click();
        m_time.spend(3200);
        ui.pushButton_10->click();
        return unless(ui.servoloopText->toPlainText().contains("Sample: 1  "), "No rate was reported.");
    }
    if (page == "Motor Temp. Test") {
        ui.motor_dac_3->setText("6000");
        ui.set_dac_button_2->click();
        ui.pushButton_18->click();
        m_time.spend(20000);
        ui.pushButton_19->click();
        ui.clear_dac_button_2->click();
        return unless(ui.textBrowser_5->document()->blockCount() >= 19, "The temperatures were not noted each second.");
    }
    if (page == "Filters Test") {
        hand.hold({-15, 10, 0}, 1000);
        return unless(std::fabs(m_window.filtersRenderer->pPos[0] + 15) < 3, "The shape does not follow the hand.");
    }
    return {};
}
