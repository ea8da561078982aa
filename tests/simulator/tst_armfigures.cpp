// The ties between the figures of each model line: what the tests of the application need of them.
#include <algorithm>
#include <cmath>

#include "QtTharlenTest/models/modellines.h"
#include "QtTharlenTest/tharlenDefines.h"
#include "device/simulated/model/heat.h"
#include "device/simulated/model/kinematics.h"
#include "device/simulated/model/lines.h"
#include "simarm.h"

using namespace arm;

namespace {

/// What the window asks of the line; on a LAN card, where the simulated line is for several.
const ModelLine& asked(const LineFigures& l) {
    return findModelLine(l.modelType, l.cardType != 0 ? static_cast<ULONG>(l.cardType) : kCardLan);
}

/// Joint angles of a point, mm from the origin: the elbow above.
Vector6 reach(const LineFigures& l, const Vector3& p) {
    const double z = p.z() + l.originZ, y = p.y() + l.originY;
    const double across = std::hypot(p.x(), z), far = std::hypot(across, y), up = std::atan2(y, across);
    const double a = std::acos((l.upperArm * l.upperArm + far * far - l.forearm * l.forearm) / (2 * l.upperArm * far));
    const double b = std::acos((l.forearm * l.forearm + far * far - l.upperArm * l.upperArm) / (2 * l.forearm * far));
    Vector6 q = Vector6::Zero();
    q[0] = std::atan2(-p.x(), z);
    q[1] = up + a;
    q[2] = M_PI / 2 + up - b;
    return q;
}

/// Force limit of the box, N.
double boxLimit(const LineFigures& l) {
    const double share = asked(l).box.continuous;
    return share == 0.0 ? l.maxForce : l.highForce ? l.continuousForce : share * l.continuousForce;
}

}  // namespace

class TestArmFigures : public QObject {
    Q_OBJECT

private slots:
    void ties_data();
    void ties();
    void flags();

private:
    void acceleration(const LineFigures& l);
    void friction(const LineFigures& l);
    void travel(const LineFigures& l);
    void route(const LineFigures& l);
    void cube(const LineFigures& l);
    void box(const LineFigures& l);
    void poses(const LineFigures& l);
    void heat(const LineFigures& l);
    void check(bool holds, const QString& tie) {
        if (!holds)
            broken_ << tie;
    }

    QStringList broken_;
};

void TestArmFigures::ties_data() {
    QTest::addColumn<int>("index");
    for (int i = 0; i < lineCount(); ++i)
        QTest::newRow(qPrintable(QString("%1 card %2%3")
                                     .arg(lineAt(i).word)
                                     .arg(lineAt(i).cardType)
                                     .arg(lineAt(i).highForce ? " high force" : "")))
            << i;
}

void TestArmFigures::ties() {
    QFETCH(int, index);
    const LineFigures& line = lineAt(index);
    broken_.clear();
    acceleration(line);
    friction(line);
    travel(line);
    route(line);
    cube(line);
    box(line);
    poses(line);
    heat(line);
    QVERIFY2(broken_.isEmpty(), qPrintable(broken_.join("; ")));
}

// b = 4 P (z/D)^2 counts/tick^2/DAC with a damping z of 1.0 to 1.3 is what the endurance run's loop needs.
void TestArmFigures::acceleration(const LineFigures& l) {
    const EncoderTestLine* loop = asked(l).endurance;
    for (int i = 0; loop && i < 3; ++i) {
        const AxisGains& g = loop->axes[i];
        const double b = l.base[i].countsPerRad * l.torquePerDac(i) / l.base[i].inertia * 1e-6;
        const double z = double(g.d) * std::sqrt(b / (4 * double(g.p)));
        check(z >= 1.0 && z <= 1.3, QString("axis %1: damping of the closed loop is %2").arg(i).arg(z));
    }
}

void TestArmFigures::friction(const LineFigures& l) {
    const double drive[3] = {0.2, 0.35, 0.3};  // V, of the capstan test
    for (int i = 0; i < 3; ++i) {
        const double dac = l.base[i].dryFriction, volts = dac / kFullDac;
        const QString axis = QString("axis %1: dry friction of %2 counts ").arg(i).arg(dac);
        if (asked(l).mechanicalTests) {
            check(volts >= 0.02 && volts <= 0.05, axis + "is not healthy");
            check(volts < lodrinLimits().axtlFriction[i].fVoltageChange, axis + "fails the friction test");
            check(volts * 10 < lodrinLimits().vvFrictionMaxVoltage.afVoltages[i], axis + "is not measured when sticky");
            check(volts * 8 > lodrinLimits().axtlFriction[i].fVoltageChange, axis + "passes it even when sticky");
        } else if (l.flags) {
            check(dac >= 100 && dac <= 300, axis + "is not healthy");
        }
        check(volts < drive[i], axis + "stops the capstan test");
    }
}

void TestArmFigures::travel(const LineFigures& l) {
    const ModelLine& line = asked(l);
    if (!line.automaticInspections)
        return;
    const AxisCounts wanted = line.leastTravel ? *line.leastTravel : leastTravel(corvaleLimits());
    for (int i = 0; i < 6; ++i) {
        const double least = static_cast<double>(wanted[static_cast<std::size_t>(i)]);
        const double travel = static_cast<double>(line.travelOf(i, l.axis(i).stopLow, l.axis(i).stopHigh));
        check(travel >= 1.03 * least && travel <= 1.08 * least, QString("axis %1: travel %2").arg(i).arg(travel));
    }
}

void TestArmFigures::route(const LineFigures& l) {
    const EncoderTestLine* loop = asked(l).endurance;
    for (int i = 0; loop && i < 3; ++i) {
        const AxisFigures& axis = l.base[i];
        check(std::all_of(std::begin(loop->route), std::end(loop->route),
                          [&](const long* row) { return axis.stopLow <= row[i] - 80 && axis.stopHigh >= row[i] + 80; }),
              QString("axis %1: the route meets a stop").arg(i));
        check(axis.parity == static_cast<int>(loop->axes[i].parity),
              QString("axis %1: the motor turns the wrong way").arg(i));
    }
}

void TestArmFigures::cube(const LineFigures& l) {
    for (int corner = 0; corner < 27; ++corner) {
        const Vector3 p((corner % 3 - 1) * 45, (corner / 3 % 3 - 1) * 45, (corner / 9 - 1) * 45);
        const Vector6 q = reach(l, p);
        const QString place = QString("the point %1 %2 %3 ").arg(p.x()).arg(p.y()).arg(p.z());
        check((endpoint(l, q) - p).norm() < 1e-6, place + "cannot be reached");
        check(std::abs(q[2] - q[1]) < 1.1, place + "is close to a singular pose");
        for (int i = 0; i < 3; ++i) {
            check(q[i] > l.angleLow(i) + 0.03 && q[i] < l.angleHigh(i) - 0.03,
                  place + QString("meets a stop of axis %1").arg(i));
            // The limit along each direction of space, by the motors alone.
            for (int way = 0; way < 3; ++way) {
                const double dac = jacobian(l, q)(i, way) * boxLimit(l) / 1000.0 / l.torquePerDac(i);
                check(std::abs(dac) < kFullDac, place + QString("needs %1 counts of axis %2").arg(dac).arg(i));
            }
        }
    }
}

void TestArmFigures::box(const LineFigures& l) {
    Vector6 rest = Vector6::Zero();
    for (int i = 0; i < 3; ++i)
        rest[i] = l.restPose[i];
    check(endpoint(l, rest).norm() < 1.0, "the rest pose is not the origin");
    check(boxLimit(l) <= l.maxForce, "the limit of the box is above the nominal force");
    for (ULONG card : {kCardLan, kCardUsb}) {
        const BoxRule& rule = findModelLine(l.modelType, card).box;
        for (const float factor : {rule.user, rule.manufacturing}) {
            const double gain = (factor != 0.0f ? double(factor) : l.maxStiffness) * l.maxStiffness;
            const double depth = boxLimit(l) / gain;
            check(depth > 3.0 && depth < 20.0, QString("the box gives way at %1 mm").arg(depth));
            // A wall of gain K stays passive at 1 kHz while the damping is above K T / 2.
            const double needed = gain * 1000.0 * 0.001 / 2;
            for (int i = 0; i < 3 && (l.cardType == 0 || static_cast<ULONG>(l.cardType) == card); ++i) {
                const double lever = jacobian(l, rest).row(i).head<3>().norm() / 1000.0;
                check(l.base[i].viscous / (lever * lever) >= needed, QString("axis %1: the box is not passive").arg(i));
            }
        }
    }
}

void TestArmFigures::poses(const LineFigures& l) {
    for (int i = 0; i < 3; ++i) {
        check(l.angleLow(i) < l.dockPose[i] && l.dockPose[i] < l.angleHigh(i),
              QString("axis %1: the ink well is past a stop").arg(i));
        check(l.angleLow(i) < l.resetPose[i] - 0.02 && l.resetPose[i] + 0.02 < l.angleHigh(i),
              QString("axis %1: the reset pose is past a stop").arg(i));
    }
    check(l.resetPose[1] == l.resetPose[2], "the links are not at right angles in the reset pose");
}

void TestArmFigures::heat(const LineFigures& l) {
    Heat h;
    h.cool();
    const Vector6 full = Vector6::Constant(kFullDac);
    double seconds = 0.0;
    while (normalisedTemperature(l.heat, h.winding[0]) < 1.0 && seconds < 3600.0) {
        h.advance(l.heat, full, 3, 1.0);
        seconds += 1.0;
    }
    check(seconds > 45.0 && seconds < 600.0, QString("full command reaches the warning after %1 s").arg(seconds));
    check(normalisedTemperature(l.heat, l.heat.warmLimit) == 1.0, "the scale is not 1 at the warm limit");
    check(l.heat.cooldown < l.heat.warmLimit && l.heat.warmLimit < l.heat.shutdown, "the thresholds are out of order");
}

// Flags and gaps as the application's width limits want them, inside the travel, and found at all.
void TestArmFigures::flags() {
    const CONFIG_DATA_CORVALE limits = corvaleLimits();
    for (int row = 0; row < lineCount(); ++row) {
        const LineFigures& l = lineAt(row);
        for (int revision : {1, 5, 9}) {
            for (int axis = 0; axis < 3; ++axis) {
                const AxisFlags f = homeFlags(l, revision, axis);
                QCOMPARE(f.number, asked(l).calibration != Calibration::HomeSensors ? 0
                                   : axis < 2 && revision == 5                      ? 3
                                                                                    : 1);
                for (int i = 0; i < f.number; ++i) {
                    const SENSOR_WIDTH_LIMIT& flag = limits.axswlWidthLimits[axis].aswlFlagLimits[f.firstIndex + i];
                    const long width = f.flags[i].stop - f.flags[i].start;
                    QVERIFY(width > flag.lMinWidth + 20 && width < flag.lMaxWidth - 20);
                    QVERIFY(f.flags[i].start > l.base[axis].stopLow + 100
                            && f.flags[i].stop < l.base[axis].stopHigh - 100);
                    if (i == 0)
                        continue;
                    const SENSOR_WIDTH_LIMIT& gap = limits.axswlWidthLimits[axis].aswlGapLimits[i - 1];
                    const long between = f.flags[i].start - f.flags[i - 1].stop;
                    QVERIFY(between > gap.lMinWidth + 20 && between < gap.lMaxWidth - 20);
                }
            }
        }
    }
}

QTEST_APPLESS_MAIN(TestArmFigures)
#include "tst_armfigures.moc"
