// The reader throws nothing and stops at the first bad line.
#include "scriptfile.h"

#include <QCoreApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <cmath>

#include "device/simulated/armwords.h"
#include "shown.h"

namespace {

const QString kCommand = QStringLiteral("command"), kId = QStringLiteral("id"), kWait = QStringLiteral("wait");

using armwords::Field;

QString text(const char* source) { return QCoreApplication::translate("ArmPanel", source); }

bool fits(const Field& field, const QJsonValue& value) {
    const double number = value.toDouble();
    const bool inside = value.isDouble() && number >= field.low && number <= field.high;
    switch (field.kind) {
        case Field::Kind::Truth:
            return value.isBool();
        case Field::Kind::Number:
            return inside;
        case Field::Kind::Positive:
            return inside && number > field.low;
        case Field::Kind::Whole:
            return inside && number == std::floor(number);
        case Field::Kind::Numbers:
            break;
    }
    const QJsonArray numbers = value.toArray();
    const Field one{field.name, Field::Kind::Number, field.low, field.high};
    bool all = numbers.size() == static_cast<int>(field.count);
    for (const QJsonValue& it : numbers)
        all = all && fits(one, it);
    return all;
}

QString wanted(const Field& field) {
    switch (field.kind) {
        case Field::Kind::Truth:
            return text("must be true or false");
        case Field::Kind::Number:
            return text("must be a number between %1 and %2").arg(field.low).arg(field.high);
        case Field::Kind::Positive:
            return text("must be a number above %1 and at most %2").arg(field.low).arg(field.high);
        case Field::Kind::Whole:
            return text("must be a whole number between %1 and %2").arg(field.low).arg(field.high);
        case Field::Kind::Numbers:
            break;
    }
    return text("must be an array of %1 numbers between %2 and %3").arg(field.count).arg(field.low).arg(field.high);
}

/// What is wrong with a command's fields, or empty.
QString wrongWith(const armwords::HandCommand& command, const QJsonObject& fields) {
    int known = 0;
    for (const Field& field : command.fields) {
        if (field.name == nullptr)
            continue;
        const QLatin1String name(field.name);
        if (!fields.contains(name))
            return text("%1: is missing").arg(name);
        if (!fits(field, fields[name]))
            return text("%1: %2").arg(name, wanted(field));
        ++known;
    }
    if (fields.size() == known)
        return {};
    for (const QString& name : fields.keys()) {
        const auto is = [&name](const Field& field) { return name == QLatin1String(field.name); };
        if (std::none_of(command.fields.begin(), command.fields.end(), is))
            return text("%1: %2 has no such field").arg(shown(name), QLatin1String(command.name));
    }
    return {};
}

QString addWait(const QJsonObject& object, HandScript& script) {
    const QJsonValue wait = object[kWait];
    if (object.size() != 1)
        return text("wait: stands alone on its line");
    if (!fits({"wait", Field::Kind::Number, 0, kLongestWaitMs}, wait))
        return text("wait: must be a number of milliseconds between 0 and %1").arg(kLongestWaitMs);
    if (script.isEmpty())
        script << HandStep{{}, {}, 0, {}};
    const qint64 sum = script.last().waitMs + std::llround(wait.toDouble());
    if (sum > kLongestWaitMs)
        return text("wait: the waits in a row are longer than %1 ms").arg(kLongestWaitMs);
    script.last().waitMs = static_cast<int>(sum);
    return {};
}

QString addCommand(QJsonObject object, HandScript& script) {
    if (!object[kCommand].isString())
        return text("command: must be the name of a command; or the line is {\"wait\":ms}");
    const QString name = object.take(kCommand).toString();
    object.remove(kId);
    for (const armwords::HandCommand& command : armwords::kHandCommands) {
        if (name != QLatin1String(command.name))
            continue;
        const QString why = wrongWith(command, object);
        if (why.isEmpty())
            script << HandStep{name, object, 0, {}};
        return why;
    }
    return text("command: \"%1\" is none of the hand's; a script holds these and waits alone").arg(shown(name));
}

QString addLine(const QByteArray& line, HandScript& script) {
    if (line.size() > kLongestScriptLine)
        return text("the line is longer than 64 KiB");
    const foreign::JsonShape shape = foreign::shapeOf(line.constData(), static_cast<std::size_t>(line.size()));
    if (shape.depth > foreign::kDeepest)
        return text(foreign::kTooDeep);
    QJsonParseError why{};
    const QJsonDocument document = QJsonDocument::fromJson(line, &why);
    if (why.error != QJsonParseError::NoError)
        return text("not JSON at column %1: %2").arg(why.offset).arg(why.errorString());
    if (!document.isObject())
        return text("a line is one JSON object");
    const QJsonObject object = document.object();
    if (shape.fields != object.size())
        return text("a field is there twice");
    return object.contains(kWait) ? addWait(object, script) : addCommand(object, script);
}

QByteArray lineOf(const QJsonObject& object) { return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n'; }

}  // namespace

ReadScript readScript(const QByteArray& bytes) {
    ReadScript read;
    int number = 0;
    for (const QByteArray& line : bytes.split('\n')) {
        ++number;
        const QByteArray trimmed = line.trimmed();
        const QString why = trimmed.isEmpty() ? QString() : addLine(trimmed, read.script);
        if (!why.isEmpty())
            return {{}, text("line %1: %2").arg(number).arg(why)};
    }
    if (read.script.isEmpty())
        return {{}, text("line 1: there is no command in the file")};
    labelSteps(read.script);
    return read;
}

void labelSteps(HandScript& script) {
    for (int i = 0; i < script.size(); ++i) {
        const QString& command = script[i].command;
        script[i].label =
            text("step %1 of %2, %3").arg(i + 1).arg(script.size()).arg(command.isEmpty() ? text("a wait") : command);
    }
}

QByteArray writeScript(const HandScript& script) {
    QByteArray bytes;
    for (const HandStep& step : script) {
        QJsonObject object = step.fields;
        object[kCommand] = step.command;
        if (!step.command.isEmpty())
            bytes += lineOf(object);
        if (step.waitMs > 0)
            bytes += lineOf({{kWait, step.waitMs}});
    }
    return bytes;
}

qint64 lengthOf(const HandScript& script) {
    qint64 ms = 0;
    for (const HandStep& step : script)
        ms += step.waitMs;
    return ms;
}

ReadScript readScriptFile(const QString& path) {
    const foreign::FileText file = foreign::readFile(QFile::encodeName(path).toStdString(), kLongestScriptFile);
    if (!file.there || !file.why.empty())
        return {{}, file.why.empty() ? text("is not there") : QString::fromStdString(file.why)};
    if (file.text.size() > kLongestScriptFile)
        return {{}, text("the file is longer than 16 MiB")};
    return readScript(QByteArray::fromStdString(file.text));
}

QString writeScriptFile(const QString& path, const HandScript& script) {
    QSaveFile file(path);
    const QByteArray bytes = writeScript(script);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        return file.errorString();
    return {};
}
