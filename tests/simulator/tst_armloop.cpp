// The contract of the servo loop: on its own thread, and stepped by hand.
#include <atomic>
#include <chrono>
#include <thread>

#include "simarm.h"

using armcontrol::state;
using armcontrol::step;
using simarm::Bench;
using simarm::Callback;
using simarm::setOnly;

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

/// Since the clock was asked first, s.
double seconds() {
    static const auto start = std::chrono::steady_clock::now();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

class TestArmLoop : public QObject {
    Q_OBJECT

private slots:
    void init() {
        calls = 0;
        linger = false;
    }

    void refusals() {
        qputenv("NOLVA_ARM_SOCKET", "off");
        armcontrol::resetArm();
        QVERIFY(startServoLoop(&count, nullptr) < 0 && !isServoLoopRunning());
        createServoLoop();
        QVERIFY(startServoLoop(nullptr, nullptr) < 0);
        for (const int rate : {0, 999, 1500, 5000})
            QVERIFY(setServoLoopRate(rate) < 0);
        for (const int rate : {4000, 3000, 2000, 1000})
            QCOMPARE(setServoLoopRate(rate), 0);
        QCOMPARE(stopServoLoop(), 0);
        QCOMPARE(step(5), 0L);
        const int id = init_tharlen("Default Device");
        QVERIFY(!armcontrol::loopStepped(true).empty());
        disable_tharlen(id);
        QVERIFY(armcontrol::loopStepped(true).empty());
    }

    void stopWaitsForCallback() {
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
        get_tharlen_pos(handle, position);
        const bool readPassed = linger;
        haveRead = true;
        stopServoLoop();
        const bool stillInside = inside;
        release.join();
        QVERIFY(readPassed && !stillInside);
    }

    void stopInsideCallback() {
        Bench bench(false);
        Callback once([] {
            ++calls;
            stopServoLoop();
        });
        QVERIFY(becomes([] { return calls > 0; }));
        pause(5);
        QVERIFY(calls == 1 && !isServoLoopRunning());
    }

    // The arm's time is the clock's, beside no callback and beside one that takes longer than its period.
    void movesWithoutCallback() {
        Bench bench(false);
        handle = init_tharlen("Default Device");
        armcontrol::handMove({30, 0, 0});
        QVERIFY(becomes([] { return state().position[0] > 25; }));
        QVERIFY(!state().loopRunning);
        const double before = armcontrol::armTime(), since = seconds();
        const std::uint64_t late = state().lateTicks;
        {
            Callback slow([] { pause(++calls % 3 == 0 ? 4 : 0); });
            pause(90);
        }
        QVERIFY(state().measuredRate > 20 && state().measuredRate < 1100 && state().ticks > 20);
        const double moved = armcontrol::armTime() - before, passed = seconds() - since;
        QVERIFY2(std::abs(moved - passed) < 0.02, simarm::about(moved, "s in", passed));
        QVERIFY(state().lateTicks - late > 20);
    }

    // Two stepped runs of the same commands end in the very same state, and step tells what it did.
    void stepped() {
        armcontrol::State ends[2];
        for (armcontrol::State& end : ends) {
            Bench bench;
            handle = init_tharlen("Stelmar 3.0");
            calls = 0;
            QVERIFY(step(10) == 10 && calls == 0);
            startServoLoop(&count, nullptr);
            armcontrol::handMove({25, -10, 15});
            QVERIFY(step(500) == 500 && calls == 500 && step(-3) == 0);
            setServoLoopRate(4000);
            step(100);
            QVERIFY(std::abs(get_tharlen_inst_rate(handle) - 4000) < 2);
            stopServoLoop();
            armcontrol::handRelease();
            step(100);
            QCOMPARE(calls.load(), 600);
            long within = 9;
            {
                Callback inner([&within] { within = step(1); });
                step(1);
            }
            QCOMPARE(within, 0L);
            end = state();
        }
        QVERIFY(ends[0].joints == ends[1].joints && ends[0].velocity == ends[1].velocity);
        QVERIFY(std::abs(armcontrol::armTime()) < 1e-9);
        armcontrol::loopStepped(true);
        enable_tharlen_forces(init_tharlen("Stelmar 3.0"));
        QVERIFY(state().amplifiers);
        armcontrol::resetArm();
        QVERIFY(!state().amplifiers);
    }

    // What a library may do to whoever starts and stops its loop, and reads beside it.
    void manners() {
        for (const bool stepped : {true, false}) {
            Bench bench;
            simarm::restart(stepped);  // no loop is created
            handle = init_tharlen("Default Device");
            calls = 0;
            setOnly("eager-loop");
            QCOMPARE(startServoLoop(&count, nullptr), 0);
            QVERIFY(stepped ? calls == 3 : calls >= 3);

            setOnly("late-stop", 30);
            int before = calls;
            stopServoLoop();
            QVERIFY(!inside && !isServoLoopRunning());
            int after = calls;
            QVERIFY2(stepped ? after == before + 30 : after >= before + 30, simarm::about(after - before));
            pause(5);
            QCOMPARE(step(5), stepped ? 5L : 0L);
            QCOMPARE(calls.load(), after);
            stopServoLoop();  // where none runs there is nothing to be late with

            // Ticks go on beside a read that hangs, the servo thread's own reads too.
            setServoLoopRate(stepped ? 4000 : 1000);
            startServoLoop(&count, nullptr);
            setOnly("hanging-reads", 300);
            const auto read = [] {
                const double since = armcontrol::armTime();
                get_stylus_presence(handle);
                return armcontrol::armTime() - since;
            };
            before = calls;
            QVERIFY(read() > 0.25 && calls > before + 30);
            QVERIFY(read() < 0.25);
            stepped ? void(step(1300)) : pause(330);
            QVERIFY(read() > 0.25);

            setOnly("slow-ticks", 40);
            const double since = seconds();
            after = calls + 6;
            step(6);
            QVERIFY(becomes([&] { return calls >= after; }));
            QCOMPARE(seconds() - since > 0.19, !stepped);
            stopServoLoop();
        }
    }
};

QTEST_APPLESS_MAIN(TestArmLoop)
#include "tst_armloop.moc"
