// The contract of the servo loop: on its own thread, and stepped by hand.
#include <atomic>
#include <chrono>
#include <cmath>
#include <thread>

#include "simarm.h"

using simarm::Bench;

namespace {

std::atomic<int> calls{0};
std::atomic<bool> inside{false}, linger{false};
std::atomic<int> handle{-1};

int count(void*) {
    inside = true;
    update_tharlen(handle);
    const float force[6] = {0.1f, 0, 0, 0, 0, 0};
    send_tharlen_force(handle, force);
    enable_tharlen_forces(handle);
    float position[3];
    get_tharlen_pos(handle, position);
    ++calls;
    while (linger)
        std::this_thread::yield();
    inside = false;
    return 0;
}

void pause(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

/// Waits till `condition` holds, at most two seconds.
template <typename F>
bool becomes(F condition) {
    for (int i = 0; i < 2000 && !condition(); ++i)
        pause(1);
    return condition();
}

}  // namespace

class TestArmLoop : public QObject {
    Q_OBJECT

private slots:
    void init() {
        calls = 0;
        linger = false;
    }
    void refusals();
    void runsAndStops();
    void stopWaitsForCallback();
    void stopInsideCallback();
    void movesWithoutCallback();
    void readersAndLoop();
    void stepped();
    void manners();
};

void TestArmLoop::refusals() {
    qputenv("NOLVA_ARM_SOCKET", "off");
    armcontrol::resetArm();
    QVERIFY(startServoLoop(&count, nullptr) < 0);
    QVERIFY(!isServoLoopRunning());
    createServoLoop();
    QVERIFY(startServoLoop(nullptr, nullptr) < 0);
    for (int rate : {0, 999, 1500, 5000, -1000})
        QVERIFY(setServoLoopRate(rate) < 0);
    for (int rate : {4000, 3000, 2000, 1000})
        QCOMPARE(setServoLoopRate(rate), 0);
    QCOMPARE(stopServoLoop(), 0);
    QCOMPARE(armcontrol::step(5), 0L);
    const int id = init_tharlen("Default Device");
    QVERIFY(!armcontrol::loopStepped(true).empty());
    disable_tharlen(id);
    QVERIFY(armcontrol::loopStepped(true).empty());
}

// Again and again: the callback comes at about the rate, and not once more after the stop has returned.
void TestArmLoop::runsAndStops() {
    Bench bench(false);
    handle = init_tharlen("Default Device");
    for (int rate : {1000, 2000, 1000}) {
        setServoLoopRate(rate);
        QCOMPARE(startServoLoop(&count, nullptr), 0);
        QVERIFY(isServoLoopRunning());
        const int before = calls;
        const auto since = std::chrono::steady_clock::now();
        pause(60);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
        stopServoLoop();
        const int after = calls;
        QVERIFY(!inside && !isServoLoopRunning());
        pause(5);
        QCOMPARE(calls.load(), after);
        // Never more than the rate, which a burst after a late tick would be.
        QVERIFY2(after - before <= rate * seconds + 3,
                 qPrintable(QString("%1 calls in %2 s").arg(after - before).arg(seconds)));
        QVERIFY(after - before > 0.2 * rate * seconds);
    }
    QVERIFY(armcontrol::state().measuredRate > 200 && armcontrol::state().measuredRate < 2100);
    QVERIFY(armcontrol::state().ticks > 100);
}

void TestArmLoop::stopWaitsForCallback() {
    Bench bench(false);
    handle = init_tharlen("Default Device");
    linger = true;
    startServoLoop(&count, nullptr);
    QVERIFY(becomes([] { return inside.load(); }));
    // Reads do not wait for a callback that lingers; the stop does.
    std::atomic<bool> haveRead{false};
    std::thread release([&haveRead] {
        becomes([&haveRead] { return haveRead.load(); });
        pause(20);
        linger = false;
    });
    float position[3];
    for (int i = 0; i < 100; ++i)
        get_tharlen_pos(handle, position);
    const bool readsPassed = linger;
    haveRead = true;
    stopServoLoop();
    const bool stillInside = inside;
    release.join();
    QVERIFY(readsPassed && !stillInside);
}

void TestArmLoop::stopInsideCallback() {
    Bench bench(false);
    handle = init_tharlen("Default Device");
    startServoLoop(
        [](void*) {
            ++calls;
            stopServoLoop();
            return armcontrol::step(1) == 0 ? 0 : 1;
        },
        nullptr);
    QVERIFY(becomes([] { return calls > 0; }));
    pause(5);
    QCOMPARE(calls.load(), 1);
    QVERIFY(!isServoLoopRunning());
}

void TestArmLoop::movesWithoutCallback() {
    Bench bench(false);
    handle = init_tharlen("Default Device");
    armcontrol::handMove({30, 0, 0});
    QVERIFY(becomes([] { return armcontrol::state().position[0] > 25; }));
    QVERIFY(!armcontrol::state().loopRunning);
    // The arm's time is the clock's, also beside a callback that takes longer than its period.
    startServoLoop(
        [](void*) {
            pause(++calls % 3 == 0 ? 4 : 0);
            return 0;
        },
        nullptr);
    const double before = armcontrol::armTime();
    const std::uint64_t late = armcontrol::state().lateTicks;
    const auto since = std::chrono::steady_clock::now();
    pause(90);
    const double moved = armcontrol::armTime() - before;
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
    stopServoLoop();
    QVERIFY2(std::abs(moved - seconds) < 0.02, qPrintable(QString("%1 s in %2 s").arg(moved).arg(seconds)));
    QVERIFY(armcontrol::state().lateTicks - late > 20);
}

// Readers and commands on several threads beside a running loop: nothing torn, nothing stuck. What it proves
// it proves under a thread sanitizer.
void TestArmLoop::readersAndLoop() {
    Bench bench(false);
    handle = init_tharlen("Corvale LAN");
    setServoLoopRate(4000);
    startServoLoop(&count, nullptr);
    std::atomic<bool> ended{false};
    std::atomic<int> torn{0};
    const auto reader = [&] {
        CIOConnection* connection = get_connection_data(handle);
        AXIS_SENSOR_DATA* sensors = get_calibration_data(handle)->GetAxisSensorData();
        while (!ended) {
            float position[3], matrix[4][4];
            long counts[6];
            get_tharlen_pos(handle, position);
            get_stylus_matrix(handle, matrix);
            get_encoder_values(handle, counts);
            const float size = matrix[0][0] * matrix[0][0] + matrix[0][1] * matrix[0][1] + matrix[0][2] * matrix[0][2];
            torn += std::abs(size - 1.0f) > 1e-4f ? 1 : 0;
            __atomic_load_n(&connection->m_portInput.usQuad0, __ATOMIC_RELAXED);
            const SENSOR_DATA* flag = __atomic_load_n(&sensors[0].psdFlagData[1], __ATOMIC_RELAXED);
            if (flag)
                torn += __atomic_load_n(&flag->lWidth, __ATOMIC_RELAXED) < 0 ? 1 : 0;
            armcontrol::state();
        }
    };
    std::thread one(reader), two(reader);
    for (int i = 0; i < 10; ++i) {
        armcontrol::handSweep(0, 30);
        armcontrol::setFault("jitter", i % 2 == 0, -1, 50);
        get_calibration_data(handle)->DiscardCalibration();
        pause(10);
        stopServoLoop();
        startServoLoop(&count, nullptr);
    }
    ended = true;
    one.join();
    two.join();
    stopServoLoop();
    QCOMPARE(torn.load(), 0);
    QVERIFY(calls > 0);
}

// Two stepped runs of the same commands end in the very same state, and step tells what it did.
void TestArmLoop::stepped() {
    armcontrol::State ends[2];
    for (armcontrol::State& end : ends) {
        Bench bench;
        handle = init_tharlen("Stelmar 3.0");
        calls = 0;
        QCOMPARE(armcontrol::step(10), 10L);
        QCOMPARE(calls.load(), 0);
        startServoLoop(&count, nullptr);
        armcontrol::handMove({25, -10, 15});
        QCOMPARE(armcontrol::step(500), 500L);
        QCOMPARE(calls.load(), 500);
        QCOMPARE(armcontrol::step(-3), 0L);
        setServoLoopRate(4000);
        armcontrol::step(100);
        QVERIFY(std::abs(get_tharlen_inst_rate(handle) - 4000) < 2);
        stopServoLoop();
        armcontrol::handRelease();
        armcontrol::step(100);
        QCOMPARE(calls.load(), 600);
        long within = 9;
        {
            simarm::Callback inner([&within] { within = armcontrol::step(1); });
            armcontrol::step(1);
        }
        QCOMPARE(within, 0L);
        end = armcontrol::state();
    }
    QCOMPARE(ends[0].joints, ends[1].joints);
    QCOMPARE(ends[0].velocity, ends[1].velocity);
    QVERIFY(std::abs(armcontrol::armTime()) < 1e-9);
}

// What a library may do to whoever starts and stops its loop, and reads beside it.
void TestArmLoop::manners() {
    for (const bool stepped : {true, false}) {
        Bench bench;
        armcontrol::resetArm();  // no loop is created
        armcontrol::loopStepped(stepped);
        handle = init_tharlen("Default Device");
        const auto set = [](const char* name, double amount) {
            armcontrol::clearFaults();
            QCOMPARE(armcontrol::setFault(name, true, -1, amount), std::string());
        };
        calls = 0;
        QVERIFY(startServoLoop(&count, nullptr) < 0);
        set("eager-loop", 1);
        QCOMPARE(startServoLoop(&count, nullptr), 0);
        QVERIFY(stepped ? calls == 3 : calls >= 3);

        set("late-stop", 30);
        int before = calls;
        stopServoLoop();
        QVERIFY(!inside && !isServoLoopRunning());
        int after = calls;
        QVERIFY2(stepped ? after == before + 30 : after >= before + 30, qPrintable(QString::number(after - before)));
        pause(5);
        QCOMPARE(armcontrol::step(5), stepped ? 5L : 0L);
        QCOMPARE(calls.load(), after);
        stopServoLoop();  // where none runs there is nothing to be late with

        // Ticks go on beside a read that hangs, the servo thread's own reads too.
        startServoLoop(&count, nullptr);
        set("hanging-reads", 300);
        const auto read = [] {
            const double since = armcontrol::armTime();
            get_stylus_presence(handle);
            return armcontrol::armTime() - since;
        };
        before = calls;
        QVERIFY(read() > 0.25 && calls > before + 30);
        QVERIFY(read() < 0.25);
        stepped ? void(armcontrol::step(300)) : pause(330);
        QVERIFY(read() > 0.25);

        set("slow-ticks", 40);
        const auto since = std::chrono::steady_clock::now();
        after = calls + 6;
        armcontrol::step(6);
        QVERIFY(becomes([&] { return calls >= after; }));
        QCOMPARE(std::chrono::steady_clock::now() - since > std::chrono::milliseconds(190), !stepped);
        stopServoLoop();
    }
}

QTEST_APPLESS_MAIN(TestArmLoop)
#include "tst_armloop.moc"
