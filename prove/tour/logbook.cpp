#include "logbook.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QRegularExpression>
#include <QSaveFile>
#include <QWidget>

namespace {

constexpr char kStyle[] = R"(
body { font: 15px/1.45 sans-serif; color: #223; background: #f6f7f9; margin: 2em auto; max-width: 1180px; padding: 0 1em }
h1 { font-size: 1.5em } h2 { font-size: 1.15em; margin: 2em 0 .6em; border-bottom: 2px solid #3d6487 }
table { border-collapse: collapse; width: 100% } th, td { text-align: left; padding: .3em .7em; border-bottom: 1px solid #d5dae0 }
td.time { text-align: right; font-variant-numeric: tabular-nums; white-space: nowrap }
.good { color: #06712b } .bad { color: #a4161a; font-weight: bold }
.pictures { display: grid; grid-template-columns: repeat(auto-fill, minmax(340px, 1fr)); gap: 1em; margin-top: 1em }
figure { margin: 0; background: #fff; border: 1px solid #d5dae0; padding: .5em } figure img { width: 100%; height: auto }
figcaption { font-size: .9em } pre { background: #fff; border: 1px solid #d5dae0; padding: 1em; overflow-x: auto; font-size: .85em }
)";

QString fileName(std::size_t number, const TourStep& step) {
    QString name = (step.flow + '-' + step.name).toLower();
    name.replace(QRegularExpression("[^a-z0-9.]+"), "-");
    return QString("%1-%2.png").arg(number + 1, 3, 10, QChar('0')).arg(name);
}

bool save(const QString& path, const QByteArray& content) {
    QSaveFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
}

QString verdictCell(const TourStep& step) {
    if (step.verdict.isEmpty())
        return "<span class=\"good\">as expected</span>"
               + (step.note.isEmpty() ? "" : ": " + step.note.toHtmlEscaped());
    return "<span class=\"bad\">" + step.verdict.toHtmlEscaped() + "</span>";
}

}  // namespace

QByteArray Logbook::photograph(QWidget& window) {
    // Without an event loop nothing was laid out or painted yet, and a scene comes up after the first paint.
    QCoreApplication::sendPostedEvents();
    window.grab();
    QCoreApplication::sendPostedEvents();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    window.grab().save(&buffer, "PNG");
    return bytes;
}

int Logbook::failures() const {
    int count = 0;
    for (const TourStep& step : m_steps)
        count += step.verdict.isEmpty() ? 0 : 1;
    return count;
}

QByteArray Logbook::html() const {
    QString page =
        "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + m_title.toHtmlEscaped()
        + "</title><style>" + kStyle + "</style></head><body>\n<h1>" + m_title.toHtmlEscaped() + "</h1>\n<p>"
        + QString("%1, %2 steps, ").arg(QDateTime::currentDateTime().toString(Qt::ISODate)).arg(m_steps.size())
        + (failures() ? QString("<span class=\"bad\">%1 not as expected</span>").arg(failures())
                      : QString("<span class=\"good\">all as expected</span>"))
        + ". " + m_opening.toHtmlEscaped() + " " + m_closing.toHtmlEscaped() + "</p>\n";
    for (std::size_t i = 0; i < m_steps.size();) {
        const QString flow = m_steps[i].flow;
        QString rows, pictures;
        for (; i < m_steps.size() && m_steps[i].flow == flow; ++i) {
            const TourStep& step = m_steps[i];
            rows += "<tr><td>" + step.name.toHtmlEscaped() + "</td><td>" + verdictCell(step)
                    + "</td><td class=\"time\">" + QString::number(step.seconds, 'f', 1) + " s</td></tr>\n";
            if (!step.picture.isEmpty())
                pictures += "<figure><img alt=\"" + step.name.toHtmlEscaped() + "\" src=\"data:image/png;base64,"
                            + QString::fromLatin1(step.picture.toBase64()) + "\"><figcaption>"
                            + step.name.toHtmlEscaped() + "</figcaption></figure>\n";
        }
        page += "<h2>" + flow.toHtmlEscaped() + "</h2>\n<table><tr><th>Step</th><th>Verdict</th><th>Time</th></tr>\n"
                + rows + "</table>\n<div class=\"pictures\">\n" + pictures + "</div>\n";
        for (const Report& report : m_reports) {
            if (report.flow == flow)
                page += "<details><summary>Report</summary><pre>" + report.text.toHtmlEscaped() + "</pre></details>\n";
        }
    }
    return (page + "</body></html>\n").toUtf8();
}

bool Logbook::write(const QString& folder) const {
    bool good = true;
    for (std::size_t i = 0; i < m_steps.size(); ++i) {
        if (!m_steps[i].picture.isEmpty())
            good = save(QDir(folder).filePath(fileName(i, m_steps[i])), m_steps[i].picture) && good;
    }
    for (const Report& report : m_reports)
        good = save(QDir(folder).filePath("report-" + report.flow.toLower().replace(' ', '-') + ".txt"),
                    report.text.toUtf8())
               && good;
    return save(QDir(folder).filePath("index.html"), html()) && good;
}
