// What the tests of the simulated arm share: a stepped arm, a scratch data folder, short ways to command and to read,
// and the lines that the library writes on standard error.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTextStream>
#include <QtTest>
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <string>

#include "device/simulated/armcontrol.h"
#include "device/tharlenio.h"
#include "gestures.h"

namespace simarm {

/// As in a fresh process that steps its loop; files stay.
inline void restart(bool stepped = true) {
    armcontrol::resetArm();
    armcontrol::loopStepped(stepped);
}

/// A fresh stepped library with the built-in fleet of a scratch KNDD_HOME.
class Bench {
public:
    explicit Bench(bool stepped = true) {
        qputenv("KNDD_HOME", home.path().toUtf8());
        qputenv("NOLVA_ARM_SOCKET", "off");
        QDir(home.path()).mkdir("config");
        restart(stepped);
        createServoLoop();
    }
    ~Bench() { armcontrol::resetArm(); }

    QString config(const QString& name) const { return home.path() + "/config/" + name; }
    void write(const QString& name, const QByteArray& content) const {
        QFile file(config(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    /// The same, but "-" is nothing there, "/" a folder, "|" a FIFO, "@" and a path a link to that.
    void place(const QString& name, const QByteArray& content) const {
        const QByteArray path = config(name).toUtf8();
        if (content == "/")
            QCOMPARE(::mkdir(path.constData(), 0700), 0);
        else if (content == "|")
            QCOMPARE(::mkfifo(path.constData(), 0600), 0);
        else if (content.startsWith('@'))
            QCOMPARE(::symlink(content.constData() + 1, path.constData()), 0);
        else if (content != "-")
            write(name, content);
    }

    QTemporaryDir home;
};

/// The records of the fleet, as the library enumerates them.
struct Records {
    Records() { number = CTHARLeNMgr().EnumerateTHARLeNs(devices); }
    ~Records() {
        for (CTHARLeNDevice* device : devices)
            delete device;
    }
    CTHARLeNDevice* devices[20] = {};
    int number = 0;
};

/// What is told of a check that does not hold.
template <class... Parts>
QByteArray about(const Parts&... parts) {
    QString text;
    QTextStream stream(&text);
    ((stream << parts << ' '), ...);
    return text.toUtf8();
}

/// This fault and no other.
inline void setOnly(const char* fault, double amount = 1, int axis = -1) {
    armcontrol::clearFaults();
    QCOMPARE(armcontrol::setFault(fault, true, axis, amount), std::string());
}

/// A command to one motor and none to the others, counts.
inline int drive(int id, std::size_t axis, long counts) {
    long dac[6] = {};
    dac[axis] = counts;
    return command_motor_dac_values(id, dac);
}

using Counts = std::array<long, 6>;
inline Counts encoders(int id) {
    Counts counts;
    get_encoder_values(id, counts.data());
    return counts;
}

/// Nothing in it that does something to a terminal, and no longer than a message with a foreign part is.
inline bool isShort(const QByteArray& message) {
    return message.size() < 500 && std::none_of(message.begin(), message.end(), [](char c) {
               return static_cast<unsigned char>(c) < ' ' || c == 0x7F;
           });
}

/// A callback for startServoLoop from any callable.
class Callback {
public:
    explicit Callback(std::function<void()> f) : f_(std::move(f)) {
        startServoLoop([](void* self) { return static_cast<Callback*>(self)->f_(), 0; }, this);
    }
    ~Callback() { stopServoLoop(); }

private:
    std::function<void()> f_;
};

/// Lets the hand calibrate the open device, whatever its style, and take it to the origin.
inline bool calibrate(int id) {
    Gestures hand;
    const bool done = hand.calibrate(id).empty();
    hand.undock(1500);
    return done;
}

/// What `f` makes the library write on standard error.
inline QByteArray complaints(const std::function<void()>& f) {
    QTemporaryFile file;
    if (!file.open())
        return "no temporary file";
    fflush(stderr);
    const int saved = dup(2);
    dup2(file.handle(), 2);
    f();
    fflush(stderr);
    dup2(saved, 2);
    close(saved);
    file.seek(0);
    return file.readAll();
}

}  // namespace simarm
