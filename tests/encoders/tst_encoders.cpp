// The "Read Encoder" tab tick by tick: display, travel verdicts, switch transitions, choices and the way on.
#include "restyle.h"
#include "servostate.h"
#include "standin.h"
#include "windowtest.h"

using standin::device;
using standin::record;

class TestEncoders : public QObject {
    Q_OBJECT

    std::unique_ptr<qtTharlenTest> window;

    void open(unsigned long type, unsigned long card, bool manufacturing, int gimbal = 1) {
        window.reset();
        standin::reset();
        resetSharedState();
        device().fleet = {record("Arm", type, card), record("Bare", 1)};
        device().result["tharlen_check_for_gimbal"] = gimbal;
        window = openWindow();
        window->manufMode = manufacturing;
        if (!tabTexts(*window).contains("Read Encoder"))
            window->ui.tabWidget->addTab(window->ui.tab_3, "Read Encoder");
        goToTab(*window, "Read Encoder");
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
    bool canGoOn() const { return tabTexts(*window).last() == "Cycle Amps"; }

private slots:
    void cleanup() { window.reset(); }

    // The travel that just suffices on each axis, and one count less, for each line that is judged.
    void travel_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("card");
        QTest::addColumn<QVector<int>>("least");
        QTest::newRow("Orda USB") << 5 << 7 << QVector<int>{4500, 4250, 3500, 3900, 1750, 3900};
        QTest::newRow("Orda LAN") << 5 << 6 << QVector<int>{4500, 3800, 3500, 3550, 1500, 3000};
        QTest::newRow("Corvale") << 3 << 7 << QVector<int>{1500, 1700, 1200, 800, 900, 1000};
    }
    void travel() {
        QFETCH(int, type);
        QFETCH(int, card);
        QFETCH(QVector<int>, least);
        for (int axis = 0; axis < 6; ++axis) {
            open(type, card, true);
            for (int i = 0; i < 3; ++i) {
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
            for (int i = 0; i < 6; ++i)
                QCOMPARE(window->repData->bEncoderPass[i], i == axis);
            QCOMPARE(window->repData->lMinEncoderVal[axis], -400L);
            QCOMPARE(window->repData->lMaxEncoderVal[axis], high[axis]);
        }
    }

    // A base axis is judged by the sum of magnitudes, so one that never moved counts twice its reading; once
    // passed it stays so.
    void magnitudesAndHeldVerdicts() {
        open(5, 7, true);
        tickAt({2250, 0, 0, 2250, 0, 0});
        QVERIFY(window->repData->bEncoderPass[0] && !window->repData->bEncoderPass[3]);
        QCOMPARE(window->ui.encoder_X->styleSheet(), QString(kPassStyle));
        QCOMPARE(window->ui.gimbal_X->styleSheet(), QString(kNotYetStyle));
        window->m_lMinEncoderVal[0] = window->m_lMaxEncoderVal[0] = 0;
        std::fill(device().encoders, device().encoders + 6, 0L);
        window->updateReadEncoderTab();
        QVERIFY(window->repData->bEncoderPass[0]);
    }

    void unknownCardsAndOtherModelsAreNotJudged() {
        for (const auto& [type, card] : {std::pair<int, int>{5, 3}, {9, 7}, {1, 1}}) {
            open(type, card, true);
            tickAt({-9000, -9000, -9000, -9000, -9000, -9000});
            tickAt({9000, 9000, 9000, 9000, 9000, 9000});
            QVERIFY(!window->repData->bEncoderPass[0] && window->repData->lMaxEncoderVal[0] == 0);
        }
        // The figures for a Nolva are there for whoever asks: the third axis by the difference of magnitudes, the
        // fourth by their sum.
        open(9, 7, true);
        tickAt({-2500, -1300, -100, 1750, 0, 0});
        tickAt({2500, 1300, 2299, 1750, 2245, 3500});
        window->checkEncoderPass();
        QVERIFY(!window->repData->bEncoderPass[2]);
        tickAt({0, 0, 2300, 1750, 0, 0});
        window->checkEncoderPass();
        for (const bool pass : window->repData->bEncoderPass)
            QVERIFY(pass);
    }

    // On a LAN card it is not what is judged, and on others than the two there is nothing to tell.
    void toldTravel() {
        const struct {
            int type, card;
            std::array<long, 6> told;
        } rows[] = {{5, 6, {4500, 4250, 3500, 3550, 1500, 3000}},
                    {5, 7, {4500, 4250, 3500, 3900, 1750, 3900}},
                    {9, 7, {5000, 2600, 2200, 3500, 2245, 3500}}};
        const char* const names[6] = {"Base X", "Base Y", "Base Z", "Gimbal X", "Gimbal Y", "Gimbal Z"};
        for (const auto& row : rows) {
            open(row.type, row.card, true);
            const QString text = window->ui.encoderStatus_help_textBox->toPlainText();
            for (std::size_t i = 0; i < 6; ++i)
                QVERIFY(text.contains(QString::asprintf("%s axis total counts: %ld ", names[i], row.told[i])));
        }
        open(5, 3, true);
        QVERIFY(window->ui.encoderStatus_help_textBox->toPlainText().isEmpty());
    }

    // Three transitions each way leave a switch rose, the fourth of the second direction turns it green.
    void switchTransitions_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("counted");  // stylus, extra, inkwell, presence
        QTest::addColumn<QString>("judged");
        QTest::newRow("Orda") << 5 << "sei"
                              << "sei";
        QTest::newRow("Nolva") << 9 << "sei"
                               << "s";
        QTest::newRow("Corvale") << 3 << "sp"
                                 << "sp";
        QTest::newRow("Stelmar") << 1 << "s"
                                 << "s";
    }
    void switchTransitions() {
        QFETCH(int, type);
        QFETCH(QString, counted);
        QFETCH(QString, judged);
        open(type, 7, true);
        const auto level = [this](int on) {
            device().switches[0] = device().switches[1] = on;
            device().result["get_inkwell_switch"] = device().result["get_stylus_presence"] = on;
            window->updateReadEncoderTab();
        };
        for (int round = 1; round <= 4; ++round) {
            level(1);
            level(1);
            QCOMPARE(window->stylusSwitchCounterOn, round);
            QVERIFY(!window->repData->bSwitchPass);
            QCOMPARE(window->ui.stylusButton_1->text(), QString("ON"));
            QCOMPARE(window->ui.stylusButton_1->styleSheet(), QString(kNotYetStyle));
            level(0);
        }
        const REPORTDATA& data = *window->repData;
        QCOMPARE(data.bSwitchPass, true);
        QCOMPARE(window->ui.stylusButton_1->styleSheet(), QString(kPassStyle));
        QCOMPARE(data.bExtraSwitchPass, judged.contains('e'));
        QCOMPARE(data.bInkwellPass, judged.contains('i'));
        QCOMPARE(data.bPresencePass, judged.contains('p'));
        QCOMPARE(window->extraSwitchCounterOff, counted.contains('e') ? 4 : 0);
        QCOMPARE(window->inkwellSwitchCounterOff, counted.contains('i') ? 4 : 0);
        QCOMPARE(window->presenceSwitchCounterOff, counted.contains('p') ? 4 : 0);
        // A switch held on over a second visit counts once more.
        level(1);
        goToTab(*window, "Select");
        goToTab(*window, "Read Encoder");
        level(1);
        QCOMPARE(window->stylusSwitchCounterOn, 6);
    }

    void inkwellRiseResetsTheSliders() {
        open(5, 7, true);
        window->ui.slider_Y->setValue(7);
        device().result["get_inkwell_switch"] = 1;
        window->updateReadEncoderTab();
        QCOMPARE(window->ui.slider_Y->value(), 0);
    }

    // The choices open the way, whatever they are; each one that the model asks for is needed.
    void choicesOpenTheWay_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("needsThree");
        QTest::addColumn<bool>("opens");
        QTest::newRow("Orda") << 5 << true << true;
        QTest::newRow("Corvale") << 3 << false << true;
        QTest::newRow("Nolva") << 9 << false << false;
        QTest::newRow("Stelmar") << 1 << false << false;
    }
    void choicesOpenTheWay() {
        QFETCH(int, type);
        QFETCH(bool, needsThree);
        QFETCH(bool, opens);
        open(type, 7, true);
        auto& ui = window->ui;
        window->ui.next_button->setEnabled(false);
        window->ui.tabWidget->removeTab(window->ui.tabWidget->indexOf(ui.tab_6));
        choose({ui.RB_X_F, ui.RB_Y_P, ui.RB_Z_P, ui.RB_GX_P, ui.RB_GY_F, ui.RB_STYLUS_F});
        window->updateReadEncoderTab();
        QVERIFY(!tabTexts(*window).contains("Cycle Amps"));
        choose({ui.RB_GZ_P});
        window->updateReadEncoderTab();
        QCOMPARE(tabTexts(*window).contains("Cycle Amps"), opens && !needsThree);
        choose({ui.RB_EXTRA_P, ui.RB_INKWELL_F});
        window->updateReadEncoderTab();
        QCOMPARE(tabTexts(*window).contains("Cycle Amps"), opens);
        QCOMPARE(ui.next_button->isEnabled(), opens);
        const REPORTDATA& data = *window->repData;
        QVERIFY(!data.bManualSwitchPass);
        QCOMPARE(data.bManualExtraSwitchPass, needsThree);
        if (opens)
            QVERIFY(!data.bManualEncoderPass[0] && data.bManualEncoderPass[1] && !data.bManualEncoderPass[4]);
    }

    // Counts, or degrees in four digits; the third state leaves the labels.
    void display() {
        open(5, 7, false);
        device().baseAngles[1] = 0.5f;
        device().gimbalAngles[2] = -1.0f;
        device().position[2] = 12.34567f;
        tickAt({-1, 22, 3, 4, 5, 6});
        QCOMPARE(window->ui.encoder_Y->text(), QString("22"));
        QCOMPARE(window->ui.position_Z->text(), QString("12.35"));
        window->ui.showDeg_check->setCheckState(Qt::Checked);
        window->updateReadEncoderTab();
        QCOMPARE(window->ui.encoder_Y->text(), QString("28.65"));
        QCOMPARE(window->ui.gimbal_Z->text(), QString("-57.3"));
        window->ui.showDeg_check->setCheckState(Qt::PartiallyChecked);
        tickAt({9, 9, 9, 9, 9, 9});
        QCOMPARE(window->ui.encoder_Y->text(), QString("28.65"));
        // User mode gathers nothing.
        QCOMPARE(window->stylusSwitchCounterOn, 0);
        QCOMPARE(window->m_lMaxEncoderVal[0], std::numeric_limits<long>::min());
    }

    // The ink well reads the other way round on a Nolva device.
    void inkwellDisplay() {
        for (const auto& [type, reading, text] :
             {std::tuple<int, int, const char*>{5, 0, "ON"}, {5, 1, "OFF"}, {9, 0, "OFF"}, {9, 1, "ON"}}) {
            open(type, 7, false);
            device().result["get_inkwell_switch"] = reading;
            window->updateReadEncoderTab();
            QCOMPARE(window->ui.inkwellSwitch->text(), QString(text));
            QCOMPARE(window->ui.inkwellSwitch->styleSheet(),
                     QString(QByteArray(text) == "ON" ? kPassStyle : kNotYetStyle));
        }
    }

    void visibility_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("card");
        QTest::addColumn<int>("gimbal");
        QTest::addColumn<QString>("shown");
        QTest::newRow("Orda") << 5 << 7 << 1 << "extra inkwell stylus help";
        QTest::newRow("Orda, another card") << 5 << 3 << 1 << "extra inkwell stylus help";
        QTest::newRow("Nolva") << 9 << 7 << 1 << "extra inkwell stylus help";
        QTest::newRow("Corvale") << 3 << 7 << 1 << "stylus help";
        QTest::newRow("Stelmar with gimbal") << 1 << 7 << 1 << "stylus gimbals";
        QTest::newRow("Stelmar without") << 1 << 7 << 0 << "";
    }
    void visibility() {
        QFETCH(int, type);
        QFETCH(int, card);
        QFETCH(int, gimbal);
        QFETCH(QString, shown);
        open(type, card, true, 0);
        auto& ui = window->ui;
        const QVector<QLabel*> labels{ui.encoder_X, ui.encoder_Y, ui.encoder_Z, ui.gimbal_X, ui.gimbal_Y, ui.gimbal_Z};
        const auto choose = [this](int index) {
            goToTab(*window, "Select");
            window->ui.m_cmbTHARLeN->setCurrentIndex(index);
            window->ui.tabWidget->addTab(window->ui.tab_3, "Read Encoder");
            goToTab(*window, "Read Encoder");
        };
        choose(1);  // what a device without a gimbal hides is back for the next
        device().result["tharlen_check_for_gimbal"] = gimbal;
        choose(0);
        for (const QLabel* label : labels)  // on lines without a verdict they could never turn green
            QCOMPARE(label->styleSheet(), QString(type == 5 || type == 3 ? kNotYetStyle : ""));
        const bool other = type == 1;
        QCOMPARE(!ui.stylusButton_2->isHidden(), shown.contains("extra"));
        QCOMPARE(!ui.inkwellSwitch->isHidden(), shown.contains("inkwell"));
        QCOMPARE(!ui.RB_INKWELL_F->isHidden(), shown.contains("inkwell"));
        QCOMPARE(!ui.stylusButton_1->isHidden(), shown.contains("stylus"));
        QCOMPARE(!ui.RB_STYLUS_P->isHidden(), shown.contains("stylus"));
        QCOMPARE(!ui.encoderStatus_help_textBox->isHidden(), shown.contains("help"));
        QVERIFY(ui.safetySwitch->isHidden() && ui.RB_SAFETY_P->isHidden());
        QVERIFY(!ui.encoderStatus_select->isHidden());
        QCOMPARE(!ui.gimbalStatus_select->isHidden(), !other || gimbal == 1);
        QCOMPARE(!ui.groupBox_3->isHidden(), !other || gimbal == 1);
        QCOMPARE(!ui.groupBox_4->isHidden(), !other || gimbal == 1);
        window->manufMode = false;
        window->onEncoderTab();
        for (const QLabel* label : labels)
            QCOMPARE(label->styleSheet(), QString());
    }
};

QTEST_MAIN(TestEncoders)
#include "tst_encoders.moc"
