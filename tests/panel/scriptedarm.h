// What the panel's tests share: an arm that speaks the line protocol by script, a panel that shows it, and a folder of
// its own for its socket.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QLabel>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>
#include <functional>
#include <map>
#include <memory>

#include "armpanel.h"

constexpr int kRetryMs = 15;

inline QByteArray line(const QJsonObject& object) { return QJsonDocument(object).toJson(QJsonDocument::Compact); }

inline QJsonObject object(const char* json) { return QJsonDocument::fromJson(json).object(); }

/// An arm that keeps what it receives and answers each command, unless told otherwise.
class ScriptedArm : public QObject {
public:
    QLocalServer server;
    QLocalSocket* client = nullptr;
    QList<QJsonObject> received;
    bool answers = true;
    std::map<QString, QJsonObject> more;  // fields beside ok and id, by the command that is answered
    QJsonObject state{{"open", true},    {"name", "Arm 7"},  {"position", QJsonArray{1, 2, 3}},
                      {"strength", 25},  {"holding", false}, {"gimbal", true},
                      {"inkWell", true}, {"motors", 6},      {"buttons", 2}};

    explicit ScriptedArm(const QString& path) {
        connect(&server, &QLocalServer::newConnection, this, [this] {
            client = server.nextPendingConnection();
            connect(client, &QLocalSocket::readyRead, this, [this] {
                while (client->canReadLine()) {
                    received << object(client->readLine());
                    if (answers)
                        reply(received.last());
                }
            });
        });
        if (!server.listen(path))
            qFatal("cannot listen on %s", qPrintable(path));
    }
    ~ScriptedArm() override { vanish(); }

    void vanish() {
        if (client)
            client->abort();
        client = nullptr;
        server.close();
    }
    void reply(const QJsonObject& command) {
        QJsonObject out{{"ok", true}, {"id", command["id"]}};
        if (command["command"] == "state")
            out["state"] = state;
        const QJsonObject& fields = more[command["command"].toString()];
        for (auto it = fields.begin(); it != fields.end(); ++it)
            out[it.key()] = it.value();
        client->write(line(out) + '\n');
    }
    QList<QJsonObject> named(const QString& name) const {
        QList<QJsonObject> out;
        std::copy_if(received.begin(), received.end(), std::back_inserter(out),
                     [&name](const QJsonObject& command) { return command["command"] == name; });
        return out;
    }
};

/// A socket whose owner takes no one in, and one more who waits for it already: its queue is full.
class StillArm {
public:
    explicit StillArm(const QString& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, path.toLocal8Bit().constData(), sizeof address.sun_path);
        const auto* name = reinterpret_cast<const sockaddr*>(&address);
        if (::bind(owner_, name, sizeof address) != 0 || ::listen(owner_, 0) != 0
            || ::connect(waiting_, name, sizeof address) != 0)
            qFatal("cannot listen on %s", qPrintable(path));
    }
    ~StillArm() {
        ::close(waiting_);
        ::close(owner_);
    }

private:
    const int owner_ = ::socket(AF_UNIX, SOCK_STREAM, 0), waiting_ = ::socket(AF_UNIX, SOCK_STREAM, 0);
};

/// A socket file whose owner is gone.
inline void leaveStale(const QString& path) { StillArm gone(path); }

inline QList<double> numbers(const QJsonValue& value) {
    QList<double> out;
    for (const QJsonValue& number : value.toArray())
        out << number.toDouble();
    return out;
}

/// A panel that shows an arm.
struct Shown {
    ScriptedArm arm;
    ArmPanel panel;

    explicit Shown(const QString& path, const QJsonObject& fields = {}, const QJsonObject& faults = {}) : arm(path) {
        arm.more["fault.list"] = faults;
        panel.show();
        panel.start(kRetryMs);
        show(fields);
    }
    QString text(const char* label) const { return panel.findChild<QLabel*>(label)->text(); }
    /// Lets the panel show the arm's state with these fields in it.
    void show(const QJsonObject& fields) {
        for (auto it = fields.begin(); it != fields.end(); ++it)
            arm.state[it.key()] = it.value();
        settle();
    }
    /// The lines that `act` leads to, those that ask aside.
    QString sent(const std::function<void()>& act) {
        const int before = arm.received.size();
        act();
        settle();
        QStringList lines;
        for (QJsonObject command : arm.received.mid(before)) {
            command.remove("id");
            if (command["command"] != "state" && command["command"] != "fault.list")
                lines << line(command);
        }
        return lines.join('\n');
    }

private:
    /// Until all is answered, and a state after it.
    void settle() {
        const int states = arm.named("state").size();
        QTRY_VERIFY(panel.link().commandsUnderWay() == 0 && arm.named("state").size() > states + 1);
    }
};

/// Each test has a runtime folder of its own, so that it finds no arm but its own.
class PanelFixture : public QObject {
protected:
    std::unique_ptr<QTemporaryDir> folder;
    QString path(const QString& name) const { return folder->filePath("nolva-diagnostic/" + name); }
    static QPushButton* button(const QWidget& in, const QString& text) {
        for (QPushButton* it : in.findChildren<QPushButton*>()) {
            if (it->text().remove('&') == text)
                return it;
        }
        return nullptr;
    }
    template <typename T>
    static T* in(const QWidget* page, int number = 0) {
        return page->findChildren<T*>().value(number);
    }

    void prepare() {
        folder = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(folder->path()).mkdir("nolva-diagnostic"));
        qputenv("XDG_RUNTIME_DIR", folder->path().toLocal8Bit());
        qunsetenv("NOLVA_ARM_SOCKET");
    }
};
