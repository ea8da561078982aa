// What the panel's tests share: an arm that speaks the line protocol by script, and a folder of its own for its
// socket.
#pragma once

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLocalServer>
#include <QLocalSocket>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>
#include <functional>
#include <memory>

#include "armpanel.h"

constexpr int kRetryMs = 15;

inline QByteArray line(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

inline QJsonObject object(const char* json) { return QJsonDocument::fromJson(json).object(); }

/// An arm that keeps what it receives and answers each command, unless told otherwise.
class ScriptedArm : public QObject {
public:
    QLocalServer server;
    QLocalSocket* client = nullptr;
    QList<QJsonObject> received;
    bool answers = true;
    std::function<QJsonObject(const QJsonObject&)> answer;  // fields beside ok and id
    QJsonObject state{
        {"open", true}, {"name", "Arm 7"}, {"position", QJsonArray{1, 2, 3}}, {"strength", 25}, {"holding", false}};

    explicit ScriptedArm(const QString& path) {
        connect(&server, &QLocalServer::newConnection, this, [this] {
            client = server.nextPendingConnection();
            connect(client, &QLocalSocket::readyRead, this, [this] {
                while (client->canReadLine())
                    take(QJsonDocument::fromJson(client->readLine()).object());
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
        if (answer) {
            const QJsonObject more = answer(command);
            for (auto it = more.begin(); it != more.end(); ++it)
                out[it.key()] = it.value();
        }
        client->write(line(out));
    }
    void replyToAll(int from) {
        for (int i = from; i < received.size(); ++i)
            reply(received[i]);
    }
    QList<QJsonObject> named(const QString& name) const {
        QList<QJsonObject> out;
        for (const QJsonObject& command : received) {
            if (command["command"] == name)
                out << command;
        }
        return out;
    }

private:
    void take(const QJsonObject& command) {
        received << command;
        if (answers)
            reply(command);
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

inline void setAge(const QString& path, int seconds) {
    const timespec then{::time(nullptr) - seconds, 0};
    const timespec times[2] = {then, then};
    QCOMPARE(::utimensat(AT_FDCWD, path.toLocal8Bit().constData(), times, 0), 0);
}

inline QList<double> numbers(const QJsonValue& value) {
    QList<double> out;
    for (const QJsonValue& number : value.toArray())
        out << number.toDouble();
    return out;
}

/// Each test has a runtime folder of its own, so that it finds no arm but its own.
class PanelFixture : public QObject {
protected:
    std::unique_ptr<QTemporaryDir> folder;
    QString path(const QString& name) const { return folder->filePath("nolva-diagnostic/" + name); }
    static QString text(const ArmPanel& panel, const char* name) { return panel.findChild<QLabel*>(name)->text(); }

    static QPushButton* button(const QWidget& in, const QString& text) {
        for (QPushButton* it : in.findChildren<QPushButton*>()) {
            if (it->text().remove('&') == text)
                return it;
        }
        return nullptr;
    }

    void prepare() {
        folder = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir(folder->path()).mkdir("nolva-diagnostic"));
        qputenv("XDG_RUNTIME_DIR", folder->path().toLocal8Bit());
        qunsetenv("NOLVA_ARM_SOCKET");
    }
};
