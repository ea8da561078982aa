// Statements are the same on both databases; only the types of a key and of bytes, and how a writer waits for another,
// differ. Values are bound, never part of a statement.
#include "store.h"

#include <malloc.h>
#include <openssl/sha.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>
#include <QUrl>
#include <QUrlQuery>
#include <QVariant>
#include <algorithm>
#include <atomic>
#include <future>
#include <thread>

namespace records {
namespace {

// Each entry brings the tables from one version to the next; what stands here is never changed, only followed.
const QStringList kMigrations[] = {
    {"CREATE TABLE runs (id {KEY}, digest TEXT NOT NULL UNIQUE, stored_at BIGINT NOT NULL, tested_at BIGINT,"
     " test_date TEXT NOT NULL, device TEXT NOT NULL, serial TEXT NOT NULL, operator TEXT NOT NULL, model TEXT NOT "
     "NULL,"
     " interface TEXT NOT NULL, understood SMALLINT NOT NULL, why TEXT NOT NULL, pass SMALLINT NOT NULL,"
     " failed TEXT NOT NULL, {SPANS})",
     "CREATE TABLE texts (run {REFERENCE} PRIMARY KEY, packed {BYTES} NOT NULL)",
     "CREATE INDEX runs_by_serial ON runs (serial, tested_at)", "CREATE INDEX runs_by_test ON runs (tested_at)"},
};

// Two keepers that start at once must not both make the tables.
constexpr qint64 kMigrationLock = 4711050;
constexpr int kPackQuickly = 1;               // of zlib: a fifth larger than the usual 6 in a quarter of the time
constexpr std::size_t kBlock = 2000;          // reports of one transaction
constexpr int kKeptMemory = 64 << 20;         // bytes
constexpr qint64 kZonesApart = 26 * 3600000;  // ms, from UTC-12 to UTC+14

QStringList spanColumns() {
    QStringList columns;
    for (const Quantity quantity : {Quantity::Counts, Quantity::Dac})
        for (int axis = 0; axis < kAxes; ++axis)
            for (const char* end : {"low", "high"})
                columns << QString("%1_%2").arg(quantityName(quantity, axis).replace('-', '_'), QLatin1String(end));
    return columns;
}

QString withTypes(QString statement, bool postgres) {
    const QString number = postgres ? " DOUBLE PRECISION" : " REAL";
    return statement.replace("{KEY}", postgres ? "BIGSERIAL PRIMARY KEY" : "INTEGER PRIMARY KEY")
        .replace("{REFERENCE}", postgres ? "BIGINT" : "INTEGER")
        .replace("{BYTES}", postgres ? "BYTEA" : "BLOB")
        .replace("{SPANS}", spanColumns().join(number + ", ") + number);
}

const QString kColumns =
    "stored_at, tested_at, test_date, device, serial, operator, model, interface, understood, why, pass, failed";

/// What is bound for a run, in the order of the columns.
QVariantList valuesOf(const QString& digest, const Reading& reading) {
    const UnderstoodReport nothing;
    const UnderstoodReport& report = reading.report ? *reading.report : nothing;
    QVariantList values{
        digest, QDateTime::currentMSecsSinceEpoch(),
        report.testedAt.isValid() ? QVariant(report.testedAt.toMSecsSinceEpoch()) : QVariant(QVariant::LongLong)};
    const QString failed = reading.report ? report.failed().join('\n') : QString();
    const auto add = [&values](const QString& text) { values << (text.isNull() ? QString("") : text); };
    for (const QString& text :
         {report.date, report.device, report.serial, report.operatorName, report.model, report.interfaceName})
        add(text);
    values << (reading.report ? 1 : 0);
    add(reading.why);
    values << (report.pass ? 1 : 0);
    add(failed);
    for (const auto* spans : {&report.counts, &report.dac})
        for (const std::optional<Span>& span : *spans)
            values << (span ? QVariant(span->low) : QVariant(QVariant::Double))
                   << (span ? QVariant(span->high) : QVariant(QVariant::Double));
    return values;
}

Run runOf(const QSqlQuery& row) {
    Run run;
    int at = 0;
    run.id = row.value(at++).toLongLong();
    run.storedAt = row.value(at++).toLongLong();
    if (!row.value(at++).isNull())
        run.testedAt = row.value(at - 1).toLongLong();
    for (QString* text : {&run.date, &run.device, &run.serial, &run.operatorName, &run.model, &run.interfaceName})
        *text = row.value(at++).toString();
    run.understood = row.value(at++).toInt() != 0;
    run.why = row.value(at++).toString();
    run.pass = row.value(at++).toInt() != 0;
    run.failed = row.value(at++).toString();
    for (auto* spans : {&run.counts, &run.dac})
        for (std::optional<Span>& span : *spans) {
            const QVariant low = row.value(at++), high = row.value(at++);
            if (!low.isNull() && !high.isNull())
                span = {low.toDouble(), high.toDouble()};
        }
    return run;
}

/// The condition of a choice, and what is bound to it.
QString conditionOf(const Choice& choice, QVariantList& bound) {
    QStringList all;
    const auto add = [&](const char* condition, const QVariant& value) {
        all << condition;
        bound << value;
    };
    if (!choice.serial.isEmpty())
        add("serial = ?", choice.serial);
    if (!choice.device.isEmpty())
        add("device = ?", choice.device);
    if (!choice.model.isEmpty())
        add("model = ?", choice.model);
    if (!choice.interfaceName.isEmpty())
        add("interface = ?", choice.interfaceName);
    if (!choice.operatorName.isEmpty())
        add("operator = ?", choice.operatorName);
    if (choice.since)
        add("tested_at >= ?", *choice.since);
    if (choice.until)
        add("tested_at < ?", *choice.until);
    if (choice.verdict == "not-understood")
        add("understood = ?", 0);
    if (choice.verdict == "pass" || choice.verdict == "fail") {
        add("understood = ?", 1);
        add("pass = ?", choice.verdict == "pass" ? 1 : 0);
    }
    return all.isEmpty() ? QString() : " WHERE " + all.join(" AND ");
}

}  // namespace

QString digestOf(const QByteArray& bytes) {
    // The toolkit's own takes a fifth of the time in which a report is read and packed.
    QByteArray digest(SHA256_DIGEST_LENGTH, Qt::Uninitialized);
    SHA256(reinterpret_cast<const unsigned char*>(bytes.constData()), static_cast<std::size_t>(bytes.size()),
           reinterpret_cast<unsigned char*>(digest.data()));
    return QString::fromLatin1(digest.toHex());
}

QString storeNamed(const QString& wanted) {
    if (!wanted.isEmpty())
        return wanted;
    const QString named = qEnvironmentVariable("NOLVA_RECORDS");
    if (!named.isEmpty())
        return named;
    const QString home = qEnvironmentVariable("KNDD_HOME");
    if (home.isEmpty())
        throw StoreError("no place for the records: set KNDD_HOME or NOLVA_RECORDS, or give --db");
    return home + "/logs/records.sqlite";
}

static bool isPostgresAddress(const QString& where) {
    return where.startsWith("postgresql://") || where.startsWith("postgres://");
}

bool isMissingFile(const QString& where) { return !isPostgresAddress(where) && !QFileInfo::exists(where); }

Store::Store(const QString& where, int patienceMs) {
    static int connections = 0;
    name_ = QString("records-%1").arg(++connections);
    try {
        open(where, patienceMs);
        migrate();
    } catch (...) {
        database_ = QSqlDatabase();
        QSqlDatabase::removeDatabase(name_);
        throw;
    }
}

Store::~Store() {
    insertRun_.reset();
    insertText_.reset();
    database_.close();
    database_ = QSqlDatabase();
    QSqlDatabase::removeDatabase(name_);
}

void Store::open(const QString& where, int patienceMs) {
    postgres_ = isPostgresAddress(where);
    database_ = QSqlDatabase::addDatabase(postgres_ ? "QPSQL" : "QSQLITE", name_);
    if (!database_.isValid())
        throw StoreError(postgres_ ? "the driver for PostgreSQL is missing (package libqt5sql5-psql)"
                                   : "the driver for SQLite is missing (package libqt5sql5-sqlite)");
    if (postgres_) {
        const QUrl url(where);
        // A folder of a local socket comes as a parameter: postgresql:///name?host=/run/postgresql
        const QUrlQuery parameters(url);
        const QString folder = parameters.queryItemValue("host", QUrl::FullyDecoded);
        if (!url.password().isEmpty() || parameters.hasQueryItem("password"))
            throw StoreError(
                "a password does not belong into NOLVA_RECORDS or --db: put it into ~/.pgpass or PGPASSWORD");
        // What cannot be followed, as the encryption that somebody asks for, must not be passed over.
        if (!url.isValid() || url.hasFragment() || parameters.queryItems().size() > (folder.isEmpty() ? 0 : 1))
            throw StoreError(
                "no address of a database: it is postgresql://user@host:port/database, the folder of a"
                " socket is ?host=FOLDER, and PGSSLMODE and the like are for all else");
        database_.setHostName(folder.isEmpty() ? url.host() : folder);
        if (url.port() > 0)
            database_.setPort(url.port());
        database_.setDatabaseName(url.path().mid(1));
        database_.setUserName(url.userName());
        // s, ms: a server that falls silent is away after half a minute, not after the system's quarter of an hour.
        database_.setConnectOptions(
            "connect_timeout=10;keepalives_idle=10;keepalives_interval=5;keepalives_count=4;"
            "tcp_user_timeout=30000");
    } else {
        const QFileInfo file(where);
        if (!where.isEmpty() && !file.exists()) {
            if (!QDir().mkpath(file.absolutePath()))
                throw StoreError(file.absolutePath() + " cannot be made");
            QFile fresh(where);
            // Another one may have made it by now: nothing of that is to be cut off.
            if (!fresh.open(QIODevice::Append) || !fresh.setPermissions(QFile::ReadOwner | QFile::WriteOwner))
                throw StoreError(where + ": " + fresh.errorString());
        }
        database_.setDatabaseName(where.isEmpty() ? ":memory:" : where);
        database_.setConnectOptions(QString("QSQLITE_BUSY_TIMEOUT=%1").arg(patienceMs));
    }
    if (!database_.open())
        throw StoreError(database_.lastError().databaseText().simplified());
    if (postgres_)
        execute("SET client_min_messages = warning");
    if (!postgres_) {
        execute("PRAGMA journal_mode = WAL");
        execute("PRAGMA synchronous = FULL");
    }
}

void Store::run(QSqlQuery& query) {
    if (!query.exec())
        throw StoreError(query.lastError().databaseText().simplified());
}

void Store::execute(const QString& statement) {
    QSqlQuery query(database_);
    if (!query.exec(statement))
        throw StoreError(query.lastError().databaseText().simplified());
}

QSqlQuery Store::prepared(const QString& statement) {
    QSqlQuery query(database_);
    query.setForwardOnly(true);
    if (!query.prepare(statement))
        throw StoreError(query.lastError().databaseText().simplified());
    return query;
}

void Store::together(const std::function<void()>& work) {
    if (inside_) {
        work();
        return;
    }
    // A writer of SQLite that begins as a reader may find that another one was quicker, and could not wait for it.
    execute(postgres_ ? "BEGIN" : "BEGIN IMMEDIATE");
    inside_ = true;
    try {
        work();
        execute("COMMIT");
    } catch (...) {
        inside_ = false;
        QSqlQuery(database_).exec("ROLLBACK");
        throw;
    }
    inside_ = false;
}

void Store::migrate() {
    together([this] {
        if (postgres_)
            execute(QString("SELECT pg_advisory_xact_lock(%1)").arg(kMigrationLock));
        execute("CREATE TABLE IF NOT EXISTS records_schema (version INTEGER NOT NULL)");
        QSqlQuery asked(database_);
        if (!asked.exec("SELECT max(version) FROM records_schema") || !asked.next())
            throw StoreError(asked.lastError().databaseText().simplified());
        const int there = asked.value(0).toInt(), known = static_cast<int>(std::size(kMigrations));
        asked.finish();
        if (there > known)
            throw StoreError(
                QString("the records were written by a newer version (%1, known is %2)").arg(there).arg(known));
        for (int version = there; version < known; ++version) {
            for (const QString& statement : kMigrations[version])
                execute(withTypes(statement, postgres_));
            execute(QString("INSERT INTO records_schema (version) VALUES (%1)").arg(version + 1));
        }
    });
}

Prepared prepare(const QByteArray& bytes) {
    if (bytes.size() > kLongestReport)
        throw StoreError(QString("a report of %1 bytes is none: at most 1 MiB").arg(bytes.size()));
    const Reading reading = readReport(bytes);
    const QString digest = digestOf(bytes);
    return {digest, valuesOf(digest, reading), qCompress(bytes, kPackQuickly), reading.why};
}

namespace {

using Block = std::vector<Prepared>;

/// Takes up to a block of reports and prepares them on other threads.
std::future<Block> prepareNext(const std::function<bool(QByteArray&)>& next) {
    std::vector<QByteArray> reports(kBlock);
    std::size_t taken = 0;
    while (taken < kBlock && next(reports[taken]))
        ++taken;
    reports.resize(taken);
    return std::async(std::launch::async, [reports = std::move(reports)] {
        Block all(reports.size());
        std::atomic<std::size_t> given{0};
        const auto work = [&] {
            for (std::size_t i = given++; i < reports.size(); i = given++)
                all[i] = prepare(reports[i]);
        };
        std::vector<std::future<void>> others;
        for (unsigned i = 1; i < std::thread::hardware_concurrency(); ++i)
            others.push_back(std::async(std::launch::async, work));
        work();
        for (std::future<void>& other : others)
            other.get();
        return all;
    });
}

}  // namespace

bool Store::add(const QByteArray& bytes) { return add(prepare(bytes)); }

bool Store::add(const Prepared& report) {
    if (!insertRun_) {
        const QString marks = QString("?, ").repeated(13 + spanColumns().size()).chopped(2);
        insertRun_ = std::make_unique<QSqlQuery>(
            prepared(QString("INSERT INTO runs (digest, %1, %2) VALUES (%3) ON CONFLICT (digest) DO NOTHING")
                         .arg(kColumns, spanColumns().join(", "), marks)));
        insertText_ = std::make_unique<QSqlQuery>(
            prepared("INSERT INTO texts (run, packed) SELECT id, ? FROM runs WHERE digest = ?"));
    }
    bool fresh = false;
    together([&] {
        for (int i = 0; i < report.values.size(); ++i)
            insertRun_->bindValue(i, report.values[i]);
        run(*insertRun_);
        fresh = insertRun_->numRowsAffected() > 0;
        if (!fresh)
            return;
        insertText_->bindValue(0, report.packed);
        insertText_->bindValue(1, report.digest);
        run(*insertText_);
    });
    return fresh;
}

// Reading and packing take several times as long as storing, and need no connection.
void Store::addAll(const std::function<bool(QByteArray&)>& next,
                   const std::function<void(const Prepared&, bool)>& done) {
    // Packing takes and gives back a quarter of a MiB each time, which the system would have to clear anew.
    mallopt(M_TRIM_THRESHOLD, kKeptMemory);
    // Else each date has the system look whether the time zone is another one by now.
    if (!qEnvironmentVariableIsSet("TZ"))
        qputenv("TZ", ":/etc/localtime");
    std::future<Block> coming = prepareNext(next);
    for (Block block = coming.get(); !block.empty(); block = coming.get()) {
        coming = prepareNext(next);
        std::vector<bool> fresh;
        together([&] {
            for (const Prepared& report : block)
                fresh.push_back(add(report));
        });
        for (std::size_t i = 0; i < block.size(); ++i)
            done(block[i], fresh[i]);
    }
}

void Store::each(const Choice& choice, const std::function<void(const Run&)>& take) {
    QVariantList bound;
    QString statement =
        QString("SELECT id, %1, %2 FROM runs").arg(kColumns, spanColumns().join(", ")) + conditionOf(choice, bound);
    // Those without a readable date first, on either database.
    const QString order = " ORDER BY tested_at %1, id %2", rising = order.arg("ASC NULLS FIRST", "ASC");
    if (choice.newest > 0)
        statement = QString("SELECT * FROM (%1%2 LIMIT %3) AS newest%4")
                        .arg(statement, order.arg("DESC NULLS LAST", "DESC"))
                        .arg(choice.newest)
                        .arg(rising);
    else
        statement += rising;
    QSqlQuery query = prepared(statement);
    for (const QVariant& value : bound)
        query.addBindValue(value);
    run(query);
    while (query.next())
        take(runOf(query));
}

std::optional<Run> Store::run(qint64 id) {
    QSqlQuery query =
        prepared(QString("SELECT id, %1, %2 FROM runs WHERE id = ?").arg(kColumns, spanColumns().join(", ")));
    query.addBindValue(id);
    run(query);
    if (!query.next())
        return {};
    return runOf(query);
}

QByteArray Store::text(qint64 id) {
    QSqlQuery query = prepared("SELECT packed FROM texts WHERE run = ?");
    query.addBindValue(id);
    run(query);
    if (!query.next())
        throw StoreError(QString("there is no run %1").arg(id));
    const QByteArray packed = query.value(0).toByteArray(), bytes = qUncompress(packed);
    if (bytes.isNull() && packed != qCompress(QByteArray()))
        throw StoreError(QString("the text of run %1 cannot be unpacked").arg(id));
    return bytes;
}

qint64 Store::count() {
    QSqlQuery query = prepared("SELECT count(*) FROM runs");
    run(query);
    return query.next() ? query.value(0).toLongLong() : 0;
}

void Store::rows(const QString& select, const Choice& choice, const QString& after,
                 const std::function<void(const QSqlQuery&)>& take) {
    QVariantList bound;
    const QString condition = conditionOf(choice, bound);
    QSqlQuery query = prepared(select + (condition.isEmpty() ? " WHERE 1 = 1" : condition) + " AND " + after);
    for (const QVariant& value : bound)
        query.addBindValue(value);
    run(query);
    while (query.next())
        take(query);
}

bool Store::works() { return QSqlQuery(database_).exec("SELECT 1"); }

qint64 Store::verify(const std::function<void(qint64, const QString&)>& wrong) {
    QSqlQuery query = prepared(QString("SELECT runs.id, %1, %2, digest, packed FROM runs LEFT JOIN texts ON"
                                       " texts.run = runs.id ORDER BY runs.id")
                                   .arg(kColumns, spanColumns().join(", ")));
    run(query);
    const int digestAt = 13 + spanColumns().size();
    qint64 looked = 0;
    while (query.next()) {
        ++looked;
        const QByteArray bytes = qUncompress(query.value(digestAt + 1).toByteArray());
        const QString digest = query.value(digestAt).toString();
        if (digestOf(bytes) != digest) {
            wrong(query.value(0).toLongLong(), "its text is not the one that was stored");
            continue;
        }
        const QVariantList values = valuesOf(digest, readReport(bytes));
        for (int i = 2; i < values.size(); ++i) {
            const QVariant stored = query.value(i);
            const bool same = stored.isNull() == values[i].isNull() && (stored.isNull() || stored == values[i]);
            // The moment depends on this computer's time zone, why it was not understood on this version.
            const bool mayDiffer = i == 2 ? stored.isNull() || values[i].isNull()
                                                || qAbs(stored.toLongLong() - values[i].toLongLong()) <= kZonesApart
                                          : i == 10 && query.value(9).toInt() == 0;
            if (!same && !mayDiffer) {
                wrong(query.value(0).toLongLong(), "its values are not those of its text");
                break;
            }
        }
    }
    return looked;
}

}  // namespace records
