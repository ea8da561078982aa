// The ties between the figures of each model line: what the tests of the application need of them.
#include <Eigen/LU>
#include <algorithm>

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

/// Joint angles of a point, mm from the origin, by steps from the rest pose.
Vector6 reach(const LineFigures& l, const Vector3& p) {
    Vector6 q = Vector6::Zero();
    std::copy_n(l.restPose, 3, q.data());
    for (int i = 0; i < 20; ++i)
        q.head<3>() += baseJacobian(l, q).inverse() * (p - endpoint(l, q)) / 1000.0;
    return q;
}

/// Force limit of the box, N.
double boxLimit(const LineFigures& l) {
    const double share = asked(l).box.continuous;
    return share == 0.0 ? l.maxForce : l.highForce ? l.continuousForce : share * l.continuousForce;
}

/// The ties that do not hold, in words.
QStringList broken;

template <class... Parts>
void check(bool holds, const Parts&... tie) {
    if (!holds)
        broken << simarm::about(tie...);
}

// b = 4 P (z/D)^2 counts/tick^2/DAC with a damping z of 1.0 to 1.3 is what the endurance run's loop needs.
void endurance(const LineFigures& l) {
    const EncoderTestLine* loop = asked(l).endurance;
    for (int i = 0; loop && i < 3; ++i) {
        const AxisFigures& axis = l.base[i];
        const AxisGains& g = loop->axes[i];
        const double b = axis.countsPerRad * l.torquePerDac(i) / axis.inertia * 1e-6;
        const double z = double(g.d) * std::sqrt(b / (4 * double(g.p)));
        check(z >= 1.0 && z <= 1.3, "the damping of the closed loop is", z, "of axis", i);
        check(axis.parity == static_cast<int>(g.parity), "the motor turns the wrong way of axis", i);
        for (const auto& row : loop->route)
            check(axis.stopLow <= row[i] - 80 && axis.stopHigh >= row[i] + 80, "the route meets a stop of axis", i);
    }
}

void friction(const LineFigures& l) {
    const double drive[3] = {0.2, 0.35, 0.3};  // V, of the capstan test
    for (int i = 0; i < 3; ++i) {
        const double dac = l.base[i].dryFriction, volts = dac / kFullDac;
        if (asked(l).mechanicalTests) {
            const double limit = lodrinLimits().axtlFriction[i].fVoltageChange;
            check(volts >= 0.02 && volts <= 0.05, "no healthy friction of axis", i);
            check(volts < limit && volts * 8 > limit, "sticky or not, the friction test says the same of axis", i);
            check(volts * 10 < lodrinLimits().vvFrictionMaxVoltage.afVoltages[i], "too sticky to measure, axis", i);
        } else if (l.flags) {
            check(dac >= 100 && dac <= 300, "no healthy friction of axis", i);
        }
        check(volts < drive[i], "the friction stops the capstan test of axis", i);
    }
}

void travel(const LineFigures& l) {
    const ModelLine& line = asked(l);
    if (!line.automaticInspections)
        return;
    const AxisCounts wanted = line.leastTravel ? *line.leastTravel : leastTravel(corvaleLimits());
    for (int i = 0; i < 6; ++i) {
        const double least = static_cast<double>(wanted[static_cast<std::size_t>(i)]);
        const double travel = static_cast<double>(line.travelOf(i, l.axis(i).stopLow, l.axis(i).stopHigh));
        check(travel >= 1.03 * least && travel <= 1.08 * least, "the travel is", travel, "of axis", i);
    }
}

void cube(const LineFigures& l) {
    for (int corner = 0; corner < 27; ++corner) {
        const Vector3 p((corner % 3 - 1) * 45, (corner / 3 % 3 - 1) * 45, (corner / 9 - 1) * 45);
        const Vector6 q = reach(l, p);
        check((endpoint(l, q) - p).norm() < 1e-6 && std::abs(q[2] - q[1]) < 1.1, "out of good reach is point", corner);
        for (int i = 0; i < 3; ++i) {
            check(q[i] > l.angleLow(i) + 0.03 && q[i] < l.angleHigh(i) - 0.03, "at a stop of axis", i, "is", corner);
            // The limit along each direction of space, by the motors alone.
            for (int way = 0; way < 3; ++way) {
                const double dac = jacobian(l, q)(i, way) * boxLimit(l) / 1000.0 / l.torquePerDac(i);
                check(std::abs(dac) < kFullDac, "it takes", dac, "counts of axis", i, "at point", corner);
            }
        }
    }
}

void box(const LineFigures& l) {
    const Vector6 rest = reach(l, {0, 0, 0});
    for (int i = 0; i < 3; ++i)
        check(std::abs(rest[i] - l.restPose[i]) < 0.005, "the rest pose is not the origin, by axis", i);
    check(boxLimit(l) <= l.maxForce, "the limit of the box is above the nominal force");
    for (ULONG card : {kCardLan, kCardUsb}) {
        const BoxRule& rule = findModelLine(l.modelType, card).box;
        for (const float factor : {rule.user, rule.manufacturing}) {
            const double gain = (factor != 0.0f ? double(factor) : l.maxStiffness) * l.maxStiffness;
            const double depth = boxLimit(l) / gain;
            check(depth > 3.0 && depth < 20.0, "the box gives way at", depth, "mm");
            // A wall of gain K stays passive at 1 kHz while the damping is above K T / 2.
            const double needed = gain * 1000.0 * 0.001 / 2;
            for (int i = 0; i < 3 && (l.cardType == 0 || static_cast<ULONG>(l.cardType) == card); ++i) {
                const double lever = jacobian(l, rest).row(i).head<3>().norm() / 1000.0;
                check(l.base[i].viscous / (lever * lever) >= needed, "the box is not passive on axis", i);
            }
        }
    }
}

void poses(const LineFigures& l) {
    for (int i = 0; i < 3; ++i) {
        check(l.angleLow(i) < l.dockPose[i] && l.dockPose[i] < l.angleHigh(i), "the ink well is past a stop of", i);
        check(l.angleLow(i) < l.resetPose[i] - 0.02 && l.resetPose[i] + 0.02 < l.angleHigh(i),
              "the reset pose is past a stop of axis", i);
    }
    check(l.resetPose[1] == l.resetPose[2], "the links are not at right angles in the reset pose");
}

void heat(const LineFigures& l) {
    Heat h;
    h.cool();
    int seconds = 0;
    for (; normalisedTemperature(l.heat, h.winding[0]) < 1.0 && seconds < 3600; ++seconds)
        h.advance(l.heat, Vector6::Constant(kFullDac), 3, 1.0);
    check(seconds > 45 && seconds < 600, "full command reaches the warning after", seconds, "s");
    check(normalisedTemperature(l.heat, l.heat.warmLimit) == 1.0, "the scale is not 1 at the warm limit");
    check(l.heat.cooldown < l.heat.warmLimit && l.heat.warmLimit < l.heat.shutdown, "thresholds are out of order");
}

// Flags and gaps as the application's width limits want them, inside the travel, and found at all.
void flags(const LineFigures& l) {
    const CONFIG_DATA_CORVALE limits = corvaleLimits();
    for (const int revision : {1, 5, 9}) {
        for (int axis = 0; axis < 3; ++axis) {
            const AxisFlags f = homeFlags(l, revision, axis);
            const bool sensors = asked(l).calibration == Calibration::HomeSensors;
            check(f.number == (!sensors ? 0 : axis < 2 && revision == 5 ? 3 : 1), "number of flags of axis", axis);
            for (int i = 0; i < f.number; ++i) {
                const FlagFigures &at = f.flags[i], &before = f.flags[std::max(0, i - 1)];
                const SENSOR_WIDTH_LIMIT& flag = limits.axswlWidthLimits[axis].aswlFlagLimits[f.firstIndex + i];
                const SENSOR_WIDTH_LIMIT& gap = limits.axswlWidthLimits[axis].aswlGapLimits[std::max(0, i - 1)];
                const long width = at.stop - at.start, between = at.start - before.stop;
                check(width > flag.lMinWidth + 20 && width < flag.lMaxWidth - 20, "width of flag", i, "of axis", axis);
                check(i == 0 || (between > gap.lMinWidth + 20 && between < gap.lMaxWidth - 20), "gap of axis", axis);
                check(at.start > l.base[axis].stopLow + 100 && at.stop < l.base[axis].stopHigh - 100,
                      "a flag is at a stop of axis", axis);
            }
        }
    }
}

}  // namespace

class TestArmFigures : public QObject {
    Q_OBJECT

private slots:
    void ties() {
        for (int i = 0; i < lineCount(); ++i) {
            const LineFigures& line = lineAt(i);
            broken.clear();
            for (const auto tie : {&endurance, &friction, &travel, &cube, &box, &poses, &heat, &flags})
                tie(line);
            const QByteArray row = simarm::about(line.word, "card", line.cardType, line.highForce ? "high force" : "");
            QVERIFY2(broken.isEmpty(), row + broken.join("; ").toUtf8());
        }
    }
};

QTEST_APPLESS_MAIN(TestArmFigures)
#include "tst_armfigures.moc"
