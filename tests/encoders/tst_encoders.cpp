// The "Read Encoder" tab tick by tick: display, travel verdicts, switch transitions, choices and the way on.
#include "restyle.h"
#include "standinwindow.h"

class TestEncoders : public StandinWindow {
    Q_OBJECT

    void open(unsigned long type, unsigned long card, bool manufacturing, int gimbal = 1) {
        openFleet({record("Arm", type, card), record("Bare", 1)},
                  [=] { device().result["tharlen_check_for_gimbal"] = gimbal; });
        window->manufMode = manufacturing;
        enter(ui().tab_3, "Read Encoder");
        window->encoderGuiUpdateTimer->setInterval(1000000);
    }
    void tickAt(const std::array<long, 6>& encoders) {
        std::copy(encoders.begin(), encoders.end(), device().encoders);
        window->updateReadEncoderTab();
    }
    void choose(std::initializer_list<QRadioButton*> buttons) {
        for (QRadioButton* button : buttons)
            button->setChecked(true);
    }

private slots:
    // The travel that just suffices on each axis, and one count less, for each line that is judged.
    void travel() {
        const std::tuple<unsigned long, unsigned long, std::array<long, 6>> lines[] = {
            {5, 7, {4500, 4250, 3500, 3900, 1750, 3900}},
            {5, 6, {4500, 3800, 3500, 3550, 1500, 3000}},
            {3, 7, {1500, 1700, 1200, 800, 900, 1000}}};
        for (const auto& [type, card, least] : lines) {
            for (std::size_t axis = 0; axis < 6; ++axis) {
                open(type, card, true);
                for (std::size_t i = 0; i < 3; ++i) {
                    window->m_cdCorvale.axrlBaseRanges[i] = {-500, least[i] - 500};
                    window->m_cdCorvale.axrlStylusRanges[i] = {-300, least[i + 3] - 300};
                }
                std::array<long, 6> low{}, high{};
                low[axis] = -400;
                high[axis] = least[axis] - 401;
                tickAt(low);
                tickAt(high);
                QVERIFY(!window->repData->bEncoderPass[axis]);
                high[axis] += 1;
                tickAt(high);
                for (std::size_t i = 0; i < 6; ++i)
                    QCOMPARE(window->repData->bEncoderPass[i], i == axis);
                QCOMPARE(window->repData->lMinEncoderVal[axis], -400L);
                QCOMPARE(window->repData->lMaxEncoderVal[axis], high[axis]);
            }
        }
    }

    // A base axis that never moved counts twice its reading; once passed it stays so. Unknown cards and other models
    // are not judged; for a Nolva's third axis the difference of magnitudes would count, for its fourth their sum.
    void magnitudes() {
        open(5, 7, true);
        const auto& passes = window->repData->bEncoderPass;
        tickAt({2250, 0, 0, 2250, 0, 0});
        QVERIFY(passes[0] && !passes[3]);
        QCOMPARE(ui().encoder_X->styleSheet(), QString(kPassStyle));
        QCOMPARE(ui().gimbal_X->styleSheet(), QString(kNotYetStyle));
        window->m_lMinEncoderVal[0] = window->m_lMaxEncoderVal[0] = 0;
        tickAt({});
        QVERIFY(passes[0]);
        for (const auto& [type, card] : {std::pair{5UL, 3UL}, {1, 1}, {9, 7}}) {
            open(type, card, true);
            tickAt({-2500, -1300, -100, 1750, 0, 0});
            tickAt({2500, 1300, 2299, 1750, 2245, 3500});
            QVERIFY(!window->repData->bEncoderPass[0] && window->repData->lMaxEncoderVal[0] == 0);
        }
        window->checkEncoderPass();
        QVERIFY(!window->repData->bEncoderPass[2]);
        tickAt({0, 0, 2300, 1750, 0, 0});
        window->checkEncoderPass();
        for (const bool pass : window->repData->bEncoderPass)
            QVERIFY(pass);
    }

    // On a LAN card it is not what is judged, and on others than the two there is nothing to tell.
    void toldTravel() {
        const std::tuple<int, int, QList<int>> rows[] = {{5, 6, {4500, 4250, 3500, 3550, 1500, 3000}},
                                                         {9, 7, {5000, 2600, 2200, 3500, 2245, 3500}}};
        const auto text = [this] { return ui().encoderStatus_help_textBox->toPlainText(); };
        for (const auto& [type, card, told] : rows) {
            open(type, card, true);
            for (int i = 0; i < 6; ++i)
                QVERIFY(text().contains(QString("%1 axis total counts: %2 ").arg(QChar("XYZ"[i % 3])).arg(told[i])));
        }
        open(5, 3, true);
        QVERIFY(text().isEmpty());
    }

    // Three transitions each way leave a switch rose, the fourth of the second direction turns it green. The sliders go
    // back as the ink well's switch rises. The switches are stylus, extra, inkwell and presence.
    void switchTransitions() {
        const std::tuple<unsigned long, QString, QString> rows[] = {
            {5, "sei", "sei"}, {9, "sei", "s"}, {3, "sp", "sp"}, {1, "s", "s"}};
        for (const auto& [type, counted, judged] : rows) {
            open(type, 7, true);
            const auto level = [this](int on) {
                device().switches[0] = device().switches[1] = on;
                device().result["get_inkwell_switch"] = device().result["get_stylus_presence"] = on;
                window->updateReadEncoderTab();
            };
            const REPORTDATA& data = *window->repData;
            const auto passed = [&data] {
                return QString(data.bSwitchPass ? "s" : "") + (data.bExtraSwitchPass ? "e" : "")
                       + (data.bInkwellPass ? "i" : "") + (data.bPresencePass ? "p" : "");
            };
            ui().slider_Y->setValue(7);
            for (int round = 1; round <= 4; ++round) {
                level(1);
                level(1);
                QVERIFY(window->stylusSwitchCounterOn == round && passed().isEmpty());
                QCOMPARE(looks(ui().stylusButton_1), QString("ON") + kNotYetStyle);
                level(0);
            }
            QCOMPARE(ui().slider_Y->value(), counted.contains('i') ? 0 : 7);
            QCOMPARE(passed(), judged);
            QCOMPARE(ui().stylusButton_1->styleSheet(), QString(kPassStyle));
            QCOMPARE(window->extraSwitchCounterOff, counted.contains('e') ? 4 : 0);
            QCOMPARE(window->inkwellSwitchCounterOff, counted.contains('i') ? 4 : 0);
            QCOMPARE(window->presenceSwitchCounterOff, counted.contains('p') ? 4 : 0);
            // Switches held on over a second visit count once more.
            level(1);
            go("Select");
            enter(ui().tab_3, "Read Encoder");
            level(1);
            QCOMPARE(window->stylusSwitchCounterOn, 6);
            QCOMPARE(window->presenceSwitchCounterOn, counted.contains('p') ? 6 : 0);
        }
    }

    // The choices open the way, whatever they are; each one that the model asks for is needed.
    void choicesOpenTheWay() {
        const std::tuple<unsigned long, bool, bool> rows[] = {
            {5, true, true}, {3, false, true}, {9, false, false}, {1, false, false}};
        for (const auto& [type, needsThree, opens] : rows) {
            open(type, 7, true);
            ui().next_button->setEnabled(false);
            ui().tabWidget->removeTab(ui().tabWidget->indexOf(ui().tab_6));
            choose({ui().RB_X_F, ui().RB_Y_P, ui().RB_Z_P, ui().RB_GX_P, ui().RB_GY_F, ui().RB_STYLUS_F});
            window->updateReadEncoderTab();
            QVERIFY(!tabTexts(*window).contains("Cycle Amps"));
            choose({ui().RB_GZ_P});
            window->updateReadEncoderTab();
            QCOMPARE(tabTexts(*window).contains("Cycle Amps"), opens && !needsThree);
            choose({ui().RB_EXTRA_P, ui().RB_INKWELL_F});
            window->updateReadEncoderTab();
            QCOMPARE(tabTexts(*window).contains("Cycle Amps"), opens);
            QCOMPARE(ui().next_button->isEnabled(), opens);
            const REPORTDATA& data = *window->repData;
            QVERIFY(!data.bManualSwitchPass && !data.bManualInkwellPass);
            QCOMPARE(data.bManualExtraSwitchPass, needsThree);
            if (!opens)
                continue;
            QVERIFY(!data.bManualEncoderPass[0] && data.bManualEncoderPass[1] && !data.bManualEncoderPass[4]);
            // Unmarked, a base axis keeps its choice and a gimbal axis loses it.
            for (QRadioButton* button : {ui().RB_Y_P, ui().RB_GZ_P}) {
                button->setAutoExclusive(false);
                button->setChecked(false);
            }
            window->updateReadEncoderTab();
            QVERIFY(data.bManualEncoderPass[1] && !data.bManualEncoderPass[5]);
        }
    }

    // Counts, or degrees in four digits; the third state leaves the labels.
    void display() {
        open(5, 7, false);
        device().baseAngles[1] = 0.5f;
        device().gimbalAngles[2] = -1.0f;
        device().position[0] = -1.5f, device().position[1] = 40, device().position[2] = 12.34567f;
        device().switches[1] = 1;
        tickAt({-1, 22, 3, 4, 5, 6});
        QCOMPARE(ui().stylusButton_1->text() + ui().stylusButton_2->text(), QString("OFFON"));
        QStringList shown;
        for (const QLabel* label : {ui().encoder_X, ui().encoder_Y, ui().encoder_Z, ui().gimbal_X, ui().gimbal_Y,
                                    ui().gimbal_Z, ui().position_X, ui().position_Y, ui().position_Z})
            shown << label->text();
        QCOMPARE(shown.join(' '), QString("-1 22 3 4 5 6 -1.5 40 12.35"));
        ui().showDeg_check->setCheckState(Qt::Checked);
        window->updateReadEncoderTab();
        QCOMPARE(ui().encoder_Y->text() + ' ' + ui().gimbal_Z->text(), QString("28.65 -57.3"));
        ui().showDeg_check->setCheckState(Qt::PartiallyChecked);
        tickAt({9, 9, 9, 9, 9, 9});
        QCOMPARE(ui().encoder_Y->text(), QString("28.65"));
        // User mode gathers nothing.
        QVERIFY(window->stylusSwitchCounterOn == 0 && window->m_lMaxEncoderVal[0] < 0);
    }

    // The ink well reads the other way round on a Nolva device.
    void inkwellDisplay() {
        for (const auto& [type, reading, on] : {std::tuple{5UL, 0, true}, {5, 1, false}, {9, 0, false}, {9, 1, true}}) {
            open(type, 7, false);
            device().result["get_inkwell_switch"] = reading;
            window->updateReadEncoderTab();
            QCOMPARE(looks(ui().inkwellSwitch), QString(on ? "ON" : "OFF") + (on ? kPassStyle : kNotYetStyle));
        }
    }

    // What a device without a gimbal hides is back for the next; axes without a verdict cannot turn green.
    void visibility() {
        const std::tuple<unsigned long, unsigned long, int, QString, const char*> rows[] = {
            {5, 3, 1, "extra inkwell stylus help", kNotYetStyle},
            {9, 7, 1, "extra inkwell stylus help", ""},
            {3, 7, 1, "stylus help", kNotYetStyle},
            {1, 7, 1, "stylus", ""},
            {1, 7, 0, "", ""}};
        for (const auto& [type, card, gimbal, shown, style] : rows) {
            open(type, card, true, 0);
            for (const int index : {1, 0}) {
                go("Select");
                device().result["tharlen_check_for_gimbal"] = index == 0 && gimbal;
                ui().m_cmbTHARLeN->setCurrentIndex(index);
                enter(ui().tab_3, "Read Encoder");
            }
            const std::pair<const QWidget*, const char*> widgets[] = {
                {ui().stylusButton_2, "extra"},  {ui().inkwellSwitch, "inkwell"},
                {ui().RB_INKWELL_F, "inkwell"},  {ui().stylusButton_1, "stylus"},
                {ui().RB_STYLUS_P, "stylus"},    {ui().gimbalStatus_select, "stylus"},
                {ui().groupBox_3, "stylus"},     {ui().groupBox_4, "stylus"},
                {ui().encoderStatus_select, ""}, {ui().encoderStatus_help_textBox, "help"},
                {ui().safetySwitch, "never"},    {ui().RB_SAFETY_P, "never"}};
            for (const auto& [widget, of] : widgets)
                QVERIFY2(widget->isHidden() != shown.contains(of), qPrintable(widget->objectName()));
            for (const bool manufacturing : {true, false}) {
                window->manufMode = manufacturing;
                window->onEncoderTab();
                for (QLabel* axis :
                     {ui().encoder_X, ui().encoder_Y, ui().encoder_Z, ui().gimbal_X, ui().gimbal_Y, ui().gimbal_Z})
                    QCOMPARE(axis->styleSheet(), QString(manufacturing ? style : ""));
            }
        }
    }

    void gripsHaveTheirNames() {
        for (const auto& [kind, name] : {std::pair{1, "Thumbpad:"}, {2, "Scissor:"}}) {
            openFleet({record("Arm", 4, 3)}, [kind = kind] {
                device().result = {{"tharlen_check_for_pinch", 1}, {"tharlen_which_pinch", kind}};
            });
            go("Read Encoder");
            QCOMPARE(ui().pinch_label->text(), QString(name));
        }
    }
};

QTEST_MAIN(TestEncoders)
#include "tst_encoders.moc"
