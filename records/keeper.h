// Watches the report file, which each run replaces, and stores what was in it. A report goes to a folder of its own
// first and leaves it once it is stored: whatever ends the keeper or keeps the store away, no report is lost by it.
#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QHash>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

#include "store.h"

namespace records {

class Keeper {
public:
    using Say = std::function<void(const QString& line)>;

    /// `reportFile` is watched; `waiting` is the folder of what is not stored yet, made where it is missing. `store`
    /// names the store, which is opened when it is needed and again after an error. A text without its end that has
    /// not changed for `stillMs` will have none, and is taken as it is.
    Keeper(const QString& reportFile, const QString& waiting, const QString& store, Say say, int stillMs = 5000);

    /// Takes a report that is new, and stores what waits. False while there is something to come back for soon: a
    /// report that is being written, or one that could not be stored.
    bool look();

    /// Waits up to `ms` for the report file to change. Returns early where it does.
    void waitForChange(int ms);

private:
    bool takeReport();
    void putAside(const QByteArray& bytes);
    bool storeWaiting();
    bool storeOne(const QByteArray& bytes, const QString& name);
    void complain(const QString& about, const QString& line);

    const QString report_, waiting_, where_;
    const Say say_;
    const int stillMs_;
    std::unique_ptr<Store> store_;
    std::vector<QByteArray> held_;  // where not even the folder takes them
    QString seen_;                  // digest of what was there at the last look, and since when
    QElapsedTimer still_;
    QString taken_;                 // digest of what was taken last
    QHash<QString, QString> said_;  // once, until it changes
    struct Watch;
    std::unique_ptr<Watch, void (*)(Watch*)> watch_;
};

}  // namespace records
