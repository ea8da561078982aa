// Opening and closing, and the operations that need more than the arm alone.
#include "rig.h"

#include <time.h>

#include <cmath>
#include <stdexcept>

#include "calibrationfile.h"
#include "say.h"

namespace arm {
namespace {

constexpr int kLongestWait = 40;           // half milliseconds until waiting for amplifiers is given up
constexpr long kHalfMillisecond = 500000;  // ns

void sleepFor(double seconds) {
    const auto whole = static_cast<time_t>(seconds);
    const timespec pause{whole, static_cast<long>(1e9 * (seconds - static_cast<double>(whole)))};
    nanosleep(&pause, nullptr);
}

}  // namespace

Rig& rig() {
    static Rig instance;
    return instance;
}

Rig::Rig() : loop(&Rig::moveArm) {
    arm_.calibration.discard = [this] { withArm([](Arm& a) { a.discardCalibration(); }); };
}

Rig::~Rig() {
    loop.stop();
    loop.stopThread();
}

Disturbance Rig::moveArm(double seconds) {
    return rig().withArm([seconds](Arm& a) {
        a.tick(seconds);
        Disturbance d;
        if (a.faults.on(Fault::Jitter))
            d.jitter = a.faults.amount(Fault::Jitter) * 1e-6;
        if (a.faults.on(Fault::DroppedTicks))
            d.dropped = a.faults.amount(Fault::DroppedTicks) / 100.0;
        if (a.faults.on(Fault::Stall)) {
            d.stall = a.faults.amount(Fault::Stall) * 1e-3;
            a.faults.set(Fault::Stall, false, -1, 0.0);
        }
        return d;
    });
}

double Rig::manner(Fault fault) {
    return withArm([fault](Arm& a) {
        if (!a.faults.on(fault))
            return 0.0;
        return faultFigures(fault).highest > 0.0 ? a.faults.amount(fault) : 1.0;
    });
}

std::string Rig::switchFault(const std::string& name, bool on, int axis, const double* amount) {
    const std::string why = FaultSet::check(name, on, axis, amount);
    if (!why.empty())
        return why;
    const Fault fault = faultNamed(name);
    const double used = amount ? *amount : faultFigures(fault).usual;
    withArm([&](Arm& a) { a.faults.set(fault, on, axis, used); });
    return "";
}

// A stepped loop has no time for it: its ticks and the graphical thread's work never run side by side.
void Rig::slowTick() {
    if (!Loop::onServoThread() || loop.stepped())
        return;
    const double milliseconds = manner(Fault::SlowTicks);
    if (milliseconds > 0.0)  // a sleep of no length still costs a tick some microseconds
        sleepFor(0.5e-3 * milliseconds);
}

// Half of the time reads are quick, so that whoever waits for them is slow and not dead. On a stepped loop the ticks
// that go by meanwhile are made here.
void Rig::hangRead(int id) {
    if (Loop::onServoThread())
        return;
    const double seconds = withOpen(id, 0.0, [this](Arm& a) {
        const double hang = a.faults.on(Fault::HangingReads) ? 1e-3 * a.faults.amount(Fault::HangingReads) : 0.0;
        if (hang > 0.0 && a.time < nextHang_)
            return 0.0;
        nextHang_ = hang > 0.0 ? a.time + 2.0 * hang : 0.0;
        return hang;
    });
    if (seconds > 0.0 && loop.stepped())
        loop.step(std::lround(seconds * loop.rate()));
    else if (seconds > 0.0)
        sleepFor(seconds);
}

Fleet Rig::enumerate() {
    Fleet fresh = loadFleet();
    {
        const std::lock_guard<std::mutex> lock(fleetMutex_);
        fleet_ = fresh;
        fleetLoaded_ = true;
    }
    loop.ensureThread();
    return fresh;
}

Fleet Rig::fleet() {
    const std::lock_guard<std::mutex> lock(fleetMutex_);
    if (!fleetLoaded_) {
        fleet_ = loadFleet();
        fleetLoaded_ = true;
    }
    return fleet_;
}

int Rig::open(const std::string& latin1) {
    const std::lock_guard<std::mutex> life(lifeMutex_);
    bool throws = false, fails = false, unplugged = false, refuses = false;
    withArm([&](Arm& a) {
        throws = a.faults.on(Fault::InitThrows);
        fails = a.faults.on(Fault::InitFails);
        unplugged = a.faults.on(Fault::Unplugged);
        refuses = a.faults.on(Fault::OneOpening) && openId_ >= 0;
    });
    if (throws)
        throw std::runtime_error("the device driver answered with nonsense");
    const Fleet known = fleet();
    const int index = known.find(latin1);
    if (fails || refuses || index < 0)
        return -1;
    const FleetDevice& device = known.devices[static_cast<std::size_t>(index)];
    if (unplugged)
        return device.noAnswer();

    fileCalibrationIfDue();
    Offsets offsets{};
    std::string why;
    const CalibrationFile file = readCalibration(device.name, device.serial, offsets, why);
    bool uncalibrated = false;
    // Opening closes what was open: an application that lost its handle can still open anew.
    const int id = withArm([&](Arm& a) {
        a.place(device, file == CalibrationFile::Good ? &offsets : nullptr, file == CalibrationFile::Bad);
        openId_ = nextId_++;
        uncalibrated = a.calibrationStatus() != 0;
        return openId_.load();
    });
    if (file != CalibrationFile::Good && uncalibrated)
        complain(why + "; the device is not calibrated");
    loop.ensureThread();
    return id;
}

int Rig::close(int id) {
    const std::lock_guard<std::mutex> life(lifeMutex_);
    fileCalibrationIfDue();
    return withOpen(id, -1, [this](Arm& a) {
        a.switchAmplifiers(false);
        a.amplifiersFollowAtOnce();
        openId_ = -1;
        return 0;
    });
}

void Rig::reset() {
    loop.reset();
    const std::lock_guard<std::mutex> life(lifeMutex_);
    withArm([this](Arm& a) {
        openId_ = -1;
        nextHang_ = 0.0;
        a.reset();
    });
    const std::lock_guard<std::mutex> lock(fleetMutex_);
    fleetLoaded_ = false;
}

std::string Rig::setStepped(bool stepped) {
    const std::lock_guard<std::mutex> life(lifeMutex_);
    if (Loop::onServoThread())
        return "the loop cannot be changed from inside its callback";
    if (stepped != loop.stepped() && (loop.running() || openId_ >= 0))
        return "the loop can be changed only while no loop runs and no device is open";
    loop.setStepped(stepped);
    return "";
}

int Rig::switchAmplifiers(int id, bool on, bool wait) {
    const bool atOnce = wait && loop.stepped();
    const int code = withOpen<int>(id, kCommunicationError, [&](Arm& a) {
        const int result = a.switchAmplifiers(on);
        if (atOnce && result == 0 && !Loop::onServoThread())
            a.amplifiersFollowAtOnce();
        return result;
    });
    if (code != 0 || !wait || Loop::onServoThread())
        return code;
    for (int i = 0;; ++i) {
        if (withOpen(id, true, [](Arm& a) { return a.amplifiersFollowed(); }))
            return 0;
        if (atOnce || i == kLongestWait || withOpen(id, true, [](Arm& a) { return a.amplifiersOverdue(); }))
            return kDeviceFault;
        const timespec pause{0, kHalfMillisecond};
        nanosleep(&pause, nullptr);
    }
}

void Rig::fileCalibration() {
    std::string name, serial;
    Offsets offsets{};
    withArm([&](Arm& a) {
        name = a.device.name;
        serial = a.device.serial;
        offsets = a.offsets();
    });
    const std::string why = writeCalibration(name, serial, offsets);
    if (!why.empty())
        complain("the calibration holds until the program ends only: " + why);
}

void Rig::fileCalibrationIfDue() {
    if (withArm([](Arm& a) { return a.takeFileDue(); }))
        fileCalibration();
}

const char* Rig::keep(const std::string& text) {
    const std::lock_guard<std::mutex> lock(fleetMutex_);
    return kept_.insert(text).first->c_str();
}

void Rig::ensureArm() {
    const Fleet known = fleet();
    if (known.devices.empty())
        return;
    withArm([&](Arm& a) {
        if (!a.line)
            a.place(known.devices.front(), nullptr, false);
    });
}

}  // namespace arm
