// The endurance run's position loop on the simulated lines: it settles at every step of its route, at healthy
// friction, and a sticky bearing shows. The friction figure that a slow ramp finds is the table's.
#include <array>
#include <cmath>
#include <vector>

#include "QtTharlenTest/tharlenDefines.h"
#include "device/simulated/model/lines.h"
#include "simarm.h"

using simarm::Bench;
using simarm::Callback;

namespace {

using Row = std::array<long, 3>;

struct Loop {
    double p[3], i[3], d[3], offset[3];
    int parity[3];
    long limit, step;
    std::vector<Row> route;
};

const Loop kOrda = {{15, 32, 15.5},
                    {0.2, 0.4, 0.35},
                    {500, 1500, 1000},
                    {150, 255, 120},
                    {1, 1, -1},
                    15000,
                    8,
                    {{0, 0, 0},
                     {0, -500, 0},
                     {2243, -500, 0},
                     {-2355, -500, 0},
                     {0, -500, 0},
                     {0, -3755, 2500},
                     {0, -95, 500},
                     {0, -200, 2205},
                     {0, -200, -455}}};
const Loop kCorvale = {{10, 10, 10},
                       {0.08, 0.08, 0.08},
                       {75, 75, 75},
                       {0, 0, 0},
                       {1, 1, 1},
                       7000,
                       4,
                       {{0, 0, 0},
                        {-8000, -15000, -7000},
                        {8000, -3000, -6000},
                        {8000, -11000, -8000},
                        {-8000, -3000, 2000},
                        {8000, -15000, -5000}}};
const Loop kCorvaleUsb = {{5, 5, 5},
                          {0.04, 0.04, 0.04},
                          {30, 30, 30},
                          {0, 0, 0},
                          {1, 1, -1},
                          8500,
                          4,
                          {{0, 0, 0},
                           {-8000, -15000, 7000},
                           {8000, -3000, 6000},
                           {8000, -11000, 8000},
                           {-8000, -3000, -2000},
                           {8000, -15000, 5000}}};

/// One tick of proportional, integral and differential control towards a moving set point.
struct Controller {
    const Loop& loop;
    Row wanted{}, last{};
    double sum[3]{}, worst = 0.0, saturated = 0.0;
    long error[3]{};

    std::array<long, 6> tick(const long* counts, const Row& goal) {
        std::array<long, 6> dac{};
        for (std::size_t a = 0; a < 3; ++a) {
            const long way = goal[a] - wanted[a];
            wanted[a] += std::labs(way) <= loop.step ? way : way > 0 ? loop.step : -loop.step;
            const long e = counts[a] - wanted[a];
            sum[a] += loop.i[a] * static_cast<double>(e);
            const double out =
                loop.p[a] * static_cast<double>(e) + sum[a] + loop.d[a] * static_cast<double>(e - error[a]);
            error[a] = e;
            worst = std::max(worst, std::abs(static_cast<double>(e)));
            const double command = (loop.offset[a] + out) * loop.parity[a];
            saturated += std::abs(command) > static_cast<double>(loop.limit) ? 1 : 0;
            dac[a] = static_cast<long>(std::max(-1.0 * loop.limit, std::min(1.0 * loop.limit, command)));
        }
        return dac;
    }
};

/// Seconds for the route (all within 2 counts for 100 ticks at each row), or -1 when a row is not reached.
double drive(int id, Controller& controller) {
    long counts[6];
    get_encoder_values(id, counts);
    controller.wanted = {counts[0], counts[1], counts[2]};
    enable_tharlen_forces(id);
    int ticks = 0;
    for (const Row& goal : controller.loop.route) {
        for (int settled = 0, here = 0; settled < 100; ++here) {
            if (here > 20000)
                return -1;
            update_tharlen(id);
            get_encoder_values(id, counts);
            const std::array<long, 6> dac = controller.tick(counts, goal);
            command_motor_dac_values(id, dac.data());
            armcontrol::step(1);
            ++ticks;
            bool near = true;
            for (std::size_t a = 0; a < 3; ++a)
                near &= std::labs(counts[a] - goal[a]) <= 2;
            settled = near ? settled + 1 : 0;
        }
    }
    disable_tharlen_forces(id);
    return ticks / 1000.0;
}

}  // namespace

class TestArmRoute : public QObject {
    Q_OBJECT

private slots:
    void settles_data();
    void settles();
    void frictionIsFound();
    void capstanSlips();
};

void TestArmRoute::settles_data() {
    QTest::addColumn<QString>("device");
    QTest::addColumn<int>("line");
    QTest::addColumn<double>("longest");
    QTest::newRow("Orda") << "Default Device" << 0 << 20.0;
    QTest::newRow("Orda on the LAN") << "Orda LAN" << 0 << 20.0;
    QTest::newRow("Orda of high force") << "Orda High Force" << 0 << 20.0;
    QTest::newRow("Corvale") << "Corvale LAN" << 1 << 30.0;
    QTest::newRow("Corvale USB") << "Corvale USB" << 2 << 30.0;
}

void TestArmRoute::settles() {
    QFETCH(QString, device);
    QFETCH(int, line);
    QFETCH(double, longest);
    Bench bench;
    const int id = init_tharlen(qPrintable(device));
    QVERIFY(simarm::calibrate(id));
    armcontrol::handRelease();
    const Loop& loop = line == 0 ? kOrda : line == 1 ? kCorvale : kCorvaleUsb;
    Controller healthy{loop};
    const double seconds = drive(id, healthy);
    QVERIFY2(seconds > 0 && seconds < longest,
             qPrintable(QString("%1 s, error up to %2").arg(seconds).arg(healthy.worst)));
    QVERIFY2(healthy.worst < 150 && healthy.saturated == 0, qPrintable(QString("error %1").arg(healthy.worst)));

    QCOMPARE(armcontrol::setFault("sticky-bearing", true, -1, 8), std::string());
    Controller sticky{loop};
    const double slow = drive(id, sticky);
    QVERIFY2(slow < 0 || sticky.worst > 1.8 * healthy.worst,
             qPrintable(QString("error %1, healthy %2").arg(sticky.worst).arg(healthy.worst)));
}

// A ramp of 0.1 V/s finds the dry friction of an axis that moves by the counts that mean so, in either direction.
void TestArmRoute::frictionIsFound() {
    Bench bench;
    const int id = init_tharlen("Default Device");
    QVERIFY(simarm::calibrate(id));
    const arm::LineFigures& line = *arm::findLine("Orda", 7, false);
    for (int factor : {1, -1, 2, 8, -8}) {
        QCOMPARE(
            armcontrol::setFault("sticky-bearing", std::abs(factor) > 1, -1, std::max(1.1, std::abs(1.0 * factor))),
            std::string());
        for (int axis = 0; axis < 3; ++axis) {
            Gestures().letGoAt({}, 1000, 500);
            enable_tharlen_forces(id);
            long start[6], counts[6];
            get_encoder_values(id, start);
            float volts[6] = {}, sent[6];
            do {
                volts[axis] += factor > 0 ? 0.0001f : -0.0001f;
                command_motor_voltages(id, volts, sent);
                armcontrol::step(1);
                get_encoder_values(id, counts);
            } while (std::labs(counts[axis] - start[axis]) < lodrinLimits().axtlFriction[axis].nEncoderChange
                     && std::abs(volts[axis]) < 0.4f);
            const double share = factor > 0 ? 1.0 : line.base[axis].backFriction;
            const double wanted = factor * share * line.base[axis].dryFriction / arm::kFullDac;
            QVERIFY2(std::abs(volts[axis] / wanted - 1.0) < 0.05,
                     qPrintable(QString("axis %1: %2 V, wanted %3 V").arg(axis).arg(double(volts[axis])).arg(wanted)));
            disable_tharlen_forces(id);
        }
    }
}

// Driven to the stops before and after a push of 0.5 V: the encoders agree, unless the cable slips.
void TestArmRoute::capstanSlips() {
    Bench bench;
    const int id = init_tharlen("Default Device");
    QVERIFY(simarm::calibrate(id));
    armcontrol::handRelease();
    enable_tharlen_forces(id);
    long counts[2][6];
    const auto push = [id](double share, int ticks) {
        for (int i = 0; i < ticks; ++i) {
            float velocity[3], sent[6];
            get_tharlen_vel(id, velocity);
            float volts[6] = {
                0.2f + velocity[0] * 0.0001f, 0.35f - velocity[1] * 0.0005f, 0.3f - velocity[2] * 0.0005f, 0, 0, 0};
            for (int a = 0; share > 0 && a < 3; ++a)
                volts[a] = static_cast<float>(share);
            command_motor_voltages(id, volts, sent);
            armcontrol::step(1);
            QCOMPARE(update_tharlen(id), 0);
        }
    };
    for (bool slips : {false, true}) {
        QCOMPARE(armcontrol::setFault("slipping-capstan", slips, 1, 100), std::string());
        push(0, 4000);
        get_encoder_values(id, counts[0]);
        push(0.5, 2000);
        push(0, 1000);
        get_encoder_values(id, counts[1]);
        for (int a = 0; a < 3; ++a) {
            const long change = std::labs(counts[1][a] - counts[0][a]);
            QVERIFY2(slips && a == 1 ? change > 100 : change <= 4,
                     qPrintable(QString("axis %1 changed by %2").arg(a).arg(change)));
        }
    }
}

QTEST_APPLESS_MAIN(TestArmRoute)
#include "tst_armroute.moc"
