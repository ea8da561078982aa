// What needs a person at the arm: motion, forces, warm motors, a switch and a cable. Commands begin at zero, rise
// slowly and end as soon as the arm has moved a little.
#include <algorithm>
#include <cstring>

#include "reads.h"

namespace librarycheck {
namespace {

constexpr double kMostCommand = 0.3;         ///< of that
constexpr double kMostForce = 0.6;           ///< of the nominal maximum
constexpr int kSteps = 30;                   ///< of a rising command
constexpr double kStep = 20.0;               ///< ms
constexpr double kSettle = 200.0;            ///< ms after a command
constexpr double kHalfShake = 0.01;          ///< s one way
constexpr std::int64_t kStale = 1000000000;  ///< ns that a command stands without being renewed
constexpr double kMotionSeconds = 6.0;
constexpr const char* kAxisNames[] = {"x", "y", "z"};

std::vector<double> now(Bench& bench, const OpenDevice& device, const char* name) {
    return valuesOf(name, bench.lib, device.id);
}

// --- Motion by hand --------------------------------------------------------------------------------

std::string directions(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    constexpr const char* kWays[] = {"to your right", "upwards", "towards yourself"};
    std::string seen;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        bench.ask("Take the stylus to the middle of its workspace, and hold it still.");
        const auto before = now(bench, device, "get_tharlen_pos");
        bench.ask(std::string("Move it some centimetres ") + kWays[axis] + ", and hold it there.");
        const auto after = now(bench, device, "get_tharlen_pos");
        const double moved = after[axis] - before[axis];
        demand(moved > 5.0, "moved %s, %s went by %.1f mm", kWays[axis], kAxisNames[axis], moved);
        seen += text("%s%s %.0f mm", seen.empty() ? "" : ", ", kAxisNames[axis], moved);
    }
    return seen;
}

struct Moment {
    double time;  ///< s
    std::vector<double> encoders, angles, place, velocity, jacobian, jointVelocity;
    std::array<USHORT, 3> counters;
};

std::vector<Moment> recordMotion(Bench& bench) {
    const OpenDevice device(bench);
    std::array<std::atomic<float>, 6> jointVelocity{};
    RunningLoop loop(bench.lib, device.id, [&] {
        float velocities[6] = {};
        bench.lib.get_tharlen_joint_vel(device.id, velocities);
        for (std::size_t i = 0; i < 6; ++i)
            jointVelocity[i].store(velocities[i], std::memory_order_relaxed);
    });
    loop.start(20);
    bench.ask(text("Move the stylus slowly about, all the way in every direction, for %.0f seconds from Enter on.",
                   kMotionSeconds));
    const CIOConnection* const connection = bench.lib.get_connection_data(device.id);
    std::vector<Moment> moments;
    const std::int64_t begin = nanoseconds();
    while (nanoseconds() - begin < static_cast<std::int64_t>(kMotionSeconds * 1e9)) {
        Moment m;
        m.time = static_cast<double>(nanoseconds() - begin) / 1e9;
        m.encoders = now(bench, device, "get_encoder_values");
        if (connection) {
            const PORT_INPUT& image = connection->m_portInput;
            m.counters = {__atomic_load_n(&image.usQuad0, __ATOMIC_RELAXED),
                          __atomic_load_n(&image.usQuad1, __ATOMIC_RELAXED),
                          __atomic_load_n(&image.usQuad2, __ATOMIC_RELAXED)};
        }
        m.angles = now(bench, device, "get_tharlen_joint_angles");
        m.place = now(bench, device, "get_tharlen_pos");
        m.velocity = now(bench, device, "get_tharlen_vel");
        m.jacobian = now(bench, device, "get_tharlen_jacobian");
        for (const auto& velocity : jointVelocity)
            m.jointVelocity.push_back(velocity.load(std::memory_order_relaxed));
        moments.push_back(m);
        loop.wait(2);
    }
    return moments;
}

std::string encoderSlopes(const std::vector<Moment>& moments) {
    std::string seen;
    for (std::size_t axis = 0; axis < 6; ++axis) {
        const double count = static_cast<double>(moments.size());
        double x = 0, y = 0, xx = 0, xy = 0, yy = 0;
        for (const Moment& m : moments) {
            x += m.angles[axis] / count;
            y += m.encoders[axis] / count;
        }
        for (const Moment& m : moments) {
            xx += (m.angles[axis] - x) * (m.angles[axis] - x);
            xy += (m.angles[axis] - x) * (m.encoders[axis] - y);
            yy += (m.encoders[axis] - y) * (m.encoders[axis] - y);
        }
        if (std::sqrt(xx / count) < 0.03) {  // rad; a gimbal may be fixed, or not be there
            if (axis < 3)
                throw NotTried(text("axis %zu was hardly moved", axis));
            continue;
        }
        const double correlation = std::abs(xy) / std::sqrt(std::max(1e-12, xx * yy));
        demand(correlation > 0.999, "the counts of axis %zu do not follow its angle (correlation %.4f)", axis,
               correlation);
        seen += text("%s%.0f", seen.empty() ? "" : ", ", xy / xx);
    }
    return seen + " counts/rad";
}

double size(const std::vector<double>& v) {
    double sum = 0;
    for (const double value : v)
        sum += value * value;
    return std::sqrt(sum);
}

std::vector<double> difference(const std::vector<double>& a, const std::vector<double>& b) {
    std::vector<double> d(a.size());
    for (std::size_t i = 0; i < a.size(); ++i)
        d[i] = a[i] - b[i];
    return d;
}

/// By the principle of virtual work: joint torques are J times the endpoint force, so endpoint motions are the
/// transposed matrix times joint motions (Asada and Slotine, Robot Analysis and Control, 1986, 3.3).
std::string jacobianLeads(const std::vector<Moment>& moments) {
    std::vector<double> errors;
    std::size_t from = 0;
    for (std::size_t to = 1; to < moments.size(); ++to) {
        const auto moved = difference(moments[to].place, moments[from].place);
        const double length = size(moved);
        if (length < 3.0)
            continue;
        if (length < 10.0) {
            const Moment& between = moments[(from + to) / 2];
            const auto turned = difference(moments[to].angles, moments[from].angles);
            std::vector<double> led(3, 0.0);
            for (std::size_t joint = 0; joint < 6; ++joint)
                for (std::size_t i = 0; i < 3; ++i)
                    led[i] += between.jacobian[6 * joint + i] * turned[joint];
            errors.push_back(size(difference(led, moved)) / length);
        }
        from = to;
    }
    if (errors.size() < 20)
        throw NotTried("the endpoint was hardly moved");
    const double error = medianOf(errors);
    demand(error < 0.15, "it is %.0f %% off, the median of %zu steps of some millimetres", 100 * error, errors.size());
    return text("%.1f %% off, the median of %zu steps of some millimetres", 100 * error, errors.size());
}

/// How often greater the mean of a velocity is than the change of its quantity, over steps of about 50 ms.
double velocityRatio(const std::vector<Moment>& moments, std::vector<double> Moment::*quantity,
                     std::vector<double> Moment::*velocity, std::size_t places) {
    constexpr std::size_t kStepLength = 25;
    double both = 0, one = 0;
    for (std::size_t from = 0; from + kStepLength < moments.size(); from += kStepLength) {
        const double seconds = moments[from + kStepLength].time - moments[from].time;
        for (std::size_t i = 0; i < places; ++i) {
            double mean = 0;
            for (std::size_t k = 0; k < kStepLength; ++k)
                mean += (moments[from + k].*velocity)[i] / kStepLength;
            const double real = ((moments[from + kStepLength].*quantity)[i] - (moments[from].*quantity)[i]) / seconds;
            both += mean * real;
            one += real * real;
        }
    }
    if (one <= 1e-6)
        throw NotTried("nothing was moved");
    return both / one;
}

std::string velocities(const std::vector<Moment>& moments) {
    const double endpoint = velocityRatio(moments, &Moment::place, &Moment::velocity, 3);
    const double joints = velocityRatio(moments, &Moment::angles, &Moment::jointVelocity, 3);
    demand(std::abs(endpoint - 1) < 0.25, "get_tharlen_vel is %.2f times the change of get_tharlen_pos", endpoint);
    demand(std::abs(joints - 1) < 0.25, "get_tharlen_joint_vel is %.2f times the change of get_tharlen_joint_angles",
           joints);
    return text("%.2f and %.2f times the changes", endpoint, joints);
}

std::string counters(const std::vector<Moment>& moments) {
    int most = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto apart = [axis](const Moment& m) {
            return static_cast<USHORT>(m.counters[axis] - static_cast<USHORT>(static_cast<long>(m.encoders[axis])));
        };
        for (const Moment& m : moments) {
            const int went = static_cast<std::int16_t>(static_cast<USHORT>(apart(m) - apart(moments.front())));
            most = std::max(most, std::abs(went));
            // The image is read a little after the encoders.
            demand(std::abs(went) < 100, "counter and encoder of axis %zu went apart by %d counts", axis, went);
        }
    }
    return text("within %d counts", most);
}

std::string motion(Bench& bench) {
    const std::vector<Moment> moments = recordMotion(bench);
    speakOf(bench, "sensors.encoders", [&] { return encoderSlopes(moments); });
    speakOf(bench, "sensors.jacobian", [&] {
        try {
            return jacobianLeads(moments);
        } catch (const NotTried&) {
            throw;
        } catch (const Broken&) {
            bench.distrust("get_tharlen_jacobian", "does not fit positions and angles");
            throw;
        }
    });
    speakOf(bench, "sensors.velocities", [&] { return velocities(moments); });
    speakOf(bench, "sensors.counters", [&] { return counters(moments); });
    return "";
}

// --- Motion by the motors --------------------------------------------------------------------------

/// The amplifiers on and a command standing, till the end of its life. The tick takes back a command that is not
/// renewed, as where a read of the library hangs.
class Drive {
public:
    explicit Drive(Bench& bench) : bench_(bench), device(bench), loop_(bench.lib, device.id, [this] { command(); }) {
        loop_.start(5);
        const int status = bench.lib.enable_tharlen_forces(device.id);
        demand(status == 0, "enable_tharlen_forces gave %d", status);
    }
    ~Drive() {
        clear();
        try {
            bench_.lib.disable_tharlen_forces(device.id);
            loop_.stop();
        } catch (...) {
        }
    }

    void clear() {
        for (auto& value : values_)
            value = 0;
    }
    void settle() {
        clear();
        sleepFor(kSettle);
    }
    enum Kind { Dac, Force, Force6, Shake };
    /// Raises one place of the command to `most`, and takes it back once `moved` says so. Whether it did.
    template <typename Moved>
    bool raise(Kind kind, std::size_t place, double most, Moved moved) {
        settle();
        kind_ = kind;
        bool enough = false;
        for (int step = 1; step <= kSteps && !enough; ++step) {
            renew();
            values_[place] = static_cast<float>(most * step / kSteps);
            sleepFor(kStep);
            loop_.wait(0);
            enough = moved();
        }
        clear();
        return enough;
    }
    /// Runs motors to and fro so fast that nothing moves: the ticks turn the sign, however late this thread is.
    void shake(double seconds) {
        settle();
        kind_ = Shake;
        const std::int64_t until = nanoseconds() + static_cast<std::int64_t>(seconds * 1e9);
        while (nanoseconds() < until) {
            renew();
            for (std::size_t i = 0; i < 3; ++i)
                values_[i] = static_cast<float>(kMostCommand * kDacMost);
            sleepFor(kStep);
        }
        settle();
    }
    void inTick(const std::function<void()>& work) { loop_.inTick(work); }

private:
    Bench& bench_;

public:
    const OpenDevice device;

private:
    /// NotTried where the tick has taken the command back: it does not come again at once, and as high.
    void renew() {
        if (takenBack_)
            throw NotTried("a command stood for a second without being renewed, and was taken back");
        renewed_ = nanoseconds();
    }
    void command() {
        if (nanoseconds() - renewed_ > kStale
            && std::any_of(values_.begin(), values_.end(), [](float v) { return v; })) {
            takenBack_ = true;
            clear();
        }
        const bool back = kind_ == Shake && ticks_++ / std::lround(kHalfShake * bench_.options.rate) % 2 == 1;
        float force[6];
        long dac[6];
        for (std::size_t i = 0; i < 6; ++i) {
            force[i] = values_[i];
            dac[i] = std::lround(back ? -force[i] : force[i]);
        }
        if (kind_ == Dac || kind_ == Shake)
            bench_.lib.command_motor_dac_values(device.id, dac);
        else if (kind_ == Force)
            bench_.lib.send_tharlen_force(device.id, force);
        else
            bench_.lib.send_tharlen_force_6dof(device.id, force);
    }

    std::atomic<int> kind_{Dac};
    std::array<std::atomic<float>, 6> values_{};
    std::atomic<std::int64_t> renewed_{0};  ///< ns
    std::atomic<bool> takenBack_{false};
    long ticks_ = 0;  ///< of a shake, on the servo thread
    RunningLoop loop_;
};

void zeroCommand(Bench& bench) {
    Drive drive(bench);
    drive.settle();
    const auto before = now(bench, drive.device, "get_encoder_values");
    sleepFor(500);
    const auto after = now(bench, drive.device, "get_encoder_values");
    for (std::size_t i = 0; i < 6; ++i)
        demand(std::abs(after[i] - before[i]) < 30, "axis %zu went by %.0f counts with the amplifiers on", i,
               after[i] - before[i]);
}

/// Signs with which positive commands turn the joints; 0 without a motor.
std::array<int, 6> motorDirections(Bench& bench, std::string& seen) {
    constexpr double kEnough = 6;  // counts, more than bearing and cable give way before the axis breaks loose
    std::array<int, 6> signs{};
    Drive drive(bench);
    for (std::size_t axis = 0; axis < 6; ++axis) {
        const auto encoder = [&] { return now(bench, drive.device, "get_encoder_values")[axis]; };
        const auto angle = [&] { return now(bench, drive.device, "get_tharlen_joint_angles")[axis]; };
        double moved[2] = {}, turned[2] = {};
        long commanded = 0;
        for (const int way : {0, 1}) {
            drive.settle();
            const double before = encoder(), angleBefore = angle();
            const bool enough = drive.raise(Drive::Dac, axis, (way ? 1 : -1) * kMostCommand * kDacMost, [&] {
                if (commanded == 0) {
                    long last[6] = {};
                    drive.inTick([&] { bench.lib.get_last_motor_dac_values(drive.device.id, last); });
                    commanded = last[axis];
                }
                return std::abs(encoder() - before) >= kEnough;
            });
            if (axis >= 3 && commanded == 0)
                break;  // no motor there
            moved[way] = encoder() - before;
            turned[way] = angle() - angleBefore;
            demand(enough, "%.0f %% of the full command %s moved axis %zu by %.0f counts", 100 * kMostCommand,
                   way ? "up" : "down", axis, moved[way]);
        }
        if (axis >= 3 && commanded == 0)
            continue;
        demand(moved[0] * moved[1] < 0,
               "axis %zu went by %.0f counts for a negative command and %.0f for a positive one", axis, moved[0],
               moved[1]);
        signs[axis] = turned[1] > 0 ? 1 : -1;
        seen += text("%saxis %zu %s", seen.empty() ? "" : ", ", axis, moved[1] > 0 ? "up" : "down");
    }
    return signs;
}

/// The command that a force becomes turns each joint as the matrix has it. The amplifiers are off.
std::string torques(Bench& bench, const std::array<int, 6>& signs) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    needAmplifiersOff(bench.lib, loop, device.id);
    const auto jacobian = now(bench, device, "get_tharlen_jacobian");
    int compared = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        long last[6] = {};
        loop.inTick([&] {
            float force[6] = {}, none[6] = {};
            force[i] = 0.5f * bench.lib.get_tharlen_nominal_max_force(device.id);
            bench.lib.send_tharlen_force(device.id, force);
            bench.lib.get_last_motor_dac_values(device.id, last);
            bench.lib.send_tharlen_force(device.id, none);
        });
        double greatest = 0;
        for (std::size_t joint = 0; joint < 3; ++joint)
            greatest = std::max(greatest, std::abs(jacobian[6 * joint + i]));
        for (std::size_t joint = 0; joint < 3; ++joint) {
            if (std::abs(jacobian[6 * joint + i]) < 0.2 * greatest)
                continue;
            ++compared;
            demand(static_cast<double>(last[joint]) * signs[joint] * jacobian[6 * joint + i] > 0,
                   "a force along %s commands axis %zu by %ld counts, which turns it the other way than the matrix",
                   kAxisNames[i], joint, last[joint]);
        }
    }
    return text("%d torques", compared);
}

std::string forces(Bench& bench) {
    Drive drive(bench);
    float most = 0;
    drive.inTick([&] { most = bench.lib.get_tharlen_nominal_max_force(drive.device.id); });
    for (const Drive::Kind kind : {Drive::Force, Drive::Force6}) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            for (const int way : {-1, 1}) {
                drive.settle();
                const double before = now(bench, drive.device, "get_tharlen_pos")[axis];
                double moved = 0;
                drive.raise(kind, axis, way * kMostForce * static_cast<double>(most), [&] {
                    moved = now(bench, drive.device, "get_tharlen_pos")[axis] - before;
                    return std::abs(moved) > 1.0;
                });
                demand(moved * way > 1.0, "%s of up to %.1f N along %s%s moved the endpoint by %.1f mm",
                       kind == Drive::Force ? "send_tharlen_force" : "send_tharlen_force_6dof",
                       kMostForce * static_cast<double>(most), way > 0 ? "+" : "-", kAxisNames[axis], moved);
            }
        }
    }
    return text("up to %.1f N in six directions", kMostForce * static_cast<double>(most));
}

std::string motors(Bench& bench) {
    bench.ask(
        "Hold the stylus loosely in the middle of its workspace, so that it can give way. The motors will push it a "
        "little, each way in turn.");
    speakOf(bench, "motors.zero", [&] {
        zeroCommand(bench);
        return std::string("for half a second");
    });
    std::array<int, 6> signs{};
    bool known = false;
    speakOf(bench, "motors.directions", [&] {
        std::string seen;
        signs = motorDirections(bench, seen);
        known = true;
        return seen;
    });
    speakOf(bench, "motors.torque", [&] {
        if (!known)
            throw NotTried("the directions of the motors are not known");
        return torques(bench, signs);
    });
    speakOf(bench, "motors.force", [&] { return forces(bench); });
    return "";
}

std::string heat(Bench& bench) {
    bench.ask("Hold the stylus in the middle of its workspace. The motors will hum for some seconds.");
    Drive drive(bench);
    const auto temperature = now(bench, drive.device, "get_tharlen_temp_6dof");
    const auto scale = now(bench, drive.device, "get_tharlen_temp_normalized_6dof");
    drive.shake(4.0);
    bool on = false;
    drive.inTick([&] { on = bench.lib.is_tharlen_forces_enabled(drive.device.id) != 0; });
    demand(on, "the amplifiers went off meanwhile");
    const auto warmer = difference(now(bench, drive.device, "get_tharlen_temp_6dof"), temperature);
    const auto higher = difference(now(bench, drive.device, "get_tharlen_temp_normalized_6dof"), scale);
    for (std::size_t i = 0; i < 3; ++i)
        demand(warmer[i] > 0.02 && higher[i] > 0, "motor %zu grew warmer by %.3f degrees, by %.5f of its scale", i,
               warmer[i], higher[i]);
    return text("by %.2f, %.2f and %.2f degrees", warmer[0], warmer[1], warmer[2]);
}

// --- What goes wrong at the arm --------------------------------------------------------------------

std::string trip(Bench& bench) {
    const OpenDevice device(bench);
    RunningLoop loop(bench.lib, device.id);
    loop.start(20);
    bench.ask("Switch the amplifiers off at the arm: by its remote switch, or its emergency stop.");
    loop.wait(50);
    const int status = loop.status(), fault = bench.lib.unfiltered_device_fault(device.id);
    demand(status == -4 || fault != 0, "the refresh gives %d, unfiltered_device_fault %d", status, fault);
    const int enabled = bench.lib.enable_tharlen_forces(device.id);
    sleepFor(100);
    bool on = false;
    loop.inTick([&] { on = bench.lib.is_tharlen_forces_enabled(device.id) != 0; });
    bench.lib.disable_tharlen_forces(device.id);
    demand(!on, "enable_tharlen_forces gave %d, and the amplifiers are said to be on", enabled);
    bench.ask("Switch them on again.");
    return text("refresh %d, fault %d, enable %d", status, fault, enabled);
}

std::string unplugged(Bench& bench) {
    std::string seen;
    {
        const OpenDevice device(bench);
        RunningLoop loop(bench.lib, device.id);
        loop.start(20);
        bench.ask("Let go of the arm, so that it rests.");
        struct Lasting {
            const char* name;
            double knock;  ///< what a hand at the cable may move the arm by
        };
        constexpr Lasting kLasting[] = {
            {"get_encoder_values", 200}, {"get_tharlen_joint_angles", 0.1}, {"get_tharlen_pos", 10}};
        std::vector<std::vector<double>> before;
        for (const Lasting& read : kLasting)
            before.push_back(now(bench, device, read.name));
        bench.ask("Pull the arm's data cable, without moving the arm.");
        loop.wait(100);
        const int status = loop.status();
        demand(status < 0, "the refresh gives %d", status);
        for (std::size_t k = 0; k < before.size(); ++k) {
            const auto after = now(bench, device, kLasting[k].name);
            for (std::size_t i = 0; i < after.size(); ++i)
                demand(std::abs(after[i] - before[k][i]) <= kLasting[k].knock,
                       "%s gives %g at place %zu, the last good one was %g", kLasting[k].name, after[i], i,
                       before[k][i]);
        }
        bool on = true;
        loop.inTick([&] { on = bench.lib.is_tharlen_forces_enabled(device.id) != 0; });
        demand(!on, "the amplifiers are said to be on");
        seen = text("refresh %d", status);
    }
    std::string why;
    const int id = openByName(bench.lib, bench.device, why);
    if (id >= 0)
        bench.lib.disable_tharlen(id);
    bench.ask("Plug it in again, and wait till the arm is ready.");
    demand(id < 0, "without its cable the device opened, with the handle %d", id);
    const OpenDevice anew(bench);
    return seen + "; opening " + why;
}

}  // namespace

std::vector<Check> personChecks() {
    return {
        single("sensors.directions", Check::Person, directions),
        {"person.motion",
         {"sensors.encoders", "sensors.jacobian", "sensors.velocities", "sensors.counters"},
         Check::Person,
         30,
         motion},
        {"person.motors",
         {"motors.zero", "motors.directions", "motors.torque", "motors.force"},
         Check::Person,
         60,
         motors},
        single("motors.heat", Check::Person, heat),
        single("motors.trip", Check::Person, trip),
        single("sensors.unplugged", Check::Person, unplugged),
    };
}

}  // namespace librarycheck
