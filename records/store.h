// Where runs are kept: SQLite in a file, or PostgreSQL, with the same tables and the same statements on both.
#pragma once

#include <QByteArray>
#include <QSqlDatabase>
#include <QString>
#include <QVariant>
#include <functional>
#include <memory>
#include <stdexcept>

#include "understood.h"

class QSqlQuery;

namespace records {

/// What is wrong with the store, as a sentence without any password.
struct StoreError : std::runtime_error {
    explicit StoreError(const QString& why) : std::runtime_error(why.toStdString()) {}
};

/// Longest report that is taken, bytes.
constexpr qint64 kLongestReport = 1 << 20;

/// SHA-256 of the bytes as 64 hexadecimal digits: what tells one report from another.
QString digestOf(const QByteArray& bytes);

/// A report that is read and packed.
struct Prepared {
    QString digest;
    QVariantList values;  ///< of its row
    QByteArray packed;
    QString why;  ///< it was not understood; empty where it was
};

/// Throws StoreError for one that is too long. Any thread.
Prepared prepare(const QByteArray& bytes);

struct Run {
    qint64 id = 0;
    qint64 storedAt = 0;             ///< ms since 1970, UTC
    std::optional<qint64> testedAt;  ///< the same
    QString date, device, serial, operatorName, model, interfaceName, why;
    bool understood = false, pass = false;
    QString failed;  ///< names of the failed items that count, a line each
    std::array<std::optional<Span>, kAxes> counts{}, dac{};
};

/// Which runs; what is empty asks for nothing.
struct Choice {
    QString serial, device, model, interfaceName, operatorName, verdict;  ///< verdict: pass, fail, not-understood
    std::optional<qint64> since, until;                                   ///< ms, tested at; until is not included
    int newest = 0;                                                       ///< so many of the newest, 0: all
};

/// One connection. Every operation throws StoreError. One thread.
class Store {
public:
    /// A file, made as the user's alone and its folder where they are missing, or postgresql://user@host:port/database;
    /// the password comes from where that database's own tools have it. Brings older tables up to date. `patienceMs`:
    /// how long a statement waits for another program that writes into the same file. Of no name: an empty one, which
    /// ends with this object.
    explicit Store(const QString& where, int patienceMs = 10000);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Stores a report whatever is in it, once: false where it is there already.
    bool add(const QByteArray& bytes);
    bool add(const Prepared& report);
    /// Stores what `next` gives until it is false, in that order, block by block, each block all or none; while one is
    /// stored the next is read and packed on all processors. `done` hears of each whose block is stored, and whether it
    /// was not there already. Both are called on this thread.
    void addAll(const std::function<bool(QByteArray& report)>& next,
                const std::function<void(const Prepared& report, bool fresh)>& done);
    /// Many in one transaction: all or none.
    void together(const std::function<void()>& work);

    /// Calls for each run in order of their tests, oldest first, without holding them all.
    void each(const Choice& choice, const std::function<void(const Run&)>& take);
    std::optional<Run> run(qint64 id);
    /// The bytes of a run as they came. Throws where there is no such run or they cannot be unpacked.
    QByteArray text(qint64 id);
    qint64 count();
    /// Calls for each row of a statement that ends with the condition of the choice and `after`.
    void rows(const QString& select, const Choice& choice, const QString& after,
              const std::function<void(const QSqlQuery&)>& take);
    /// Whether it still answers.
    bool works();
    /// Calls with each run that is not as it was stored, and why. The number of runs that were looked at.
    qint64 verify(const std::function<void(qint64 id, const QString& why)>& wrong);

    QSqlDatabase& database() { return database_; }
    bool isPostgres() const { return postgres_; }

private:
    void open(const QString& where, int patienceMs);
    void migrate();
    static void run(QSqlQuery& query);
    void execute(const QString& statement);
    QSqlQuery prepared(const QString& statement);

    QString name_;
    QSqlDatabase database_;
    bool postgres_ = false, inside_ = false;  // a transaction
    std::unique_ptr<QSqlQuery> insertRun_, insertText_;
};

/// Of the command line, the environment (NOLVA_RECORDS), or $KNDD_HOME/logs/records.sqlite; throws where none is named.
QString storeNamed(const QString& wanted);
/// Whether it is a file that is not there yet.
bool isMissingFile(const QString& where);

}  // namespace records
