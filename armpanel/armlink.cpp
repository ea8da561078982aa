// Finding the socket, writing commands, matching answers; see armlink.h for what a caller may rely on.
#include "armlink.h"

#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <algorithm>
#include <cerrno>

#include "shown.h"

namespace {

// An answer is a few KiB; a line that grows past this is not an answer.
constexpr qint64 kLongestLine = 1 << 20;
constexpr int kConnectMs = 200;

QJsonObject failure(const QString& why) { return {{"ok", false}, {"error", why}}; }

}  // namespace

ArmLink::ArmLink(QObject* parent) : QObject(parent) {
    frames_.setInterval(kFrameMs);
    silence_.setSingleShot(true);
    connect(&retry_, &QTimer::timeout, this, &ArmLink::connectToArm);
    connect(&frames_, &QTimer::timeout, this, &ArmLink::frame);
    connect(&silence_, &QTimer::timeout, this, [this] { setCondition(Condition::Silent); });
    connect(&socket_, &QLocalSocket::readyRead, this, &ArmLink::readLines);
    connect(&socket_, &QLocalSocket::disconnected, this, &ArmLink::disconnected);
}

ArmLink::~ArmLink() { socket_.disconnect(this); }

QDir ArmLink::socketFolder() {
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    return runtime.isEmpty() ? QDir(QStringLiteral("/tmp/nolva-diagnostic-%1").arg(getuid()))
                             : QDir(runtime + "/nolva-diagnostic");
}

QStringList ArmLink::candidates() {
    const QString named = qEnvironmentVariable("NOLVA_ARM_SOCKET");
    if (named == "off")
        return {};
    if (!named.isEmpty())
        return {named};
    QStringList paths;
    for (const QFileInfo& file : socketFolder().entryInfoList({"arm-*.sock"}, QDir::System, QDir::Time))
        paths << file.absoluteFilePath();
    return paths;
}

qint64 ArmLink::processOf(const QString& path) {
    static const QRegularExpression name("/arm-([0-9]{1,9})\\.sock$");
    return name.match(path).captured(1).toLongLong();
}

QStringList ArmLink::running() const {
    QStringList paths = candidates();
    const auto isGone = [this](const QString& path) {
        const auto process = static_cast<pid_t>(processOf(path));
        return path != path_ && (process == 0 || (::kill(process, 0) != 0 && errno == ESRCH));
    };
    paths.erase(std::remove_if(paths.begin(), paths.end(), isGone), paths.end());
    return paths;
}

qint64 ArmLink::process() const {
    ucred owner{};
    socklen_t size = sizeof owner;
    const auto descriptor = static_cast<int>(socket_.socketDescriptor());
    return isConnected() && ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &owner, &size) == 0 ? owner.pid : 0;
}

void ArmLink::hold(const QString& path) {
    wanted_ = path;
    socket_.abort();
    connectToArm();
}

void ArmLink::start(int retryMs, int silentMs) {
    silence_.setInterval(silentMs);
    retry_.start(retryMs);
    connectToArm();
}

void ArmLink::connectToArm() {
    if (connecting_)
        return;
    if (isConnected()) {
        QStringList now = running();
        if (now != lastRunning_) {
            lastRunning_.swap(now);
            emit runningChanged();
        }
        return;
    }
    if (qEnvironmentVariable("NOLVA_ARM_SOCKET") == "off") {
        setCondition(Condition::Off);
        return;
    }
    // A socket whose owner is gone refuses at once, so the candidates are tried one after the other. Those whose
    // owners stand still, with their queues full, have one time among them.
    connecting_ = true;
    QElapsedTimer clock;
    clock.start();
    QStringList paths = candidates();
    if (paths.removeOne(wanted_))
        paths.prepend(wanted_);
    for (const QString& path : paths) {
        socket_.connectToServer(path);
        if (socket_.waitForConnected(std::max(1, kConnectMs - static_cast<int>(clock.elapsed())))) {
            path_ = path;
            break;
        }
        socket_.abort();
    }
    connecting_ = false;
    if (socket_.state() != QLocalSocket::ConnectedState) {
        setCondition(Condition::NoArm);
        return;
    }
    setCondition(Condition::Connected);
    emit connected();
    frames_.start();
    frame();
}

void ArmLink::setCondition(Condition condition) {
    if (condition == condition_)
        return;
    condition_ = condition;
    emit conditionChanged();
}

int ArmLink::commandsUnderWay() const {
    const auto waiting =
        std::count_if(latest_.begin(), latest_.end(), [](const auto& it) { return it.second.waiting; });
    return static_cast<int>(pending_.size()) - (stateOutstanding_ ? 1 : 0) + static_cast<int>(waiting);
}

void ArmLink::send(const QString& name, const QJsonObject& fields, Answer answer) {
    write(name, fields, std::move(answer), false);
}

void ArmLink::sendLatest(const QString& name, const QJsonObject& fields) {
    if (!isConnected())
        return;
    Latest& latest = latest_[name];
    latest.fields = fields;
    latest.waiting = true;
}

void ArmLink::dropLatest(const QString& name) { latest_[name].waiting = false; }

bool ArmLink::isLatestUnderWay(const QString& name) const {
    const auto it = latest_.find(name);
    return it != latest_.end() && (it->second.waiting || it->second.outstanding);
}

void ArmLink::frame() {
    if (!isConnected())
        return;
    for (auto& [name, latest] : latest_) {
        if (!latest.waiting || latest.outstanding)
            continue;
        latest.waiting = false;
        latest.outstanding = true;
        write(
            name, latest.fields, [this, key = name](const QJsonObject&) { latest_[key].outstanding = false; }, false);
    }
    if (!stateOutstanding_) {
        stateOutstanding_ = true;
        write("state", {}, {}, true);
    }
}

void ArmLink::write(const QString& name, QJsonObject fields, Answer answer, bool isState) {
    if (!isConnected()) {
        if (answer)
            answer(failure(tr("no arm is running")));
        return;
    }
    const qint64 id = nextId_++;
    pending_.push_back({id, name, fields, std::move(answer), isState});
    fields["command"] = name;
    fields["id"] = id;
    if (!silence_.isActive() && condition_ == Condition::Connected)
        silence_.start();
    socket_.write(QJsonDocument(fields).toJson(QJsonDocument::Compact) + '\n');
}

void ArmLink::readLines() {
    // An answer's callback may end the connection; then what is left is of no one.
    while (isConnected() && socket_.canReadLine())
        takeLine(socket_.readLine());
    if (socket_.bytesAvailable() > kLongestLine) {
        emit refused(tr("The arm sent a line without an end; connecting anew."));
        socket_.abort();
    }
}

void ArmLink::takeLine(const QByteArray& line) {
    silence_.stop();
    setCondition(Condition::Connected);
    const bool tooDeep =
        foreign::shapeOf(line.constData(), static_cast<std::size_t>(line.size())).depth > foreign::kDeepest;
    const QJsonDocument document = tooDeep ? QJsonDocument() : QJsonDocument::fromJson(line);
    QJsonObject answer = document.object();
    const bool readable = document.isObject() && answer["ok"].isBool();
    if (!readable)
        answer = failure(tooDeep ? tr("the answer cannot be read: %1").arg(foreign::kTooDeep)
                                 : tr("the answer cannot be read"));
    else if (answer.contains("error"))
        answer["error"] = shown(answer["error"].toString());

    // Each command gets one line, in order: an answer without an id is that of the oldest command, and an
    // id that is not the oldest one's tells that the answers before it were lost.
    auto mine = pending_.begin();
    if (readable && answer.contains("id")) {
        const double id = answer["id"].toDouble(-1);
        mine = std::find_if(pending_.begin(), pending_.end(),
                            [id](const Pending& p) { return static_cast<double>(p.id) == id; });
    }
    if (mine == pending_.end())
        return;
    std::vector<Pending> done(std::make_move_iterator(pending_.begin()), std::make_move_iterator(mine + 1));
    pending_.erase(pending_.begin(), mine + 1);
    for (const Pending& pending : done) {
        if (pending.isState)
            stateOutstanding_ = false;
    }
    for (std::size_t i = 0; i + 1 < done.size(); ++i)
        finish(done[i], failure(tr("no answer came")));
    finish(done.back(), answer);
    if (!pending_.empty() && condition_ == Condition::Connected)
        silence_.start();
}

void ArmLink::finish(const Pending& pending, const QJsonObject& answer) {
    const bool ok = answer["ok"].toBool();
    if (pending.answer)
        pending.answer(answer);
    if (!ok)
        emit refused(tr("%1: %2").arg(pending.name, answer["error"].toString()));
    else if (pending.isState)
        emit stateArrived(answer["state"].toObject());
    else
        emit accepted(pending.name, pending.fields);
}

void ArmLink::disconnected() {
    if (connecting_)
        return;
    frames_.stop();
    silence_.stop();
    stateOutstanding_ = false;
    latest_.clear();
    path_.clear();
    setCondition(Condition::NoArm);
    // Whoever waits is told, without a line for the operator: the panel says that the arm is gone.
    const std::vector<Pending> lost = std::move(pending_);
    pending_.clear();
    for (const Pending& pending : lost) {
        if (pending.answer)
            pending.answer(failure(tr("the arm is gone")));
    }
}
