// The connection to the simulated arm: finds its socket, keeps to it, matches answers with commands.
// No widgets. Graphical thread only.
#pragma once

#include <QDir>
#include <QJsonObject>
#include <QLocalSocket>
#include <QTimer>
#include <functional>
#include <map>
#include <vector>

class ArmLink : public QObject {
    Q_OBJECT

public:
    /// What came back for a command: the arm's answer, or {"ok":false,"error":...} made here when the
    /// connection was lost or the answer could not be read. Called once for each command.
    using Answer = std::function<void(const QJsonObject&)>;

    enum class Condition {
        Off,     ///< the environment says that there is no socket
        NoArm,   ///< nobody listens
        Silent,  ///< connected, but the arm has not answered for a while
        Connected,
    };

    static constexpr int kRetryMs = 1000;
    static constexpr int kFrameMs = 33;
    static constexpr int kSilentMs = 2000;

    explicit ArmLink(QObject* parent = nullptr);
    ~ArmLink() override;

    /// Where an arm may listen, the newest first, stale ones included; read from the environment.
    static QStringList candidates();
    static QDir socketFolder();
    /// Those of candidates() whose application runs, and the one that is held.
    QStringList running() const;
    /// The application that a socket is named after; 0 where its name tells none.
    static qint64 processOf(const QString& path);

    /// Looks for an arm now and, while there is none, every `retryMs` (ms). One that takes longer than
    /// `silentMs` for an answer counts as silent until it answers.
    void start(int retryMs = kRetryMs, int silentMs = kSilentMs);

    Condition condition() const { return condition_; }
    bool isConnected() const { return condition_ == Condition::Silent || condition_ == Condition::Connected; }
    QString socketPath() const { return path_; }
    /// The application at the other end; 0 without a connection.
    qint64 process() const;
    /// Lets the arm go that is held, and takes this one; where it does not listen, the newest that does.
    void hold(const QString& path);
    /// Commands without their answer yet, the state requests of frame() aside. While there are any, a
    /// state that arrives may be older than what was asked for.
    int commandsUnderWay() const;

    /// Sends at once. Without a connection nothing is sent, `answer` gets the failure, and refused() is
    /// not emitted: the panel already says that there is no arm.
    void send(const QString& name, const QJsonObject& fields = {}, Answer answer = {});
    /// For what a dragged pointer or slider asks for again and again: the latest of a name in a frame is
    /// sent, and only after the one before it was answered, so that a slow arm is never flooded.
    void sendLatest(const QString& name, const QJsonObject& fields);
    /// Forgets what sendLatest() was told and has not sent: what follows must not be undone by it.
    void dropLatest(const QString& name);
    bool isLatestUnderWay(const QString& name) const;

public slots:
    /// One frame: what sendLatest() keeps, and a state request unless one is outstanding.
    void frame();
    /// Tries the candidates in order; while connected, only looks which applications run.
    void connectToArm();

signals:
    void conditionChanged();
    /// A new connection, before its first state.
    void connected();
    /// An application has come or gone; see running().
    void runningChanged();
    void stateArrived(const QJsonObject& state);
    /// The arm took a command (`state` aside); `fields` as they were sent, without the name and the id.
    void accepted(const QString& name, const QJsonObject& fields);
    /// The arm said no, or answered what cannot be read: a sentence for the operator.
    void refused(const QString& sentence);

private:
    struct Pending {
        qint64 id;
        QString name;
        QJsonObject fields;
        Answer answer;
        bool isState;
    };
    struct Latest {
        QJsonObject fields;
        bool waiting = false, outstanding = false;
    };

    void setCondition(Condition condition);
    void write(const QString& name, QJsonObject fields, Answer answer, bool isState);
    void readLines();
    void takeLine(const QByteArray& line);
    void finish(const Pending& pending, const QJsonObject& answer);
    void disconnected();

    QLocalSocket socket_;
    QTimer retry_, frames_, silence_;
    Condition condition_ = Condition::NoArm;
    QString path_, wanted_;  // the socket that is held; the one that hold() asked for
    QStringList lastRunning_;
    std::vector<Pending> pending_;  // in the order of sending
    qint64 nextId_ = 1;
    std::map<QString, Latest> latest_;
    bool stateOutstanding_ = false, connecting_ = false;
};
