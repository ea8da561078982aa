#include "kept.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

Kept readKept(const QString& name) {
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QJsonObject all = QJsonDocument::fromJson(file.readAll()).object();
    Kept kept;
    kept.operatorName = all["operator"].toString();
    kept.flow = all["flow"].toString();
    kept.mechanics = all["mechanics"].toBool();
    kept.device = all["device"].toString();
    kept.reportTime = all["reportTime"].toString();
    kept.ended = all["ended"].toString();
    return kept;
}

bool writeKept(const QString& name, const Kept& kept) {
    const QJsonObject all{{"operator", kept.operatorName}, {"flow", kept.flow},
                          {"mechanics", kept.mechanics},   {"device", kept.device},
                          {"reportTime", kept.reportTime}, {"ended", kept.ended}};
    QSaveFile file(name);
    return file.open(QIODevice::WriteOnly) && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner)
           && file.write(QJsonDocument(all).toJson()) >= 0 && file.commit();
}

QString reportFile() { return QString("%1/logs/Test_Reports").arg(qEnvironmentVariable("KNDD_HOME", "(null)")); }

QString reportTime() {
    const QFileInfo file(reportFile());
    return file.exists() ? file.lastModified().toString("yyyy-MM-dd hh:mm:ss") : QString();
}
