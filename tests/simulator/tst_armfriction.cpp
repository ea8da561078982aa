// The friction of an axis that is driven backwards is the table's. What the window's tests measure is driven forwards.
#include <cmath>

#include "QtTharlenTest/tharlenDefines.h"
#include "device/simulated/model/lines.h"
#include "simarm.h"

class TestArmFriction : public QObject {
    Q_OBJECT

private slots:
    // By a ramp of 0.1 V/s, of an axis that moves by the counts that mean so.
    void backwards() {
        simarm::Bench bench;
        const int id = init_tharlen("Default Device");
        QVERIFY(simarm::calibrate(id));
        const arm::LineFigures& line = *arm::findLine("Orda", kCardUsb, false);
        for (double factor : {1.0, 8.0}) {
            QCOMPARE(armcontrol::setFault("sticky-bearing", factor > 1, -1, std::max(1.1, factor)), std::string());
            for (int axis = 0; axis < 3; ++axis) {
                Gestures().letGoAt({}, 1000, 500);
                enable_tharlen_forces(id);
                long start[6], counts[6];
                get_encoder_values(id, start);
                float volts[6] = {}, sent[6];
                do {
                    volts[axis] -= 0.0001f;
                    command_motor_voltages(id, volts, sent);
                    armcontrol::step(1);
                    get_encoder_values(id, counts);
                } while (std::labs(counts[axis] - start[axis]) < lodrinLimits().axtlFriction[axis].nEncoderChange
                         && volts[axis] > -0.4f);
                const arm::AxisFigures& figures = line.base[axis];
                const double wanted = -factor * figures.backFriction * figures.dryFriction / arm::kFullDac;
                QVERIFY2(std::abs(volts[axis] / wanted - 1.0) < 0.05,
                         qPrintable(QString("axis %1: %2 V, not %3 V").arg(axis).arg(double(volts[axis])).arg(wanted)));
                disable_tharlen_forces(id);
            }
        }
    }
};

QTEST_APPLESS_MAIN(TestArmFriction)
#include "tst_armfriction.moc"
