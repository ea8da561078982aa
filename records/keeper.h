// Watches the report file, which each run replaces, and stores what was in it. A report goes to a folder of its own
// first and leaves it once it is stored: whatever ends the keeper or keeps the store away, no report is lost by it.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QString>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "store.h"

namespace records {

class Keeper {
public:
    /// May be called by the thread that stores, too.
    using Say = std::function<void(const QString& line)>;

    /// `reportFile` is watched; `waiting` is the folder of what is not stored yet, made where it is missing. `store`
    /// names the store, which is opened when it is needed and again after an error. A text without its end that has
    /// not changed for `stillMs` will have none, and is taken as it is.
    Keeper(const QString& reportFile, const QString& waiting, const QString& store, Say say, int stillMs = 5000);

    /// Takes a report that is new, and stores what waits. False while there is something to come back for soon: a
    /// report that is being written, or one that could not be stored. Not while keep() runs.
    bool look();

    /// Takes reports as they come, and stores them in a thread of its own: a store may take long to say that it is
    /// away, and the next report must not replace one that is not taken. Until `isOver`, which this thread asks; then
    /// once more for what was written last.
    void keep(const std::function<bool()>& isOver);

    /// Waits up to `ms` for the report file to change. Returns early where it does.
    void waitForChange(int ms);

private:
    bool takeReport();
    void putAside(const QByteArray& bytes);
    bool storeWaiting();
    bool storeOne(const QByteArray& bytes, const QString& name);
    using Said = QHash<QString, QString>;  // a line about something, once, until it changes
    void complain(Said& said, const QString& about, const QString& line);

    const QString report_, waiting_, where_;
    const Say say_;
    const int stillMs_;

    // Of the thread that takes.
    QString seen_;  // digest of what was there at the last look, and since when
    QElapsedTimer still_;
    QString taken_;  // digest of what was taken last
    Said said_;

    // Of the thread that stores.
    std::unique_ptr<Store> store_;
    Said refused_;  // until everything is stored

    std::mutex mutex_;              // of what follows
    std::vector<QByteArray> held_;  // where not even the folder takes them
    bool fresh_ = false;
    std::atomic<bool> over_{false};
    std::condition_variable come_;
    struct Watch;
    std::unique_ptr<Watch, void (*)(Watch*)> watch_;
};

}  // namespace records
