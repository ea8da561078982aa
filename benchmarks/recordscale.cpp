// recordscale RUNS FOLDER [WHERE]: what keeping so many runs costs. Reports of a plant, printed by the application's
// own printer with fixed seeds, go into an empty store (a SQLite file in FOLDER, or WHERE); beside it, in turns of a
// block, the same rows by a bare prepared statement into a file of their own. Then a serial's list, and the page of a
// year.
#include <malloc.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QRandomGenerator>
#include <QSqlQuery>
#include <cmath>
#include <cstdio>

#include "commands.h"
#include "madereport.h"
#include "page.h"

using namespace records;

namespace {

constexpr int kBlock = 20000;
constexpr double kYear = 365.0 * 86400;  // s

struct Kind {
    const char* device;
    const char* model;
    ULONG card;
    long travel[6];
};
constexpr Kind kKinds[] = {{"Default Device", "THARLEN Orda", kCardUsb, {4830, 4460, 3730, 4094, 1838, 4094}},
                           {"Orda LAN", "THARLEN Orda", kCardLan, {4830, 4050, 3730, 3730, 1576, 3150}},
                           {"Corvale USB", "THARLEN Corvale", kCardUsb, {18900, 16700, 11800, 3990, 1890, 3990}}};

QByteArray reportOf(int number, int runs) {
    QRandomGenerator random(static_cast<quint32>(number) * 2654435761u);
    const auto normal = [&random] {
        return std::sqrt(-2.0 * std::log(1.0 - random.generateDouble()))
               * std::cos(6.28318530718 * random.generateDouble());
    };
    const int serial = number % 3 == 2 ? number - 1 : number;  // a third are second runs
    const Kind& kind = kKinds[serial / 3 % 3];
    report::Subject subject;
    subject.device = kind.device;
    subject.model = kind.model;
    subject.cardType = kind.card;
    subject.serial = QString("S-%1").arg(serial);
    subject.operatorName = QString("Operator %1").arg(number % 7);
    subject.gimbal = subject.automatic = true;
    subject.extraSwitches = serial / 3 % 3 != 2;
    subject.date = QDateTime(QDate(2025, 1, 1), QTime(6, 0))
                       .addSecs(static_cast<qint64>(kYear * number / runs))
                       .toString("MMMM-dd-yyyy  hh-mm-ss-AP");
    REPORTFIELDS fields{};
    bool* const all[] = {fields.bEncoderPass, fields.bManualEncoderPass, fields.bForcesPass, fields.bManualForcesPass};
    for (bool* axes : all)
        for (int axis = 0; axis < 6; ++axis)
            axes[axis] = random.bounded(400) != 0;
    for (bool* each : {&fields.bSwitchPass, &fields.bExtraSwitchPass, &fields.bInkwellPass, &fields.bManualSwitchPass,
                       &fields.bManualExtraSwitchPass, &fields.bManualInkwellPass, &fields.bAmplifierPass,
                       &fields.bBoxPass, &fields.bCalibrationPass})
        *each = random.bounded(300) != 0;
    for (int axis = 0; axis < 6; ++axis) {
        const double drift = 0.004 * kind.travel[axis] * number / runs;  // the plant wears by so much in the year
        const double width = kind.travel[axis] - drift + 6.0 * normal();
        fields.lMinEncoderVal[axis] = std::lround(-width / 2);
        fields.lMaxEncoderVal[axis] = std::lround(width / 2);
        fields.fMinForceVal[axis] = static_cast<float>(-200 * (1 + random.bounded(100)));
        fields.fMaxForceVal[axis] = static_cast<float>(200 * (1 + random.bounded(100)));
    }
    return printed(report::itemsOf(fields, subject));
}

/// The same rows without reading, packing or asking whether they are there.
class Bare {
public:
    explicit Bare(const QString& file) : store_(file), run_(store_.database()), text_(store_.database()) {}
    void copy(Store& from, qint64 first, qint64 last) {
        QSqlQuery runs(from.database());
        runs.setForwardOnly(true);
        if (!runs.exec(
                QString("SELECT runs.*, packed FROM runs JOIN texts ON texts.run = runs.id WHERE runs.id > %1 AND "
                        "runs.id <= %2")
                    .arg(first)
                    .arg(last)))
            qFatal("cannot read");
        std::vector<QVariantList> rows;
        while (runs.next()) {
            QVariantList row;
            for (int i = 0; runs.value(i).isValid(); ++i)
                row << runs.value(i);
            rows.push_back(row);
        }
        if (rows.empty())
            qFatal("no rows");
        if (!prepared_) {
            const QString marks = QString("?, ").repeated(rows[0].size() - 1).chopped(2);
            if (!run_.prepare("INSERT INTO runs VALUES (" + marks + ")")
                || !text_.prepare("INSERT INTO texts VALUES (?, ?)"))
                qFatal("cannot prepare");
            prepared_ = true;
        }
        QElapsedTimer clock;
        clock.start();
        store_.together([&] {
            for (const QVariantList& row : rows) {
                for (int i = 0; i + 1 < row.size(); ++i)
                    run_.bindValue(i, row[i]);
                text_.bindValue(0, row[0]);
                text_.bindValue(1, row.last());
                if (!run_.exec() || !text_.exec())
                    qFatal("cannot insert");
            }
        });
        seconds += 1e-9 * static_cast<double>(clock.nsecsElapsed());
    }
    double seconds = 0;

private:
    Store store_;
    QSqlQuery run_, text_;
    bool prepared_ = false;
};

/// The most that was in memory since forgetMemory().
double megabytes() {
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly))
        qFatal("cannot read the status of this process");
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmHWM:"))
            return line.simplified().split(' ').value(1).toDouble() / 1024;
    qFatal("the system does not tell the memory");
}

void forgetMemory() {
    malloc_trim(0);
    QFile forget("/proc/self/clear_refs");
    if (!forget.open(QIODevice::WriteOnly) || forget.write("5") != 1)
        qFatal("cannot forget what memory was used");
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int runs = arguments.value(1).toInt();
    if (runs <= 0 || arguments.size() < 3) {
        std::fprintf(stderr, "recordscale RUNS FOLDER [WHERE]\n");
        return 2;
    }
    const QString where = arguments.value(3, arguments[2] + "/scale.sqlite");
    QFile::remove(arguments[2] + "/bare.sqlite");
    Store store(where);
    Bare bare(arguments[2] + "/bare.sqlite");
    QElapsedTimer clock;
    double kept = 0;
    for (int first = 0; first < runs; first += kBlock) {
        const int last = std::min(first + kBlock, runs);
        std::vector<QByteArray> texts;
        for (int number = first; number < last; ++number)
            texts.push_back(reportOf(number, runs));
        std::size_t given = 0;
        clock.start();
        store.addAll(
            [&](QByteArray& report) {
                if (given == texts.size())
                    return false;
                report = texts[given++];
                return true;
            },
            [](const Prepared&, bool) {});
        kept += 1e-9 * static_cast<double>(clock.nsecsElapsed());
        bare.copy(store, first, last);
    }
    std::printf("%-34s %10.1f s, %8.0f a second\n", "keeping", kept, runs / kept);
    std::printf("%-34s %10.1f s; keeping takes %.2f times as long\n", "bare insert of the same rows", bare.seconds,
                kept / bare.seconds);
    QByteArray page;
    QBuffer buffer(&page);
    buffer.open(QIODevice::WriteOnly);
    QTextStream out(&buffer);
    Choice serial;
    serial.serial = QString("S-%1").arg(runs / 2 / 3 * 3 + 1);
    std::vector<double> took;
    for (int i = 0; i < 21; ++i) {
        clock.start();
        listRuns(store, serial, out);
        out.flush();
        took.push_back(1e-6 * static_cast<double>(clock.nsecsElapsed()));
    }
    std::sort(took.begin(), took.end());
    std::printf("%-34s %10.2f ms (median of 21)\n", "list of a serial", took[10]);
    buffer.buffer().clear();
    buffer.seek(0);
    forgetMemory();
    const double before = megabytes();
    clock.start();
    writePage(store, {}, out);
    out.flush();
    std::printf("%-34s %10.2f s; greatest memory %.0f MB, %.0f MB before; %d bytes\n", "page of the year",
                1e-9 * static_cast<double>(clock.nsecsElapsed()), megabytes(), before, page.size());
    QFile file(arguments[2] + "/page.html");
    return file.open(QIODevice::WriteOnly) && file.write(page) == page.size() ? 0 : 1;
}
