// The report's writer puts a whole file in its place where it can. Where it cannot, it writes into the one that is
// there; then a text without its end is not taken until it stands still.
#include "keeper.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <chrono>
#include <future>

#include "device/foreign.h"

namespace records {
namespace {

constexpr int kPatienceMs = 1000;              // for a store that is locked; the report waits, and is tried again
constexpr int kPauseMs = 1000, kSoonMs = 300;  // between two looks
constexpr int kEndMs = 20;                     // the same while the storing comes to its end
constexpr int kLastLooks = 20;                 // so many, soon, for what is not done at the end
const QString kSuffix = QStringLiteral(".report");

bool hasEnd(const QByteArray& bytes) {
    return bytes.contains("\nCOMMENTS: \n    Enter any additional comments below\n");
}

}  // namespace

struct Keeper::Watch {
    int descriptor = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    QString folder;

    static void end(Watch* watch) {
        close(watch->descriptor);
        delete watch;
    }
    /// The folder, for a report that takes another's place is another file.
    void on(const QString& wanted) {
        if (descriptor >= 0
            && inotify_add_watch(descriptor, QFile::encodeName(wanted).constData(),
                                 IN_CLOSE_WRITE | IN_MOVED_TO | IN_ONLYDIR)
                   >= 0)
            folder = wanted;
    }
};

Keeper::Keeper(const QString& reportFile, const QString& waiting, const QString& store, Say say, int stillMs)
    : report_(reportFile),
      waiting_(waiting),
      where_(store),
      say_(std::move(say)),
      stillMs_(stillMs),
      watch_(new Watch, &Watch::end) {}

void Keeper::complain(Said& said, const QString& about, const QString& line) {
    if (said.value(about) == line)
        return;
    said[about] = line;
    if (!line.isEmpty())
        say_(line);
}

bool Keeper::look() {
    const bool taken = takeReport();
    return storeWaiting() && taken;
}

void Keeper::keep(const std::function<bool()>& isOver) {
    std::future<void> storing = std::async(std::launch::async, [this] {
        std::unique_lock<std::mutex> lock(mutex_);
        int last = kLastLooks;
        do {
            fresh_ = false;
            lock.unlock();
            const bool all = storeWaiting();
            lock.lock();
            come_.wait_for(lock, std::chrono::milliseconds(all ? kPauseMs : kSoonMs),
                           [this] { return fresh_ || (over_ && held_.empty()); });
        } while (!over_ || fresh_ || (!held_.empty() && --last > 0));
        store_.reset();  // a connection is of one thread
    });
    while (!isOver())
        waitForChange(takeReport() ? kPauseMs : kSoonMs);
    // What was written last; what cannot be stored now waits for the next keeper.
    for (int looks = 0; looks < kLastLooks && !takeReport(); ++looks)
        waitForChange(kSoonMs);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        over_ = true;
    }
    come_.notify_one();
    // Another keeper waits for the end of this one, and takes nothing before.
    while (storing.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        waitForChange(kEndMs);
        takeReport();
    }
    storing.get();
    if (!held_.empty())
        say_(QString("lost: %1 that neither the folder nor the records took").arg(held_.size()));
}

bool Keeper::takeReport() {
    watch_->on(QFileInfo(report_).absolutePath());
    const foreign::FileText file =
        foreign::readFile(QFile::encodeName(report_).toStdString(), static_cast<std::size_t>(kLongestReport));
    if (!file.there)
        return true;
    const QString name = QString::fromStdString(foreign::printable(report_.toStdString()));
    if (!file.why.empty()) {
        complain(said_, "report", QString("%1: %2").arg(name, QString::fromStdString(file.why)));
        return true;
    }
    const QByteArray bytes(file.text.data(), static_cast<int>(file.text.size()));
    if (bytes.size() > kLongestReport) {
        complain(said_, "report", QString("%1 is longer than 1 MiB: it is no report, and is not taken").arg(name));
        return true;
    }
    complain(said_, "report", {});
    const QString digest = digestOf(bytes);
    if (bytes.isEmpty() || digest == taken_)
        return true;
    // By a clock that nobody sets: the file's own time may lie anywhere.
    if (digest != seen_) {
        seen_ = digest;
        still_.start();
    }
    if (!hasEnd(bytes) && still_.elapsed() < stillMs_)
        return false;
    putAside(bytes);
    taken_ = digest;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        fresh_ = true;
    }
    come_.notify_one();
    return true;
}

void Keeper::putAside(const QByteArray& bytes) {
    QDir().mkpath(waiting_);
    QFile(waiting_).setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QSaveFile file(QDir(waiting_).filePath(digestOf(bytes) + kSuffix));
    if (file.open(QIODevice::WriteOnly) && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner)
        && file.write(bytes) == bytes.size() && file.commit()) {
        complain(said_, "waiting", {});
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        held_.push_back(bytes);
    }
    complain(said_, "waiting",
             QString("%1 takes no report (%2): held in memory until it is stored")
                 .arg(QString::fromStdString(foreign::printable(waiting_.toStdString())), file.errorString()));
}

/// One that the store does not take keeps none of the others.
bool Keeper::storeWaiting() {
    std::vector<QByteArray> held, refused;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        held.swap(held_);
    }
    bool away = false;
    for (const QByteArray& bytes : held)
        if (away || !storeOne(bytes, "a report")) {
            refused.push_back(bytes);
            away = !store_;
        }
    bool all = refused.empty();
    if (!all) {
        const std::lock_guard<std::mutex> lock(mutex_);
        held_.insert(held_.begin(), refused.begin(), refused.end());
    }
    if (away)
        return false;
    for (const QFileInfo& info :
         QDir(waiting_).entryInfoList({"*" + kSuffix}, QDir::Files, QDir::Time | QDir::Reversed)) {
        QFile file(info.filePath());
        if (!file.open(QIODevice::ReadOnly)) {
            if (file.exists()) {  // else another keeper has stored it
                complain(refused_, info.filePath(),
                         QString::fromStdString(foreign::printable(info.filePath().toStdString()))
                             + " waits: " + file.errorString());
                all = false;
            }
            continue;
        }
        const QByteArray bytes = file.read(kLongestReport + 1);
        if (digestOf(bytes) + kSuffix != info.fileName()) {  // not all could be read, or somebody has changed it
            file.rename(info.filePath() + ".damaged");
            say_(QString::fromStdString(foreign::printable(info.filePath().toStdString()))
                 + " is not as it was put there: kept under that name and .damaged");
            continue;
        }
        if (storeOne(bytes, info.filePath()))
            file.remove();
        else
            all = false;
        if (!store_ || (!all && over_))
            return false;
    }
    if (all && !refused_.isEmpty()) {
        say_("the records can be written again");
        refused_.clear();
    }
    return all;
}

bool Keeper::storeOne(const QByteArray& bytes, const QString& name) {
    try {
        if (!store_)
            store_ = std::make_unique<Store>(where_, kPatienceMs);
    } catch (const StoreError& error) {
        complain(refused_, "store",
                 QString("reports wait: %1").arg(QString::fromStdString(foreign::printable(error.what()))));
        return false;
    }
    try {
        const bool fresh = store_->add(bytes);
        const Reading reading = readReport(bytes);
        if (fresh && !reading.report)
            say_(QString("not understood, and kept whole: %1").arg(reading.why));
        return true;
    } catch (const StoreError& error) {
        if (!store_->works())
            store_.reset();  // and opened anew
        complain(refused_, name,
                 QString("%1 waits: %2")
                     .arg(QString::fromStdString(foreign::printable(name.toStdString())),
                          QString::fromStdString(foreign::printable(error.what()))));
        return false;
    }
}

void Keeper::waitForChange(int ms) {
    pollfd waited{watch_->folder.isEmpty() ? -1 : watch_->descriptor, POLLIN, 0};
    if (poll(&waited, 1, ms) <= 0)
        return;
    char events[4096];
    while (read(watch_->descriptor, events, sizeof events) > 0) {
    }
}

}  // namespace records
