// Everything of the library in one place: the arm behind its lock, the loop and the fleet.
#pragma once

#include <atomic>
#include <mutex>
#include <set>
#include <string>
#include <utility>

#include "fleet.h"
#include "lendingmutex.h"
#include "loop.h"
#include "model/arm.h"

namespace arm {

/// Order of locks, where two are held: life, fleet, arm. None is held while the callback runs, and the arm's
/// is held for microseconds only: no file, no allocation of size, no waiting under it.
class Rig {
public:
    Rig();
    ~Rig();

    /// Runs `f(arm)` under the arm's lock.
    template <typename F>
    auto withArm(F f) {
        const std::lock_guard<LendingMutex> lock(armMutex_);
        return f(arm_);
    }
    /// The same for the handle of an open device; `otherwise` for any other handle.
    template <typename T, typename F>
    T withOpen(int id, T otherwise, F f) {
        const std::lock_guard<LendingMutex> lock(armMutex_);
        return id >= 0 && id == openId_ ? static_cast<T>(f(arm_)) : otherwise;
    }

    /// withOpen() for what the graphical thread reads of the device, where a read may hang.
    template <typename T, typename F>
    T read(int id, T otherwise, F f) {
        hangRead(id);
        return withOpen(id, otherwise, f);
    }
    /// The amount of a manner of the library; 0 while it is off, 1 where it has none.
    double manner(Fault fault);
    /// Why a fault cannot be switched so, or an empty string after switching it. Null `amount` is the usual one.
    std::string switchFault(const std::string& name, bool on, int axis, const double* amount);
    /// Half of what a slow tick takes. Ahead of a refresh or a command of a tick; elsewhere nothing.
    void slowTick();

    /// Loads the fleet anew and starts the loop: the first thing an application does.
    Fleet enumerate();
    Fleet fleet();
    int open(const std::string& latin1);
    int close(int id);
    int openId() const { return openId_; }
    void reset();
    std::string setStepped(bool stepped);
    /// Amplifiers on or off; with `wait`, till they have followed or 20 ms have passed.
    int switchAmplifiers(int id, bool on, bool wait);
    /// Writes the calibration file of the open device, if there is something to write.
    void fileCalibration();
    void fileCalibrationIfDue();
    /// Text that stays valid as long as the library.
    const char* keep(const std::string& text);
    /// Gives the arm a line to stand on before a device is open, so that a hand can take it.
    void ensureArm();

    Loop loop;

private:
    static Disturbance moveArm(double seconds);
    void hangRead(int id);

    std::mutex lifeMutex_;
    std::mutex fleetMutex_;
    Fleet fleet_;
    bool fleetLoaded_ = false;
    std::set<std::string> kept_;
    LendingMutex armMutex_;
    Arm arm_;
    std::atomic<int> openId_{-1};
    int nextId_ = 0;
    double nextHang_ = 0.0;  // s of the arm's time; guarded by its lock
};

Rig& rig();

}  // namespace arm
