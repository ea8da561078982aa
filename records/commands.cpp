// See commands.h.
#include "commands.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <deque>

#include "device/foreign.h"

namespace records {
namespace {

QString verdictOf(const Run& run) { return !run.understood ? "not understood" : run.pass ? "PASS" : "FAIL"; }

/// A cell of CSV. An apostrophe stands before what a spreadsheet would take for a formula: anybody may have typed it.
QString cell(QString text) {
    const bool isFormula = !text.isEmpty() && QString("=+-@\t\r").contains(text[0]);
    return '"' + QString(isFormula ? "'" : "") + text.replace('"', "\"\"") + '"';
}

QJsonObject spanJson(const Span& span) { return {{"low", span.low}, {"high", span.high}}; }

QJsonObject runJson(const Run& run) {
    QJsonObject json{{"schema", kJsonSchema},
                     {"id", run.id},
                     {"storedAt", QDateTime::fromMSecsSinceEpoch(run.storedAt).toUTC().toString(Qt::ISODateWithMs)},
                     {"understood", run.understood}};
    if (run.testedAt)
        json["testedAt"] = QDateTime::fromMSecsSinceEpoch(*run.testedAt).toUTC().toString(Qt::ISODate);
    if (!run.understood) {
        json["why"] = run.why;
        return json;
    }
    json["device"] = run.device;
    json["serial"] = run.serial;
    json["operator"] = run.operatorName;
    json["date"] = run.date;
    json["model"] = run.model;
    json["interface"] = run.interfaceName;
    json["pass"] = run.pass;
    json["failed"] = QJsonArray::fromStringList(run.failed.split('\n', Qt::SkipEmptyParts));
    for (const auto& [quantity, spans] :
         {std::make_pair(Quantity::Counts, &run.counts), std::make_pair(Quantity::Dac, &run.dac)})
        for (int axis = 0; axis < kAxes; ++axis)
            if (const auto& span = (*spans)[static_cast<std::size_t>(axis)])
                json[quantityName(quantity, axis)] = spanJson(*span);
    return json;
}

/// What the text has beside the row: each verdict, and what was written below.
void addItems(QJsonObject& json, const UnderstoodReport& report) {
    QJsonArray items;
    const std::vector<QString>& names = *report.itemNames;
    for (std::size_t i = 0; i < names.size(); ++i)
        if (!names[i].isEmpty())
            items << QJsonObject{{"item", names[i]},
                                 {"pass", report.items[i].verdict == report::Verdict::pass},
                                 {"counts", report.items[i].counts != report::Counts::nowhere}};
    json["items"] = items;
    json["comments"] = report.comments;
}

}  // namespace

QString timeOf(const Run& run) {
    return run.testedAt ? QDateTime::fromMSecsSinceEpoch(*run.testedAt).toString("yyyy-MM-dd hh:mm:ss") : run.date;
}

QString cell(const QString& text, int width) { return plain(text).leftJustified(width) + "  "; }

QString inShort(const QStringList& names, int first) {
    const QString begin = names.mid(0, first).join(", ");
    return names.size() > first ? QString("%1 and %2 more").arg(begin).arg(names.size() - first) : begin;
}

QString plain(const QString& text) { return QString::fromStdString(foreign::printable(text.toStdString())); }

namespace {

/// A file that was named, and what is wrong with it; empty where it can be stored.
struct Offered {
    QString file, why;
};

QString wrongWith(const foreign::FileText& file) {
    if (!file.there)
        return "is not there";
    if (!file.why.empty())
        return QString::fromStdString(file.why);
    if (file.text.size() > static_cast<std::size_t>(kLongestReport))
        return "is longer than 1 MiB: no report";
    return file.text.empty() ? "is empty" : QString();
}

}  // namespace

int importFiles(Store& store, const QStringList& files, QTextStream& out) {
    int offered = 0, wrong = 0;
    std::deque<Offered> said;  // of what was read and is not told yet, in order
    const auto tellWrong = [&] {
        for (; !said.empty() && !said.front().why.isEmpty(); said.pop_front(), ++wrong)
            out << plain(said.front().file) << ": " << said.front().why << "\n";
    };
    const auto next = [&](QByteArray& report) {
        while (offered < files.size()) {
            const QString& name = files[offered++];
            const foreign::FileText file = foreign::readFile(QFile::encodeName(name).toStdString(), kLongestReport);
            said.push_back({name, wrongWith(file)});
            if (!said.back().why.isEmpty())
                continue;
            report = QByteArray(file.text.data(), static_cast<int>(file.text.size()));
            return true;
        }
        return false;
    };
    store.addAll(next, [&](const Prepared& report, bool fresh) {
        tellWrong();
        out << plain(said.front().file) << ": "
            << (!fresh                 ? "is there already"
                : report.why.isEmpty() ? "stored"
                                       : "stored, not understood: " + report.why)
            << "\n";
        said.pop_front();
    });
    tellWrong();
    return wrong == 0 ? 0 : 1;
}

int listRuns(Store& store, const Choice& choice, QTextStream& out) {
    qint64 runs = 0;
    store.each(choice, [&](const Run& run) {
        out << QString::number(run.id).rightJustified(7) << "  " << cell(timeOf(run), 19) << cell(verdictOf(run), 14)
            << cell(run.serial, 14) << cell(run.device, 20) << cell(run.model, 20) << plain(run.operatorName);
        if (!run.understood)
            out << plain(run.why);
        else if (!run.failed.isEmpty())
            out << "  failed: " << inShort(run.failed.split('\n'), 2);
        out << "\n";
        ++runs;
    });
    out << runs << (runs == 1 ? " run\n" : " runs\n");
    return 0;
}

int showRun(Store& store, qint64 id, bool json, QTextStream& out) {
    const std::optional<Run> run = store.run(id);
    if (!run)
        throw StoreError(QString("there is no run %1").arg(id));
    const QByteArray bytes = store.text(id);
    if (!json) {
        out.flush();
        if (out.device())
            out.device()->write(bytes);  // as it came, byte for byte
        return 0;
    }
    QJsonObject object = runJson(*run);
    if (const Reading reading = readReport(bytes); reading.report)
        addItems(object, *reading.report);
    out << QString::fromUtf8(QJsonDocument(object).toJson());
    return 0;
}

int exportCsv(Store& store, const Choice& choice, QTextStream& out) {
    out << "id,stored_at,tested_at,understood,pass,date,device,serial,operator,model,interface,failed,why";
    for (const Quantity quantity : {Quantity::Counts, Quantity::Dac})
        for (int axis = 0; axis < kAxes; ++axis)
            out << QString(",%1-low,%1-high").arg(quantityName(quantity, axis));
    out << "\r\n";
    const auto time = [](qint64 ms) { return QDateTime::fromMSecsSinceEpoch(ms).toUTC().toString(Qt::ISODate); };
    store.each(choice, [&](const Run& run) {
        out << run.id << "," << time(run.storedAt) << "," << (run.testedAt ? time(*run.testedAt) : QString()) << ","
            << run.understood << "," << run.pass;
        for (const QString& text :
             {run.date, run.device, run.serial, run.operatorName, run.model, run.interfaceName, run.failed, run.why})
            out << "," << cell(text);
        for (const auto* spans : {&run.counts, &run.dac})
            for (const std::optional<Span>& span : *spans)
                out << "," << (span ? QString::number(span->low, 'g', 12) : QString()) << ","
                    << (span ? QString::number(span->high, 'g', 12) : QString());
        out << "\r\n";
    });
    return 0;
}

int exportJsonLines(Store& store, const Choice& choice, QTextStream& out) {
    store.each(choice, [&](const Run& run) {
        out << QString::fromUtf8(QJsonDocument(runJson(run)).toJson(QJsonDocument::Compact)) << "\n";
    });
    return 0;
}

int verifyRuns(Store& store, QTextStream& out) {
    int wrong = 0;
    const qint64 runs = store.verify([&](qint64 id, const QString& why) {
        out << "run " << id << ": " << why << "\n";
        ++wrong;
    });
    out << runs << (runs == 1 ? " run, " : " runs, ") << wrong << " wrong\n";
    return wrong == 0 ? 0 : 1;
}

}  // namespace records
